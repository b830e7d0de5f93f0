#pragma once

class QWindow;

// The popup's hold on the keyboard. Qt asks for it with the time of the last
// event Qt itself saw, and the shortcut's key press, which the hot key layer
// filters out, is not among them: the X server may refuse the grab as too
// old, and the keys typed for the popup would reach the application under
// it. This takes the keyboard with the server's current time instead.
namespace KeyboardGrab {

enum class Outcome { Taken, HeldByAnother, Failed };

// The window must be mapped (it is, right after show()).
Outcome take(QWindow *window);

} // namespace KeyboardGrab
