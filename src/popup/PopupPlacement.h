// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QPointF>
#include <QRect>
#include <QRectF>
#include <QSize>
#include <QString>
#include <QStringList>
#include <optional>

// Where the popup opens. Everything is in Qt's logical screen coordinates,
// origin at the top-left of the virtual desktop, y growing downwards, which
// is also how the accessibility layer answers once scaled.
namespace PopupPlacement {

// The accessibility answers about the focused application; any may be absent.
struct FocusGeometry {
    std::optional<QRectF> selectionBounds;
    std::optional<QPointF> textInsertionPoint;
    std::optional<QRectF> focusedElementFrame;
    std::optional<QRectF> focusedWindowFrame;
    // What the insertion point belongs to (the text cursor's line, or the
    // element whose bottom it marks), so the popup can open above it.
    std::optional<QRectF> insertionPointAround;
};

struct Anchor {
    QPointF point;
    // The rectangle the point belongs to (the selection, or the focused
    // element), so the popup can open above it rather than over it.
    std::optional<QRectF> around;
    QStringList log; // the console lines, in order
};

// The anchor point, tried in order: the bottom centre of the selection, the
// text insertion point, the bottom-left corner of the focused element, the
// mouse position (below its arrow); a point closer than 30 to a corner of the
// focused window is replaced by that window's centre.
Anchor popupPosition(const FocusGeometry &geometry, QPointF mousePosition);

// The popup's frame: horizontally centred on the anchor and just below it,
// kept inside the screen area; flipped above the anchor (and above the
// rectangle it belongs to) when there is no room below, and beside that
// rectangle when there is room neither below nor above, so that it does not
// cover what it belongs to.
QRect popupFrame(const Anchor &anchor, QSize popupSize, QRect screenArea);

// "(x, y)", the point's textual form in the console lines.
QString describe(QPointF point);

inline constexpr qreal cornerDistance = 30.0;
inline constexpr int gap = 6;
// The pointer's arrow reaches this far below its hot spot.
inline constexpr qreal pointerHeight = 20.0;

} // namespace PopupPlacement
