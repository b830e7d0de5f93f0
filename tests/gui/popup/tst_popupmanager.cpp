// SPDX-License-Identifier: GPL-3.0-or-later
// The shortcut-to-paste loop against the fake desktop: the selection read
// from the active window's PRIMARY, the popup, and where the answer goes
// when the remembered window is still there, gone, or behind another one.
#include "FakeKeyInput.h"
#include "FakePopupSupport.h"
#include "FakeSelections.h"
#include "FakeWindows.h"
#include "KeychainService.h"
#include "PopupHarness.h"
#include "PopupManager.h"
#include "TestSupport.h"
#include "VendorManager.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QtTest>

using platform::Selection;

namespace {

constexpr quint64 editorWindow = 0x400001;
constexpr qint64 editorProcess = 4100;
constexpr quint64 frontWindow = 0x500001;
const QString selected = QStringLiteral("words the user selected");
const QString answer = QStringLiteral("the answer of the provider");

} // namespace

class PopupManagerTest : public QObject {
    Q_OBJECT

    ProviderSetup m_setup;
    platform::fake::Windows m_windows;
    platform::fake::Selections m_selections;
    platform::fake::KeyInput m_keys;
    platform::fake::PopupSupport m_popups;

    std::unique_ptr<PopupManager> makeManager()
    {
        return std::make_unique<PopupManager>(m_windows, m_selections, m_keys, m_popups,
                                              m_setup.configureNone(), KeychainService::shared());
    }

private Q_SLOTS:
    void initTestCase()
    {
        TestSupport::requireThrowawayEnvironment();
        quietOffscreenWarnings();
        // The fake desktop has no accessibility tree and no menus to press:
        // PRIMARY alone, which must still learn which process is in front.
        qputenv("VELLUMO_CAPTURE_SOURCES", "primary");
        m_keys.onPost([this](const platform::KeyChord &) {
            m_selections.readBy(editorProcess, Selection::Clipboard);
        });
    }

    void init()
    {
        m_windows.add({editorWindow, editorProcess, QStringLiteral("mousepad"),
                       QStringLiteral("Mousepad"), QStringLiteral("notes.txt - Mousepad")});
        m_windows.add({frontWindow, 5100, QStringLiteral("xclock"), QStringLiteral("XClock"),
                       QStringLiteral("clock")});
        m_windows.setActive(editorWindow);
        m_windows.setActivationRefused(false);
        m_selections.setContent(Selection::Primary,
                                platform::fake::Selections::text(editorProcess, selected));
    }

    void cleanup()
    {
        m_windows.close(editorWindow);
        m_windows.close(frontWindow);
    }

    void answerGoesToTheRememberedWindowOnly_data()
    {
        QTest::addColumn<QString>("meanwhile");
        QTest::addColumn<bool>("pasted");
        QTest::addColumn<QStringList>("printed");
        const QStringList start{QStringLiteral("Activating original app: notes.txt - Mousepad"),
                                QStringLiteral("Closing popup"),
                                QStringLiteral("Starting text replacement...")};
        const QStringList done = start + QStringList{QStringLiteral("Text replacement done")};
        const QStringList gone =
            start + QStringList{QStringLiteral("No original app found!"),
                                QStringLiteral("The answer is on the clipboard.")};
        QTest::addRow("window still in front") << "nothing" << true << done;
        QTest::addRow("another window came to the front") << "front" << true << done;
        QTest::addRow("window manager keeps another window in front") << "refuse" << false << gone;
    }

    void answerGoesToTheRememberedWindowOnly()
    {
        QFETCH(QString, meanwhile);
        QFETCH(bool, pasted);
        QFETCH(QStringList, printed);
        const auto manager = makeManager();
        QSignalSpy shown(manager.get(), &PopupManager::popupShown);
        QSignalSpy replaced(manager.get(), &PopupManager::textReplaced);
        const QString opening = TestSupport::captureStdout([&] {
            manager->handleShortcut();
            QTRY_COMPARE(shown.size(), 1);
        });
        QVERIFY2(opening.contains(QStringLiteral("Popup created and shown")), qPrintable(opening));
        QCOMPARE(manager->originalApp().value_or(platform::Window{}).id, editorWindow);

        if (meanwhile != u"nothing") {
            m_windows.setActive(frontWindow);
            m_windows.setActivationRefused(meanwhile == u"refuse");
        }
        const int postedBefore = int(m_keys.posted().size());
        const int activationsBefore = int(m_windows.activations().size());
        const QString output = TestSupport::captureStdout([&] {
            manager->handleTextReplacement(answer);
            if (pasted) {
                QTRY_COMPARE(replaced.size(), 1);
            } else {
                QTest::qWait(PopupManagerTest::settleMs);
            }
        });
        QCOMPARE(output.split(u'\n', Qt::SkipEmptyParts), printed);
        QCOMPARE(m_keys.posted().size(), postedBefore + (pasted ? 1 : 0));
        // Asked for only when it is not the active window already.
        QCOMPARE(m_windows.activations().mid(activationsBefore),
                 meanwhile == u"nothing" ? QList<quint64>{} : QList<quint64>{editorWindow});
        QCOMPARE(QGuiApplication::clipboard()->text(), answer);
        // Neither the selection nor the answer is printed without --verbose.
        QVERIFY(!(opening + output).contains(selected));
        QVERIFY(!(opening + output).contains(answer));
    }

    void withoutASelectionThereIsNoWindowToPasteInto()
    {
        const auto manager = makeManager();
        const int postedBefore = int(m_keys.posted().size());
        const QString output = TestSupport::captureStdout([&] {
            manager->handleTextReplacement(answer);
            QTest::qWait(PopupManagerTest::settleMs);
        });
        QCOMPARE(output, QStringLiteral("No original app found!\n"));
        QCOMPARE(m_keys.posted().size(), postedBefore);
    }

private:
    // The paste gives up once the window has not been the active one for
    // this long.
    static constexpr int settleMs =
        PopupManager::focusHandOffMs + TextManipulationService::activationTimeoutMs + 500;
};

QTEST_MAIN(PopupManagerTest)
#include "tst_popupmanager.moc"
