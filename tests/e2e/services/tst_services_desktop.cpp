// SPDX-License-Identifier: GPL-3.0-or-later
// The paste's outcomes a user can meet beside a normal replacement: an empty
// answer, a window that is no longer the active one, and a window that never
// takes the answer.
#include "Desktop.h"
#include "TestSupport.h"
#include "TextManipulationService.h"
#include "X11KeyInput.h"
#include "X11Selections.h"
#include "X11Windows.h"

#include <QClipboard>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QTest>

using namespace Desktop;

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

// Mousepad showing the document from a file of that name.
bool openEditor(App &editor, const QString &path)
{
    return writeFile(path, document) && editor.start(QStringLiteral("mousepad"), {path}) &&
           editor.activate();
}

// The editor's file once saved.
QString saved(const QString &path)
{
    keys({QStringLiteral("ctrl+s")});
    return readFile(path);
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
        const QString path = homePath(QStringLiteral("empty.txt"));
        App editor;
        QVERIFY(openEditor(editor, path));
        QVERIFY(keys({"ctrl+Home", "Down", "Home", "shift+End"}));
        offerUserClipboard();

        TextManipulationService service(m_windows, m_selections, m_keys);
        QCOMPARE(await(service.replaceSelectedText(QString(), editor.window())), Outcome::Pasted);
        QVERIFY(clipboardTargets().isEmpty());
        QTRY_COMPARE_WITH_TIMEOUT(
            saved(path), QStringLiteral("alpha beta gamma\n\nthird 🙂 emoji line\n"), 5000);
    }

    // The window to paste into is not the active one (another came to the
    // front): nothing is posted, and the answer waits on the clipboard.
    void aWindowThatIsNotActiveGetsNothing()
    {
        const QString path = homePath(QStringLiteral("inactive.txt"));
        App editor;
        App front;
        QVERIFY(openEditor(editor, path));
        QVERIFY(keys({"ctrl+a"}));
        QVERIFY(front.start(QStringLiteral("xterm"), {QStringLiteral("-e"), QStringLiteral("sleep"),
                                                      QStringLiteral("100000")}));
        QVERIFY(front.activate());

        TextManipulationService service(m_windows, m_selections, m_keys);
        QCOMPARE(await(service.replaceSelectedText(QStringLiteral("not here"), editor.window())),
                 Outcome::TargetGone);
        QCOMPARE(clipboardText(), QStringLiteral("not here"));
        QVERIFY(editor.activate());
        QTRY_COMPARE(saved(path), document);
    }

    // A window that never asks for the answer: after the bound, the answer
    // stays on the clipboard rather than being cleared unseen.
    void anAnswerNobodyTakesStaysOnTheClipboard()
    {
        // A message window: it takes keys, and never a clipboard. It names no
        // process on its window, so it is found by its title.
        App message;
        QVERIFY(message.start(QStringLiteral("xmessage"),
                              {QStringLiteral("-title"), QStringLiteral("vellumo-reads-nothing"),
                               QStringLiteral("nothing here reads the clipboard")},
                              {},
                              {QStringLiteral("--name"), QStringLiteral("vellumo-reads-nothing")}));
        QVERIFY(message.activate());

        TextManipulationService service(m_windows, m_selections, m_keys);
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(await(service.replaceSelectedText(QStringLiteral("unread"), message.window())),
                 Outcome::NotRead);
        QVERIFY(clock.elapsed() >= TextManipulationService::readTimeoutMs);
        QCOMPARE(clipboardText(), QStringLiteral("unread"));
    }
};

QTEST_MAIN(ServicesDesktopTest)
#include "tst_services_desktop.moc"
