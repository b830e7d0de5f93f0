#pragma once

#include <QList>
#include <QRect>
#include <QString>
#include <optional>

// Small X11 queries shared by capture, replacement and the popup. Each call
// opens its own short-lived connection, so any thread may use them; none of
// them waits on another client except readSelectionText, which is bounded.
namespace X11Windows {

struct WindowInfo {
    quint64 windowId = 0;
    qint64 processId = 0; // _NET_WM_PID, 0 when the window does not say
    QString wmClassName;  // first part of WM_CLASS ("xterm")
    QString wmClassClass; // second part of WM_CLASS ("XTerm")
    QString name;         // _NET_WM_NAME, else WM_NAME
};

std::optional<WindowInfo> activeWindow();
std::optional<WindowInfo> windowInfo(quint64 windowId);
// The managed top-level windows (_NET_CLIENT_LIST), in stacking-independent order.
QList<WindowInfo> clientWindows();
// The window's frame on the root window, in device pixels.
std::optional<QRect> windowFrame(quint64 windowId);

// Asks the window manager to activate the window (_NET_ACTIVE_WINDOW with the
// current server time, as a pager would).
bool activateWindow(quint64 windowId);

enum class Selection { Primary, Clipboard };

// The process that owns the selection. The owner is usually an unmapped helper
// window, so the X-Resource extension is asked for its client's process id.
qint64 selectionOwnerProcessId(Selection selection);

struct SelectionText {
    enum class Outcome { Ok, NoOwner, NoText, TimedOut } outcome = Outcome::NoOwner;
    QString text;
};
// Converts the selection to UTF-8 text on a connection of its own, waiting at
// most timeoutMs for the owner, so a stopped owner costs only the time-out.
SelectionText readSelectionText(Selection selection, int timeoutMs);

bool hasXTest();

} // namespace X11Windows
