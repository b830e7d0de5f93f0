// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "HotKeys.h"
#include "KeyInput.h"
#include "LoginItem.h"
#include "Notifications.h"
#include "OwnText.h"
#include "PopupSupport.h"
#include "Selections.h"
#include "Windows.h"

#include <memory>

namespace platform {

// One desktop's implementations of everything that differs between
// desktops, made once by the application and handed to the parts that use
// them.
struct Platform {
    std::unique_ptr<Windows> windows;
    std::unique_ptr<Selections> selections;
    std::unique_ptr<KeyInput> keys;
    std::unique_ptr<HotKeys> hotKeys;
    std::unique_ptr<PopupSupport> popups;
    std::unique_ptr<LoginItem> loginItem;
    std::unique_ptr<Notifications> notifications;
    std::unique_ptr<OwnText> ownText;
};

} // namespace platform
