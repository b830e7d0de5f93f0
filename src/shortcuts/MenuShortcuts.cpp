// SPDX-License-Identifier: GPL-3.0-or-later
#include "MenuShortcuts.h"

#include "KeyTable.h"

namespace GlobalShortcuts {

const QList<MenuItem> &menuItems()
{
    // Mac key codes: 43 is the comma key, 12 the Q key.
    static const QList<MenuItem> items{
        {QStringLiteral("Settings…"), Shortcut(43, KeyTable::controlKey)},
        {QStringLiteral("Quit"), Shortcut(12, KeyTable::controlKey)},
    };
    return items;
}

std::optional<MenuItem> menuItemUsing(const Shortcut &shortcut)
{
    for (const MenuItem &item : menuItems()) {
        if (item.shortcut == shortcut) {
            return item;
        }
    }
    return std::nullopt;
}

} // namespace GlobalShortcuts
