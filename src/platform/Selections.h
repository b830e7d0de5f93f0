// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QList>
#include <QObject>
#include <memory>

namespace platform {

// PRIMARY holds whatever is selected right now, CLIPBOARD what was copied.
enum class Selection { Primary, Clipboard };

struct SelectionData {
    enum class Outcome { Ok, NoOwner, Refused, TimedOut, TooLarge } outcome = Outcome::NoOwner;
    QByteArray type; // the name of the data's type ("UTF8_STRING", "ATOM", ...)
    int format = 8;  // 8, 16 or 32 bits per item; 32-bit items are kept as 4 bytes
    QByteArray data;
};

// Reads one selection from its owner, another application that may be slow
// or hung: every call waits, for at most its time-out, so readers are used
// off the main thread (each on one thread).
class SelectionReader {
public:
    virtual ~SelectionReader() = default;

    virtual bool hasOwner() const = 0;
    // The data of one target. timeoutMs bounds the wait for each answer of
    // the owner; maxBytes the data kept.
    virtual SelectionData read(const QByteArray &target, int timeoutMs, qsizetype maxBytes) = 0;
    // The names of the targets the owner offers.
    virtual QList<QByteArray> targets(int timeoutMs) = 0;
    // The selection as UTF-8 text; Refused when the owner offers no text.
    virtual SelectionData text(int timeoutMs, qsizetype maxBytes) = 0;
};

// Tells when one application asks Vellumo for what Vellumo offers on the
// clipboard (or PRIMARY). An application may ask more than once for one
// paste (Chromium looks at a new clipboard on its own, then pastes), so each
// request is reported: the text taken (read), and any request (activity).
// Requests of other clients (clipboard managers) do not count. Main thread.
class ClipboardReadWatch : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

Q_SIGNALS:
    // Queued: by the time they arrive, the request has been answered.
    void read();
    void activity();
};

class Selections {
public:
    virtual ~Selections() = default;

    // The process that owns the selection, 0 when none or unknown. Any thread.
    virtual qint64 ownerProcessId(Selection selection) const = 0;
    virtual std::unique_ptr<SelectionReader> reader(Selection selection) const = 0;
    // readerProcessId 0 counts a read by anyone. Main thread.
    virtual std::unique_ptr<ClipboardReadWatch> watchReads(qint64 readerProcessId, bool clipboard,
                                                           bool primary) const = 0;
};

} // namespace platform
