#pragma once

#include <QString>
#include <QtGlobal>
#include <cstdint>
#include <optional>
#include <span>

// The stored form of a shortcut keeps the Mac virtual key codes and Carbon
// modifier bits, so a stored shortcut reads the same on every platform. This
// table turns those codes into X keysyms (and back, for recording) and gives
// each key the text shown in the shortcut's text form.
namespace GlobalShortcuts::KeyTable {

// Carbon modifier bits.
inline constexpr int controlKey = 0x1000;
inline constexpr int optionKey = 0x800;
inline constexpr int shiftKey = 0x200;
inline constexpr int cmdKey = 0x100;
inline constexpr int functionKey = 0x20000;
inline constexpr int knownModifiers = controlKey | optionKey | shiftKey | cmdKey | functionKey;

struct KeyInfo {
    int macKeyCode;
    quint32 keysym;
    // What the key types with no modifier; empty for keys that type nothing.
    const char16_t *character;
};

// The 108 keys of the Mac ANSI/ISO/JIS keyboards that have a counterpart on
// X, in the order of their Mac names (letters, digits, punctuation, keypad,
// editing keys, volume, navigation, function keys, ISO and JIS keys).
std::span<const KeyInfo> keys();

std::optional<KeyInfo> keyForMacKeyCode(int macKeyCode);
// Reverse lookup, for turning a pressed X key into its stored code.
std::optional<KeyInfo> keyForKeysym(quint32 keysym);

// The display symbol of the non-character keys (return, arrows, F1 to F20,
// keypad keys...), or nothing when the key is an ordinary character key.
std::optional<QString> specialKeySymbol(int macKeyCode);

// Carbon bits from Qt modifiers (Meta is the Super key on X11) and back.
int carbonModifiers(Qt::KeyboardModifiers modifiers);
Qt::KeyboardModifiers qtModifiers(int carbonModifiers);

} // namespace GlobalShortcuts::KeyTable
