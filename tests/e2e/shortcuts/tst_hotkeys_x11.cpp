// SPDX-License-Identifier: GPL-3.0-or-later
#include "GlobalShortcuts.h"
#include "HotKeyLayer.h"
#include "KeyTable.h"
#include "TestSupport.h"
#include "X11HotKeys.h"

#include <QAbstractNativeEventFilter>
#include <QFile>
#include <QGuiApplication>
#include <QProcess>
#include <QtTest>
#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>
#include <vector>
#include <xcb/xcb.h>

using namespace GlobalShortcuts;

namespace {

constexpr int ctrlSuper = KeyTable::controlKey | KeyTable::cmdKey;

// Pressing keys on the user's own display would type into their session.
void requirePrivateDesktop()
{
    const QString session = qEnvironmentVariable("VELLUMO_TEST_SESSION");
    if (session.isEmpty() || !QFile::exists(session + QStringLiteral("/xvfb.log"))) {
        qFatal("This test presses keys: it must run inside scripts/test-desktop.");
    }
}

void xdotool(const QStringList &arguments)
{
    QCOMPARE(QProcess::execute(QStringLiteral("xdotool"), arguments), 0);
}

void pressKeys(const QString &keys)
{
    xdotool({QStringLiteral("key"), keys});
}

int lastXError = 0;
int recordXError(Display *, XErrorEvent *event)
{
    lastXError = event->error_code;
    return 0;
}

struct Counter {
    int downs = 0;
    int ups = 0;
};

void count(const Name &name, Counter &counter)
{
    onKeyDown(name, [&counter] { ++counter.downs; });
    onKeyUp(name, [&counter] { ++counter.ups; });
}

// Counts X events of one type (and one keycode for key events) before
// anything else sees them: filters installed later run first.
class EventWatcher : public QAbstractNativeEventFilter {
public:
    EventWatcher(uint8_t type, KeyCode keycode = 0) : m_type(type), m_keycode(keycode)
    {
        qApp->installNativeEventFilter(this);
    }
    ~EventWatcher() override { qApp->removeNativeEventFilter(this); }

    bool nativeEventFilter(const QByteArray &type, void *message, qintptr *) override
    {
        const auto *event = static_cast<const xcb_key_release_event_t *>(message);
        if (type == "xcb_generic_event_t" && (event->response_type & 0x7f) == m_type &&
            (m_keycode == 0 || event->detail == m_keycode)) {
            ++seen;
        }
        return false;
    }

    int seen = 0;

private:
    uint8_t m_type;
    KeyCode m_keycode;
};

} // namespace

// The hot-key layer against a real X server: grabs made through the
// application's own X connection, keys pressed by xdotool and XTest, and a
// second client that competes for combinations and changes the keymap.
class HotKeysX11Test : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        TestSupport::requireThrowawayEnvironment();
        requirePrivateDesktop();
        QCOMPARE(QGuiApplication::platformName(), QStringLiteral("xcb"));
        HotKeyLayer::shared().setBackend(platform::x11::HotKeys().makeBackend());
        m_other = XOpenDisplay(nullptr);
        QVERIFY(m_other);
        m_root = DefaultRootWindow(m_other);

        count(Name::showPopup(), m_popup);
        // Another shortcut that proves, once its release has arrived, that
        // every earlier key event has been handled.
        m_sentinelName = Name(QStringLiteral("sentinel"), Shortcut(96, ctrlSuper)); // F5
        count(m_sentinelName, m_sentinel);
    }

    void cleanupTestCase()
    {
        if (m_other) {
            XCloseDisplay(m_other);
        }
    }

    // The default shortcut calls its press and release handlers, whatever
    // locks are on.
    void locksDoNotMatter_data()
    {
        QTest::addColumn<QStringList>("locks");
        QTest::addColumn<unsigned>("mask");
        QTest::newRow("none") << QStringList{} << 0u;
        QTest::newRow("CapsLock") << QStringList{QStringLiteral("Caps_Lock")} << unsigned(LockMask);
        QTest::newRow("NumLock") << QStringList{QStringLiteral("Num_Lock")} << unsigned(Mod2Mask);
        QTest::newRow("both") << QStringList{QStringLiteral("Caps_Lock"),
                                             QStringLiteral("Num_Lock")}
                              << unsigned(LockMask | Mod2Mask);
    }

    void locksDoNotMatter()
    {
        QFETCH(QStringList, locks);
        QFETCH(unsigned, mask);
        for (const QString &lock : locks) {
            pressKeys(lock);
        }
        QCOMPARE(modifierState() & (LockMask | Mod2Mask), mask);
        const Counter before = m_popup;
        pressKeys(QStringLiteral("ctrl+super+slash"));
        QTRY_COMPARE(m_popup.ups, before.ups + 1);
        QCOMPARE(m_popup.downs, before.downs + 1);
        for (const QString &lock : locks) {
            pressKeys(lock);
        }
        QCOMPARE(modifierState() & (LockMask | Mod2Mask), 0u);
    }

    void otherModifiersDoNotFire()
    {
        const Counter before = m_popup;
        pressKeys(QStringLiteral("ctrl+slash"));
        pressKeys(QStringLiteral("super+slash"));
        pressKeys(QStringLiteral("ctrl+super+shift+slash"));
        pressKeys(QStringLiteral("ctrl+alt+super+slash"));
        pressKeys(QStringLiteral("ctrl+super+question"));
        waitForSentinel();
        QCOMPARE(m_popup.downs, before.downs);
        QCOMPARE(m_popup.ups, before.ups);
    }

    void pausedPressesArriveButCallNothing()
    {
        // Filters installed later see events first, so this one sees the
        // grabbed key before the layer takes it.
        EventWatcher releases(XCB_KEY_RELEASE, XKeysymToKeycode(m_other, XK_slash));
        const Counter before = m_popup;
        setPaused(true);
        pressKeys(QStringLiteral("ctrl+super+slash"));
        QTRY_COMPARE(releases.seen, 1);
        setPaused(false);
        QCOMPARE(m_popup.downs, before.downs);
        QCOMPARE(m_popup.ups, before.ups);

        pressKeys(QStringLiteral("ctrl+super+slash"));
        QTRY_COMPARE(m_popup.ups, before.ups + 1);
        QCOMPARE(m_popup.downs, before.downs + 1);
    }

    void combinationOwnedByAnotherClient()
    {
        const KeyCode k = XKeysymToKeycode(m_other, XK_k);
        const unsigned modifiers = ControlMask | Mod1Mask | Mod4Mask;
        // The other client holds only the CapsLock variant: ours must then
        // give back the variants it did get.
        XGrabKey(m_other, k, modifiers | LockMask, m_root, False, GrabModeAsync, GrabModeAsync);
        XSync(m_other, False);

        const Name name(QStringLiteral("taken"));
        Counter counter;
        count(name, counter);
        const Shortcut taken(40, ctrlSuper | KeyTable::optionKey);
        const QString printed = TestSupport::captureStdout([&] { setShortcut(taken, name); });
        QCOMPARE(printed, QStringLiteral("Error registering hotkey Ctrl+Alt+Super+K: BadAccess\n"));
        QCOMPARE(getShortcut(name), std::optional<Shortcut>(taken));

        QCOMPARE(tryGrab(k, modifiers), 0); // released by us
        XUngrabKey(m_other, k, modifiers, m_root);
        XSync(m_other, False);

        // Still running and still served.
        const Counter before = m_popup;
        pressKeys(QStringLiteral("ctrl+super+slash"));
        QTRY_COMPARE(m_popup.ups, before.ups + 1);
        pressKeys(QStringLiteral("ctrl+alt+super+k"));
        waitForSentinel();
        QCOMPARE(counter.downs, 0);

        // Once the other client lets go, the next handler takes the key.
        XUngrabKey(m_other, k, modifiers | LockMask, m_root);
        XSync(m_other, False);
        onKeyDown(name, [] {});
        pressKeys(QStringLiteral("ctrl+alt+super+k"));
        QTRY_COMPARE(counter.downs, 1);
        QTRY_COMPARE(counter.ups, 1);
        QCOMPARE(tryGrab(k, modifiers), BadAccess);
        setShortcut(std::nullopt, name);
        QCOMPARE(tryGrab(k, modifiers), 0);
        XUngrabKey(m_other, k, modifiers, m_root);
        XSync(m_other, False);
    }

    void functionModifierIsRefused()
    {
        const Name name(QStringLiteral("globe"));
        const QString printed = TestSupport::captureStdout(
            [&] { setShortcut(Shortcut(122, KeyTable::functionKey), name); });
        QCOMPARE(printed, QStringLiteral("Error registering hotkey Fn+F1: "
                                         "the Fn modifier does not exist on X11\n"));
    }

    void changedKeyboardMappingGrabsAgain()
    {
        const KeyCode original = XKeysymToKeycode(m_other, XK_slash);
        QVERIFY(original != 0);
        const KeyCode spare = spareKeycode();
        QVERIFY(spare != 0);

        // Slash moves to another key.
        remap({{spare, {XK_slash, XK_question}}, {original, {NoSymbol}}});
        const Counter before = m_popup;
        pressKeys(QStringLiteral("ctrl+super+slash"));
        QTRY_COMPARE(m_popup.ups, before.ups + 1);
        QCOMPARE(m_popup.downs, before.downs + 1);

        // The old key no longer answers to the shortcut.
        const Counter moved = m_popup;
        fakeCombination(original);
        waitForSentinel();
        QCOMPARE(m_popup.downs, moved.downs);

        remap({{spare, {NoSymbol}}, {original, {XK_slash, XK_question}}});
        pressKeys(QStringLiteral("ctrl+super+slash"));
        QTRY_COMPARE(m_popup.downs, moved.downs + 1);
    }

    void releaseSurvivesAnUnrelatedMappingChange()
    {
        // The server also reports a new keymap when input switches between
        // devices; a key held meanwhile must still report its release.
        const KeyCode spare = spareKeycode();
        QVERIFY(spare != 0);
        const Counter before = m_popup;
        const KeyCode slash = XKeysymToKeycode(m_other, XK_slash);
        fakeKeys({controlKeycode(), superKeycode(), slash}, true);
        QTRY_COMPARE(m_popup.downs, before.downs + 1);

        remap({{spare, {XK_F24}}});
        fakeKeys({slash, superKeycode(), controlKeycode()}, false);
        QTRY_COMPARE(m_popup.ups, before.ups + 1);
        setKeysyms(spare, {NoSymbol});
    }

private:
    KeyCode controlKeycode() { return XKeysymToKeycode(m_other, XK_Control_L); }
    KeyCode superKeycode() { return XKeysymToKeycode(m_other, XK_Super_L); }

    void fakeKeys(std::initializer_list<KeyCode> keys, bool press)
    {
        for (const KeyCode key : keys) {
            XTestFakeKeyEvent(m_other, key, press ? True : False, CurrentTime);
        }
        XSync(m_other, False);
    }

    unsigned modifierState()
    {
        Window root = 0;
        Window child = 0;
        int x = 0;
        int y = 0;
        int wx = 0;
        int wy = 0;
        unsigned mask = 0;
        XQueryPointer(m_other, m_root, &root, &child, &x, &y, &wx, &wy, &mask);
        return mask;
    }

    void waitForSentinel()
    {
        const int ups = m_sentinel.ups;
        pressKeys(QStringLiteral("ctrl+super+F5"));
        QTRY_COMPARE(m_sentinel.ups, ups + 1);
    }

    // The X error of a grab by the other client, 0 when it was granted.
    int tryGrab(KeyCode keycode, unsigned modifiers)
    {
        lastXError = 0;
        XErrorHandler previous = XSetErrorHandler(recordXError);
        XGrabKey(m_other, keycode, modifiers, m_root, False, GrabModeAsync, GrabModeAsync);
        XSync(m_other, False);
        XSetErrorHandler(previous);
        return lastXError;
    }

    KeyCode spareKeycode()
    {
        int min = 0;
        int max = 0;
        XDisplayKeycodes(m_other, &min, &max);
        int perKeycode = 0;
        KeySym *keysyms = XGetKeyboardMapping(m_other, KeyCode(min), max - min + 1, &perKeycode);
        KeyCode spare = 0;
        for (int keycode = max; keycode >= min && spare == 0; --keycode) {
            bool empty = true;
            for (int level = 0; level < perKeycode; ++level) {
                empty = empty && keysyms[(keycode - min) * perKeycode + level] == NoSymbol;
            }
            if (empty) {
                spare = KeyCode(keycode);
            }
        }
        XFree(keysyms);
        return spare;
    }

    void setKeysyms(KeyCode keycode, std::vector<KeySym> keysyms)
    {
        XChangeKeyboardMapping(m_other, keycode, int(keysyms.size()), keysyms.data(), 1);
        XSync(m_other, False);
    }

    // Gives keycodes other symbols and waits until the application has seen
    // each change and looked at the new keymap, which it does on the event
    // loop's turn after the notice (a timer started later runs after it).
    void remap(std::initializer_list<std::pair<KeyCode, std::vector<KeySym>>> changes)
    {
        EventWatcher mappings(XCB_MAPPING_NOTIFY);
        for (const auto &[keycode, keysyms] : changes) {
            setKeysyms(keycode, keysyms);
        }
        QTRY_VERIFY(mappings.seen >= int(changes.size()));
        bool looked = false;
        QTimer after;
        after.setSingleShot(true);
        connect(&after, &QTimer::timeout, this, [&looked] { looked = true; });
        after.start(0);
        QTRY_VERIFY(looked);
    }

    void fakeCombination(KeyCode keycode)
    {
        fakeKeys({controlKeycode(), superKeycode(), keycode}, true);
        fakeKeys({keycode, superKeycode(), controlKeycode()}, false);
    }

    Display *m_other = nullptr;
    Window m_root = 0;
    Counter m_popup;
    Name m_sentinelName;
    Counter m_sentinel;
};

QTEST_MAIN(HotKeysX11Test)
#include "tst_hotkeys_x11.moc"
