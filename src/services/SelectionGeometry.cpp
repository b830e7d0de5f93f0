#include "SelectionGeometry.h"

namespace {

// Toolkits answer (0, 0, 0, 0) for "don't know" (a browser right after start,
// an empty line) and negative sizes for characters they cannot place.
std::optional<QRect> meaningful(const std::optional<QRect> &r)
{
    if (!r || r->width() < 0 || r->height() <= 0 || (r->topLeft().isNull() && r->size().isNull())) {
        return std::nullopt;
    }
    return r;
}

bool onOneLine(const QRect &a, const QRect &b)
{
    // Characters of one line share most of their height.
    const int overlap = std::min(a.bottom(), b.bottom()) - std::max(a.top(), b.top());
    return overlap >= std::min(a.height(), b.height()) / 2;
}

} // namespace

void resolveGeometry(const GeometryAnswers &answers, SelectionGeometry &geometry)
{
    const std::optional<QRect> onScreen = meaningful(answers.elementOnScreen);
    const std::optional<QRect> inWindow = meaningful(answers.elementInWindow);
    const bool windowRelative =
        !answers.windowOrigin.isNull() &&
        ((onScreen && inWindow && *onScreen == *inWindow) || (!onScreen && inWindow));
    const QPoint shift = windowRelative ? answers.windowOrigin : QPoint();

    std::optional<QRect> element;
    if (onScreen || inWindow) {
        element = (onScreen ? *onScreen : *inWindow).translated(shift);
        geometry.focusedElementFrame = QRectF(*element);
    }
    // A little slack: toolkits round the element's and the characters' edges
    // differently.
    const QRect visible = element ? element->adjusted(-2, -2, 2, 2) : QRect();

    const std::optional<QRect> first = meaningful(answers.firstCharacter);
    const std::optional<QRect> last = meaningful(answers.lastCharacter);
    if (first || last) {
        const QRect a = (first ? *first : *last).translated(shift);
        const QRect b = (last ? *last : *first).translated(shift);
        QRect span = a.united(b);
        if (!onOneLine(a, b) && element) {
            span.setLeft(element->left());
            span.setRight(element->right());
        }
        if (element) {
            span = span.intersected(visible);
        }
        if (!span.isEmpty()) {
            geometry.selectionBounds = QRectF(span);
        }
    }

    if (const std::optional<QRect> caret = meaningful(answers.caret)) {
        const QRect at = caret->translated(shift);
        if (!element || visible.contains(at.center())) {
            geometry.textInsertionPoint = QPointF(at.center().x(), at.bottom() + 1);
        }
    }
    if (!geometry.textInsertionPoint && answers.hasText && element) {
        // The text element's bottom centre, where the popup may hang below it.
        geometry.textInsertionPoint =
            QPointF(element->x() + element->width() * 0.5, element->y() + element->height());
    }
}
