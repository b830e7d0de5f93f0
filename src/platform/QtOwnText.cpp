// SPDX-License-Identifier: GPL-3.0-or-later
#include "QtOwnText.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QInputMethod>
#include <QInputMethodEvent>
#include <QInputMethodQueryEvent>
#include <QWindow>

namespace platform {

namespace {

QVariant query(QObject *object, Qt::InputMethodQuery what)
{
    QInputMethodQueryEvent event(what);
    QCoreApplication::sendEvent(object, &event);
    return event.value(what);
}

// Text fields hand out a selection over several paragraphs with the
// Unicode paragraph and line separators where the text has line ends.
QString withLineEnds(QString text)
{
    text.replace(QChar::ParagraphSeparator, u'\n');
    text.replace(QChar::LineSeparator, u'\n');
    return text;
}

} // namespace

QWindow *QtOwnText::ownWindow(quint64 windowId)
{
    if (windowId == 0) {
        return nullptr;
    }
    const QWindowList windows = QGuiApplication::topLevelWindows();
    for (QWindow *window : windows) {
        // winId() would make a native window for one that has none yet; a
        // hidden window is no longer on the desktop.
        if (window->handle() && window->isVisible() && window->winId() == windowId) {
            return window;
        }
    }
    return nullptr;
}

QObject *QtOwnText::editableField(quint64 windowId)
{
    QWindow *window = ownWindow(windowId);
    QObject *focus = window ? window->focusObject() : nullptr;
    if (!focus || !query(focus, Qt::ImEnabled).toBool() || query(focus, Qt::ImReadOnly).toBool()) {
        return nullptr;
    }
    const auto hints = Qt::InputMethodHints(query(focus, Qt::ImHints).toInt());
    if (hints & (Qt::ImhHiddenText | Qt::ImhSensitiveData)) {
        return nullptr;
    }
    return focus;
}

bool QtOwnText::isOwnWindow(quint64 windowId) const
{
    return ownWindow(windowId) != nullptr;
}

std::optional<QString> QtOwnText::selectedText(quint64 windowId) const
{
    QObject *field = editableField(windowId);
    if (!field) {
        return std::nullopt;
    }
    return withLineEnds(query(field, Qt::ImCurrentSelection).toString());
}

OwnTextPlace QtOwnText::place(quint64 windowId) const
{
    OwnTextPlace place;
    QWindow *window = ownWindow(windowId);
    if (!window) {
        return place;
    }
    place.window = window->frameGeometry();
    // The input method knows where the focused field of the focused window
    // is within that window; for any other the field has no place.
    QObject *field = editableField(windowId);
    if (!field || window != QGuiApplication::focusWindow() ||
        field != QGuiApplication::focusObject()) {
        return place;
    }
    const QInputMethod *input = QGuiApplication::inputMethod();
    const auto onScreen = [window](const QRectF &inWindow) {
        return QRect(window->mapToGlobal(inWindow.topLeft().toPoint()), inWindow.size().toSize());
    };
    const QRectF cursor = input->cursorRectangle();
    const QRectF anchor = input->anchorRectangle();
    const QRectF visible = input->inputItemClipRectangle();
    if (cursor.isValid()) {
        place.cursor = onScreen(cursor);
        if (anchor.isValid() && !query(field, Qt::ImCurrentSelection).toString().isEmpty()) {
            place.selection = onScreen(cursor.united(anchor));
        }
    }
    if (visible.isValid()) {
        place.field = onScreen(visible);
    }
    return place;
}

bool QtOwnText::replaceSelection(quint64 windowId, const QString &text) const
{
    QObject *field = editableField(windowId);
    if (!field) {
        return false;
    }
    // A committed input method text replaces the selection in one edit,
    // which the field's undo reverts as a whole.
    QInputMethodEvent commit;
    commit.setCommitString(text);
    QCoreApplication::sendEvent(field, &commit);
    return commit.isAccepted();
}

} // namespace platform
