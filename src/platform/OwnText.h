// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QRect>
#include <QString>
#include <optional>

namespace platform {

// Where a selection in one of Vellumo's own windows is, in Qt's logical
// screen coordinates.
struct OwnTextPlace {
    std::optional<QRect> selection; // from the selection's start to its end
    std::optional<QRect> cursor;    // the text cursor
    std::optional<QRect> field;     // the visible part of the text field
    std::optional<QRect> window;    // the window with its decorations
};

// The text fields of Vellumo's own windows (the first-start guide's test
// area). When one of them has the focus, the shortcut works inside the
// process: the selection is read from the field and the answer is put in
// place by the field itself, as typing would, so the field's undo takes it
// back. Vellumo's own process is never asked through the accessibility bus
// (that answer would wait on the very thread that asks), and neither the
// clipboard nor synthetic keys are involved.
//
// Fields that hide what they hold (the API key) are never read or written.
// Main thread.
class OwnText {
public:
    virtual ~OwnText() = default;

    // Whether the desktop window of that id is one of this process's.
    virtual bool isOwnWindow(quint64 windowId) const = 0;
    // The selected text of the window's focused text field: empty when
    // nothing is selected, nothing when no field that may be read and
    // written has the focus.
    virtual std::optional<QString> selectedText(quint64 windowId) const = 0;
    virtual OwnTextPlace place(quint64 windowId) const = 0;
    // Puts text in place of the selection (at the text cursor when nothing
    // is selected) of the window's focused text field. False when no such
    // field took it.
    virtual bool replaceSelection(quint64 windowId, const QString &text) const = 0;
};

} // namespace platform
