// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "GeneralTab.h"

#include <memory>

class KeychainService;
class SettingsWindow;
class VendorManager;

namespace platform {
class LoginItem;
}

// What the settings' pages work with, handed in by whoever composes the
// application (or a test).
struct SettingsServices {
    const platform::LoginItem &loginItem;
    GeneralTab::TrustTest trustTest;
    VendorManager &vendors;
    KeychainService &keys;
};

// The settings window with its three tabs: General, Vendors, Prompts.
std::unique_ptr<SettingsWindow> makeSettingsWindow(const SettingsServices &services);
