// The paste's outcomes a user can meet beside a normal replacement: an empty
// answer, a window that is no longer the active one, and a window that never
// takes the answer.
#include "DesktopApps.h"
#include "TestSupport.h"
#include "TextManipulationService.h"
#include "X11KeyInput.h"
#include "X11Selections.h"
#include "X11Windows.h"

#include <QClipboard>
#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QProcess>
#include <QTest>

namespace {

using Outcome = TextManipulationService::Outcome;

const QString document =
    QStringLiteral("alpha beta gamma\nsecond line here\nthird 🙂 emoji line\n");

Outcome await(QFuture<Outcome> future, int timeoutMs = 15000)
{
    QDeadlineTimer deadline(timeoutMs);
    while (!future.isFinished() && !deadline.hasExpired()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    }
    return future.isFinished() ? future.result() : Outcome::NotRead;
}

QString readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

QString clipboardText()
{
    return QString::fromUtf8(
        DesktopApps::readSelection(QStringLiteral("clipboard"), QStringLiteral("UTF8_STRING")));
}

} // namespace

class ServicesDesktopTest : public QObject {
    Q_OBJECT

    const platform::x11::Windows m_windows;
    const platform::x11::Selections m_selections;
    const platform::x11::KeyInput m_keys;

private Q_SLOTS:
    void initTestCase() { TestSupport::requireThrowawayEnvironment(); }

    // An empty answer replaces the selection with nothing; above all the
    // user's earlier clipboard must not be pasted in its place.
    void anEmptyAnswerReplacesWithNothing()
    {
        const QString path = DesktopApps::writeFile(QStringLiteral("empty.txt"), document);
        DesktopApps::App editor = DesktopApps::start(QStringLiteral("mousepad"), {path});
        auto cleanup = qScopeGuard([&] { DesktopApps::stop(editor); });
        QVERIFY(editor.window != 0);
        QVERIFY(DesktopApps::activate(editor.window));
        QVERIFY(DesktopApps::keys({"ctrl+Home", "Down", "Home", "shift+End"}));
        QGuiApplication::clipboard()->setText(QStringLiteral("user clip"));

        TextManipulationService service(m_windows, m_selections, m_keys);
        QCOMPARE(await(service.replaceSelectedText(QString(), editor.window)), Outcome::Pasted);
        QVERIFY(DesktopApps::selectionTargets(QStringLiteral("clipboard")).isEmpty());
        const auto saved = [&path] {
            DesktopApps::keys({"ctrl+s"});
            return readFile(path);
        };
        QTRY_COMPARE_WITH_TIMEOUT(
            saved(), QStringLiteral("alpha beta gamma\n\nthird 🙂 emoji line\n"), 5000);
    }

    // The window to paste into is not the active one (another came to the
    // front): nothing is posted, and the answer waits on the clipboard.
    void aWindowThatIsNotActiveGetsNothing()
    {
        const QString path = DesktopApps::writeFile(QStringLiteral("inactive.txt"), document);
        DesktopApps::App editor = DesktopApps::start(QStringLiteral("mousepad"), {path});
        DesktopApps::App front = DesktopApps::start(
            QStringLiteral("xterm"),
            {QStringLiteral("-e"), QStringLiteral("sleep"), QStringLiteral("100000")});
        auto cleanup = qScopeGuard([&] {
            DesktopApps::stop(editor);
            DesktopApps::stop(front);
        });
        QVERIFY(editor.window != 0 && front.window != 0);
        QVERIFY(DesktopApps::activate(editor.window));
        QVERIFY(DesktopApps::keys({"ctrl+a"}));
        QVERIFY(DesktopApps::activate(front.window));

        TextManipulationService service(m_windows, m_selections, m_keys);
        QCOMPARE(await(service.replaceSelectedText(QStringLiteral("not here"), editor.window)),
                 Outcome::TargetGone);
        QCOMPARE(clipboardText(), QStringLiteral("not here"));
        QVERIFY(DesktopApps::activate(editor.window));
        QVERIFY(DesktopApps::keys({"ctrl+s"}));
        QTRY_COMPARE(readFile(path), document);
    }

    // A window that never asks for the answer: after the bound, the answer
    // stays on the clipboard rather than being cleared unseen.
    void anAnswerNobodyTakesStaysOnTheClipboard()
    {
        // A message window: it takes keys, and never a clipboard. It names no
        // process on its window, so it is found by its title.
        QProcess program;
        program.start(QStringLiteral("xmessage"),
                      {QStringLiteral("-title"), QStringLiteral("vellumo-reads-nothing"),
                       QStringLiteral("nothing here reads the clipboard")});
        auto cleanup = qScopeGuard([&] {
            program.kill();
            program.waitForFinished();
        });
        DesktopApps::App message;
        QTRY_VERIFY((message.window = DesktopApps::findWindowByName(
                         QStringLiteral("vellumo-reads-nothing"))) != 0);
        QVERIFY(DesktopApps::activate(message.window));

        TextManipulationService service(m_windows, m_selections, m_keys);
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(await(service.replaceSelectedText(QStringLiteral("unread"), message.window)),
                 Outcome::NotRead);
        QVERIFY(clock.elapsed() >= TextManipulationService::readTimeoutMs);
        QCOMPARE(clipboardText(), QStringLiteral("unread"));
    }
};

QTEST_MAIN(ServicesDesktopTest)
#include "tst_services_desktop.moc"
