// SPDX-License-Identifier: GPL-3.0-or-later
#include "X11Display.h"

#include <X11/extensions/XRes.h>
#include <mutex>

namespace platform::x11 {

namespace {

int ignoreErrors(Display *, XErrorEvent *)
{
    return 0;
}

} // namespace

DisplayPtr openDisplay()
{
    // Xlib's default handler ends the process on any error. (Qt's own
    // connection ignores them too.)
    static std::once_flag quiet;
    std::call_once(quiet, [] { XSetErrorHandler(&ignoreErrors); });
    return DisplayPtr(XOpenDisplay(nullptr));
}

Display *threadDisplay()
{
    static thread_local DisplayPtr display;
    static thread_local bool tried = false;
    if (!tried || (display && XConnectionNumber(display.get()) < 0)) {
        tried = true;
        display = openDisplay();
    }
    return display.get();
}

Atom atom(Display *d, const char *name)
{
    return XInternAtom(d, name, False);
}

Property readProperty(Display *d, ::Window w, Atom name, long maxLongs)
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

qint64 clientProcessId(Display *d, ::Window window)
{
    XResClientIdSpec wanted{window, XRES_CLIENT_ID_PID_MASK};
    long count = 0;
    XResClientIdValue *values = nullptr;
    if (XResQueryClientIds(d, 1, &wanted, &count, &values) != Success) {
        return 0;
    }
    qint64 pid = 0;
    for (long i = 0; i < count && pid <= 0; ++i) {
        pid = XResGetClientPid(&values[i]);
    }
    XResClientIdsDestroy(count, values);
    return pid > 0 ? pid : 0;
}

} // namespace platform::x11
