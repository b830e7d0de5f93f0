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
        label = QStringLiteral("text insertion point");
    } else if (geometry.focusedElementFrame) {
        const QRectF frame = *geometry.focusedElementFrame;
        anchor.point = QPointF(frame.left(), frame.top() + frame.height());
        anchor.around = frame;
        label = QStringLiteral("focused element");
    }

    if (label.isEmpty()) {
        anchor.point = mousePosition;
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
    int x = qRound(anchor.point.x() - width / 2.0);
    int y = qRound(anchor.point.y()) + gap;
    if (y + height > screenArea.bottom() + 1) {
        const qreal top =
            anchor.around ? std::min(anchor.around->top(), anchor.point.y()) : anchor.point.y();
        y = qRound(top) - gap - height;
    }
    x = std::clamp(x, screenArea.left(),
                   std::max(screenArea.left(), screenArea.right() + 1 - width));
    y = std::clamp(y, screenArea.top(),
                   std::max(screenArea.top(), screenArea.bottom() + 1 - height));
    return QRect(x, y, width, height);
}

} // namespace PopupPlacement
