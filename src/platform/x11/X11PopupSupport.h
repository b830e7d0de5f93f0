// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "PopupSupport.h"

namespace platform::x11 {

// Through Qt's own X connection. Under XWayland or another Qt platform the
// compositor question has its own answer; the keyboard grab fails there.
class PopupSupport final : public platform::PopupSupport {
public:
    bool isCompositing() const override;
    // With the server's current time.
    GrabOutcome grabKeyboard(QWindow *window) const override;
};

} // namespace platform::x11
