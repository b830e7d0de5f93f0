#pragma once

#include "HotKeyLayer.h"

#include <memory>

namespace GlobalShortcuts {

// Grabs shortcuts on the X root window through Qt's own X connection; nothing
// when the application does not run on X11.
std::unique_ptr<HotKeyBackend> makeX11HotKeyBackend();

} // namespace GlobalShortcuts
