// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Platform.h"

namespace platform::fake {

// A desktop of its own for a build without a window system: nothing is
// active, nothing is selected, no key reaches anything.
Platform makePlatform();

// Whether DISPLAY or WAYLAND_DISPLAY names a display for Qt to open.
bool canReachDisplay();

} // namespace platform::fake
