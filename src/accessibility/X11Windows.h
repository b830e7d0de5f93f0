#pragma once

#include <QList>
#include <QRect>
#include <QString>
#include <memory>
#include <optional>

// Small X11 queries shared by capture, replacement and the popup. Each call
// opens its own short-lived connection, so any thread may use them; none of
// them waits on another client except SelectionReader, which is bounded.
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
// The window's frame on the root window, in device pixels, with the window
// manager's decorations.
std::optional<QRect> windowFrame(quint64 windowId);
// Where the window's own (0, 0) lies on the root window, and its size.
std::optional<QPoint> windowOrigin(quint64 windowId);
std::optional<QSize> windowSize(quint64 windowId);

// Asks the window manager to activate the window (_NET_ACTIVE_WINDOW with the
// current server time, as a pager would).
bool activateWindow(quint64 windowId);

enum class Selection { Primary, Clipboard };

// The process that owns the selection. The owner is usually an unmapped helper
// window, so the X-Resource extension is asked for its client's process id.
qint64 selectionOwnerProcessId(Selection selection);
// The process of the client that created a window (X-Resource), 0 if unknown.
qint64 windowProcessId(quint64 windowId);
// Whether the window still exists on the server.
bool windowExists(quint64 windowId);

struct SelectionData {
    enum class Outcome { Ok, NoOwner, Refused, TimedOut, TooLarge } outcome = Outcome::NoOwner;
    QByteArray type; // the name of the data's type ("UTF8_STRING", "ATOM", ...)
    int format = 8;  // 8, 16 or 32 bits per item; 32-bit items are kept as 4 bytes
    QByteArray data;
};

// Reads a selection on a connection of its own, so another client that does
// not answer costs only the time-out and never the main thread. Large data
// arrives in increments (INCR), which are followed. Any thread.
class SelectionReader {
public:
    explicit SelectionReader(Selection selection);
    ~SelectionReader();
    SelectionReader(const SelectionReader &) = delete;
    SelectionReader &operator=(const SelectionReader &) = delete;

    bool hasOwner() const;
    // The data of one target. timeoutMs bounds the wait for each answer of the
    // owner (the first, and every increment); maxBytes the data kept.
    SelectionData read(const QByteArray &target, int timeoutMs, qsizetype maxBytes);
    // The owner's TARGETS, as names.
    QList<QByteArray> targets(int timeoutMs);
    // The selection as text (UTF8_STRING, else STRING); nothing when the owner
    // offers no text. Trailing NULs some toolkits add are dropped.
    SelectionData text(int timeoutMs, qsizetype maxBytes);

private:
    struct State;
    std::unique_ptr<State> d;
};

bool hasXTest();

} // namespace X11Windows
