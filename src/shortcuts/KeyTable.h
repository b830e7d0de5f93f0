// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Keys.h"

#include <QString>
#include <QtGlobal>
#include <optional>

// The stored form of a shortcut keeps the Mac virtual key codes and Carbon
// modifier bits, so a stored shortcut reads the same on every platform. The
// key table (Keys.h) turns those codes into keysyms (and back, for
// recording); the text form shows some keys by a symbol of their own.
namespace GlobalShortcuts::KeyTable {

// Carbon modifier bits.
inline constexpr int controlKey = 0x1000;
inline constexpr int optionKey = 0x800;
inline constexpr int shiftKey = 0x200;
inline constexpr int cmdKey = 0x100;
inline constexpr int functionKey = 0x20000;
inline constexpr int knownModifiers = controlKey | optionKey | shiftKey | cmdKey | functionKey;

using ::Keys::keyForKeysym;
using ::Keys::keyForMacKeyCode;
using ::Keys::KeyInfo;
using ::Keys::keys;

// The display symbol of the non-character keys (return, arrows, F1 to F20,
// keypad keys...), or nothing when the key is an ordinary character key.
std::optional<QString> specialKeySymbol(int macKeyCode);

// Carbon bits from Qt modifiers (Meta is the Super key on X11) and back.
int carbonModifiers(Qt::KeyboardModifiers modifiers);
Qt::KeyboardModifiers qtModifiers(int carbonModifiers);

} // namespace GlobalShortcuts::KeyTable
