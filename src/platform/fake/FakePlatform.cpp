// SPDX-License-Identifier: GPL-3.0-or-later
#include "FakePlatform.h"

#include "FakeHotKeys.h"
#include "FakeKeyInput.h"
#include "FakeLoginItem.h"
#include "FakeNotifications.h"
#include "FakePopupSupport.h"
#include "FakeSelections.h"
#include "FakeWindows.h"
#include "QtOwnText.h"

#include <QtGlobal>

namespace platform::fake {

Platform makePlatform()
{
    Platform platform;
    platform.windows = std::make_unique<Windows>();
    platform.selections = std::make_unique<Selections>();
    platform.keys = std::make_unique<KeyInput>();
    platform.hotKeys = std::make_unique<HotKeys>();
    platform.popups = std::make_unique<PopupSupport>();
    platform.loginItem = std::make_unique<LoginItem>();
    platform.notifications = std::make_unique<Notifications>();
    platform.ownText = std::make_unique<QtOwnText>();
    return platform;
}

bool canReachDisplay()
{
    return !qEnvironmentVariableIsEmpty("DISPLAY") ||
           !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

} // namespace platform::fake
