// SPDX-License-Identifier: GPL-3.0-or-later
// The settings window of the vellumo executable on the test desktop: opened
// from the popup's "Open Settings", and the shortcut recorder fed by
// xdotool: a recorded combination opens the popup from then on and the old
// one no longer does, Escape keeps what is stored, and a combination another
// client holds is refused with the "used by the system" alert unless the user
// forces it.
#include "DefaultsStore.h"
#include "Desktop.h"
#include "GlobalShortcuts.h"
#include "Settings.h"
#include "TestSupport.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QScopeGuard>
#include <QTest>
// Xlib last: its macros clash with Qt's names.
#include <X11/Xlib.h>
#include <X11/keysym.h>

using namespace Desktop;

namespace {

const QString settingsTitle = QStringLiteral("Vellumo Settings");
const QString sentence = QStringLiteral("Settings are opened from here.");

// The X modifier bits of the combinations the test presses.
constexpr unsigned ctrlSuper = ControlMask | Mod4Mask;
constexpr unsigned ctrlAlt = ControlMask | Mod1Mask;

QString xdotoolLine(const QStringList &arguments)
{
    return QString::fromUtf8(run(QStringLiteral("xdotool"), arguments)).section(u'\n', 0, 0);
}

quint64 activeWindow()
{
    return xdotoolLine({QStringLiteral("getactivewindow")}).toULongLong();
}

QString activeWindowName()
{
    return xdotoolLine({QStringLiteral("getactivewindow"), QStringLiteral("getwindowname")});
}

// The settings window while it is mapped, else 0.
quint64 settingsWindow()
{
    return xdotoolLine({QStringLiteral("search"), QStringLiteral("--onlyvisible"),
                        QStringLiteral("--name"), u'^' + settingsTitle + u'$'})
        .toULongLong();
}

// The popup's shortcut as Vellumo stored it, in its text form.
QString storedShortcut()
{
    DefaultsStore::standard().reload();
    const auto shortcut = GlobalShortcuts::getShortcut(GlobalShortcuts::Name::showPopup());
    return shortcut ? GlobalShortcuts::shortcutDescription(*shortcut) : QString();
}

// Another X client's passive grab of a combination, as a desktop's own
// shortcut would hold it, for as long as the object lives.
class HeldCombination {
public:
    HeldCombination(KeySym keysym, unsigned modifiers)
        : m_display(XOpenDisplay(nullptr)), m_modifiers(modifiers)
    {
        if (!m_display) {
            return;
        }
        m_key = XKeysymToKeycode(m_display, keysym);
        XGrabKey(m_display, m_key, m_modifiers, DefaultRootWindow(m_display), False, GrabModeAsync,
                 GrabModeAsync);
        XSync(m_display, False);
    }
    ~HeldCombination()
    {
        if (m_display) {
            XUngrabKey(m_display, m_key, m_modifiers, DefaultRootWindow(m_display));
            XCloseDisplay(m_display);
        }
    }
    HeldCombination(const HeldCombination &) = delete;
    HeldCombination &operator=(const HeldCombination &) = delete;

    bool isHeld() const { return m_display && m_key != 0; }

private:
    Display *m_display;
    unsigned m_modifiers;
    KeyCode m_key = 0;
};

} // namespace

class SettingsDesktopTest : public QObject {
    Q_OBJECT

    Vellumo m_vellumo;
    QProcess m_editor;
    quint64 m_editorWindow = 0;

    bool activate(quint64 window)
    {
        run(QStringLiteral("xdotool"), {QStringLiteral("windowactivate"), QString::number(window)});
        return QTest::qWaitFor([window] { return activeWindow() == window; }, 5000);
    }

    // Selects the editor's line and presses the combination; true once
    // the popup is on screen.
    bool openPopupWith(const QString &combination, qsizetype *mark)
    {
        if (!activate(m_editorWindow) ||
            !keys({QStringLiteral("ctrl+Home"), QStringLiteral("shift+End")})) {
            return false;
        }
        *mark = m_vellumo.mark();
        return keys({combination}) &&
               m_vellumo.waitFor(QStringLiteral("Popup created and shown"), *mark) &&
               QTest::qWaitFor([] { return popupFrame().has_value(); }, 5000);
    }

    // Opens the settings as a user without a provider does: the popup's
    // not-configured panel, Ctrl+Return. The window is active, its tabs
    // have the keyboard. *mark: where the output stood before.
    void openSettings(const QString &combination, qsizetype *mark)
    {
        // A window open already (behind another) is only raised: it does
        // not appear anew.
        const bool appears = settingsWindow() == 0;
        QVERIFY2(openPopupWith(combination, mark), qPrintable(m_vellumo.output().mid(*mark)));
        QVERIFY(keys({QStringLiteral("ctrl+Return")}));
        if (appears) {
            QVERIFY2(m_vellumo.waitFor(QStringLiteral("Activating screen"), *mark),
                     qPrintable(m_vellumo.output().mid(*mark)));
        }
        QTRY_VERIFY(!popupFrame());
        quint64 window = 0;
        QTRY_VERIFY((window = settingsWindow()) != 0);
        QTRY_COMPARE(activeWindow(), window);
    }

    // Tab from the tab bar reaches the recorder, which starts recording;
    // opening the window (since mark) did not start it by itself.
    void startRecording(qsizetype mark)
    {
        QVERIFY(keys({QStringLiteral("Tab")}));
        QVERIFY2(m_vellumo.waitFor(QStringLiteral("Recording a shortcut"), mark),
                 qPrintable(m_vellumo.output().mid(mark)));
        QCOMPARE(m_vellumo.output().mid(mark).count(QStringLiteral("Recording a shortcut")), 1);
    }

    void closeSettings()
    {
        const quint64 window = settingsWindow();
        if (window == 0) {
            return;
        }
        // As a user closes it: the window manager's Alt+F4.
        QVERIFY(activate(window));
        const qsizetype mark = m_vellumo.mark();
        QVERIFY(keys({QStringLiteral("alt+F4")}));
        QVERIFY2(m_vellumo.waitFor(QStringLiteral("Deactivating screen"), mark),
                 qPrintable(m_vellumo.output().mid(mark)));
        QTRY_COMPARE(settingsWindow(), quint64(0));
    }

private Q_SLOTS:
    void initTestCase()
    {
        TestSupport::requireThrowawayEnvironment();
        // Set up once before, no key stored since: the popup offers
        // "Open Settings".
        Settings::standard().setOnboardingCompleted(true);
        const QString path = QDir::home().filePath(QStringLiteral("settings.txt"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write((sentence + u'\n').toUtf8()) > 0);
        file.close();
        m_editor.start(QStringLiteral("mousepad"), {path});
        QVERIFY(m_editor.waitForStarted(5000));
        QTRY_VERIFY_WITH_TIMEOUT(
            (m_editorWindow =
                 xdotoolLine({QStringLiteral("search"), QStringLiteral("--onlyvisible"),
                              QStringLiteral("--pid"), QString::number(m_editor.processId())})
                     .toULongLong()) != 0,
            20000);
        // The recorder says when it listens: what it is given is never logged.
        QVERIFY(m_vellumo.start({QStringLiteral("QT_LOGGING_RULES=vellumo.settings.info=true")}));
    }

    void cleanupTestCase()
    {
        m_vellumo.stop();
        m_editor.kill();
        m_editor.waitForFinished(3000);
    }

    void cleanup() { closeSettings(); }

    // Titled and sized as it should be; opened again while behind another
    // window, it comes to the front.
    void openSettingsInThePopupOpensTheWindow()
    {
        qsizetype mark = 0;
        openSettings(QStringLiteral("ctrl+super+slash"), &mark);
        const quint64 window = settingsWindow();
        QCOMPARE(xdotoolLine({QStringLiteral("getwindowname"), QString::number(window)}),
                 settingsTitle);
        QCOMPARE(clientFrame(window).size(), QSize(780, 600));
        grabScreen(QStringLiteral("settings-desktop-opened"));

        QVERIFY(activate(m_editorWindow));
        openSettings(QStringLiteral("ctrl+super+slash"), &mark);
        QCOMPARE(settingsWindow(), window);
    }

    // Ctrl+Alt+K typed into the recorder becomes the popup's shortcut: it is
    // stored and hooked, and Ctrl+Super+/ is let go.
    void aRecordedShortcutOpensThePopupFromThenOn()
    {
        qsizetype mark = 0;
        openSettings(QStringLiteral("ctrl+super+slash"), &mark);
        startRecording(mark);
        mark = m_vellumo.mark();
        QVERIFY(keys({QStringLiteral("ctrl+alt+k")}));
        QVERIFY2(m_vellumo.waitFor(QStringLiteral("Shortcut recorded"), mark),
                 qPrintable(m_vellumo.output().mid(mark)));
        QVERIFY(m_vellumo.waitFor(QStringLiteral("Stopped recording the shortcut"), mark));
        QCOMPARE(storedShortcut(), QStringLiteral("Ctrl+Alt+K"));
        QTRY_VERIFY(heldByAnother(XK_k, ctrlAlt));
        QTRY_VERIFY(!heldByAnother(XK_slash, ctrlSuper));
        closeSettings();

        // The old combination first, then the new one: X delivers them in
        // that order, so once the second has opened the popup, the first
        // has had its chance to.
        QVERIFY(activate(m_editorWindow));
        QVERIFY(keys({QStringLiteral("ctrl+Home"), QStringLiteral("shift+End")}));
        mark = m_vellumo.mark();
        QVERIFY(keys({QStringLiteral("ctrl+super+slash"), QStringLiteral("ctrl+alt+k")}));
        QVERIFY2(m_vellumo.waitFor(QStringLiteral("Popup created and shown"), mark),
                 qPrintable(m_vellumo.output().mid(mark)));
        QCOMPARE(m_vellumo.output().mid(mark).count(QStringLiteral("Hotkey pressed")), 1);
        QTRY_VERIFY(popupFrame().has_value());
        QVERIFY(keys({QStringLiteral("Escape")}));
        QTRY_VERIFY(!popupFrame());
    }

    // Escape while recording ends it and changes nothing.
    void escapeKeepsTheStoredShortcut()
    {
        qsizetype mark = 0;
        openSettings(QStringLiteral("ctrl+alt+k"), &mark);
        startRecording(mark);
        mark = m_vellumo.mark();
        QVERIFY(keys({QStringLiteral("Escape")}));
        QVERIFY2(m_vellumo.waitFor(QStringLiteral("Stopped recording the shortcut"), mark),
                 qPrintable(m_vellumo.output().mid(mark)));
        QVERIFY(!m_vellumo.output().mid(mark).contains(QStringLiteral("Shortcut recorded")));
        // Still the window's: Escape did not close it.
        QVERIFY(settingsWindow() != 0);
        QCOMPARE(storedShortcut(), QStringLiteral("Ctrl+Alt+K"));
        QVERIFY(heldByAnother(XK_k, ctrlAlt));
    }

    // Ctrl+Alt+J held by another client: the alert says so. Escape (its OK)
    // keeps the stored shortcut and goes back to recording; "Use Anyway"
    // stores the combination all the same, which Vellumo then cannot hook.
    void aCombinationAnotherClientHoldsNeedsForcing()
    {
        const HeldCombination held(XK_j, ctrlAlt);
        QVERIFY(held.isHeld());
        qsizetype mark = 0;
        openSettings(QStringLiteral("ctrl+alt+k"), &mark);
        const quint64 window = settingsWindow();
        startRecording(mark);

        mark = m_vellumo.mark();
        QVERIFY(keys({QStringLiteral("ctrl+alt+j")}));
        QVERIFY2(m_vellumo.waitFor(QStringLiteral("Shortcut refused: used by the system"), mark),
                 qPrintable(m_vellumo.output().mid(mark)));
        QTRY_COMPARE(activeWindowName(), QStringLiteral("Vellumo"));
        grabScreen(QStringLiteral("settings-desktop-used-by-system"));
        QVERIFY(keys({QStringLiteral("Escape")}));
        QVERIFY2(m_vellumo.waitFor(QStringLiteral("Recording a shortcut"), mark),
                 qPrintable(m_vellumo.output().mid(mark)));
        QTRY_COMPARE(activeWindow(), window);
        QCOMPARE(storedShortcut(), QStringLiteral("Ctrl+Alt+K"));

        mark = m_vellumo.mark();
        QVERIFY(keys({QStringLiteral("ctrl+alt+j")}));
        QVERIFY2(m_vellumo.waitFor(QStringLiteral("Shortcut refused: used by the system"), mark),
                 qPrintable(m_vellumo.output().mid(mark)));
        QTRY_COMPARE(activeWindowName(), QStringLiteral("Vellumo"));
        QVERIFY(keys({QStringLiteral("alt+u")}));
        QVERIFY2(m_vellumo.waitFor(QStringLiteral("Shortcut recorded"), mark),
                 qPrintable(m_vellumo.output().mid(mark)));
        QCOMPARE(storedShortcut(), QStringLiteral("Ctrl+Alt+J"));
        QVERIFY2(m_vellumo.waitFor(QStringLiteral("Error registering hotkey Ctrl+Alt+J: BadAccess"),
                                   mark),
                 qPrintable(m_vellumo.output().mid(mark)));
        // The old one is let go all the same.
        QTRY_VERIFY(!heldByAnother(XK_k, ctrlAlt));
    }
};

QTEST_MAIN(SettingsDesktopTest)
#include "tst_settings_desktop.moc"
