#pragma once

#include <QClipboard>
#include <QMimeData>
#include <QObject>
#include <memory>
#include <optional>

// The user's clipboard (the X11 CLIPBOARD selection) as the capture sees it:
// a change counter and one snapshot slot. Main thread only.
class Pasteboard : public QObject {
    Q_OBJECT
public:
    static Pasteboard &general();

    // Bumped on every change of the clipboard, by any client.
    quint64 changeCount() const { return m_changeCount; }

    // Keeps a deep copy of every format; an empty clipboard keeps no snapshot
    // (and leaves an earlier one in place).
    void savePasteboardContents();
    // Puts the snapshot back and empties the slot; without one, does nothing.
    void restorePasteboardContents();
    bool hasSnapshot() const { return m_snapshot != nullptr; }

    // The plain text on the clipboard, or nothing when it holds no text type.
    std::optional<QString> pasteboardString() const;

private:
    Pasteboard();
    QClipboard *m_clipboard = nullptr;
    quint64 m_changeCount = 0;
    std::unique_ptr<QMimeData> m_snapshot;
};
