// SPDX-License-Identifier: GPL-3.0-or-later
#include "X11Selections.h"

#include "X11ClipboardReadWatch.h"

#include <QElapsedTimer>
#include <QString>

#include "X11Display.h"
#include <X11/Xatom.h>
#include <cstring>
#include <poll.h>

namespace platform::x11 {

namespace {

Atom selectionAtom(Display *d, Selection selection)
{
    return selection == Selection::Primary ? XA_PRIMARY : atom(d, "CLIPBOARD");
}

bool waitReadable(Display *d, int timeoutMs)
{
    pollfd fd{ConnectionNumber(d), POLLIN, 0};
    return poll(&fd, 1, std::max(0, timeoutMs)) > 0;
}

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
bool takeProperty(Display *dpy, ::Window w, Atom property, qsizetype maxBytes, Atom *type,
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

class Reader final : public SelectionReader {
public:
    explicit Reader(Selection selection) : m_display(openDisplay())
    {
        Display *dpy = m_display.get();
        if (!dpy) {
            return;
        }
        m_selection = selectionAtom(dpy, selection);
        m_property = atom(dpy, "_VELLUMO_SELECTION");
        m_incr = atom(dpy, "INCR");
        m_window = XCreateSimpleWindow(dpy, DefaultRootWindow(dpy), 0, 0, 1, 1, 0, 0, 0);
        XSelectInput(dpy, m_window, PropertyChangeMask);
    }

    ~Reader() override
    {
        if (m_display && m_window != None) {
            XDestroyWindow(m_display.get(), m_window);
        }
    }

    bool hasOwner() const override
    {
        return m_display && XGetSelectionOwner(m_display.get(), m_selection) != None;
    }

    SelectionData read(const QByteArray &target, int timeoutMs, qsizetype maxBytes) override;
    QList<QByteArray> targets(int timeoutMs) override;
    SelectionData text(int timeoutMs, qsizetype maxBytes) override;

private:
    DisplayPtr m_display;
    Atom m_selection = None;
    Atom m_property = None;
    Atom m_incr = None;
    ::Window m_window = None;
};

SelectionData Reader::read(const QByteArray &target, int timeoutMs, qsizetype maxBytes)
{
    SelectionData result;
    Display *dpy = m_display.get();
    if (!dpy || XGetSelectionOwner(dpy, m_selection) == None) {
        return result;
    }
    const Atom targetAtom = atom(dpy, target.constData());
    XDeleteProperty(dpy, m_window, m_property);
    XConvertSelection(dpy, m_selection, targetAtom, m_property, m_window, CurrentTime);
    XFlush(dpy);

    XEvent event;
    const ::Window w = m_window;
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
    if (!takeProperty(dpy, w, m_property, maxBytes, &type, &result.format, &result.data,
                      &tooLarge)) {
        result.outcome = SelectionData::Outcome::Refused;
        return result;
    }
    if (type == m_incr) {
        // Deleting the property (done by the read) asks for the first
        // increment; an empty increment ends the transfer.
        result.data.clear();
        for (;;) {
            const Atom property = m_property;
            if (!waitForEvent(dpy, timeoutMs, &event, [w, property](const XEvent &e) {
                    return e.type == PropertyNotify && e.xproperty.window == w &&
                           e.xproperty.atom == property && e.xproperty.state == PropertyNewValue;
                })) {
                result.outcome = SelectionData::Outcome::TimedOut;
                return result;
            }
            QByteArray chunk;
            if (!takeProperty(dpy, w, m_property, maxBytes, &type, &result.format, &chunk,
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

QList<QByteArray> Reader::targets(int timeoutMs)
{
    QList<QByteArray> names;
    const SelectionData answer = read("TARGETS", timeoutMs, qsizetype(64) * 1024);
    if (answer.outcome != SelectionData::Outcome::Ok || answer.format != 32) {
        return names;
    }
    Display *dpy = m_display.get();
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

SelectionData Reader::text(int timeoutMs, qsizetype maxBytes)
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

} // namespace

qint64 Selections::ownerProcessId(Selection selection) const
{
    Display *const d = threadDisplay();
    if (!d) {
        return 0;
    }
    const ::Window owner = XGetSelectionOwner(d, selectionAtom(d, selection));
    return owner == None ? 0 : clientProcessId(d, owner);
}

std::unique_ptr<SelectionReader> Selections::reader(Selection selection) const
{
    return std::make_unique<Reader>(selection);
}

std::unique_ptr<ClipboardReadWatch> Selections::watchReads(qint64 readerProcessId, bool clipboard,
                                                           bool primary) const
{
    return std::make_unique<X11ClipboardReadWatch>(readerProcessId, clipboard, primary);
}

} // namespace platform::x11
