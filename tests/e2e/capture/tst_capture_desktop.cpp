// SPDX-License-Identifier: GPL-3.0-or-later
// The capture's paths that no application of tests/e2e/apps takes: an
// application without an accessible text whose selection only its Copy menu
// item can read, beside someone else's stale PRIMARY; an empty clipboard; a
// stopped application and a stopped clipboard owner.
#include "Desktop.h"
#include "Pasteboard.h"
#include "SelectionCapture.h"
#include "TestSupport.h"
#include "X11KeyInput.h"
#include "X11Selections.h"
#include "X11Windows.h"

#include <QClipboard>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QMutex>
#include <QTest>
#include <QTimer>
#include <csignal>
#include <map>

using namespace Desktop;

namespace {

QMutex logMutex;
QStringList logLines;
QtMessageHandler previousHandler = nullptr;

void collectLog(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (context.category && QByteArray(context.category).startsWith("vellumo.capture")) {
        QMutexLocker lock(&logMutex);
        logLines.append(message);
    }
    if (previousHandler) {
        previousHandler(type, context, message);
    }
}

QStringList takeLog()
{
    QMutexLocker lock(&logMutex);
    return std::exchange(logLines, {});
}

// The lines of wanted that log lacks, and the log; empty when it has them all.
QString missing(const QStringList &log, const QStringList &wanted)
{
    QStringList absent;
    for (const QString &line : wanted) {
        if (!log.contains(line)) {
            absent << line;
        }
    }
    return absent.isEmpty() ? QString()
                            : absent.join(u'\n') + QStringLiteral("\nnot in:\n") + log.join(u'\n');
}

const QString document =
    QStringLiteral("alpha beta gamma\nsecond line here\nthird 🙂 emoji line\n");

const platform::x11::Windows windows;
const platform::x11::Selections selections;
const platform::x11::KeyInput keyInput;

} // namespace

class CaptureDesktopTest : public QObject {
    Q_OBJECT

private:
    std::map<QString, App> m_apps;
    // Counts clipboard changes from the start on.
    Pasteboard m_pasteboard{selections};

    SelectionCapture::Context context() { return {windows, selections, keyInput, m_pasteboard}; }

    // Waits for the capture while the event loop runs, as the popup would.
    std::optional<QString> capture(int timeoutMs = 5000)
    {
        QFuture<std::optional<QString>> future = SelectionCapture::getSelectedText(context());
        QDeadlineTimer deadline(timeoutMs);
        while (!future.isFinished() && !deadline.hasExpired()) {
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        }
        return future.isFinished() ? future.result()
                                   : std::optional<QString>(QStringLiteral("<hung>"));
    }

    // A capture that must give up: within three time-outs of 300 ms at most
    // (accessibility, PRIMARY, the menu), the main thread never held up.
    std::optional<QString> captureGivingUp(const char *what)
    {
        QElapsedTimer sinceTick;
        qint64 longestGap = 0;
        QTimer ticker;
        ticker.setInterval(5);
        connect(&ticker, &QTimer::timeout, this,
                [&] { longestGap = std::max(longestGap, sinceTick.restart()); });
        sinceTick.start();
        ticker.start();
        QElapsedTimer clock;
        clock.start();
        const auto text = capture(10000);
        const qint64 elapsed = clock.elapsed();
        qInfo("capture %s: %lld ms, longest main-thread gap %lld ms", what, elapsed, longestGap);
        if (elapsed >= 1500 || longestGap >= 200) {
            return QStringLiteral("<took %1 ms, held the main thread %2 ms>")
                .arg(elapsed)
                .arg(longestGap);
        }
        return text;
    }

    App &app(const QString &name)
    {
        App &a = m_apps[name];
        if (a.isRunning()) {
            return a;
        }
        const QString file = homePath(QStringLiteral("capture-%1.txt").arg(name));
        writeFile(file, document);
        if (name == u"fixture") {
            a.start(QStringLiteral(COPY_FIXTURE), {QStringLiteral("fixture 🙂 copy")});
        } else if (name.startsWith(u"fixture copying after ")) {
            // "fixture copying after N ms"
            a.start(QStringLiteral(COPY_FIXTURE),
                    {QStringLiteral("late copy"), name.split(u' ').at(3)});
        } else {
            a.start(name, {file});
        }
        return a;
    }

private Q_SLOTS:
    void initTestCase()
    {
        TestSupport::requireThrowawayEnvironment();
        QLoggingCategory::setFilterRules(QStringLiteral("vellumo.capture.info=true"));
        previousHandler = qInstallMessageHandler(&collectLog);
    }

    void cleanupTestCase() { m_apps.clear(); }

    // PRIMARY owned by another window is stale and must not be taken for the
    // selection: here it is ours, and the fixture's Copy menu item answers.
    void readsThroughCopyMenuItemWhenNothingElseAnswers()
    {
        QVERIFY2(app(QStringLiteral("fixture")).activate(), "the fixture shows no window");
        QGuiApplication::clipboard()->setText(QStringLiteral("stale primary"),
                                              QClipboard::Selection);
        offerUserClipboard();
        takeLog();

        const auto text = capture();
        const QStringList log = takeLog();
        QVERIFY2(text.has_value(), qPrintable(log.join(u'\n')));
        QCOMPARE(*text, QStringLiteral("fixture 🙂 copy"));
        QCOMPARE(missing(log, {"Failed to get text via AXUI: AXError.AttributeUnsupported",
                               "PRIMARY selection is not owned by the active application",
                               "Checking the Edit menu, index: 1",
                               "Successfully got non-empty text via menu action copy"}),
                 QString());
        QVERIFY(
            !log.contains(QStringLiteral("Successfully got non-empty text via PRIMARY selection")));
        QCOMPARE(userClipboardProblem(), QString());
    }

    // The GTK editor's own Copy item, pressed directly.
    void copiesThroughMousepadEditMenu()
    {
        QVERIFY(app(QStringLiteral("mousepad")).activate());
        QVERIFY(keys({"ctrl+Home", "Down", "Home", "shift+End"}));
        QTRY_COMPARE(primaryText(), QStringLiteral("second line here"));
        offerUserClipboard();
        takeLog();

        QFuture<std::optional<QString>> future =
            SelectionCapture::getSelectedTextByMenuBarActionCopy(context());
        QTRY_VERIFY_WITH_TIMEOUT(future.isFinished(), 5000);
        const QStringList log = takeLog();
        QVERIFY2(future.result().has_value(), qPrintable(log.join(u'\n')));
        QCOMPARE(*future.result(), QStringLiteral("second line here"));
        QCOMPARE(missing(log, {"Found enabled copy item in frontmost application menu"}),
                 QString());
        QCOMPARE(userClipboardProblem(), QString());
    }

    // An application carries out the press from its own event loop, some
    // time after the call returned: a copy that takes its time is waited
    // for; one that comes after the wait gave up never stays on the
    // clipboard: the user's contents are put back over it.
    void aCopyThatTakesItsTime_data()
    {
        QTest::addColumn<int>("delayMs");
        QTest::newRow("within the wait") << 200;
        QTest::newRow("after the wait") << SelectionCapture::pollTimeoutMs + 300;
    }

    void aCopyThatTakesItsTime()
    {
        QFETCH(int, delayMs);
        const bool inTime = delayMs < SelectionCapture::pollTimeoutMs;
        QVERIFY(app(QStringLiteral("fixture copying after %1 ms").arg(delayMs)).activate());
        offerUserClipboard();
        takeLog();
        const auto text = capture();
        QCOMPARE(text, inTime ? std::optional<QString>(QStringLiteral("late copy")) : std::nullopt);
        if (!inTime) {
            // The late copy, then the user's contents back over it.
            const quint64 afterCapture = m_pasteboard.changeCount();
            QTRY_VERIFY_WITH_TIMEOUT(m_pasteboard.changeCount() >= afterCapture + 2, 3000);
            QCOMPARE(missing(takeLog(), {"The application copied after the wait; the clipboard "
                                         "is put back"}),
                     QString());
        }
        QCOMPARE(userClipboardProblem(), QString());
    }

    // An empty clipboard keeps no snapshot: the copied text stays afterwards.
    void copiedTextStaysWhenClipboardWasEmpty()
    {
        QVERIFY(app(QStringLiteral("fixture")).activate());
        QGuiApplication::clipboard()->clear();
        QTRY_VERIFY(clipboardTargets().isEmpty());
        QCOMPARE(capture(), std::optional<QString>(QStringLiteral("fixture 🙂 copy")));
        QCOMPARE(clipboardText(), QStringLiteral("fixture 🙂 copy"));
    }

    // A stopped application cannot answer: the capture gives up after one
    // time-out for each source, and the main thread keeps running meanwhile.
    void stoppedApplicationNeitherHangsNorBlocks()
    {
        App &editor = app(QStringLiteral("mousepad"));
        QVERIFY(editor.activate());
        QVERIFY(keys({"ctrl+Home", "shift+End"}));
        QTRY_COMPARE(primaryText(), QStringLiteral("alpha beta gamma"));
        QVERIFY(::kill(pid_t(editor.pid()), SIGSTOP) == 0);
        auto resume = qScopeGuard([&] { ::kill(pid_t(editor.pid()), SIGCONT); });
        takeLog();
        const auto text = captureGivingUp("of a stopped application");
        QVERIFY2(!text, qPrintable(*text));
        QCOMPARE(missing(takeLog(), {"Failed to get text via AXUI: AXError.CannotComplete",
                                     "PRIMARY selection owner did not answer"}),
                 QString());
    }

    // The clipboard's owner is stopped: its contents cannot be read, so they
    // could not be put back after a copy. The Copy menu item is not pressed,
    // the owner keeps the clipboard, and nothing waits on it but the capture.
    void stoppedClipboardOwnerIsNeverReplaced()
    {
        QVERIFY(app(QStringLiteral("fixture")).activate());
        QProcess owner;
        owner.start(QStringLiteral("xclip"),
                    {QStringLiteral("-selection"), QStringLiteral("clipboard"),
                     QStringLiteral("-loops"), QStringLiteral("10"), QStringLiteral("-quiet")});
        QVERIFY(owner.waitForStarted());
        owner.write("held by a stopped owner");
        owner.closeWriteChannel();
        QTRY_VERIFY(!QGuiApplication::clipboard()->ownsClipboard() &&
                    selections.ownerProcessId(platform::Selection::Clipboard) == owner.processId());
        QVERIFY(::kill(pid_t(owner.processId()), SIGSTOP) == 0);
        auto end = qScopeGuard([&] {
            ::kill(pid_t(owner.processId()), SIGKILL);
            owner.waitForFinished();
        });
        takeLog();
        const auto text = captureGivingUp("beside a stopped clipboard owner");
        QVERIFY2(!text, qPrintable(*text));
        const QStringList log = takeLog();
        QCOMPARE(missing(log, {"The clipboard's owner did not answer"}), QString());
        QVERIFY(!log.contains(QStringLiteral("Executing trigger action")));
        QCOMPARE(selections.ownerProcessId(platform::Selection::Clipboard), owner.processId());
    }
};

QTEST_MAIN(CaptureDesktopTest)
#include "tst_capture_desktop.moc"
