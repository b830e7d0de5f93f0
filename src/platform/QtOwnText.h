// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "OwnText.h"

class QObject;
class QWindow;

namespace platform {

// Vellumo's own text fields through what every Qt text field answers to an
// input method: its selection, whether it is read-only or hides its text,
// and the text it takes in place of its selection. Not tied to a window
// system: a desktop window is Vellumo's when one of the process's top-level
// windows has that id.
class QtOwnText final : public OwnText {
public:
    bool isOwnWindow(quint64 windowId) const override;
    std::optional<QString> selectedText(quint64 windowId) const override;
    OwnTextPlace place(quint64 windowId) const override;
    bool replaceSelection(quint64 windowId, const QString &text) const override;

    static QWindow *ownWindow(quint64 windowId);
    // The window's focused object when it is a text field that may be read
    // and written; nothing otherwise.
    static QObject *editableField(quint64 windowId);
};

} // namespace platform
