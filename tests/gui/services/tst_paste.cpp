// The paste against the fake desktop: which chord goes to which window,
// which selection must hold the answer, and when nothing may be posted.
#include "FakeKeyInput.h"
#include "FakeSelections.h"
#include "FakeWindows.h"
#include "TestSupport.h"
#include "TextManipulationService.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QtTest>

using Outcome = TextManipulationService::Outcome;
using platform::KeyChord;
using platform::Selection;
namespace Keysym = platform::Keysym;

Q_DECLARE_METATYPE(platform::KeyChord)

namespace {

constexpr quint64 editorWindow = 0x400001;
constexpr qint64 editorProcess = 4100;
constexpr quint64 otherWindow = 0x500001;

Outcome await(QFuture<Outcome> future)
{
    QDeadlineTimer deadline(15000);
    while (!future.isFinished() && !deadline.hasExpired()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    }
    return future.isFinished() ? future.result() : Outcome::NotRead;
}

} // namespace

class PasteTest : public QObject {
    Q_OBJECT

    platform::fake::Windows m_windows;
    platform::fake::Selections m_selections;
    platform::fake::KeyInput m_keys;
    TextManipulationService m_service{m_windows, m_selections, m_keys};

    void open(const QString &instance, const QString &cls)
    {
        m_windows.add({editorWindow, editorProcess, instance, cls, QStringLiteral("notes.txt")});
        m_windows.add({otherWindow, 5100, QStringLiteral("other"), QStringLiteral("Other"), {}});
        m_windows.setActive(editorWindow);
    }

private Q_SLOTS:
    void initTestCase() { TestSupport::requireThrowawayEnvironment(); }

    void cleanup()
    {
        m_windows.close(editorWindow);
        m_windows.close(otherWindow);
        m_keys.onPost({});
        m_keys.setModifiersHeld(false);
    }

    // The application reads the selection its paste key pastes, and only
    // on that key: a wrong chord, or an answer offered on the wrong
    // selection, leaves the answer unread.
    void chordAndSelectionFollowTheWindowClass_data()
    {
        QTest::addColumn<QString>("instance");
        QTest::addColumn<QString>("cls");
        QTest::addColumn<KeyChord>("chord");
        QTest::addColumn<int>("selection");
        QTest::addRow("editor") << "mousepad"
                                << "Mousepad" << KeyChord{{Keysym::controlL}, 'v'}
                                << int(Selection::Clipboard);
        QTest::addRow("terminal emulator")
            << "xfce4-terminal"
            << "Xfce4-terminal" << KeyChord{{Keysym::controlL, Keysym::shiftL}, 'v'}
            << int(Selection::Clipboard);
        QTest::addRow("xterm") << "xterm"
                               << "XTerm" << KeyChord{{Keysym::shiftL}, Keysym::insert}
                               << int(Selection::Primary);
    }

    void chordAndSelectionFollowTheWindowClass()
    {
        QFETCH(QString, instance);
        QFETCH(QString, cls);
        QFETCH(KeyChord, chord);
        QFETCH(int, selection);
        open(instance, cls);
        QString onClipboard;
        m_keys.onPost([&](const KeyChord &posted) {
            onClipboard = QGuiApplication::clipboard()->text();
            if (posted == chord) {
                m_selections.readBy(editorProcess, Selection(selection));
            }
        });
        const int before = int(m_keys.posted().size());

        QCOMPARE(await(m_service.replaceSelectedText(QStringLiteral("Answer"), editorWindow)),
                 Outcome::Pasted);
        QCOMPARE(m_keys.posted().mid(before), QList<KeyChord>{chord});
        QCOMPARE(onClipboard, QStringLiteral("Answer"));
    }

    // The answer never lands in another window: nothing is posted, and the
    // answer waits on the clipboard.
    void nothingIsPostedWhenTheWindowIsNotThere_data()
    {
        QTest::addColumn<bool>("closed");
        QTest::addRow("window closed") << true;
        QTest::addRow("another window in front") << false;
    }

    void nothingIsPostedWhenTheWindowIsNotThere()
    {
        QFETCH(bool, closed);
        open(QStringLiteral("mousepad"), QStringLiteral("Mousepad"));
        if (closed) {
            m_windows.close(editorWindow);
        } else {
            m_windows.setActive(otherWindow);
        }
        const int before = int(m_keys.posted().size());
        QCOMPARE(await(m_service.replaceSelectedText(QStringLiteral("Kept"), editorWindow)),
                 Outcome::TargetGone);
        QCOMPARE(m_keys.posted().size(), before);
        QCOMPARE(QGuiApplication::clipboard()->text(), QStringLiteral("Kept"));
    }

    // A modifier still held from the shortcut would turn Ctrl+V into
    // Ctrl+Super+V: the chord waits for its release.
    void heldModifiersDelayTheChord()
    {
        open(QStringLiteral("mousepad"), QStringLiteral("Mousepad"));
        m_keys.setModifiersHeld(true);
        m_keys.onPost(
            [&](const KeyChord &) { m_selections.readBy(editorProcess, Selection::Clipboard); });
        const int before = int(m_keys.posted().size());
        const QFuture<Outcome> pasted =
            m_service.replaceSelectedText(QStringLiteral("Later"), editorWindow);
        QTest::qWait(200);
        QCOMPARE(m_keys.posted().size(), before);
        m_keys.setModifiersHeld(false);
        QCOMPARE(await(pasted), Outcome::Pasted);
        QCOMPARE(m_keys.posted().size(), before + 1);
    }

    // The window may go while the modifiers are held: the chord is not
    // posted into whatever came to the front instead.
    void windowThatGoesMeanwhileGetsNothing()
    {
        open(QStringLiteral("mousepad"), QStringLiteral("Mousepad"));
        m_keys.setModifiersHeld(true);
        const int before = int(m_keys.posted().size());
        const QFuture<Outcome> pasted =
            m_service.replaceSelectedText(QStringLiteral("Gone"), editorWindow);
        QTest::qWait(100);
        m_windows.close(editorWindow);
        m_windows.setActive(otherWindow);
        m_keys.setModifiersHeld(false);
        QCOMPARE(await(pasted), Outcome::TargetGone);
        QCOMPARE(m_keys.posted().size(), before);
    }
};

QTEST_MAIN(PasteTest)
#include "tst_paste.moc"
