// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "KeyChord.h"

#include <QRect>
#include <QString>
#include <optional>

namespace platform {

// A top-level window of an application.
struct Window {
    quint64 id = 0;
    qint64 processId = 0; // as the window states it; 0 when it does not
    QString instanceName; // X11: the first part of WM_CLASS ("xterm")
    QString className;    // X11: the second part of WM_CLASS ("XTerm")
    QString title;
};

// How a window takes a paste: the chord, and whether that chord pastes the
// PRIMARY selection, which then has to hold the text as well.
struct PasteChord {
    KeyChord chord;
    bool alsoPrimary = false;

    friend bool operator==(const PasteChord &, const PasteChord &) = default;
};

// The windows of the desktop as the shortcut-to-paste loop sees them. Any
// thread; no call waits on another application.
class Windows {
public:
    virtual ~Windows() = default;

    virtual std::optional<Window> active() const = 0;
    virtual bool exists(quint64 windowId) const = 0;
    bool isActive(quint64 windowId) const;
    // Asks the window manager to activate the window; it may take effect
    // only after the call returns.
    virtual bool activate(quint64 windowId) const = 0;
    // The process of the client that made the window, 0 when unknown. It is
    // the one that reads a paste, which the window's own processId need not
    // be (a terminal's server, a sandbox).
    virtual qint64 clientProcessId(quint64 windowId) const = 0;
    // In device pixels: the frame with the window manager's decorations, as
    // the user sees the window, and the window's own area inside it.
    virtual std::optional<QRect> frame(quint64 windowId) const = 0;
    virtual std::optional<QRect> clientArea(quint64 windowId) const = 0;

    virtual PasteChord pasteChordFor(const Window &window) const = 0;
};

// Ctrl+V; Ctrl+Shift+V in terminal emulators; Shift+Insert, from PRIMARY,
// in xterm: the chord each takes, told apart by its window's class.
PasteChord pasteChordForClass(const QString &instanceName, const QString &className);

} // namespace platform
