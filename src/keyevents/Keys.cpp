// SPDX-License-Identifier: GPL-3.0-or-later
#include "Keys.h"

#include <array>

namespace Keys {

namespace {

// In the declaration order of KeyEvent::Key: name, Mac virtual key code,
// keysym, character typed, character described. A Latin-1 key's keysym is
// its code point.
constexpr std::array<KeyInfo, count> table{{
    // Letters.
    {"a", 0, 'a', u"a", u"a"},
    {"b", 11, 'b', u"b", u"b"},
    {"c", 8, 'c', u"c", u"c"},
    {"d", 2, 'd', u"d", u"d"},
    {"e", 14, 'e', u"e", u"e"},
    {"f", 3, 'f', u"f", u"f"},
    {"g", 5, 'g', u"g", u"g"},
    {"h", 4, 'h', u"h", u"h"},
    {"i", 34, 'i', u"i", u"i"},
    {"j", 38, 'j', u"j", u"j"},
    {"k", 40, 'k', u"k", u"k"},
    {"l", 37, 'l', u"l", u"l"},
    {"m", 46, 'm', u"m", u"m"},
    {"n", 45, 'n', u"n", u"n"},
    {"o", 31, 'o', u"o", u"o"},
    {"p", 35, 'p', u"p", u"p"},
    {"q", 12, 'q', u"q", u"q"},
    {"r", 15, 'r', u"r", u"r"},
    {"s", 1, 's', u"s", u"s"},
    {"t", 17, 't', u"t", u"t"},
    {"u", 32, 'u', u"u", u"u"},
    {"v", 9, 'v', u"v", u"v"},
    {"w", 13, 'w', u"w", u"w"},
    {"x", 7, 'x', u"x", u"x"},
    {"y", 16, 'y', u"y", u"y"},
    {"z", 6, 'z', u"z", u"z"},
    // Digit row.
    {"zero", 29, '0', u"0", u"0"},
    {"one", 18, '1', u"1", u"1"},
    {"two", 19, '2', u"2", u"2"},
    {"three", 20, '3', u"3", u"3"},
    {"four", 21, '4', u"4", u"4"},
    {"five", 23, '5', u"5", u"5"},
    {"six", 22, '6', u"6", u"6"},
    {"seven", 26, '7', u"7", u"7"},
    {"eight", 28, '8', u"8", u"8"},
    {"nine", 25, '9', u"9", u"9"},
    // Punctuation.
    {"minus", 27, '-', u"-", u"-"},
    {"equal", 24, '=', u"=", u"="},
    {"leftBracket", 33, '[', u"[", u"["},
    {"rightBracket", 30, ']', u"]", u"]"},
    {"backslash", 42, '\\', u"\\", u"\\"},
    {"semicolon", 41, ';', u";", u";"},
    {"quote", 39, '\'', u"'", u"'"},
    {"comma", 43, ',', u",", u","},
    {"period", 47, '.', u".", u"."},
    {"slash", 44, '/', u"/", u"/"},
    {"grave", 50, '`', u"`", u"`"},
    // Keypad.
    {"keypadDecimal", 65, 0xffae, u".", u"."},
    {"keypadMultiply", 67, 0xffaa, u"*", u"*"},
    {"keypadPlus", 69, 0xffab, u"+", u"+"},
    {"keypadClear", 71, 0xff0b, u"", u"⌧"},
    {"keypadDivide", 75, 0xffaf, u"/", u"÷"},
    {"keypadEnter", 76, 0xff8d, u"", u"\n"},
    {"keypadMinus", 78, 0xffad, u"-", u"-"},
    {"keypadEquals", 81, 0xffbd, u"=", u"="},
    {"keypad0", 82, 0xffb0, u"0", u"0"},
    {"keypad1", 83, 0xffb1, u"1", u"1"},
    {"keypad2", 84, 0xffb2, u"2", u"2"},
    {"keypad3", 85, 0xffb3, u"3", u"3"},
    {"keypad4", 86, 0xffb4, u"4", u"4"},
    {"keypad5", 87, 0xffb5, u"5", u"5"},
    {"keypad6", 88, 0xffb6, u"6", u"6"},
    {"keypad7", 89, 0xffb7, u"7", u"7"},
    {"keypad8", 91, 0xffb8, u"8", u"8"},
    {"keypad9", 92, 0xffb9, u"9", u"9"},
    // Editing keys. The Mac's "delete" is the backspace key, its forward
    // delete is X's Delete.
    {"return", 36, 0xff0d, u"", u"\n"},
    {"tab", 48, 0xff09, u"", u"\t"},
    {"space", 49, ' ', u" ", u" "},
    {"delete", 51, 0xff08, u"", u"⌫"},
    {"forwardDelete", 117, 0xffff, u"", u"⌦"},
    {"escape", 53, 0xff1b, u"", u"⎋"},
    // Volume.
    {"volumeUp", 72, 0x1008ff13, u"", u"\U0010FFEE"},
    {"volumeDown", 73, 0x1008ff11, u"", u"\U0010FFEE"},
    {"mute", 74, 0x1008ff12, u"", u"\U0010FFEE"},
    // Navigation.
    {"home", 115, 0xff50, u"", u"⇱"},
    {"end", 119, 0xff57, u"", u"⇲"},
    {"pageUp", 116, 0xff55, u"", u"⇞"},
    {"pageDown", 121, 0xff56, u"", u"⇟"},
    {"leftArrow", 123, 0xff51, u"", u"←"},
    {"rightArrow", 124, 0xff53, u"", u"→"},
    {"downArrow", 125, 0xff54, u"", u"↓"},
    {"upArrow", 126, 0xff52, u"", u"↑"},
    // Function keys.
    {"f1", 122, 0xffbe, u"", u"F1"},
    {"f2", 120, 0xffbf, u"", u"F2"},
    {"f3", 99, 0xffc0, u"", u"F3"},
    {"f4", 118, 0xffc1, u"", u"F4"},
    {"f5", 96, 0xffc2, u"", u"F5"},
    {"f6", 97, 0xffc3, u"", u"F6"},
    {"f7", 98, 0xffc4, u"", u"F7"},
    {"f8", 100, 0xffc5, u"", u"F8"},
    {"f9", 101, 0xffc6, u"", u"F9"},
    {"f10", 109, 0xffc7, u"", u"F10"},
    {"f11", 103, 0xffc8, u"", u"F11"},
    {"f12", 111, 0xffc9, u"", u"F12"},
    {"f13", 105, 0xffca, u"", u"F13"},
    {"f14", 107, 0xffcb, u"", u"F14"},
    {"f15", 113, 0xffcc, u"", u"F15"},
    {"f16", 106, 0xffcd, u"", u"F16"},
    {"f17", 64, 0xffce, u"", u"F17"},
    {"f18", 79, 0xffcf, u"", u"F18"},
    {"f19", 80, 0xffd0, u"", u"F19"},
    {"f20", 90, 0xffd1, u"", u"F20"},
    // ISO and JIS keys.
    {"isoSection", 10, 0x00a7, u"§", u"§"},
    {"jisYen", 93, 0x00a5, u"¥", u"¥"},
    {"jisUnderscore", 94, '_', u"_", u"_"},
    {"jisKeypadComma", 95, 0xffac, u",", u","},
    {"jisEisu", 102, 0xff30, u"", u"英数"},
    {"jisKana", 104, 0xff27, u"", u"かな"},
}};

} // namespace

std::span<const KeyInfo> keys()
{
    return table;
}

std::optional<KeyInfo> keyForMacKeyCode(int macKeyCode)
{
    for (const KeyInfo &key : table) {
        if (key.macKeyCode == macKeyCode) {
            return key;
        }
    }
    return std::nullopt;
}

std::optional<KeyInfo> keyForKeysym(quint32 keysym)
{
    for (const KeyInfo &key : table) {
        if (key.keysym == keysym) {
            return key;
        }
    }
    return std::nullopt;
}

} // namespace Keys
