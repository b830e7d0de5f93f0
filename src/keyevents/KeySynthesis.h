#pragma once

#include "KeyEvent.h"

#include <QList>
#include <QString>

// Synthetic key input through XTest, on a connection of its own. X11 has no
// flag-only key event: modifiers are pressed as real keys around the key and
// released afterwards, in reverse order.
namespace KeySynthesis {

// keysym names as X knows them ("Control_L", "v", "Insert").
struct Chord {
    QList<QString> modifierKeysyms;
    QString keysym;
};

// False when there is no X display or the key has no keycode in the current
// keymap (nothing is posted then).
bool post(const Chord &chord, bool sendKeyUp = true);

// The keysym that stands for a key, and the held keys that stand for a
// modifier (empty for modifiers without an X11 key: function, help, numPad, and
// capsLock, whose press would toggle the lock instead of being held).
QString keysym(KeyEvent::Key key);
QList<QString> modifierKeysyms(KeyEvent::Modifier modifier);
Chord chordFor(const KeyEvent &event);

// True when another client holds the keyboard (an open menu does): a grab of
// our own is refused then.
bool keyboardGrabbedByAnother();

// True when the user holds Shift, Control, Alt or Super right now.
bool modifiersHeld();
// Waits (blocking, in 10 ms steps) until no modifier is held, at most
// timeoutMs; answers whether they were released.
bool waitUntilModifiersReleased(int timeoutMs);

} // namespace KeySynthesis
