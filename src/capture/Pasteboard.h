// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QFuture>
#include <QList>
#include <QObject>
#include <QTimer>
#include <optional>
#include <utility>

class QClipboard;
class QMimeData;

namespace platform {
class Selections;
} // namespace platform

// The user's clipboard (the CLIPBOARD selection) as the capture sees it: a
// change counter and one snapshot slot. The owner of the clipboard is
// another application that may be slow or hung, so its contents are read on
// the accessibility thread with bounded waits; the counter, the slot and the
// restore live on the main thread. One for the process: it counts the
// changes from its creation on.
class Pasteboard : public QObject {
    Q_OBJECT
public:
    explicit Pasteboard(const platform::Selections &selections, QObject *parent = nullptr);

    // Bumped on every change of the clipboard, by any client.
    quint64 changeCount() const { return m_changeCount; }

    // Takes a deep copy of every format the clipboard offers. The future says
    // whether the clipboard could be read: an empty clipboard can (and keeps
    // no snapshot, leaving an earlier one in place); an owner that does not
    // answer cannot, and nothing is kept.
    QFuture<bool> savePasteboardContents();
    // Puts the snapshot back and empties the slot; without one, does nothing.
    void restorePasteboardContents();
    // Empties the slot without putting anything back (nothing was copied over
    // the user's clipboard, which stays with its own owner).
    void discardSnapshot();
    // Nothing was copied in time, but the application that was asked to copy
    // (process copierProcessId) may still do so: it carries out a press from
    // its own event loop. A copy of its own within withinMs gets the snapshot
    // put back over it; after that the snapshot is dropped.
    void restoreAfterLateCopy(qint64 copierProcessId, int withinMs);
    bool hasSnapshot() const { return m_snapshot.has_value(); }

    // The plain text on the clipboard, or nothing when it holds no text.
    QFuture<std::optional<QString>> pasteboardString() const;

    // One format of a snapshot: the target's name and its data.
    using Snapshot = QList<std::pair<QByteArray, QByteArray>>;
    // The formats a restore offers again, in Qt's MIME names (text under
    // "text/plain", other targets under their own names). Targets that only
    // make sense to their owner (window ids, protocol targets, a format named
    // after the owner's process id) are dropped.
    static QMimeData *mimeDataFor(const Snapshot &snapshot);

    static constexpr int answerTimeoutMs = 300;
    static constexpr qsizetype maxSnapshotBytes = qsizetype(64) * 1024 * 1024;

private:
    void changed();

    const platform::Selections &m_selections;
    QClipboard *m_clipboard = nullptr;
    quint64 m_changeCount = 0;
    std::optional<Snapshot> m_snapshot;
    QTimer m_lateCopyWindow;
    qint64 m_lateCopier = 0;
};
