// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "UIElement.h"

#include <QList>
#include <QSet>
#include <QString>

namespace platform {
class KeyboardGrabWatch;
class KeyInput;
class Windows;
} // namespace platform

// Finding the focused application's Copy menu item through its accessible menu
// bar. Everything here runs on the accessibility thread.
namespace CopyMenuItem {

// Where the Edit menu usually sits in a Linux menu bar (File, Edit, ...).
constexpr int editMenuIndex = 1;

// The titles of the Copy command in 35 languages (NFC).
const QSet<QString> &copyMenuTitles();
// Whether a menu item's title is one of them, after removing mnemonic marks
// ("_Copy", "&Copy") and the padding some toolkits add.
bool isCopyTitle(const QString &title);
// Whether an accessible id names the copy command ("copy", "edit-copy", ...).
bool isCopyIdentifier(const QString &identifier);
// Whether an Action key binding is Ctrl+C ("c;<Alt>e:c;<Primary>c", "Ctrl+C").
bool isCtrlCBinding(const QString &binding);

// The order in which the menus of a bar with menuCount menus are searched:
// the Edit menu, then its neighbours outwards (1, 0, 2, 3, ... for index 1).
// Empty when the bar is too short to have an Edit menu there.
QList<int> menuSearchOrder(int menuCount, int editIndex = editMenuIndex);

bool isCopyMenuItem(const UIElement &element);
UIElement findCopyItemInMenuBar(const Application &application);
// The Copy item of the focused application when it is enabled, or when it can
// be pressed although it reports itself disabled (a state some applications
// do not keep current); else a null element.
UIElement findEnabledCopyItem(const platform::Windows &windows, const platform::KeyInput &keys);

// Some applications (LibreOffice) leave their menu bar in keyboard mode
// after one of its items was pressed through accessibility, so the next keys
// (the popup's, the paste) would go to the menus: when the focus is on a menu
// or a menu holds the keyboard, Escape ends that mode, as it would for a
// user. Waits until the focus has left the menus, at most timeoutMs; answers
// whether it has.
//
// grabs watches the keyboard from just before the press. LibreOffice opens
// the item's menu for the press (taking the keyboard), closes it (giving it
// back), and only then takes the keyboard again for the menu it leaves open,
// sometimes after the copy already came: an application that took the
// keyboard for the press is first waited for until a menu holds it again, at
// most menuReturnTimeoutMs. Without a watch, a grab of Vellumo's own asks
// whether another client holds the keyboard.
bool leaveMenuMode(const platform::Windows &windows, const platform::KeyInput &keys,
                   platform::KeyboardGrabWatch *grabs, int timeoutMs = 300);

constexpr int menuReturnTimeoutMs = 1000;

} // namespace CopyMenuItem
