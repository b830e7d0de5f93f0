// SPDX-License-Identifier: GPL-3.0-or-later
#include "X11Windows.h"

#include <QList>

#include "X11Display.h"

#include <X11/Xatom.h>
#include <X11/Xutil.h>

namespace platform::x11 {

namespace {

std::optional<Window> describe(Display *d, ::Window w)
{
    if (w == None) {
        return std::nullopt;
    }
    Window info;
    info.id = w;
    const Property pid = readProperty(d, w, atom(d, "_NET_WM_PID"), 1);
    if (pid.data && pid.format == 32 && pid.count == 1) {
        info.processId = static_cast<qint64>(*reinterpret_cast<unsigned long *>(pid.data.get()));
    }
    const Property cls = readProperty(d, w, XA_WM_CLASS, 256);
    if (cls.data && cls.format == 8) {
        const QByteArray bytes(reinterpret_cast<const char *>(cls.data.get()), int(cls.count));
        const QList<QByteArray> parts = bytes.split('\0');
        info.instanceName = QString::fromLocal8Bit(parts.value(0));
        info.className = QString::fromLocal8Bit(parts.value(1));
    }
    Property title = readProperty(d, w, atom(d, "_NET_WM_NAME"), 1024);
    if (!title.data) {
        title = readProperty(d, w, XA_WM_NAME, 1024);
    }
    if (title.data && title.format == 8) {
        info.title =
            QString::fromUtf8(reinterpret_cast<const char *>(title.data.get()), int(title.count));
    }
    return info;
}

// The server's current time: the time stamp of our own property change.
Time serverTime(Display *d, ::Window w)
{
    XSelectInput(d, w, PropertyChangeMask);
    const Atom stamp = atom(d, "_VELLUMO_TIMESTAMP");
    XChangeProperty(d, w, stamp, XA_STRING, 8, PropModeAppend, nullptr, 0);
    XEvent event;
    XWindowEvent(d, w, PropertyChangeMask, &event);
    return event.xproperty.time;
}

} // namespace

std::optional<Window> Windows::active() const
{
    Display *const d = threadDisplay();
    if (!d) {
        return std::nullopt;
    }
    const Property active = readProperty(d, DefaultRootWindow(d), atom(d, "_NET_ACTIVE_WINDOW"), 1);
    if (!active.data || active.format != 32 || active.count != 1) {
        return std::nullopt;
    }
    return describe(d, *reinterpret_cast<::Window *>(active.data.get()));
}

std::optional<QRect> Windows::frame(quint64 windowId) const
{
    Display *const d = threadDisplay();
    if (!d) {
        return std::nullopt;
    }
    XWindowAttributes attributes;
    if (!XGetWindowAttributes(d, windowId, &attributes)) {
        return std::nullopt;
    }
    int x = 0;
    int y = 0;
    ::Window child = None;
    XTranslateCoordinates(d, windowId, DefaultRootWindow(d), 0, 0, &x, &y, &child);
    QRect frame(x, y, attributes.width, attributes.height);
    const Property extents = readProperty(d, windowId, atom(d, "_NET_FRAME_EXTENTS"), 4);
    if (extents.data && extents.format == 32 && extents.count == 4) {
        const auto *e = reinterpret_cast<const long *>(extents.data.get());
        frame.adjust(-int(e[0]), -int(e[2]), int(e[1]), int(e[3]));
    }
    return frame;
}

std::optional<QRect> Windows::clientArea(quint64 windowId) const
{
    Display *const d = threadDisplay();
    if (!d) {
        return std::nullopt;
    }
    int x = 0;
    int y = 0;
    ::Window child = None;
    if (!XTranslateCoordinates(d, ::Window(windowId), DefaultRootWindow(d), 0, 0, &x, &y, &child)) {
        return std::nullopt;
    }
    XWindowAttributes attributes;
    if (!XGetWindowAttributes(d, ::Window(windowId), &attributes)) {
        return std::nullopt;
    }
    return QRect(x, y, attributes.width, attributes.height);
}

bool Windows::activate(quint64 windowId) const
{
    Display *const dpy = threadDisplay();
    if (!dpy) {
        return false;
    }
    const ::Window root = DefaultRootWindow(dpy);
    const ::Window helper = XCreateSimpleWindow(dpy, root, 0, 0, 1, 1, 0, 0, 0);
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

qint64 Windows::clientProcessId(quint64 windowId) const
{
    Display *const d = threadDisplay();
    return d && windowId != 0 ? x11::clientProcessId(d, ::Window(windowId)) : 0;
}

bool Windows::exists(quint64 windowId) const
{
    Display *const d = threadDisplay();
    if (!d || windowId == 0) {
        return false;
    }
    XWindowAttributes attributes;
    return XGetWindowAttributes(d, ::Window(windowId), &attributes) != 0;
}

PasteChord Windows::pasteChordFor(const Window &window) const
{
    return pasteChordForClass(window.instanceName, window.className);
}

} // namespace platform::x11
