// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "GlobalShortcuts.h"

#include <QList>
#include <QString>
#include <optional>

namespace GlobalShortcuts {

// An item of Vellumo's own menu (the tray icon's) with the shortcut it
// answers to. The tray builds its items from this list, and the shortcut
// recorder refuses these combinations.
struct MenuItem {
    QString title;
    Shortcut shortcut;
};

// "Settings…" on Ctrl+, and "Quit" on Ctrl+Q.
const QList<MenuItem> &menuItems();

// The menu item that answers to the shortcut, if any.
std::optional<MenuItem> menuItemUsing(const Shortcut &shortcut);

} // namespace GlobalShortcuts
