// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "KeyChord.h"

namespace platform {

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
};

} // namespace platform
