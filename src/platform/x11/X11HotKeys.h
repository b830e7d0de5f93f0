// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "HotKeys.h"

namespace platform::x11 {

// Grabs on the root window through Qt's own X connection, so presses arrive
// with Qt's events; the grabs follow the keyboard's mapping as it changes.
class HotKeys final : public platform::HotKeys {
public:
    std::unique_ptr<HotKeyBackend> makeBackend() const override;
};

} // namespace platform::x11
