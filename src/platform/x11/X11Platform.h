// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Platform.h"

namespace platform::x11 {

// An X11 session's platform, with the freedesktop.org autostart entry and
// notifications. Main thread, once the QGuiApplication exists.
Platform makePlatform();

// Whether the X server that DISPLAY names answers: asked before any
// QGuiApplication exists, which would end the process when it does not.
bool canReachDisplay();

} // namespace platform::x11
