#include "X11Platform.h"

#include "X11HotKeys.h"
#include "X11KeyInput.h"
#include "X11PopupSupport.h"
#include "X11Selections.h"
#include "X11Windows.h"

namespace platform::x11 {

Platform makePlatform()
{
    Platform platform;
    platform.windows = std::make_unique<Windows>();
    platform.selections = std::make_unique<Selections>();
    platform.keys = std::make_unique<KeyInput>();
    platform.hotKeys = std::make_unique<HotKeys>();
    platform.popups = std::make_unique<PopupSupport>();
    return platform;
}

} // namespace platform::x11
