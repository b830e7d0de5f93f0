// SPDX-License-Identifier: GPL-3.0-or-later
// The shortcut-to-paste loop against the fake desktop: the selection read
// from the active window's PRIMARY, the popup, and where the answer goes
// when the remembered window is still there, gone, or behind another one;
// and a text field of Vellumo's own window, read and replaced in place.
#include "ContentView.h"
#include "FakeKeyInput.h"
#include "FakePopupSupport.h"
#include "FakeSelections.h"
#include "FakeWindows.h"
#include "KeychainService.h"
#include "PopupHarness.h"
#include "PopupManager.h"
#include "QtOwnText.h"
#include "TestSupport.h"
#include "VendorManager.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QLineEdit>
#include <QPlainTextEdit>
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
    platform::QtOwnText m_ownText;

    std::unique_ptr<PopupManager> makeManager()
    {
        return std::make_unique<PopupManager>(m_windows, m_selections, m_keys, m_popups, m_ownText,
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

    // A window of Vellumo's own is in front: its focused field alone is read
    // (not PRIMARY, which another application holds), and the answer goes
    // into the field itself, as one edit its undo takes back, without the
    // clipboard or a key. Fields that hide their text or cannot be edited
    // give no text at all.
    void ownWindowFieldIsReadAndReplacedInPlace_data()
    {
        QTest::addColumn<QString>("field");
        QTest::addColumn<QString>("replaced");
        const QString none;
        QTest::addRow("plain text, over a line end")
            << "plain" << QStringLiteral("first %1 line").arg(answer);
        QTest::addRow("line edit") << "line" << QStringLiteral("first %1 line").arg(answer);
        QTest::addRow("hidden text") << "password" << none;
        QTest::addRow("read-only") << "readonly" << none;
    }

    void ownWindowFieldIsReadAndReplacedInPlace()
    {
        QFETCH(QString, field);
        QFETCH(QString, replaced);
        const bool plain = field != u"line" && field != u"password";
        const QString original = plain ? QStringLiteral("first line\nsecond line")
                                       : QStringLiteral("first line, second line");
        QPlainTextEdit edit(original);
        QLineEdit line(original);
        QWidget &input = plain ? static_cast<QWidget &>(edit) : line;
        edit.setReadOnly(field == u"readonly");
        line.setEchoMode(field == u"password" ? QLineEdit::Password : QLineEdit::Normal);
        // "line\nsecond": from the first line's second word into the second line.
        QTextCursor cursor = edit.textCursor();
        cursor.setPosition(6);
        cursor.setPosition(17, QTextCursor::KeepAnchor);
        edit.setTextCursor(cursor);
        line.setSelection(6, 12);
        input.show();
        QVERIFY(QTest::qWaitForWindowActive(&input));
        input.setFocus();
        m_windows.add({input.winId(), QCoreApplication::applicationPid(), QStringLiteral("vellumo"),
                       QStringLiteral("Vellumo"), QStringLiteral("Welcome to Vellumo")});
        m_windows.setActive(input.winId());
        auto forget = qScopeGuard([&] { m_windows.close(input.winId()); });
        QGuiApplication::clipboard()->setText(QStringLiteral("the user's clipboard"));

        const auto manager = makeManager();
        QSignalSpy shown(manager.get(), &PopupManager::popupShown);
        QSignalSpy replacedSpy(manager.get(), &PopupManager::textReplaced);
        if (replaced.isEmpty()) {
            const QString output = TestSupport::captureStdout([&] {
                manager->handleShortcut();
                QTest::qWait(PopupManagerTest::captureMs);
            });
            QCOMPARE(output, QStringLiteral("Hotkey pressed, getting selected text...\n"
                                            "No text selected\n"));
            QCOMPARE(shown.size(), 0);
            return;
        }
        manager->handleShortcut();
        QTRY_COMPARE(shown.size(), 1);
        QCOMPARE(manager->popup()->contentView()->text(),
                 plain ? QStringLiteral("line\nsecond") : QStringLiteral("line, second"));
        QCOMPARE(manager->originalApp().value_or(platform::Window{}).id, quint64(input.winId()));

        const int postedBefore = int(m_keys.posted().size());
        manager->handleTextReplacement(answer);
        QTRY_COMPARE(replacedSpy.size(), 1);
        const auto text = [&] { return plain ? edit.toPlainText() : line.text(); };
        QCOMPARE(text(), replaced);
        QCOMPARE(m_keys.posted().size(), postedBefore);
        QCOMPARE(QGuiApplication::clipboard()->text(), QStringLiteral("the user's clipboard"));
        QVERIFY(QMetaObject::invokeMethod(&input, "undo"));
        QCOMPARE(text(), original);
    }

private:
    // Reading the own window's field needs no other process.
    static constexpr int captureMs = 300;
    // The paste gives up once the window has not been the active one for
    // this long.
    static constexpr int settleMs =
        PopupManager::focusHandOffMs + TextManipulationService::activationTimeoutMs + 500;
};

QTEST_MAIN(PopupManagerTest)
#include "tst_popupmanager.moc"
