// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "KeyChord.h"

#include <memory>

namespace platform {

// The keyboard grabs other clients take while the keyboard focus stays in the
// window that had it when the watch began (an application opening a menu
// takes the keyboard). Seen through the focus changes the grabs cause, so
// watching never disturbs a grab. Use on one thread at a time.
class KeyboardGrabWatch {
public:
    virtual ~KeyboardGrabWatch() = default;

    // How many grabs began since the watch did.
    virtual int grabsTaken() = 0;
    // Whether a grab holds the keyboard now.
    virtual bool grabHeld() = 0;
};

// Synthetic key input: what Vellumo types goes to the window that has the
// keyboard focus, as if the user typed it. Any thread; calls block only for
// the posting itself.
class KeyInput {
public:
    virtual ~KeyInput() = default;

    // Whether the desktop takes synthetic input from Vellumo at all.
    virtual bool isAvailable() const = 0;
    // False when nothing was posted: no display, or a key the keyboard map
    // lacks.
    virtual bool post(const KeyChord &chord, bool sendKeyUp) const = 0;
    // Whether the user holds Shift, Control, Alt or Super right now.
    virtual bool modifiersHeld() const = 0;
    // Whether another client holds the keyboard, as an open menu does.
    virtual bool keyboardGrabbedByAnother() const = 0;
    // Watches the grabs from now on; null when the desktop cannot tell.
    virtual std::unique_ptr<KeyboardGrabWatch> watchKeyboardGrabs() const = 0;
};

} // namespace platform
