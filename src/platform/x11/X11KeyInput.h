// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "KeyInput.h"

namespace platform::x11 {

// XTest, on each thread's own connection.
class KeyInput final : public platform::KeyInput {
public:
    bool isAvailable() const override;
    bool post(const KeyChord &chord, bool sendKeyUp) const override;
    bool modifiersHeld() const override;
    // A grab of our own is refused then.
    bool keyboardGrabbedByAnother() const override;
    std::unique_ptr<KeyboardGrabWatch> watchKeyboardGrabs() const override;
};

} // namespace platform::x11
