// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Keys.h"

#include <QJsonObject>
#include <QList>
#include <QString>
#include <optional>

// A described keystroke: one key and the modifier keys held with it. Key codes
// are the Mac virtual key codes, kept as the stored form; the key table
// (Keys.h) gives each key its code, keysym and character.
struct KeyEvent {
    // Declaration order matters: character lookup takes the first match.
    enum class Key {
        a,
        b,
        c,
        d,
        e,
        f,
        g,
        h,
        i,
        j,
        k,
        l,
        m,
        n,
        o,
        p,
        q,
        r,
        s,
        t,
        u,
        v,
        w,
        x,
        y,
        z,
        zero,
        one,
        two,
        three,
        four,
        five,
        six,
        seven,
        eight,
        nine,
        minus,
        equal,
        leftBracket,
        rightBracket,
        backslash,
        semicolon,
        quote,
        comma,
        period,
        slash,
        grave,
        keypadDecimal,
        keypadMultiply,
        keypadPlus,
        keypadClear,
        keypadDivide,
        keypadEnter,
        keypadMinus,
        keypadEquals,
        keypad0,
        keypad1,
        keypad2,
        keypad3,
        keypad4,
        keypad5,
        keypad6,
        keypad7,
        keypad8,
        keypad9,
        return_,
        tab,
        space,
        delete_,
        forwardDelete,
        escape,
        volumeUp,
        volumeDown,
        mute,
        home,
        end,
        pageUp,
        pageDown,
        leftArrow,
        rightArrow,
        downArrow,
        upArrow,
        f1,
        f2,
        f3,
        f4,
        f5,
        f6,
        f7,
        f8,
        f9,
        f10,
        f11,
        f12,
        f13,
        f14,
        f15,
        f16,
        f17,
        f18,
        f19,
        f20,
        isoSection,
        jisYen,
        jisUnderscore,
        jisKeypadComma,
        jisEisu,
        jisKana,
    };
    static constexpr int keyCount = Keys::count;

    enum class Modifier { capsLock, command, control, function, help, numPad, option, shift };
    static constexpr int modifierCount = 8;

    Key key = Key::a;
    QList<Modifier> modifiers;

    // The union of the modifiers' flags (0 for none).
    quint64 flags() const;

    static quint16 keyCode(Key key);
    static QString character(Key key);
    static QString name(Key key); // case name: "leftBracket", "return", "delete"
    static std::optional<Key> keyFromName(const QString &name);
    // The first key in declaration order whose character matches, ignoring case.
    static std::optional<Key> keyForCharacter(const QString &character);

    static quint64 flag(Modifier modifier);
    static QString name(Modifier modifier);
    static std::optional<Modifier> modifierFromName(const QString &name);

    // {"key": {"c": {}}, "modifiers": [{"command": {}}]}
    QJsonObject toJson() const;
    // Nothing, with error set, when the object is not a key event.
    static std::optional<KeyEvent> fromJson(const QJsonObject &object, QString *error = nullptr);

    friend bool operator==(const KeyEvent &a, const KeyEvent &b) = default;
};
