#include "X11Windows.h"

#include <QElapsedTimer>
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XRes.h>
#include <memory>
#include <poll.h>

namespace X11Windows {
namespace {

struct DisplayCloser {
    void operator()(Display *d) const { XCloseDisplay(d); }
};
using DisplayPtr = std::unique_ptr<Display, DisplayCloser>;

DisplayPtr openDisplay()
{
    return DisplayPtr(XOpenDisplay(nullptr));
}

Atom atom(Display *d, const char *name)
{
    return XInternAtom(d, name, False);
}

// One property as raw bytes (format 8) or longs (format 32), bounded in size.
struct Property {
    Atom type = None;
    int format = 0;
    unsigned long count = 0;
    std::unique_ptr<unsigned char, decltype(&XFree)> data{nullptr, &XFree};
};

Property readProperty(Display *d, Window w, Atom name, long maxLongs = 1 << 16)
{
    Property p;
    unsigned long after = 0;
    unsigned char *raw = nullptr;
    if (XGetWindowProperty(d, w, name, 0, maxLongs, False, AnyPropertyType, &p.type, &p.format,
                           &p.count, &after, &raw) == Success) {
        p.data.reset(raw);
    }
    return p;
}

std::optional<WindowInfo> describe(Display *d, Window w)
{
    if (w == None) {
        return std::nullopt;
    }
    WindowInfo info;
    info.windowId = w;
    const Property pid = readProperty(d, w, atom(d, "_NET_WM_PID"), 1);
    if (pid.data && pid.format == 32 && pid.count == 1) {
        info.processId = static_cast<qint64>(*reinterpret_cast<unsigned long *>(pid.data.get()));
    }
    const Property cls = readProperty(d, w, XA_WM_CLASS, 256);
    if (cls.data && cls.format == 8) {
        const QByteArray bytes(reinterpret_cast<const char *>(cls.data.get()), int(cls.count));
        const QList<QByteArray> parts = bytes.split('\0');
        info.wmClassName = QString::fromLocal8Bit(parts.value(0));
        info.wmClassClass = QString::fromLocal8Bit(parts.value(1));
    }
    Property title = readProperty(d, w, atom(d, "_NET_WM_NAME"), 1024);
    if (!title.data) {
        title = readProperty(d, w, XA_WM_NAME, 1024);
    }
    if (title.data && title.format == 8) {
        info.name =
            QString::fromUtf8(reinterpret_cast<const char *>(title.data.get()), int(title.count));
    }
    return info;
}

// The server's current time: the time stamp of our own property change.
Time serverTime(Display *d, Window w)
{
    XSelectInput(d, w, PropertyChangeMask);
    const Atom stamp = atom(d, "_VELLUMO_TIMESTAMP");
    XChangeProperty(d, w, stamp, XA_STRING, 8, PropModeAppend, nullptr, 0);
    XEvent event;
    XWindowEvent(d, w, PropertyChangeMask, &event);
    return event.xproperty.time;
}

bool waitReadable(Display *d, int timeoutMs)
{
    pollfd fd{ConnectionNumber(d), POLLIN, 0};
    return poll(&fd, 1, std::max(0, timeoutMs)) > 0;
}

} // namespace

std::optional<WindowInfo> activeWindow()
{
    DisplayPtr d = openDisplay();
    if (!d) {
        return std::nullopt;
    }
    const Property active =
        readProperty(d.get(), DefaultRootWindow(d.get()), atom(d.get(), "_NET_ACTIVE_WINDOW"), 1);
    if (!active.data || active.format != 32 || active.count != 1) {
        return std::nullopt;
    }
    return describe(d.get(), *reinterpret_cast<Window *>(active.data.get()));
}

std::optional<WindowInfo> windowInfo(quint64 windowId)
{
    DisplayPtr d = openDisplay();
    if (!d) {
        return std::nullopt;
    }
    return describe(d.get(), windowId);
}

QList<WindowInfo> clientWindows()
{
    QList<WindowInfo> list;
    DisplayPtr d = openDisplay();
    if (!d) {
        return list;
    }
    const Property clients =
        readProperty(d.get(), DefaultRootWindow(d.get()), atom(d.get(), "_NET_CLIENT_LIST"), 4096);
    if (!clients.data || clients.format != 32) {
        return list;
    }
    const auto *windows = reinterpret_cast<const Window *>(clients.data.get());
    for (unsigned long i = 0; i < clients.count; ++i) {
        if (auto info = describe(d.get(), windows[i])) {
            list.append(*info);
        }
    }
    return list;
}

std::optional<QRect> windowFrame(quint64 windowId)
{
    DisplayPtr d = openDisplay();
    if (!d) {
        return std::nullopt;
    }
    XWindowAttributes attributes;
    if (!XGetWindowAttributes(d.get(), windowId, &attributes)) {
        return std::nullopt;
    }
    int x = 0;
    int y = 0;
    Window child = None;
    XTranslateCoordinates(d.get(), windowId, DefaultRootWindow(d.get()), 0, 0, &x, &y, &child);
    QRect frame(x, y, attributes.width, attributes.height);
    // Include the window manager's decorations, as the user sees the window.
    const Property extents =
        readProperty(d.get(), windowId, atom(d.get(), "_NET_FRAME_EXTENTS"), 4);
    if (extents.data && extents.format == 32 && extents.count == 4) {
        const auto *e = reinterpret_cast<const long *>(extents.data.get());
        frame.adjust(-int(e[0]), -int(e[2]), int(e[1]), int(e[3]));
    }
    return frame;
}

bool activateWindow(quint64 windowId)
{
    DisplayPtr d = openDisplay();
    if (!d) {
        return false;
    }
    Display *dpy = d.get();
    const Window root = DefaultRootWindow(dpy);
    const Window helper = XCreateSimpleWindow(dpy, root, 0, 0, 1, 1, 0, 0, 0);
    const Time now = serverTime(dpy, helper);
    XDestroyWindow(dpy, helper);

    XEvent event{};
    event.xclient.type = ClientMessage;
    event.xclient.window = windowId;
    event.xclient.message_type = atom(dpy, "_NET_ACTIVE_WINDOW");
    event.xclient.format = 32;
    event.xclient.data.l[0] = 2; // source: a pager, which window managers obey
    event.xclient.data.l[1] = long(now);
    event.xclient.data.l[2] = 0;
    const int sent =
        XSendEvent(dpy, root, False, SubstructureRedirectMask | SubstructureNotifyMask, &event);
    XSync(dpy, False);
    return sent != 0;
}

qint64 selectionOwnerProcessId(Selection selection)
{
    DisplayPtr d = openDisplay();
    if (!d) {
        return 0;
    }
    const Atom sel = selection == Selection::Primary ? XA_PRIMARY : atom(d.get(), "CLIPBOARD");
    const Window owner = XGetSelectionOwner(d.get(), sel);
    if (owner == None) {
        return 0;
    }
    XResClientIdSpec wanted{owner, XRES_CLIENT_ID_PID_MASK};
    long count = 0;
    XResClientIdValue *values = nullptr;
    if (XResQueryClientIds(d.get(), 1, &wanted, &count, &values) != Success) {
        return 0;
    }
    qint64 pid = 0;
    for (long i = 0; i < count && pid <= 0; ++i) {
        pid = XResGetClientPid(&values[i]);
    }
    XResClientIdsDestroy(count, values);
    return pid > 0 ? pid : 0;
}

SelectionText readSelectionText(Selection selection, int timeoutMs)
{
    SelectionText result;
    DisplayPtr d = openDisplay();
    if (!d) {
        return result;
    }
    Display *dpy = d.get();
    const Atom sel = selection == Selection::Primary ? XA_PRIMARY : atom(dpy, "CLIPBOARD");
    if (XGetSelectionOwner(dpy, sel) == None) {
        return result;
    }
    const Atom utf8 = atom(dpy, "UTF8_STRING");
    const Atom target = atom(dpy, "_VELLUMO_SELECTION");
    const Window w = XCreateSimpleWindow(dpy, DefaultRootWindow(dpy), 0, 0, 1, 1, 0, 0, 0);
    XConvertSelection(dpy, sel, utf8, target, w, CurrentTime);
    XFlush(dpy);

    QElapsedTimer clock;
    clock.start();
    result.outcome = SelectionText::Outcome::TimedOut;
    while (clock.elapsed() < timeoutMs) {
        while (XPending(dpy)) {
            XEvent event;
            XNextEvent(dpy, &event);
            if (event.type != SelectionNotify || event.xselection.requestor != w) {
                continue;
            }
            result.outcome = SelectionText::Outcome::NoText;
            if (event.xselection.property == None) {
                return result;
            }
            // Selections over 4 MiB come in increments (INCR): not user text worth sending.
            const Property p = readProperty(dpy, w, target, 1 << 20);
            if (p.data && p.format == 8 && p.type != atom(dpy, "INCR")) {
                const auto *bytes = reinterpret_cast<const char *>(p.data.get());
                result.text = p.type == XA_STRING ? QString::fromLatin1(bytes, int(p.count))
                                                  : QString::fromUtf8(bytes, int(p.count));
                result.outcome = SelectionText::Outcome::Ok;
            }
            return result;
        }
        waitReadable(dpy, timeoutMs - int(clock.elapsed()));
    }
    return result;
}

bool hasXTest()
{
    DisplayPtr d = openDisplay();
    if (!d) {
        return false;
    }
    int opcode = 0;
    int event = 0;
    int error = 0;
    return XQueryExtension(d.get(), "XTEST", &opcode, &event, &error);
}

} // namespace X11Windows
