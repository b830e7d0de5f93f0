// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QPoint>
#include <QPointF>
#include <QRect>
#include <QRectF>
#include <optional>

// Where the user's selection is on screen (top-left origin).
struct SelectionGeometry {
    std::optional<QRectF> selectionBounds; // the visible part of the selected text
    std::optional<QPointF>
        textInsertionPoint; // below the text cursor, else the text's bottom centre
    std::optional<QRectF> focusedElementFrame; // the focused element
    std::optional<QRectF> focusedWindowFrame;  // the active window, with its decorations
    // What the insertion point belongs to: the text cursor's character, or
    // the element whose bottom centre it is.
    std::optional<QRectF> insertionPointAround;
};

// What the X server and the focused application answered, as they answered
// it (device pixels).
struct GeometryAnswers {
    QRect clientWindow;                    // the active window on the screen (X11)
    std::optional<QRect> decoratedWindow;  // the same with the window manager's frame
    std::optional<QRect> accessibleWindow; // the application's own idea of its window
    // A part of the window the toolkit places elsewhere than its container
    // (LibreOffice's document, drawn below a menu bar it does not count), and
    // by how much: elements inside it are moved by shift.
    std::optional<QRect> misplacedPart;
    QPoint misplacedShift;

    std::optional<QRect> elementOnScreen; // the focused element, asked in screen coordinates
    std::optional<QRect> elementInWindow; // the same, asked in window coordinates
    bool hasText = false;
    // Characters in screen coordinates, or in window coordinates when the
    // toolkit has no screen coordinates (charactersInWindow).
    bool charactersInWindow = false;
    int selectionStart = 0;
    int selectionEnd = 0;
    std::optional<QRect> firstCharacter;
    std::optional<QRect> lastCharacter;
    // When the selection goes on in neighbouring elements (paragraphs of a
    // word processor), their container: the selection is visible within it
    // rather than within the focused element.
    std::optional<QRect> container;
    // The character the application finds under the first character's
    // centre: a toolkit that places characters where they are not answers
    // another one (or -1). Nothing when it cannot tell.
    std::optional<int> characterAtFirst;
    int caretOffset = -1;
    std::optional<QRect> caret; // the character at the text cursor
    std::optional<int> characterAtCaret;
};

// Turns the answers into places on the screen:
// - A toolkit that counts from its window whatever it is asked (GTK 4), whose
//   window therefore is not where the X server has it, is moved onto it.
// - A part of the window that the toolkit reports away from its container is
//   moved back (see misplacedPart).
// - A character the application cannot find again at the place it gave is
//   not where it says (Qt's plain text answers the first line for every
//   line): such a place is not used.
// - The selection spans from its first to its last character (over several
//   lines it takes the element's width), cut to the part of the element on
//   screen; a selection scrolled out of view has no bounds.
void resolveGeometry(const GeometryAnswers &answers, SelectionGeometry &geometry);
