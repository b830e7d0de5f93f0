#include "KeySynthesis.h"

#include <QElapsedTimer>
#include <QThread>
#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <array>
#include <memory>

namespace KeySynthesis {
namespace {

struct DisplayCloser {
    void operator()(Display *d) const { XCloseDisplay(d); }
};
using DisplayPtr = std::unique_ptr<Display, DisplayCloser>;

// Declaration order of KeyEvent::Key.
constexpr std::array<const char *, KeyEvent::keyCount> keysyms{{
    "a",
    "b",
    "c",
    "d",
    "e",
    "f",
    "g",
    "h",
    "i",
    "j",
    "k",
    "l",
    "m",
    "n",
    "o",
    "p",
    "q",
    "r",
    "s",
    "t",
    "u",
    "v",
    "w",
    "x",
    "y",
    "z",
    "0",
    "1",
    "2",
    "3",
    "4",
    "5",
    "6",
    "7",
    "8",
    "9",
    "minus",
    "equal",
    "bracketleft",
    "bracketright",
    "backslash",
    "semicolon",
    "apostrophe",
    "comma",
    "period",
    "slash",
    "grave",
    "KP_Decimal",
    "KP_Multiply",
    "KP_Add",
    "Clear",
    "KP_Divide",
    "KP_Enter",
    "KP_Subtract",
    "KP_Equal",
    "KP_0",
    "KP_1",
    "KP_2",
    "KP_3",
    "KP_4",
    "KP_5",
    "KP_6",
    "KP_7",
    "KP_8",
    "KP_9",
    "Return",
    "Tab",
    "space",
    "BackSpace",
    "Delete",
    "Escape",
    "XF86AudioRaiseVolume",
    "XF86AudioLowerVolume",
    "XF86AudioMute",
    "Home",
    "End",
    "Prior",
    "Next",
    "Left",
    "Right",
    "Down",
    "Up",
    "F1",
    "F2",
    "F3",
    "F4",
    "F5",
    "F6",
    "F7",
    "F8",
    "F9",
    "F10",
    "F11",
    "F12",
    "F13",
    "F14",
    "F15",
    "F16",
    "F17",
    "F18",
    "F19",
    "F20",
    "section",
    "yen",
    "underscore",
    "KP_Separator",
    "Eisu_toggle",
    "Hiragana_Katakana",
}};

// Each thread's own connection, opened on first use: opening one costs more
// than the requests it carries.
Display *threadDisplay()
{
    static thread_local DisplayPtr display;
    static thread_local bool tried = false;
    if (!tried) {
        tried = true;
        display.reset(XOpenDisplay(nullptr));
    }
    return display.get();
}

KeyCode keycodeFor(Display *d, const QString &name)
{
    const KeySym sym = XStringToKeysym(name.toLatin1().constData());
    return sym == NoSymbol ? 0 : XKeysymToKeycode(d, sym);
}

} // namespace

QString keysym(KeyEvent::Key key)
{
    return QString::fromLatin1(keysyms[static_cast<size_t>(key)]);
}

QList<QString> modifierKeysyms(KeyEvent::Modifier modifier)
{
    switch (modifier) {
    case KeyEvent::Modifier::command:
        return {QStringLiteral("Super_L")};
    case KeyEvent::Modifier::control:
        return {QStringLiteral("Control_L")};
    case KeyEvent::Modifier::option:
        return {QStringLiteral("Alt_L")};
    case KeyEvent::Modifier::shift:
        return {QStringLiteral("Shift_L")};
    case KeyEvent::Modifier::capsLock:
    case KeyEvent::Modifier::function:
    case KeyEvent::Modifier::help:
    case KeyEvent::Modifier::numPad:
        return {};
    }
    return {};
}

Chord chordFor(const KeyEvent &event)
{
    Chord chord;
    chord.keysym = keysym(event.key);
    for (const KeyEvent::Modifier m : event.modifiers) {
        for (const QString &sym : modifierKeysyms(m)) {
            // [command, command] holds Super once, as its flags would say.
            if (!chord.modifierKeysyms.contains(sym)) {
                chord.modifierKeysyms.append(sym);
            }
        }
    }
    return chord;
}

bool post(const Chord &chord, bool sendKeyUp)
{
    Display *const d = threadDisplay();
    if (!d) {
        return false;
    }
    const KeyCode key = keycodeFor(d, chord.keysym);
    if (key == 0) {
        return false;
    }
    QList<KeyCode> held;
    for (const QString &sym : chord.modifierKeysyms) {
        if (const KeyCode code = keycodeFor(d, sym)) {
            held.append(code);
        }
    }
    for (const KeyCode code : held) {
        XTestFakeKeyEvent(d, code, True, CurrentTime);
    }
    XTestFakeKeyEvent(d, key, True, CurrentTime);
    if (sendKeyUp) {
        XTestFakeKeyEvent(d, key, False, CurrentTime);
    }
    // Modifiers are real keys here: leaving one down would wedge the keyboard.
    for (auto it = held.crbegin(); it != held.crend(); ++it) {
        XTestFakeKeyEvent(d, *it, False, CurrentTime);
    }
    XSync(d, False);
    return true;
}

bool keyboardGrabbedByAnother()
{
    Display *const d = threadDisplay();
    if (!d) {
        return false;
    }
    const int status = XGrabKeyboard(d, DefaultRootWindow(d), False, GrabModeAsync,
                                     GrabModeAsync, CurrentTime);
    if (status == GrabSuccess) {
        XUngrabKeyboard(d, CurrentTime);
        XSync(d, False);
        return false;
    }
    return status == AlreadyGrabbed || status == GrabFrozen;
}

bool modifiersHeld()
{
    Display *const d = threadDisplay();
    if (!d) {
        return false;
    }
    char keys[32];
    XQueryKeymap(d, keys);
    static const char *const names[] = {"Shift_L", "Shift_R", "Control_L",       "Control_R",
                                        "Alt_L",   "Alt_R",   "Super_L",         "Super_R",
                                        "Meta_L",  "Meta_R",  "ISO_Level3_Shift"};
    for (const char *name : names) {
        const KeyCode code = keycodeFor(d, QString::fromLatin1(name));
        if (code != 0 && (keys[code / 8] & (1 << (code % 8)))) {
            return true;
        }
    }
    return false;
}

bool waitUntilModifiersReleased(int timeoutMs)
{
    QElapsedTimer clock;
    clock.start();
    while (modifiersHeld()) {
        if (clock.elapsed() >= timeoutMs) {
            return false;
        }
        QThread::msleep(10);
    }
    return true;
}

} // namespace KeySynthesis
