// SPDX-License-Identifier: GPL-3.0-or-later
#include "KeyTable.h"

#include <array>

namespace GlobalShortcuts::KeyTable {

namespace {

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
