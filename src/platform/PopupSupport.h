// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

class QWindow;

namespace platform {

// What the command popup needs of the window system beside Qt.
class PopupSupport {
public:
    enum class GrabOutcome { Taken, HeldByAnother, Failed };

    virtual ~PopupSupport() = default;

    // Whether windows can be see-through. Without a compositing manager,
    // transparent pixels show as garbage or black, so the popup then paints
    // an opaque panel instead.
    virtual bool isCompositing() const = 0;
    // The popup's hold on the keyboard, for a mapped window. Qt asks for it
    // with the time of the last event Qt saw, and the shortcut's press,
    // which the hot-key layer takes, is not among them: the server may
    // refuse the grab as too old, and the keys typed for the popup would
    // reach the application under it. Main thread.
    virtual GrabOutcome grabKeyboard(QWindow *window) const = 0;
};

} // namespace platform
