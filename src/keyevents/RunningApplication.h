#pragma once

#include <QList>
#include <QString>
#include <optional>

// A running application with a window on the X display: the process behind
// one or more managed top-level windows.
struct RunningApplication {
    qint64 processId = 0;
    QString localizedName; // the WM_CLASS class ("Mousepad", "XTerm")
    quint64 windowId = 0;  // its first managed window

    // One entry per process, in the window manager's client order.
    static QList<RunningApplication> all();
    // The application of the active window.
    static std::optional<RunningApplication> frontmost();
    // Name and process id, as logs print it: "Mousepad (1234)".
    QString description() const;
};
