#include "KeyTable.h"

#include <X11/XF86keysym.h>
#include <X11/keysym.h>
#include <array>

namespace GlobalShortcuts::KeyTable {

namespace {

constexpr std::array<KeyInfo, 108> table{{
    // Letters.
    {0, XK_a, u"a"},
    {11, XK_b, u"b"},
    {8, XK_c, u"c"},
    {2, XK_d, u"d"},
    {14, XK_e, u"e"},
    {3, XK_f, u"f"},
    {5, XK_g, u"g"},
    {4, XK_h, u"h"},
    {34, XK_i, u"i"},
    {38, XK_j, u"j"},
    {40, XK_k, u"k"},
    {37, XK_l, u"l"},
    {46, XK_m, u"m"},
    {45, XK_n, u"n"},
    {31, XK_o, u"o"},
    {35, XK_p, u"p"},
    {12, XK_q, u"q"},
    {15, XK_r, u"r"},
    {1, XK_s, u"s"},
    {17, XK_t, u"t"},
    {32, XK_u, u"u"},
    {9, XK_v, u"v"},
    {13, XK_w, u"w"},
    {7, XK_x, u"x"},
    {16, XK_y, u"y"},
    {6, XK_z, u"z"},
    // Digit row.
    {29, XK_0, u"0"},
    {18, XK_1, u"1"},
    {19, XK_2, u"2"},
    {20, XK_3, u"3"},
    {21, XK_4, u"4"},
    {23, XK_5, u"5"},
    {22, XK_6, u"6"},
    {26, XK_7, u"7"},
    {28, XK_8, u"8"},
    {25, XK_9, u"9"},
    // Punctuation.
    {27, XK_minus, u"-"},
    {24, XK_equal, u"="},
    {33, XK_bracketleft, u"["},
    {30, XK_bracketright, u"]"},
    {42, XK_backslash, u"\\"},
    {41, XK_semicolon, u";"},
    {39, XK_apostrophe, u"'"},
    {43, XK_comma, u","},
    {47, XK_period, u"."},
    {44, XK_slash, u"/"},
    {50, XK_grave, u"`"},
    // Keypad.
    {65, XK_KP_Decimal, u"."},
    {67, XK_KP_Multiply, u"*"},
    {69, XK_KP_Add, u"+"},
    {71, XK_Clear, u""},
    {75, XK_KP_Divide, u"/"},
    {76, XK_KP_Enter, u""},
    {78, XK_KP_Subtract, u"-"},
    {81, XK_KP_Equal, u"="},
    {82, XK_KP_0, u"0"},
    {83, XK_KP_1, u"1"},
    {84, XK_KP_2, u"2"},
    {85, XK_KP_3, u"3"},
    {86, XK_KP_4, u"4"},
    {87, XK_KP_5, u"5"},
    {88, XK_KP_6, u"6"},
    {89, XK_KP_7, u"7"},
    {91, XK_KP_8, u"8"},
    {92, XK_KP_9, u"9"},
    // Editing keys. The Mac's "delete" is the backspace key, its forward
    // delete is X's Delete.
    {36, XK_Return, u""},
    {48, XK_Tab, u""},
    {49, XK_space, u" "},
    {51, XK_BackSpace, u""},
    {117, XK_Delete, u""},
    {53, XK_Escape, u""},
    // Volume.
    {72, XF86XK_AudioRaiseVolume, u""},
    {73, XF86XK_AudioLowerVolume, u""},
    {74, XF86XK_AudioMute, u""},
    // Navigation.
    {115, XK_Home, u""},
    {119, XK_End, u""},
    {116, XK_Prior, u""},
    {121, XK_Next, u""},
    {123, XK_Left, u""},
    {124, XK_Right, u""},
    {125, XK_Down, u""},
    {126, XK_Up, u""},
    // Function keys.
    {122, XK_F1, u""},
    {120, XK_F2, u""},
    {99, XK_F3, u""},
    {118, XK_F4, u""},
    {96, XK_F5, u""},
    {97, XK_F6, u""},
    {98, XK_F7, u""},
    {100, XK_F8, u""},
    {101, XK_F9, u""},
    {109, XK_F10, u""},
    {103, XK_F11, u""},
    {111, XK_F12, u""},
    {105, XK_F13, u""},
    {107, XK_F14, u""},
    {113, XK_F15, u""},
    {106, XK_F16, u""},
    {64, XK_F17, u""},
    {79, XK_F18, u""},
    {80, XK_F19, u""},
    {90, XK_F20, u""},
    // ISO and JIS keys.
    {10, XK_section, u"§"},
    {93, XK_yen, u"¥"},
    {94, XK_underscore, u"_"},
    {95, XK_KP_Separator, u","},
    {102, XK_Eisu_toggle, u""},
    {104, XK_Hiragana_Katakana, u""},
}};

struct Special {
    int macKeyCode;
    const char16_t *symbol;
};

// The 53 keys shown by a symbol rather than by the character they type.
constexpr std::array<Special, 53> specials{{
    {36, u"↩"},        {51, u"⌫"},       {117, u"⌦"},      {119, u"↘"},      {53, u"⎋"},
    {114, u"?\u20DD"}, {115, u"↖"},      {49, u"Space"},   {48, u"⇥"},       {116, u"⇞"},
    {121, u"⇟"},       {126, u"↑"},      {124, u"→"},      {125, u"↓"},      {123, u"←"},
    {122, u"F1"},      {120, u"F2"},     {99, u"F3"},      {118, u"F4"},     {96, u"F5"},
    {97, u"F6"},       {98, u"F7"},      {100, u"F8"},     {101, u"F9"},     {109, u"F10"},
    {103, u"F11"},     {111, u"F12"},    {105, u"F13"},    {107, u"F14"},    {113, u"F15"},
    {106, u"F16"},     {64, u"F17"},     {79, u"F18"},     {80, u"F19"},     {90, u"F20"},
    {82, u"0\u20E3"},  {83, u"1\u20E3"}, {84, u"2\u20E3"}, {85, u"3\u20E3"}, {86, u"4\u20E3"},
    {87, u"5\u20E3"},  {88, u"6\u20E3"}, {89, u"7\u20E3"}, {91, u"8\u20E3"}, {92, u"9\u20E3"},
    {71, u"☒\u20E3"},  {65, u".\u20E3"}, {75, u"/\u20E3"}, {76, u"↩\u20E3"}, {81, u"=\u20E3"},
    {78, u"-\u20E3"},  {67, u"*\u20E3"}, {69, u"+\u20E3"},
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

std::optional<QString> specialKeySymbol(int macKeyCode)
{
    for (const Special &special : specials) {
        if (special.macKeyCode == macKeyCode) {
            return QString::fromUtf16(special.symbol);
        }
    }
    return std::nullopt;
}

int carbonModifiers(Qt::KeyboardModifiers modifiers)
{
    int bits = 0;
    if (modifiers & Qt::ControlModifier) {
        bits |= controlKey;
    }
    if (modifiers & Qt::AltModifier) {
        bits |= optionKey;
    }
    if (modifiers & Qt::ShiftModifier) {
        bits |= shiftKey;
    }
    if (modifiers & Qt::MetaModifier) {
        bits |= cmdKey;
    }
    return bits;
}

Qt::KeyboardModifiers qtModifiers(int carbonModifiers)
{
    Qt::KeyboardModifiers modifiers;
    if (carbonModifiers & controlKey) {
        modifiers |= Qt::ControlModifier;
    }
    if (carbonModifiers & optionKey) {
        modifiers |= Qt::AltModifier;
    }
    if (carbonModifiers & shiftKey) {
        modifiers |= Qt::ShiftModifier;
    }
    if (carbonModifiers & cmdKey) {
        modifiers |= Qt::MetaModifier;
    }
    return modifiers;
}

} // namespace GlobalShortcuts::KeyTable
