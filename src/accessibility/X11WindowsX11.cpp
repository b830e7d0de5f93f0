#include "X11Windows.h"

#include <QElapsedTimer>
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XRes.h>
#include <memory>
#include <cstring>
#include <mutex>
#include <poll.h>

namespace X11Windows {
namespace {

struct DisplayCloser {
    void operator()(Display *d) const { XCloseDisplay(d); }
};
using DisplayPtr = std::unique_ptr<Display, DisplayCloser>;

int ignoreErrors(Display *, XErrorEvent *)
{
    return 0;
}

DisplayPtr openDisplay()
{
    // Xlib's default handler ends the process on any error, and a window that
    // vanished between two requests answers BadWindow: a failed request
    // answers nothing here instead. (Qt's own connection does the same.)
    static std::once_flag quiet;
    std::call_once(quiet, [] { XSetErrorHandler(&ignoreErrors); });
    return DisplayPtr(XOpenDisplay(nullptr));
}

// Each thread's own connection for the short queries, opened on first use:
// opening one costs more than the queries themselves.
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

// The process of the client that created window (X-Resource), 0 if unknown.
qint64 clientProcessId(Display *d, Window window)
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
    Display *const d = threadDisplay();
    if (!d) {
        return std::nullopt;
    }
    const Property active =
        readProperty(d, DefaultRootWindow(d), atom(d, "_NET_ACTIVE_WINDOW"), 1);
    if (!active.data || active.format != 32 || active.count != 1) {
        return std::nullopt;
    }
    return describe(d, *reinterpret_cast<Window *>(active.data.get()));
}

std::optional<WindowInfo> windowInfo(quint64 windowId)
{
    Display *const d = threadDisplay();
    if (!d) {
        return std::nullopt;
    }
    return describe(d, windowId);
}

QList<WindowInfo> clientWindows()
{
    QList<WindowInfo> list;
    Display *const d = threadDisplay();
    if (!d) {
        return list;
    }
    const Property clients =
        readProperty(d, DefaultRootWindow(d), atom(d, "_NET_CLIENT_LIST"), 4096);
    if (!clients.data || clients.format != 32) {
        return list;
    }
    const auto *windows = reinterpret_cast<const Window *>(clients.data.get());
    for (unsigned long i = 0; i < clients.count; ++i) {
        if (auto info = describe(d, windows[i])) {
            list.append(*info);
        }
    }
    return list;
}

std::optional<QRect> windowFrame(quint64 windowId)
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
    Window child = None;
    XTranslateCoordinates(d, windowId, DefaultRootWindow(d), 0, 0, &x, &y, &child);
    QRect frame(x, y, attributes.width, attributes.height);
    // Include the window manager's decorations, as the user sees the window.
    const Property extents =
        readProperty(d, windowId, atom(d, "_NET_FRAME_EXTENTS"), 4);
    if (extents.data && extents.format == 32 && extents.count == 4) {
        const auto *e = reinterpret_cast<const long *>(extents.data.get());
        frame.adjust(-int(e[0]), -int(e[2]), int(e[1]), int(e[3]));
    }
    return frame;
}

std::optional<QPoint> windowOrigin(quint64 windowId)
{
    Display *const d = threadDisplay();
    if (!d) {
        return std::nullopt;
    }
    int x = 0;
    int y = 0;
    Window child = None;
    if (!XTranslateCoordinates(d, Window(windowId), DefaultRootWindow(d), 0, 0, &x, &y,
                               &child)) {
        return std::nullopt;
    }
    return QPoint(x, y);
}

std::optional<QSize> windowSize(quint64 windowId)
{
    Display *const d = threadDisplay();
    XWindowAttributes attributes;
    if (!d || !XGetWindowAttributes(d, Window(windowId), &attributes)) {
        return std::nullopt;
    }
    return QSize(attributes.width, attributes.height);
}

bool activateWindow(quint64 windowId)
{
    Display *const d = threadDisplay();
    if (!d) {
        return false;
    }
    Display *dpy = d;
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
    Display *const d = threadDisplay();
    if (!d) {
        return 0;
    }
    const Atom sel = selection == Selection::Primary ? XA_PRIMARY : atom(d, "CLIPBOARD");
    const Window owner = XGetSelectionOwner(d, sel);
    return owner == None ? 0 : clientProcessId(d, owner);
}

qint64 windowProcessId(quint64 windowId)
{
    Display *const d = threadDisplay();
    return d && windowId != 0 ? clientProcessId(d, Window(windowId)) : 0;
}

bool windowExists(quint64 windowId)
{
    Display *const d = threadDisplay();
    if (!d || windowId == 0) {
        return false;
    }
    XWindowAttributes attributes;
    return XGetWindowAttributes(d, Window(windowId), &attributes) != 0;
}

struct SelectionReader::State {
    DisplayPtr display;
    Atom selection = None;
    Atom property = None;
    Atom incr = None;
    Window window = None;
};

SelectionReader::SelectionReader(Selection selection) : d(std::make_unique<State>())
{
    d->display = openDisplay();
    Display *dpy = d->display.get();
    if (!dpy) {
        return;
    }
    d->selection = selection == Selection::Primary ? XA_PRIMARY : atom(dpy, "CLIPBOARD");
    d->property = atom(dpy, "_VELLUMO_SELECTION");
    d->incr = atom(dpy, "INCR");
    d->window = XCreateSimpleWindow(dpy, DefaultRootWindow(dpy), 0, 0, 1, 1, 0, 0, 0);
    XSelectInput(dpy, d->window, PropertyChangeMask);
}

SelectionReader::~SelectionReader()
{
    if (d->display && d->window != None) {
        XDestroyWindow(d->display.get(), d->window);
    }
}

bool SelectionReader::hasOwner() const
{
    return d->display && XGetSelectionOwner(d->display.get(), d->selection) != None;
}

namespace {

// Waits for the first event that matches; false when timeoutMs passed.
template <typename Match> bool waitForEvent(Display *dpy, int timeoutMs, XEvent *out, Match match)
{
    QElapsedTimer clock;
    clock.start();
    for (;;) {
        while (XPending(dpy)) {
            XNextEvent(dpy, out);
            if (match(*out)) {
                return true;
            }
        }
        const int left = timeoutMs - int(clock.elapsed());
        if (left <= 0) {
            return false;
        }
        waitReadable(dpy, left);
    }
}

// The whole property, deleted after reading; 32-bit items packed as 4 bytes.
bool takeProperty(Display *dpy, Window w, Atom property, qsizetype maxBytes, Atom *type,
                  int *format, QByteArray *out, bool *tooLarge)
{
    unsigned long count = 0;
    unsigned long after = 0;
    unsigned char *raw = nullptr;
    const long longs = long(std::min<qsizetype>(maxBytes / 4 + 1, qsizetype(1) << 28));
    if (XGetWindowProperty(dpy, w, property, 0, longs, True, AnyPropertyType, type, format, &count,
                           &after, &raw) != Success) {
        return false;
    }
    std::unique_ptr<unsigned char, decltype(&XFree)> data(raw, &XFree);
    if (after > 0) {
        *tooLarge = true;
        XDeleteProperty(dpy, w, property);
    }
    if (!raw || count == 0) {
        return true;
    }
    if (*format == 32) {
        const auto *items = reinterpret_cast<const unsigned long *>(raw);
        for (unsigned long i = 0; i < count; ++i) {
            const quint32 item = quint32(items[i]);
            out->append(reinterpret_cast<const char *>(&item), 4);
        }
    } else {
        out->append(reinterpret_cast<const char *>(raw), qsizetype(count) * (*format / 8));
    }
    if (out->size() > maxBytes) {
        *tooLarge = true;
    }
    return true;
}

QByteArray atomName(Display *dpy, Atom a)
{
    if (a == None) {
        return {};
    }
    char *name = XGetAtomName(dpy, a);
    QByteArray text(name ? name : "");
    XFree(name);
    return text;
}

} // namespace

SelectionData SelectionReader::read(const QByteArray &target, int timeoutMs, qsizetype maxBytes)
{
    SelectionData result;
    Display *dpy = d->display.get();
    if (!dpy || XGetSelectionOwner(dpy, d->selection) == None) {
        return result;
    }
    const Atom targetAtom = atom(dpy, target.constData());
    XDeleteProperty(dpy, d->window, d->property);
    XConvertSelection(dpy, d->selection, targetAtom, d->property, d->window, CurrentTime);
    XFlush(dpy);

    XEvent event;
    const Window w = d->window;
    if (!waitForEvent(dpy, timeoutMs, &event, [w](const XEvent &e) {
            return e.type == SelectionNotify && e.xselection.requestor == w;
        })) {
        result.outcome = SelectionData::Outcome::TimedOut;
        return result;
    }
    if (event.xselection.property == None) {
        result.outcome = SelectionData::Outcome::Refused;
        return result;
    }
    Atom type = None;
    bool tooLarge = false;
    if (!takeProperty(dpy, w, d->property, maxBytes, &type, &result.format, &result.data,
                      &tooLarge)) {
        result.outcome = SelectionData::Outcome::Refused;
        return result;
    }
    if (type == d->incr) {
        // Deleting the property (done by the read) asks for the first
        // increment; an empty increment ends the transfer.
        result.data.clear();
        for (;;) {
            const Atom property = d->property;
            if (!waitForEvent(dpy, timeoutMs, &event, [w, property](const XEvent &e) {
                    return e.type == PropertyNotify && e.xproperty.window == w &&
                           e.xproperty.atom == property && e.xproperty.state == PropertyNewValue;
                })) {
                result.outcome = SelectionData::Outcome::TimedOut;
                return result;
            }
            QByteArray chunk;
            if (!takeProperty(dpy, w, d->property, maxBytes, &type, &result.format, &chunk,
                              &tooLarge)) {
                result.outcome = SelectionData::Outcome::Refused;
                return result;
            }
            if (chunk.isEmpty()) {
                break;
            }
            result.data += chunk;
            if (result.data.size() > maxBytes) {
                tooLarge = true;
            }
            if (tooLarge) {
                // Leave the transfer: the owner's own time-out ends it.
                break;
            }
        }
    }
    result.type = atomName(dpy, type);
    if (tooLarge) {
        result.outcome = SelectionData::Outcome::TooLarge;
        result.data.clear();
        return result;
    }
    result.outcome = SelectionData::Outcome::Ok;
    return result;
}

QList<QByteArray> SelectionReader::targets(int timeoutMs)
{
    QList<QByteArray> names;
    const SelectionData answer = read("TARGETS", timeoutMs, 64 * 1024);
    if (answer.outcome != SelectionData::Outcome::Ok || answer.format != 32) {
        return names;
    }
    Display *dpy = d->display.get();
    for (qsizetype i = 0; i + 4 <= answer.data.size(); i += 4) {
        quint32 a = 0;
        std::memcpy(&a, answer.data.constData() + i, 4);
        const QByteArray name = atomName(dpy, a);
        if (!name.isEmpty() && !names.contains(name)) {
            names.append(name);
        }
    }
    return names;
}

SelectionData SelectionReader::text(int timeoutMs, qsizetype maxBytes)
{
    SelectionData answer = read("UTF8_STRING", timeoutMs, maxBytes);
    if (answer.outcome == SelectionData::Outcome::Refused) {
        answer = read("STRING", timeoutMs, maxBytes);
        if (answer.outcome == SelectionData::Outcome::Ok && answer.type == "STRING") {
            answer.data = QString::fromLatin1(answer.data).toUtf8();
        }
    }
    if (answer.outcome == SelectionData::Outcome::Ok) {
        if (answer.format != 8) {
            answer.outcome = SelectionData::Outcome::Refused;
            answer.data.clear();
        }
        while (answer.data.endsWith('\0')) {
            answer.data.chop(1);
        }
    }
    return answer;
}

bool hasXTest()
{
    Display *const d = threadDisplay();
    if (!d) {
        return false;
    }
    int opcode = 0;
    int event = 0;
    int error = 0;
    return XQueryExtension(d, "XTEST", &opcode, &event, &error);
}

} // namespace X11Windows
