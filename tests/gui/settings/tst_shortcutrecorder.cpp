// SPDX-License-Identifier: GPL-3.0-or-later
// The shortcut recorder driven with key and mouse events: what it records,
// what it refuses (a beep, an alert), how recording ends, and that the
// popup's shortcut stays silent while it records. The "system" check runs
// against the platform's fake hot-key backend, where a combination can be
// held by another client.
#include "FakeHotKeys.h"
#include "GlobalShortcuts.h"
#include "HotKeyLayer.h"
#include "KeyTable.h"
#include "Settings.h"
#include "ShortcutRecorder.h"
#include "TestSupport.h"

#include <QAction>
#include <QPushButton>
#include <QSignalSpy>
#include <QVBoxLayout>
#include <QtTest>
#include <memory>

using namespace GlobalShortcuts;

Q_DECLARE_METATYPE(std::optional<GlobalShortcuts::Shortcut>)

namespace {

constexpr int ctrl = KeyTable::controlKey;
constexpr int alt = KeyTable::optionKey;
constexpr int shift = KeyTable::shiftKey;
constexpr int super = KeyTable::cmdKey;

const Shortcut ctrlAltJ(38, ctrl | alt);

platform::fake::HotKeyBackend &fakeBackend()
{
    return *static_cast<platform::fake::HotKeyBackend *>(HotKeyLayer::shared().backend());
}

const Shortcut &defaultShortcut()
{
    return *Name::showPopup().defaultShortcut();
}

// A window with a field before the recorder and one after it.
struct Host {
    std::unique_ptr<QWidget> window = std::make_unique<QWidget>();
    QLineEdit *before = new QLineEdit(window.get());
    ShortcutRecorder *recorder = new ShortcutRecorder(Name::showPopup(), window.get());
    QLineEdit *after = new QLineEdit(window.get());

    Host()
    {
        auto *layout = new QVBoxLayout(window.get());
        layout->setContentsMargins(40, 40, 40, 40);
        layout->addWidget(before);
        layout->addWidget(recorder);
        layout->addWidget(after);
        window->show();
        window->activateWindow();
    }
};

} // namespace

class ShortcutRecorderTest : public QObject {
    Q_OBJECT

    int m_popupPresses = 0;
    std::unique_ptr<Host> m_host;

    ShortcutRecorder *recorder() const { return m_host->recorder; }

    // What the window manager does when an alert closes: the window under
    // it is active again. (The offscreen platform leaves no window active.)
    void reactivate() const
    {
        m_host->window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_host->window.get()));
    }

    // Closes the alert with one of its buttons; the window is active again.
    void dismiss(QPushButton *button)
    {
        QPointer<QMessageBox> alert = recorder()->alert();
        QVERIFY(button);
        button->click();
        QTRY_VERIFY(!alert);
        reactivate();
    }

    bool startRecording()
    {
        QTest::mouseClick(recorder(), Qt::LeftButton);
        return recorder()->isRecording();
    }

private Q_SLOTS:
    void initTestCase()
    {
        TestSupport::requireThrowawayEnvironment();
        qRegisterMetaType<std::optional<Shortcut>>();
        HotKeyLayer::shared().setBackend(platform::fake::HotKeys().makeBackend());
        onKeyDown(Name::showPopup(), [this] { ++m_popupPresses; });
    }

    void init()
    {
        setShortcut(defaultShortcut(), Name::showPopup());
        fakeBackend().refused.clear();
        m_popupPresses = 0;
        m_host = std::make_unique<Host>();
        QVERIFY(QTest::qWaitForWindowActive(m_host->window.get()));
        QVERIFY(!recorder()->isRecording());
    }

    void cleanup()
    {
        m_host.reset();
        QVERIFY(!isPaused());
    }

    void showsTheShortcutAndOffersToClearIt()
    {
        QCOMPARE(recorder()->text(), QStringLiteral("Ctrl+Super+/"));
        QCOMPARE(recorder()->placeholderText(), QStringLiteral("Record Shortcut"));
        auto *clear = recorder()->findChild<QAction *>(QStringLiteral("clearShortcut"));
        QVERIFY(clear && clear->isVisible());
        // A change made elsewhere shows at once.
        setShortcut(std::nullopt, Name::showPopup());
        QCOMPARE(recorder()->text(), QString());
        QVERIFY(!clear->isVisible());
        setShortcut(ctrlAltJ, Name::showPopup());
        QCOMPARE(recorder()->text(), QStringLiteral("Ctrl+Alt+J"));
        QVERIFY(clear->isVisible());
        clear->trigger();
        QCOMPARE(getShortcut(Name::showPopup()), std::nullopt);
        QCOMPARE(recorder()->text(), QString());
        QVERIFY(!clear->isVisible());
    }

    // Recording pauses the global shortcuts: pressing the popup's own
    // shortcut then opens nothing.
    void recordingPausesTheShortcuts()
    {
        QSignalSpy recording(recorder(), &ShortcutRecorder::recordingChanged);
        const platform::HotKey popupKey = hotKeyFor(defaultShortcut());
        QVERIFY(fakeBackend().press(popupKey));
        QCOMPARE(m_popupPresses, 1);

        QVERIFY(startRecording());
        QCOMPARE(recorder()->placeholderText(), QStringLiteral("Press Shortcut"));
        QCOMPARE(recorder()->text(), QString());
        QVERIFY(isPaused());
        QVERIFY(fakeBackend().press(popupKey));
        QCOMPARE(m_popupPresses, 1);

        QTest::keyClick(recorder(), Qt::Key_Escape);
        QCOMPARE(recorder()->placeholderText(), QStringLiteral("Record Shortcut"));
        QVERIFY(fakeBackend().press(popupKey));
        QCOMPARE(m_popupPresses, 2);
        QCOMPARE(recording, (QList<QList<QVariant>>{{true}, {false}}));
    }

    // Without Control, Alt or Super only a function key is taken; a key
    // with no stored form never is.
    void refusedKeysBeep_data()
    {
        QTest::addColumn<int>("key");
        QTest::addColumn<int>("modifiers");
        QTest::newRow("a letter") << int(Qt::Key_K) << int(Qt::NoModifier);
        QTest::newRow("Shift+letter") << int(Qt::Key_K) << int(Qt::ShiftModifier);
        QTest::newRow("a digit") << int(Qt::Key_5) << int(Qt::NoModifier);
        QTest::newRow("Space") << int(Qt::Key_Space) << int(Qt::NoModifier);
        QTest::newRow("Return") << int(Qt::Key_Return) << int(Qt::NoModifier);
        QTest::newRow("Shift+Tab") << int(Qt::Key_Backtab) << int(Qt::ShiftModifier);
        QTest::newRow("Shift+Delete") << int(Qt::Key_Delete) << int(Qt::ShiftModifier);
        QTest::newRow("F21, no stored form") << int(Qt::Key_F21) << int(Qt::NoModifier);
        QTest::newRow("Ctrl+F30, no stored form") << int(Qt::Key_F30) << int(Qt::ControlModifier);
        QTest::newRow("Ctrl+a key of no keyboard")
            << int(Qt::Key_LaunchMail) << int(Qt::ControlModifier);
    }

    void refusedKeysBeep()
    {
        QFETCH(int, key);
        QFETCH(int, modifiers);
        QSignalSpy beeps(recorder(), &ShortcutRecorder::beeped);
        QSignalSpy changes(recorder(), &ShortcutRecorder::changed);
        QVERIFY(startRecording());
        QTest::keyClick(recorder(), Qt::Key(key), Qt::KeyboardModifiers(modifiers));
        QCOMPARE(beeps.size(), 1);
        QVERIFY(changes.isEmpty());
        QVERIFY(recorder()->isRecording());
        QVERIFY(!recorder()->alert());
        QCOMPARE(getShortcut(Name::showPopup()), defaultShortcut());
    }

    void allowedKeysAreStored_data()
    {
        QTest::addColumn<int>("key");
        QTest::addColumn<int>("modifiers");
        QTest::addColumn<int>("keyCode");
        QTest::addColumn<int>("storedModifiers");
        QTest::addColumn<QString>("text");
        QTest::newRow("F5 alone") << int(Qt::Key_F5) << int(Qt::NoModifier) << 96 << 0 << "F5";
        QTest::newRow("Shift+F12")
            << int(Qt::Key_F12) << int(Qt::ShiftModifier) << 111 << shift << "Shift+F12";
        QTest::newRow("Ctrl+Alt+K") << int(Qt::Key_K) << int(Qt::ControlModifier | Qt::AltModifier)
                                    << 40 << (ctrl | alt) << "Ctrl+Alt+K";
        QTest::newRow("Ctrl+Shift+K")
            << int(Qt::Key_K) << int(Qt::ControlModifier | Qt::ShiftModifier) << 40
            << (ctrl | shift) << "Ctrl+Shift+K";
        QTest::newRow("Super+Space")
            << int(Qt::Key_Space) << int(Qt::MetaModifier) << 49 << super << "Super+Space";
        QTest::newRow("Ctrl+Shift+1 arrives as !")
            << int(Qt::Key_Exclam) << int(Qt::ControlModifier | Qt::ShiftModifier) << 18
            << (ctrl | shift) << "Ctrl+Shift+1";
        QTest::newRow("Alt+keypad 5") << int(Qt::Key_5) << int(Qt::AltModifier | Qt::KeypadModifier)
                                      << 87 << alt << "Alt+5\u20E3";
        QTest::newRow("Ctrl+Delete")
            << int(Qt::Key_Delete) << int(Qt::ControlModifier) << 117 << ctrl << "Ctrl+⌦";
        // The check for other clients must not let go of Vellumo's own grab.
        QTest::newRow("the current shortcut, kept")
            << int(Qt::Key_Slash) << int(Qt::ControlModifier | Qt::MetaModifier) << 44
            << (ctrl | super) << "Ctrl+Super+/";
    }

    void allowedKeysAreStored()
    {
        QFETCH(int, key);
        QFETCH(int, modifiers);
        QFETCH(int, keyCode);
        QFETCH(int, storedModifiers);
        QFETCH(QString, text);
        const Shortcut expected(keyCode, storedModifiers);
        QSignalSpy changes(recorder(), &ShortcutRecorder::changed);
        QVERIFY(startRecording());
        // Pressing a modifier on its own records nothing yet.
        QTest::keyPress(recorder(), Qt::Key_Control, Qt::ControlModifier);
        QVERIFY(recorder()->isRecording());
        QTest::keyClick(recorder(), Qt::Key(key), Qt::KeyboardModifiers(modifiers));
        QCOMPARE(getShortcut(Name::showPopup()), expected);
        QCOMPARE(recorder()->text(), text);
        QCOMPARE(changes.size(), 1);
        QCOMPARE(changes.first().first().value<std::optional<Shortcut>>(), expected);
        QVERIFY(!recorder()->isRecording());
        QVERIFY(!recorder()->hasFocus());
        // Registered as the hot key in place of the old one, and it opens the popup.
        QCOMPARE(fakeBackend().grabsOf(hotKeyFor(expected)), 1);
        QCOMPARE(fakeBackend().grabsOf(hotKeyFor(defaultShortcut())),
                 expected == defaultShortcut() ? 1 : 0);
        QVERIFY(fakeBackend().press(hotKeyFor(expected)));
        QCOMPARE(m_popupPresses, 1);
    }

    void menuShortcutsAreRefused_data()
    {
        QTest::addColumn<int>("key");
        QTest::addColumn<QString>("title");
        QTest::newRow("Ctrl+,") << int(Qt::Key_Comma) << QStringLiteral("Settings…");
        QTest::newRow("Ctrl+Q") << int(Qt::Key_Q) << QStringLiteral("Quit");
    }

    void menuShortcutsAreRefused()
    {
        QFETCH(int, key);
        QFETCH(QString, title);
        QSignalSpy recording(recorder(), &ShortcutRecorder::recordingChanged);
        QVERIFY(startRecording());
        QTest::keyClick(recorder(), Qt::Key(key), Qt::ControlModifier);
        QMessageBox *alert = recorder()->alert();
        QVERIFY(alert);
        QVERIFY(
            alert->text().endsWith(QStringLiteral("is used by the menu item “%1”.").arg(title)));
        QCOMPARE(alert->icon(), QMessageBox::NoIcon);
        QCOMPARE(alert->windowModality(), Qt::WindowModal);
        QCOMPARE(alert->buttons().size(), 1);
        QVERIFY(!recorder()->isRecording());
        QVERIFY(!isPaused());
        dismiss(qobject_cast<QPushButton *>(alert->buttons().first()));
        QTRY_VERIFY(recorder()->isRecording());
        QVERIFY(isPaused());
        QCOMPARE(getShortcut(Name::showPopup()), defaultShortcut());
        QCOMPARE(recording.first(), QList<QVariant>{true});
        QCOMPARE(recording.at(1), QList<QVariant>{false});
        QCOMPARE(recording.last(), QList<QVariant>{true});
    }

    // Another client holds the combination: asked afresh at every press,
    // stored only on "Use Anyway".
    void combinationsHeldElsewhereAskFirst()
    {
        fakeBackend().refused.insert(hotKeyFor(ctrlAltJ));
        QVERIFY(startRecording());
        QTest::keyClick(recorder(), Qt::Key_J, Qt::ControlModifier | Qt::AltModifier);
        QMessageBox *alert = recorder()->alert();
        QVERIFY(alert);
        QCOMPARE(alert->text(), QStringLiteral("“Ctrl+Alt+J” cannot be used because it is used "
                                               "by the system or another application."));
        QCOMPARE(alert->informativeText(),
                 QStringLiteral("Most system shortcuts can be changed in the desktop's keyboard "
                                "settings."));
        auto *ok = alert->findChild<QPushButton *>(QStringLiteral("ok"));
        auto *force = alert->findChild<QPushButton *>(QStringLiteral("forceUseShortcut"));
        QVERIFY(ok && force);
        QCOMPARE(ok->text(), QStringLiteral("OK"));
        QCOMPARE(force->text().remove(u'&'), QStringLiteral("Use Anyway"));
        dismiss(ok);
        QTRY_VERIFY(recorder()->isRecording());
        QCOMPARE(getShortcut(Name::showPopup()), defaultShortcut());

        QTest::keyClick(recorder(), Qt::Key_J, Qt::ControlModifier | Qt::AltModifier);
        QVERIFY(recorder()->alert());
        dismiss(recorder()->alert()->findChild<QPushButton *>(u"forceUseShortcut"_qs));
        QCOMPARE(getShortcut(Name::showPopup()), ctrlAltJ);
        QCOMPARE(recorder()->text(), QStringLiteral("Ctrl+Alt+J"));
        QVERIFY(!recorder()->isRecording());
        QVERIFY(!isPaused());

        // Free again: recorded without a question.
        fakeBackend().refused.clear();
        setShortcut(defaultShortcut(), Name::showPopup());
        QVERIFY(startRecording());
        QTest::keyClick(recorder(), Qt::Key_J, Qt::ControlModifier | Qt::AltModifier);
        QVERIFY(!recorder()->alert());
        QCOMPARE(getShortcut(Name::showPopup()), ctrlAltJ);
    }

    // Delete and Backspace remove the shortcut for good (false is stored,
    // so the default does not come back) and recording goes on.
    void deleteClearsAndKeepsRecording_data()
    {
        QTest::addColumn<int>("key");
        QTest::newRow("Delete") << int(Qt::Key_Delete);
        QTest::newRow("Backspace") << int(Qt::Key_Backspace);
    }

    void deleteClearsAndKeepsRecording()
    {
        QFETCH(int, key);
        QSignalSpy changes(recorder(), &ShortcutRecorder::changed);
        QVERIFY(startRecording());
        QTest::keyClick(recorder(), Qt::Key(key));
        QVERIFY(recorder()->isRecording());
        QCOMPARE(recorder()->text(), QString());
        QCOMPARE(getShortcut(Name::showPopup()), std::nullopt);
        QCOMPARE(Settings::standard().shortcutEntryText(Name::showPopup().rawValue()),
                 QStringLiteral("false"));
        QCOMPARE(changes.size(), 1);
        QCOMPARE(changes.first().first().value<std::optional<Shortcut>>(), std::nullopt);
        QCOMPARE(fakeBackend().grabsOf(hotKeyFor(defaultShortcut())), 0);
        // The next combination is still taken.
        QTest::keyClick(recorder(), Qt::Key_F6);
        QCOMPARE(getShortcut(Name::showPopup()), Shortcut(97, 0));
    }

    // Each way out ends recording and keeps what was stored. A window
    // active again hands its focus back to the field it was in; that alone
    // does not record (an alert closing does: the user was).
    void recordingEnds_data()
    {
        QTest::addColumn<QString>("how");
        QTest::addColumn<bool>("focusMovesOn");
        QTest::newRow("Escape") << "escape" << false;
        QTest::newRow("Tab") << "tab" << true;
        QTest::newRow("a click 5 px outside") << "click outside" << false;
        QTest::newRow("another field takes the focus") << "focus" << false;
        QTest::newRow("the window is deactivated") << "deactivate" << false;
    }

    void recordingEnds()
    {
        QFETCH(QString, how);
        QFETCH(bool, focusMovesOn);
        QVERIFY(startRecording());
        std::unique_ptr<QWidget> other;
        if (how == QLatin1String("escape")) {
            QTest::keyClick(recorder(), Qt::Key_Escape);
        } else if (how == QLatin1String("tab")) {
            QTest::keyClick(recorder(), Qt::Key_Tab);
        } else if (how == QLatin1String("click outside")) {
            // Within 3 px the click still counts as one on the field.
            const QRect frame = recorder()->geometry();
            QTest::mouseClick(m_host->window.get(), Qt::LeftButton, {},
                              QPoint(frame.right() + 3, frame.center().y()));
            QVERIFY(recorder()->isRecording());
            QTest::mouseClick(m_host->window.get(), Qt::LeftButton, {},
                              QPoint(frame.right() + 5, frame.center().y()));
        } else if (how == QLatin1String("focus")) {
            m_host->before->setFocus(Qt::OtherFocusReason);
        } else {
            other = std::make_unique<QWidget>();
            other->show();
            other->activateWindow();
            QVERIFY(QTest::qWaitForWindowActive(other.get()));
        }
        QTRY_VERIFY(!recorder()->isRecording());
        QVERIFY(!isPaused());
        QCOMPARE(m_host->after->hasFocus(), focusMovesOn);
        QCOMPARE(getShortcut(Name::showPopup()), defaultShortcut());
        QCOMPARE(recorder()->text(), QStringLiteral("Ctrl+Super+/"));
        if (other) {
            reactivate();
            QVERIFY(!recorder()->isRecording());
            QVERIFY(!isPaused());
            QVERIFY(!recorder()->hasFocus());
        }
    }

    // The keyboard's way in: Tab into the field starts recording too.
    void focusFromTheKeyboardStartsRecording()
    {
        m_host->before->setFocus(Qt::OtherFocusReason);
        QTest::keyClick(m_host->before, Qt::Key_Tab);
        QVERIFY(recorder()->hasFocus());
        QVERIFY(recorder()->isRecording());
        QVERIFY(isPaused());
    }
};

QTEST_MAIN(ShortcutRecorderTest)
#include "tst_shortcutrecorder.moc"
