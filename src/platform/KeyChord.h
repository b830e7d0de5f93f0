// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QList>
#include <QtGlobal>

namespace platform {

// Keys are named by their XKB keysyms, which X11 and Wayland (xkbcommon)
// share. A Latin-1 key's keysym is its code point ('v' is the V key).
namespace Keysym {
inline constexpr quint32 shiftL = 0xffe1;
inline constexpr quint32 controlL = 0xffe3;
inline constexpr quint32 altL = 0xffe9;
inline constexpr quint32 superL = 0xffeb;
inline constexpr quint32 insert = 0xff63;
} // namespace Keysym

// One keystroke as it is posted. There is no flag-only modifier on these
// desktops: the modifiers are real keys, pressed in order before the key and
// released after it in reverse order.
struct KeyChord {
    QList<quint32> modifiers;
    quint32 key = 0;

    friend bool operator==(const KeyChord &, const KeyChord &) = default;
};

} // namespace platform
