// SPDX-License-Identifier: GPL-3.0-or-later
// The paste against the fake desktop: which chord goes to which window,
// which selection must hold the answer, and when nothing may be posted.
#include "Await.h"
#include "FakeKeyInput.h"
#include "FakeSelections.h"
#include "FakeWindows.h"
#include "TestSupport.h"
#include "TextManipulationService.h"

#include <QClipboard>
#include <QElapsedTimer>
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

Outcome await(const QFuture<Outcome> &future)
{
    return TestSupport::finishes(future, 15000) ? future.result() : Outcome::NotRead;
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
        QTest::addRow("editor") << "mousepad" << u"Mousepad"_qs << KeyChord{{Keysym::controlL}, 'v'}
                                << int(Selection::Clipboard);
        QTest::addRow("terminal emulator")
            << "xfce4-terminal" << u"Xfce4-terminal"_qs
            << KeyChord{{Keysym::controlL, Keysym::shiftL}, 'v'} << int(Selection::Clipboard);
        QTest::addRow("xterm") << "xterm" << u"XTerm"_qs
                               << KeyChord{{Keysym::shiftL}, Keysym::insert}
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

    // The chord waits for the window to be the active one and for the
    // modifiers still held from the shortcut (they would turn Ctrl+V into
    // Ctrl+Super+V). The answer never lands in another window: when the
    // window is not there, or goes meanwhile, nothing is posted and the
    // answer waits on the clipboard.
    void theChordWaitsForTheWindowAndTheModifiers_data()
    {
        QTest::addColumn<bool>("held");
        QTest::addColumn<QString>("meanwhile");
        QTest::addColumn<bool>("pasted");
        QTest::addRow("window closed") << false << "closed" << false;
        QTest::addRow("another window in front") << false << "front" << false;
        QTest::addRow("modifiers held") << true << "" << true;
        QTest::addRow("window goes while the modifiers are held")
            << true << "closed, front" << false;
    }

    void theChordWaitsForTheWindowAndTheModifiers()
    {
        QFETCH(bool, held);
        QFETCH(QString, meanwhile);
        QFETCH(bool, pasted);
        open(QStringLiteral("mousepad"), QStringLiteral("Mousepad"));
        m_keys.setModifiersHeld(held);
        m_keys.onPost(
            [&](const KeyChord &) { m_selections.readBy(editorProcess, Selection::Clipboard); });
        auto happens = [&] {
            if (meanwhile.contains(u"closed")) {
                m_windows.close(editorWindow);
            }
            if (meanwhile.contains(u"front")) {
                m_windows.setActive(otherWindow);
            }
        };
        const int before = int(m_keys.posted().size());
        if (!held) {
            happens();
        }
        const QFuture<Outcome> outcome =
            m_service.replaceSelectedText(QStringLiteral("Answer"), editorWindow);
        if (held) {
            QTest::qWait(200); // time enough for a chord that does not wait
            QCOMPARE(m_keys.posted().size(), before);
            happens();
            m_keys.setModifiersHeld(false);
        }
        QCOMPARE(await(outcome), pasted ? Outcome::Pasted : Outcome::TargetGone);
        QCOMPARE(m_keys.posted().size(), before + (pasted ? 1 : 0));
        if (!pasted) {
            QCOMPARE(QGuiApplication::clipboard()->text(), QStringLiteral("Answer"));
        }
    }

    // An application that held the clipboard itself may paste its own
    // earlier copy until it has looked at the new owner's formats: the chord
    // waits for that look (or, from one that never looks, for a while).
    // When another application held it, the chord goes at once.
    void theChordWaitsForTheTargetToSeeTheNewOwner_data()
    {
        QTest::addColumn<qint64>("owner");
        QTest::addColumn<bool>("looks");
        QTest::addRow("target held it, looks") << editorProcess << true;
        QTest::addRow("target held it, never looks") << editorProcess << false;
        QTest::addRow("another application held it") << qint64(5100) << false;
    }

    void theChordWaitsForTheTargetToSeeTheNewOwner()
    {
        QFETCH(qint64, owner);
        QFETCH(bool, looks);
        open(QStringLiteral("libreoffice-writer"), QStringLiteral("libreoffice-writer"));
        m_selections.setContent(Selection::Clipboard,
                                platform::fake::Selections::text(owner, QStringLiteral("Old")));
        auto clearOwner =
            qScopeGuard([this] { m_selections.setContent(Selection::Clipboard, {}); });
        m_keys.onPost(
            [&](const KeyChord &) { m_selections.readBy(editorProcess, Selection::Clipboard); });
        const int before = int(m_keys.posted().size());
        QElapsedTimer clock;
        clock.start();
        const QFuture<Outcome> outcome =
            m_service.replaceSelectedText(QStringLiteral("Answer"), editorWindow);
        if (owner != editorProcess) {
            QCOMPARE(m_keys.posted().size(), before + 1);
        } else {
            QTest::qWait(200); // time enough for a chord that does not wait
            QCOMPARE(m_keys.posted().size(), before);
            if (looks) {
                m_selections.lookBy(editorProcess, Selection::Clipboard);
                QTRY_COMPARE_WITH_TIMEOUT(m_keys.posted().size(), before + 1, 250);
            }
        }
        QCOMPARE(await(outcome), Outcome::Pasted);
        QCOMPARE(m_keys.posted().size(), before + 1);
        if (owner == editorProcess && !looks) {
            QVERIFY(clock.elapsed() >= TextManipulationService::ownerLookTimeoutMs);
        }
    }
};

QTEST_MAIN(PasteTest)
#include "tst_paste.moc"
