#pragma once

#include <QPoint>
#include <QPointF>
#include <QRect>
#include <QRectF>
#include <optional>

// Where the user's selection is on screen (top-left origin).
struct SelectionGeometry {
    std::optional<QRectF> selectionBounds;     // the visible part of the selected text
    std::optional<QPointF> textInsertionPoint; // below the text cursor, else the text's bottom centre
    std::optional<QRectF> focusedElementFrame; // the focused element
    std::optional<QRectF> focusedWindowFrame;  // the active window, with its decorations
};

// What the focused application answered, as it answered it (device pixels).
struct GeometryAnswers {
    QPoint windowOrigin; // where the active window's (0, 0) lies on the screen
    std::optional<QRect> elementOnScreen; // the focused element, asked in screen coordinates
    std::optional<QRect> elementInWindow; // the same, asked in window coordinates
    bool hasText = false;
    std::optional<QRect> firstCharacter; // of the selection, in screen coordinates
    std::optional<QRect> lastCharacter;
    std::optional<QRect> caret; // the character at the text cursor
};

// Turns the answers into places on the screen. Toolkits that count from
// their window whatever they are asked (GTK 4) answer the same rectangle in
// both coordinate systems: their answers are moved by the window's origin.
// The selection is the span from its first to its last character (a
// selection over several lines takes the element's width), cut to the part of
// the element that is visible; a selection scrolled out of view has no bounds.
void resolveGeometry(const GeometryAnswers &answers, SelectionGeometry &geometry);
