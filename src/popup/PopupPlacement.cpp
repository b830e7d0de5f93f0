// SPDX-License-Identifier: GPL-3.0-or-later
#include "PopupPlacement.h"

#include <QLineF>
#include <algorithm>

namespace PopupPlacement {

namespace {

QString number(qreal value)
{
    // Whole numbers keep one decimal ("12.0"); others their shortest form.
    QString text = QString::number(value, 'g', 12);
    if (!text.contains(u'.') && !text.contains(u'e')) {
        text += QStringLiteral(".0");
    }
    return text;
}

} // namespace

QString describe(QPointF point)
{
    return u'(' + number(point.x()) + QStringLiteral(", ") + number(point.y()) + u')';
}

Anchor popupPosition(const FocusGeometry &geometry, QPointF mousePosition)
{
    Anchor anchor;
    QString label;
    if (geometry.selectionBounds && !geometry.selectionBounds->isEmpty()) {
        const QRectF bounds = *geometry.selectionBounds;
        anchor.point = QPointF(bounds.center().x(), bounds.bottom());
        anchor.around = bounds;
        label = QStringLiteral("selection bounds");
    } else if (geometry.textInsertionPoint) {
        anchor.point = *geometry.textInsertionPoint;
        anchor.around = geometry.insertionPointAround;
        label = QStringLiteral("text insertion point");
    } else if (geometry.focusedElementFrame) {
        const QRectF frame = *geometry.focusedElementFrame;
        anchor.point = QPointF(frame.left(), frame.top() + frame.height());
        anchor.around = frame;
        label = QStringLiteral("focused element");
    }

    if (label.isEmpty()) {
        // The popup hangs below the pointer's arrow, not over what it points at.
        anchor.point = mousePosition + QPointF(0, pointerHeight);
        anchor.around =
            QRectF(mousePosition.x() - pointerHeight / 2, mousePosition.y() - pointerHeight / 2,
                   pointerHeight, pointerHeight * 1.5);
        // The label is the console's established wording; the point itself is
        // in the same top-left-origin space as every other source here.
        anchor.log << QStringLiteral("Using mouse position (bottom-left): ") +
                          describe(mousePosition);
    } else {
        anchor.log << QStringLiteral("Using ") + label + QStringLiteral(" (top-left): ") +
                          describe(anchor.point);
    }

    if (!geometry.focusedWindowFrame) {
        return anchor;
    }
    const QRectF window = *geometry.focusedWindowFrame;
    const QPointF corners[] = {window.topLeft(), QPointF(window.right(), window.top()),
                               QPointF(window.left(), window.bottom()), window.bottomRight()};
    for (const QPointF &corner : corners) {
        if (QLineF(anchor.point, corner).length() < cornerDistance) {
            anchor.log << QStringLiteral(
                "Position is near a window corner. Centering popup in window.");
            anchor.point = window.center();
            anchor.around.reset();
            break;
        }
    }
    return anchor;
}

QRect popupFrame(const Anchor &anchor, QSize popupSize, QRect screenArea)
{
    const int width = popupSize.width();
    const int height = popupSize.height();
    const QRectF around = anchor.around.value_or(QRectF(anchor.point, QSizeF(0, 0)));
    const int screenBottom = screenArea.bottom() + 1;
    int x = qRound(anchor.point.x() - width / 2.0);
    int y = qRound(anchor.point.y()) + gap;
    if (y + height > screenBottom) {
        const qreal top = std::min(around.top(), anchor.point.y());
        const int above = qRound(top) - gap - height;
        if (above >= screenArea.top()) {
            y = above;
        } else {
            // Room neither below nor above: beside it, right or left.
            const int right = qRound(around.right()) + gap;
            const int left = qRound(around.left()) - gap - width;
            if (right + width <= screenArea.right() + 1) {
                x = right;
            } else if (left >= screenArea.left()) {
                x = left;
            }
            y = qRound(anchor.point.y() - height / 2.0);
        }
    }
    x = std::clamp(x, screenArea.left(),
                   std::max(screenArea.left(), screenArea.right() + 1 - width));
    y = std::clamp(y, screenArea.top(), std::max(screenArea.top(), screenBottom - height));
    return QRect(x, y, width, height);
}

} // namespace PopupPlacement
