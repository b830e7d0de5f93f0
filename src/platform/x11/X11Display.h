// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QtGlobal>
#include <X11/Xlib.h>
#include <memory>

// Xlib connections of Vellumo's own, beside Qt's: each call of the platform
// may come from any thread, and none may wait on Qt's event loop.
namespace platform::x11 {

struct DisplayCloser {
    void operator()(Display *d) const { XCloseDisplay(d); }
};
using DisplayPtr = std::unique_ptr<Display, DisplayCloser>;

// A new connection on which a failed request answers nothing instead of
// ending the process: a window that vanished between two requests answers
// BadWindow.
DisplayPtr openDisplay();

// The calling thread's own connection for short queries, opened on first use
// (opening one costs more than the queries themselves); nothing without a
// display.
Display *threadDisplay();

Atom atom(Display *d, const char *name);

// One property as raw bytes (format 8) or longs (format 32), bounded in size.
struct Property {
    Atom type = None;
    int format = 0;
    unsigned long count = 0;
    std::unique_ptr<unsigned char, decltype(&XFree)> data{nullptr, &XFree};
};
Property readProperty(Display *d, ::Window w, Atom name, long maxLongs = 1 << 16);

// The process of the client that created window (X-Resource), 0 if unknown.
qint64 clientProcessId(Display *d, ::Window window);

} // namespace platform::x11
