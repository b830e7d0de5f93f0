// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QtGlobal>
#include <optional>
#include <span>

// The 108 keys of the Mac ANSI/ISO/JIS keyboards that have a counterpart on
// Linux keyboards, in one table for the key events and the shortcuts: the
// stored form of both keeps the Mac virtual key codes, so what is stored
// reads the same on every platform, and the desktops name keys by their XKB
// keysyms (X11 and Wayland alike).
namespace Keys {

inline constexpr int count = 108;

struct KeyInfo {
    const char *name; // KeyEvent::Key's case name ("leftBracket", "return")
    int macKeyCode;
    quint32 keysym;
    // What the key types with no modifier; empty for keys that type nothing.
    const char16_t *character;
    // The character a described keystroke stands for: the one typed, or a
    // sign for keys that type none ("⎋", "↑", "F1").
    const char16_t *symbol;
};

// In the order of the Mac names: letters, digits, punctuation, keypad,
// editing keys, volume, navigation, function keys, ISO and JIS keys.
std::span<const KeyInfo> keys();

std::optional<KeyInfo> keyForMacKeyCode(int macKeyCode);
// For turning a pressed key into its stored code.
std::optional<KeyInfo> keyForKeysym(quint32 keysym);

} // namespace Keys
