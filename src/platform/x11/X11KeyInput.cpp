// SPDX-License-Identifier: GPL-3.0-or-later
#include "X11KeyInput.h"

#include <QList>

#include "X11Display.h"
#include <X11/extensions/XTest.h>

namespace platform::x11 {

namespace {

// Each thread's own connection for input, apart from the one for queries.
Display *inputDisplay()
{
    static thread_local DisplayPtr display;
    static thread_local bool tried = false;
    if (!tried) {
        tried = true;
        display.reset(XOpenDisplay(nullptr));
    }
    return display.get();
}

KeyCode keycodeFor(Display *d, quint32 keysym)
{
    return keysym == 0 ? 0 : XKeysymToKeycode(d, KeySym(keysym));
}

} // namespace

bool KeyInput::isAvailable() const
{
    Display *const d = threadDisplay();
    if (!d) {
        return false;
    }
    int opcode = 0;
    int event = 0;
    int error = 0;
    return XQueryExtension(d, "XTEST", &opcode, &event, &error);
}

bool KeyInput::post(const KeyChord &chord, bool sendKeyUp) const
{
    Display *const d = inputDisplay();
    if (!d) {
        return false;
    }
    const KeyCode key = keycodeFor(d, chord.key);
    if (key == 0) {
        return false;
    }
    QList<KeyCode> held;
    for (const quint32 keysym : chord.modifiers) {
        if (const KeyCode code = keycodeFor(d, keysym)) {
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
    for (qsizetype i = held.size() - 1; i >= 0; --i) {
        XTestFakeKeyEvent(d, held.at(i), False, CurrentTime);
    }
    XSync(d, False);
    return true;
}

bool KeyInput::keyboardGrabbedByAnother() const
{
    Display *const d = inputDisplay();
    if (!d) {
        return false;
    }
    const int status =
        XGrabKeyboard(d, DefaultRootWindow(d), False, GrabModeAsync, GrabModeAsync, CurrentTime);
    if (status == GrabSuccess) {
        XUngrabKeyboard(d, CurrentTime);
        XSync(d, False);
        return false;
    }
    return status == AlreadyGrabbed || status == GrabFrozen;
}

namespace {

// The X server tells the focus window when a grab takes the keyboard away
// (FocusOut, mode NotifyGrab) and when it gives it back (FocusIn, mode
// NotifyUngrab), whoever grabbed: selecting those events takes nothing.
class X11KeyboardGrabWatch final : public KeyboardGrabWatch {
public:
    explicit X11KeyboardGrabWatch(DisplayPtr display) : m_display(std::move(display)) {}

    bool begin()
    {
        Display *const d = m_display.get();
        Window focus = None;
        int revert = 0;
        XGetInputFocus(d, &focus, &revert);
        if (focus == None || focus == PointerRoot) {
            return false;
        }
        XSelectInput(d, focus, FocusChangeMask);
        XSync(d, False);
        return true;
    }

    int grabsTaken() override
    {
        update();
        return m_taken;
    }

    bool grabHeld() override
    {
        update();
        return m_held;
    }

private:
    void update()
    {
        Display *const d = m_display.get();
        XSync(d, False); // every event up to now is in
        while (XPending(d) > 0) {
            XEvent event;
            XNextEvent(d, &event);
            if (event.type == FocusOut && event.xfocus.mode == NotifyGrab) {
                ++m_taken;
                m_held = true;
            } else if (event.type == FocusIn && event.xfocus.mode == NotifyUngrab) {
                m_held = false;
            }
        }
    }

    DisplayPtr m_display;
    int m_taken = 0;
    bool m_held = false;
};

} // namespace

std::unique_ptr<KeyboardGrabWatch> KeyInput::watchKeyboardGrabs() const
{
    DisplayPtr display = openDisplay();
    if (!display) {
        return nullptr;
    }
    auto watch = std::make_unique<X11KeyboardGrabWatch>(std::move(display));
    if (!watch->begin()) {
        return nullptr;
    }
    return watch;
}

bool KeyInput::modifiersHeld() const
{
    Display *const d = inputDisplay();
    if (!d) {
        return false;
    }
    char keys[32];
    XQueryKeymap(d, keys);
    static const char *const names[] = {"Shift_L", "Shift_R", "Control_L",       "Control_R",
                                        "Alt_L",   "Alt_R",   "Super_L",         "Super_R",
                                        "Meta_L",  "Meta_R",  "ISO_Level3_Shift"};
    for (const char *name : names) {
        const KeyCode code = keycodeFor(d, quint32(XStringToKeysym(name)));
        if (code != 0 && (keys[code / 8] & (1 << (code % 8)))) {
            return true;
        }
    }
    return false;
}

} // namespace platform::x11
