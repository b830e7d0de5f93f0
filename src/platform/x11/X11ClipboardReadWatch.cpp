// SPDX-License-Identifier: GPL-3.0-or-later
#include "X11ClipboardReadWatch.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QLoggingCategory>

#include "X11Display.h"
#include <xcb/xcb.h>

namespace platform::x11 {

namespace {

// Which client asked for which format while an answer waits to be pasted
// (never the text itself). Off unless turned on with QT_LOGGING_RULES.
Q_LOGGING_CATEGORY(lcPasteReads, "vellumo.paste.reads", QtWarningMsg)

QByteArray atomName(xcb_connection_t *connection, xcb_atom_t atom)
{
    xcb_get_atom_name_reply_t *reply =
        xcb_get_atom_name_reply(connection, xcb_get_atom_name(connection, atom), nullptr);
    if (!reply) {
        return QByteArray::number(atom);
    }
    QByteArray name(xcb_get_atom_name_name(reply), xcb_get_atom_name_name_length(reply));
    std::free(reply);
    return name;
}

xcb_atom_t internAtom(xcb_connection_t *connection, const char *name)
{
    const auto cookie = xcb_intern_atom(connection, 0, uint16_t(qstrlen(name)), name);
    xcb_intern_atom_reply_t *reply = xcb_intern_atom_reply(connection, cookie, nullptr);
    const xcb_atom_t atom = reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
    std::free(reply);
    return atom;
}

xcb_connection_t *qtConnection()
{
    const auto *x11 =
        qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return x11 ? x11->connection() : nullptr;
}

} // namespace

X11ClipboardReadWatch::X11ClipboardReadWatch(qint64 readerProcessId, bool clipboard, bool primary,
                                             QObject *parent)
    : ClipboardReadWatch(parent), m_reader(readerProcessId)
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

X11ClipboardReadWatch::~X11ClipboardReadWatch()
{
    if (QCoreApplication::instance()) {
        QCoreApplication::instance()->removeNativeEventFilter(this);
    }
}

bool X11ClipboardReadWatch::nativeEventFilter(const QByteArray &eventType, void *message, qintptr *)
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
    qint64 requestor = 0;
    if (m_reader > 0) {
        Display *const d = threadDisplay();
        requestor =
            d && request->requestor != 0 ? clientProcessId(d, ::Window(request->requestor)) : 0;
    }
    const bool fromReader = m_reader <= 0 || requestor <= 0 || requestor == m_reader;
    const bool isRead = fromReader && m_textTargets.contains(request->target);
    if (lcPasteReads().isDebugEnabled()) {
        qCDebug(lcPasteReads).noquote()
            << QStringLiteral("Request for %1 by process %2 at %3 ms: %4")
                   .arg(QString::fromLatin1(atomName(qtConnection(), request->target)))
                   .arg(requestor)
                   .arg(request->time)
                   .arg(isRead       ? QStringLiteral("a read")
                        : fromReader ? QStringLiteral("not a read")
                                     : QStringLiteral("another process"));
    }
    if (!fromReader) {
        return false;
    }
    if (isRead) {
        QMetaObject::invokeMethod(this, &ClipboardReadWatch::read, Qt::QueuedConnection);
    }
    QMetaObject::invokeMethod(this, &ClipboardReadWatch::activity, Qt::QueuedConnection);
    return false;
}

} // namespace platform::x11
