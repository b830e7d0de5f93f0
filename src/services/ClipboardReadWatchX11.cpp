#include "ClipboardReadWatch.h"

#include "X11Windows.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <xcb/xcb.h>

namespace {

xcb_atom_t internAtom(xcb_connection_t *connection, const char *name)
{
    const auto cookie = xcb_intern_atom(connection, 0, uint16_t(qstrlen(name)), name);
    xcb_intern_atom_reply_t *reply = xcb_intern_atom_reply(connection, cookie, nullptr);
    const xcb_atom_t atom = reply ? reply->atom : XCB_ATOM_NONE;
    std::free(reply);
    return atom;
}

xcb_connection_t *qtConnection()
{
    const auto *x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>()
                              : nullptr;
    return x11 ? x11->connection() : nullptr;
}

} // namespace

ClipboardReadWatch::ClipboardReadWatch(qint64 readerProcessId, bool clipboard, bool primary,
                                       QObject *parent)
    : QObject(parent), m_reader(readerProcessId)
{
    xcb_connection_t *connection = qtConnection();
    if (!connection) {
        return;
    }
    if (clipboard) {
        m_selections.append(internAtom(connection, "CLIPBOARD"));
    }
    if (primary) {
        m_selections.append(XCB_ATOM_PRIMARY);
    }
    // Only a request for the text as offered counts: asking what is offered
    // is not reading it, and toolkits first try formats of their own (GTK's
    // GTK_TEXT_BUFFER_CONTENTS), which are refused, before they ask for text.
    for (const char *target :
         {"UTF8_STRING", "STRING", "TEXT", "text/plain", "text/plain;charset=utf-8"}) {
        m_textTargets.append(internAtom(connection, target));
    }
    QCoreApplication::instance()->installNativeEventFilter(this);
}

ClipboardReadWatch::~ClipboardReadWatch()
{
    if (QCoreApplication::instance()) {
        QCoreApplication::instance()->removeNativeEventFilter(this);
    }
}

bool ClipboardReadWatch::nativeEventFilter(const QByteArray &eventType, void *message, qintptr *)
{
    if (eventType != "xcb_generic_event_t") {
        return false;
    }
    const auto *event = static_cast<const xcb_generic_event_t *>(message);
    if ((event->response_type & 0x7f) != XCB_SELECTION_REQUEST) {
        return false;
    }
    const auto *request = reinterpret_cast<const xcb_selection_request_event_t *>(event);
    if (!m_selections.contains(request->selection)) {
        return false;
    }
    if (m_reader > 0) {
        const qint64 requestor = X11Windows::windowProcessId(request->requestor);
        if (requestor > 0 && requestor != m_reader) {
            return false;
        }
    }
    if (m_textTargets.contains(request->target)) {
        QMetaObject::invokeMethod(this, &ClipboardReadWatch::read, Qt::QueuedConnection);
    }
    QMetaObject::invokeMethod(this, &ClipboardReadWatch::activity, Qt::QueuedConnection);
    return false;
}
