// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Selections.h"

#include <QHash>
#include <QList>
#include <QMutex>
#include <QPointer>

namespace platform::fake {

// Selections owned by pretend applications: data per target, or an owner
// that never answers. A test also plays the application that reads what
// Vellumo offers (readBy).
class Selections final : public platform::Selections {
public:
    struct Content {
        qint64 ownerProcessId = 0; // 0: no owner
        QHash<QByteArray, QByteArray> data;
        bool hung = false; // every read times out
    };
    void setContent(Selection selection, const Content &content);
    // Plain text as owners offer it (UTF8_STRING, text/plain).
    static Content text(qint64 ownerProcessId, const QString &text);

    // The process reads the text Vellumo offers on the selection.
    void readBy(qint64 processId, Selection selection);
    // The process asks which formats Vellumo offers, and reads nothing.
    void lookBy(qint64 processId, Selection selection);

    qint64 ownerProcessId(Selection selection) const override;
    std::unique_ptr<SelectionReader> reader(Selection selection) const override;
    std::unique_ptr<ClipboardReadWatch> watchReads(qint64 readerProcessId, bool clipboard,
                                                   bool primary) const override;

private:
    struct Watch {
        QPointer<ClipboardReadWatch> watch;
        qint64 reader;
        bool clipboard;
        bool primary;
    };
    Content content(Selection selection) const;
    void request(qint64 processId, Selection selection, bool read);

    mutable QMutex m_mutex;
    Content m_primary;
    Content m_clipboard;
    mutable QList<Watch> m_watches; // main thread
};

} // namespace platform::fake
