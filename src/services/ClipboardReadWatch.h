#pragma once

#include <QAbstractNativeEventFilter>
#include <QList>
#include <QObject>

// Tells when one application asks Vellumo for the data it offers on the
// clipboard (or on PRIMARY): the X server hands the owner of a selection a
// request for each read. An application may read more than once for one
// paste (Chromium looks at a new clipboard on its own, then pastes), so
// every request is reported: the text taken (read), and any question
// (activity). Requests from other clients (clipboard managers) do not count.
// Main thread.
class ClipboardReadWatch : public QObject, public QAbstractNativeEventFilter {
    Q_OBJECT
public:
    // readerProcessId 0 counts a read by anyone.
    ClipboardReadWatch(qint64 readerProcessId, bool clipboard, bool primary,
                       QObject *parent = nullptr);
    ~ClipboardReadWatch() override;

    bool nativeEventFilter(const QByteArray &eventType, void *message, qintptr *result) override;

Q_SIGNALS:
    // Queued: by the time they arrive, Qt has answered the request.
    void read();     // the answer's text was taken
    void activity(); // any request, the text's included

private:
    qint64 m_reader;
    QList<quint32> m_selections; // the selections' atoms
    QList<quint32> m_textTargets; // the targets that carry the answer's text
};
