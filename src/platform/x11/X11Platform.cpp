// SPDX-License-Identifier: GPL-3.0-or-later
#include "X11Platform.h"

#include "FreedesktopNotifications.h"
#include "QtOwnText.h"
#include "X11HotKeys.h"
#include "X11KeyInput.h"
#include "X11PopupSupport.h"
#include "X11Selections.h"
#include "X11Windows.h"
#include "XdgAutostart.h"

#include <QCoreApplication>
#include <X11/Xlib.h>

namespace platform::x11 {

Platform makePlatform()
{
    Platform platform;
    platform.windows = std::make_unique<Windows>();
    platform.selections = std::make_unique<Selections>();
    platform.keys = std::make_unique<KeyInput>();
    platform.hotKeys = std::make_unique<HotKeys>();
    platform.popups = std::make_unique<PopupSupport>();
    platform.loginItem = std::make_unique<XdgAutostart>(XdgAutostart::executableToStart(
        QStringLiteral(VELLUMO_INSTALLED_EXECUTABLE), QCoreApplication::applicationFilePath()));
    platform.notifications = std::make_unique<FreedesktopNotifications>();
    platform.ownText = std::make_unique<QtOwnText>();
    return platform;
}

bool canReachDisplay()
{
    Display *const display = XOpenDisplay(nullptr);
    if (!display) {
        return false;
    }
    XCloseDisplay(display);
    return true;
}

} // namespace platform::x11
