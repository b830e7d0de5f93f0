// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>

// What the process does when its settings appear and go: "Activating
// screen" and "Deactivating screen" on standard output at every call, then
// the switch itself, unless another transition happened within the last
// transitionGuardMs: such a request is dropped, not queued, so a window
// shown and hidden in a quick succession does not flicker.
//
// There is no dock icon to show or hide on Linux: activating brings the
// settings window to the front and gives it the focus, deactivating changes
// nothing on screen. Process-wide; main thread only.
namespace ScreenActivation {

inline constexpr int transitionGuardMs = 150;

void activateScreen();
void deactivateScreen();

// Whether a transition happened within the last transitionGuardMs.
bool isGuarded();

// What a switch does (true: activate). The settings window sets it.
using Switch = std::function<void(bool activate)>;
void setSwitch(Switch performSwitch);

} // namespace ScreenActivation
