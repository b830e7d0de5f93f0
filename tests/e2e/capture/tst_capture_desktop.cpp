// The capture's paths that no application of tests/e2e/apps takes: an
// application without an accessible text whose selection only its Copy menu
// item can read, beside someone else's stale PRIMARY; an empty clipboard; a
// stopped application and a stopped clipboard owner.
#include "DesktopApps.h"
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
#include <QMimeData>
#include <QMutex>
#include <QTest>
#include <QTimer>
#include <csignal>
#include <map>

namespace {

QMutex logMutex;
QStringList logLines;
QtMessageHandler previousHandler = nullptr;

void collectLog(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (context.category && QByteArray(context.category) == "vellumo.capture") {
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

const QString document =
    QStringLiteral("alpha beta gamma\nsecond line here\nthird 🙂 emoji line\n");

// The user's clipboard before a capture: three formats that must all survive.
void setUserClipboard()
{
    auto *data = new QMimeData;
    data->setText(QStringLiteral("user clip"));
    data->setHtml(QStringLiteral("<b>user clip</b>"));
    data->setData(QStringLiteral("application/x-vellumo-test"), QByteArrayLiteral("\x01\x02raw"));
    QGuiApplication::clipboard()->setMimeData(data);
}

void verifyUserClipboardBack()
{
    const QStringList targets = DesktopApps::selectionTargets(QStringLiteral("clipboard"));
    QVERIFY2(targets.contains(QStringLiteral("text/html")), qPrintable(targets.join(u' ')));
    QVERIFY2(targets.contains(QStringLiteral("application/x-vellumo-test")),
             qPrintable(targets.join(u' ')));
    QCOMPARE(DesktopApps::readSelection(QStringLiteral("clipboard"), QStringLiteral("UTF8_STRING")),
             QByteArray("user clip"));
    QCOMPARE(DesktopApps::readSelection(QStringLiteral("clipboard"), QStringLiteral("text/html")),
             QByteArray("<b>user clip</b>"));
    QCOMPARE(DesktopApps::readSelection(QStringLiteral("clipboard"),
                                        QStringLiteral("application/x-vellumo-test")),
             QByteArray("\x01\x02raw"));
}

const platform::x11::Windows windows;
const platform::x11::Selections selections;
const platform::x11::KeyInput keys;

} // namespace

class CaptureDesktopTest : public QObject {
    Q_OBJECT

private:
    std::map<QString, DesktopApps::App> m_apps;
    // Counts clipboard changes from the start on.
    Pasteboard m_pasteboard{selections};

    SelectionCapture::Context context() { return {windows, selections, keys, m_pasteboard}; }

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

    DesktopApps::App &app(const QString &name)
    {
        DesktopApps::App &a = m_apps[name];
        if (a.isRunning()) {
            return a;
        }
        const QString file =
            DesktopApps::writeFile(QStringLiteral("capture-%1.txt").arg(name), document);
        if (name == u"xterm") {
            a = DesktopApps::start(
                QStringLiteral("xterm"),
                {QStringLiteral("-geometry"), QStringLiteral("80x10+40+40"), QStringLiteral("-e"),
                 QStringLiteral("sh"), QStringLiteral("-c"),
                 QStringLiteral("cat \"$1\"; exec sleep 100000"), QStringLiteral("sh"), file});
        } else if (name == u"fixture") {
            a = DesktopApps::start(QStringLiteral(COPY_FIXTURE),
                                   {QStringLiteral("fixture 🙂 copy")});
        } else if (name.startsWith(u"fixture copying after ")) {
            // "fixture copying after N ms"
            a = DesktopApps::start(QStringLiteral(COPY_FIXTURE),
                                   {QStringLiteral("late copy"), name.split(u' ').at(3)});
        } else {
            a = DesktopApps::start(name, {file});
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

    void cleanupTestCase()
    {
        for (auto &[name, a] : m_apps) {
            DesktopApps::stop(a);
        }
    }

    // PRIMARY owned by another window is stale and must not be taken for the
    // selection: here it is ours, and the fixture's Copy menu item answers.
    void readsThroughCopyMenuItemWhenNothingElseAnswers()
    {
        DesktopApps::App &fixture = app(QStringLiteral("fixture"));
        QVERIFY2(fixture.window != 0, "the fixture did not show a window");
        QVERIFY(DesktopApps::activate(fixture.window));
        QGuiApplication::clipboard()->setText(QStringLiteral("stale primary"),
                                              QClipboard::Selection);
        setUserClipboard();
        takeLog();

        const auto text = capture();
        const QStringList log = takeLog();
        QVERIFY2(text.has_value(), qPrintable(log.join(u'\n')));
        QCOMPARE(*text, QStringLiteral("fixture 🙂 copy"));
        QVERIFY2(log.contains(
                     QStringLiteral("Failed to get text via AXUI: AXError.AttributeUnsupported")),
                 qPrintable(log.join(u'\n')));
        QVERIFY2(log.contains(
                     QStringLiteral("PRIMARY selection is not owned by the active application")),
                 qPrintable(log.join(u'\n')));
        QVERIFY2(log.contains(QStringLiteral("Checking the Edit menu, index: 1")),
                 qPrintable(log.join(u'\n')));
        QVERIFY2(
            log.contains(QStringLiteral("Successfully got non-empty text via menu action copy")),
            qPrintable(log.join(u'\n')));
        QVERIFY(
            !log.contains(QStringLiteral("Successfully got non-empty text via PRIMARY selection")));
        verifyUserClipboardBack();
    }

    // The GTK editor's own Copy item, pressed directly.
    void copiesThroughMousepadEditMenu()
    {
        DesktopApps::App &editor = app(QStringLiteral("mousepad"));
        QVERIFY(editor.window != 0);
        QVERIFY(DesktopApps::activate(editor.window));
        QVERIFY(DesktopApps::keys({"ctrl+Home", "Down", "Home", "shift+End"}));
        setUserClipboard();
        takeLog();

        QFuture<std::optional<QString>> future =
            SelectionCapture::getSelectedTextByMenuBarActionCopy(context());
        QTRY_VERIFY_WITH_TIMEOUT(future.isFinished(), 5000);
        const QStringList log = takeLog();
        QVERIFY2(future.result().has_value(), qPrintable(log.join(u'\n')));
        QCOMPARE(*future.result(), QStringLiteral("second line here"));
        QVERIFY2(
            log.contains(QStringLiteral("Found enabled copy item in frontmost application menu")),
            qPrintable(log.join(u'\n')));
        verifyUserClipboardBack();
    }

    // An application carries out the press from its own event loop, some
    // time after the call returned: a copy that takes its time is waited for.
    void waitsForACopyThatTakesItsTime()
    {
        DesktopApps::App &fixture = app(QStringLiteral("fixture copying after 200 ms"));
        QVERIFY(DesktopApps::activate(fixture.window));
        setUserClipboard();
        takeLog();
        const auto text = capture();
        QVERIFY2(text.has_value(), qPrintable(takeLog().join(u'\n')));
        QCOMPARE(*text, QStringLiteral("late copy"));
        verifyUserClipboardBack();
    }

    // A copy that comes after the wait gave up never stays on the clipboard:
    // the user's contents are put back over it.
    void aCopyAfterTheWaitLeavesTheUserClipboard()
    {
        const int delayMs = SelectionCapture::pollTimeoutMs + 300;
        DesktopApps::App &fixture = app(QStringLiteral("fixture copying after %1 ms").arg(delayMs));
        QVERIFY(DesktopApps::activate(fixture.window));
        setUserClipboard();
        takeLog();
        const auto text = capture();
        QVERIFY2(!text.has_value(), qPrintable(*text));
        // The late copy, then the user's contents back over it.
        const quint64 afterCapture = m_pasteboard.changeCount();
        QTRY_VERIFY_WITH_TIMEOUT(m_pasteboard.changeCount() >= afterCapture + 2, 3000);
        QVERIFY2(takeLog().contains(QStringLiteral(
                     "The application copied after the wait; the clipboard is put back")),
                 "no late copy seen");
        verifyUserClipboardBack();
    }

    // An empty clipboard keeps no snapshot: the copied text stays afterwards.
    void copiedTextStaysWhenClipboardWasEmpty()
    {
        DesktopApps::App &fixture = app(QStringLiteral("fixture"));
        QVERIFY(DesktopApps::activate(fixture.window));
        QGuiApplication::clipboard()->clear();
        QTest::qWait(100);
        const auto text = capture();
        QCOMPARE(text.value_or(QString()), QStringLiteral("fixture 🙂 copy"));
        QCOMPARE(
            DesktopApps::readSelection(QStringLiteral("clipboard"), QStringLiteral("UTF8_STRING")),
            QStringLiteral("fixture 🙂 copy").toUtf8());
    }

    // A stopped application cannot answer: the capture gives up after one
    // time-out and the main thread keeps running meanwhile.
    void stoppedApplicationNeitherHangsNorBlocks()
    {
        DesktopApps::App &editor = app(QStringLiteral("mousepad"));
        QVERIFY(DesktopApps::activate(editor.window));
        QVERIFY(DesktopApps::keys({"ctrl+Home", "shift+End"}));
        QVERIFY(::kill(pid_t(editor.pid), SIGSTOP) == 0);
        auto resume = qScopeGuard([&] { ::kill(pid_t(editor.pid), SIGCONT); });

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
        ticker.stop();
        const QStringList log = takeLog();

        QVERIFY2(!text.has_value(), qPrintable(text.value_or(QString())));
        QVERIFY2(
            log.contains(QStringLiteral("Failed to get text via AXUI: AXError.CannotComplete")),
            qPrintable(log.join(u'\n')));
        // A time-out lets the next source run: each gives up after its own.
        QVERIFY2(log.contains(QStringLiteral("PRIMARY selection owner did not answer")),
                 qPrintable(log.join(u'\n')));
        qInfo("capture of a stopped application: %lld ms, longest main-thread gap %lld ms", elapsed,
              longestGap);
        // Three time-outs of 300 ms at most (accessibility, PRIMARY, the menu).
        QVERIFY2(elapsed < 1500, qPrintable(QString::number(elapsed)));
        QVERIFY2(longestGap < 200, qPrintable(QString::number(longestGap)));
    }

    // The clipboard's owner is stopped: its contents cannot be read, so they
    // could not be put back after a copy. The Copy menu item is not pressed,
    // the owner keeps the clipboard, and nothing waits on it but the capture.
    void stoppedClipboardOwnerIsNeverReplaced()
    {
        DesktopApps::App &fixture = app(QStringLiteral("fixture"));
        QVERIFY(DesktopApps::activate(fixture.window));
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
        takeLog();
        const auto text = capture(10000);
        const qint64 elapsed = clock.elapsed();
        ticker.stop();
        const QStringList log = takeLog();
        QVERIFY2(!text.has_value(), qPrintable(text.value_or(QString())));
        QVERIFY2(log.contains(QStringLiteral("The clipboard's owner did not answer")),
                 qPrintable(log.join(u'\n')));
        QVERIFY(!log.contains(QStringLiteral("Executing trigger action")));
        QCOMPARE(selections.ownerProcessId(platform::Selection::Clipboard), owner.processId());
        qInfo("capture beside a stopped clipboard owner: %lld ms, longest main-thread gap %lld ms",
              elapsed, longestGap);
        QVERIFY2(elapsed < 1500, qPrintable(QString::number(elapsed)));
        QVERIFY2(longestGap < 200, qPrintable(QString::number(longestGap)));
    }
};

QTEST_MAIN(CaptureDesktopTest)
#include "tst_capture_desktop.moc"
