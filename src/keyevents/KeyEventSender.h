// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "KeyChord.h"
#include "KeyEvent.h"

#include <QList>
#include <QLoggingCategory>
#include <QString>
#include <variant>

Q_DECLARE_LOGGING_CATEGORY(lcKeyEvents)

namespace platform {
class KeyInput;
} // namespace platform

struct KeyEventSenderError {
    QString message;
};

// Posts keystrokes into the window that has the keyboard focus, through the
// desktop's synthetic key input: described keystrokes, each as the chord of
// its key and modifier keys, and chords as a desktop asks for them (the
// paste). The desktop delivers synthetic input to the focused window only,
// so the caller makes sure it is the right one. Calls block for the posting;
// any thread.
class KeyEventSender {
public:
    explicit KeyEventSender(const platform::KeyInput &input) : m_input(input) {}

    // False when a keystroke could not be posted (logged); the others are
    // posted all the same.
    bool send(const KeyEvent &event, bool sendKeyUp = true) const;
    bool send(const QList<KeyEvent> &events, bool sendKeyUp = true) const;
    bool send(const platform::KeyChord &chord, bool sendKeyUp = true) const;

    // One event per character; upper-case characters add shift.
    static std::variant<QList<KeyEvent>, KeyEventSenderError> eventsFor(const QString &text);
    // Modifiers without a key of their own add nothing: function, help,
    // numPad, and capsLock, whose press would toggle the lock instead.
    static platform::KeyChord chordFor(const KeyEvent &event);

private:
    const platform::KeyInput &m_input;
};
