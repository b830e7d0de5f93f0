// SPDX-License-Identifier: GPL-3.0-or-later
#include "SelectionGeometry.h"

#include <cstdlib>

namespace {

// Toolkits answer (0, 0, 0, 0) for "don't know" (a browser right after start,
// the end of a text) and negative sizes for characters they cannot place.
std::optional<QRect> meaningful(const std::optional<QRect> &r)
{
    if (!r || r->width() < 0 || r->height() <= 0 || (r->topLeft().isNull() && r->size().isNull())) {
        return std::nullopt;
    }
    return r;
}

bool near(QPoint a, QPoint b)
{
    return std::abs(a.x() - b.x()) <= 2 && std::abs(a.y() - b.y()) <= 2;
}

bool onOneLine(const QRect &a, const QRect &b)
{
    // Characters of one line share most of their height.
    const int overlap = std::min(a.bottom(), b.bottom()) - std::max(a.top(), b.top());
    return overlap >= std::min(a.height(), b.height()) / 2;
}

// How far the toolkit's idea of its window lies from where the window is.
QPoint windowShift(const GeometryAnswers &a)
{
    if (!a.accessibleWindow) {
        // Without the window, a toolkit that answers the same rectangle in
        // both coordinate systems counts from its window.
        const auto onScreen = meaningful(a.elementOnScreen);
        const auto inWindow = meaningful(a.elementInWindow);
        if ((onScreen && inWindow && *onScreen == *inWindow) || (!onScreen && inWindow)) {
            return a.clientWindow.topLeft();
        }
        return {};
    }
    const QRect own = *a.accessibleWindow;
    if (near(own.topLeft(), a.clientWindow.topLeft()) ||
        (a.decoratedWindow && near(own.topLeft(), a.decoratedWindow->topLeft()))) {
        return {};
    }
    // Client-side decorations: the X window holds a shadow around the window
    // the toolkit knows, as wide on each side.
    QPoint margin;
    if (own.width() < a.clientWindow.width() && own.height() < a.clientWindow.height()) {
        margin = QPoint((a.clientWindow.width() - own.width()) / 2,
                        (a.clientWindow.height() - own.height()) / 2);
    }
    return a.clientWindow.topLeft() + margin - own.topLeft();
}

} // namespace

void resolveGeometry(const GeometryAnswers &answers, SelectionGeometry &geometry)
{
    const QPoint windowMove = windowShift(answers);
    const std::optional<QRect> onScreen = meaningful(answers.elementOnScreen);
    const std::optional<QRect> inWindow = meaningful(answers.elementInWindow);
    std::optional<QRect> reported = onScreen ? onScreen : inWindow;
    if (!onScreen && inWindow && answers.accessibleWindow) {
        reported = inWindow->translated(answers.accessibleWindow->topLeft());
    }
    QPoint shift = windowMove;
    if (answers.misplacedPart && reported && answers.misplacedPart->contains(*reported)) {
        shift += answers.misplacedShift;
    }

    std::optional<QRect> element;
    if (reported) {
        element = reported->translated(shift);
        geometry.focusedElementFrame = QRectF(*element);
    }
    // A little slack: toolkits round the element's and the characters' edges
    // differently.
    const std::optional<QRect> within =
        meaningful(answers.container) ? std::optional<QRect>(answers.container->translated(shift))
                                      : element;
    const QRect visible = within ? within->adjusted(-2, -2, 2, 2) : QRect();

    // Characters asked in window coordinates count from the toolkit's window.
    const QPoint characterOrigin = answers.charactersInWindow && answers.accessibleWindow
                                       ? answers.accessibleWindow->topLeft()
                                       : QPoint();
    auto place = [&](const std::optional<QRect> &r) -> std::optional<QRect> {
        const auto m = meaningful(r);
        if (!m) {
            return std::nullopt;
        }
        return m->translated(characterOrigin + shift);
    };

    const bool firstFound =
        !answers.characterAtFirst || (*answers.characterAtFirst >= 0 &&
                                      *answers.characterAtFirst >= answers.selectionStart - 1 &&
                                      *answers.characterAtFirst <= answers.selectionEnd);
    const std::optional<QRect> first = place(answers.firstCharacter);
    const std::optional<QRect> last = place(answers.lastCharacter);
    if (firstFound && (first || last)) {
        const QRect a = first ? *first : *last;
        const QRect b = last ? *last : *first;
        QRect span = a.united(b);
        if (!onOneLine(a, b) && within) {
            span.setLeft(within->left());
            span.setRight(within->right());
        }
        if (within) {
            span = span.intersected(visible);
        }
        if (!span.isEmpty()) {
            geometry.selectionBounds = QRectF(span);
        }
    }

    const bool caretFound = !answers.characterAtCaret ||
                            (*answers.characterAtCaret >= 0 &&
                             std::abs(*answers.characterAtCaret - answers.caretOffset) <= 1);
    if (const std::optional<QRect> caret = place(answers.caret); caret && caretFound) {
        if (!element || visible.contains(caret->center())) {
            geometry.textInsertionPoint = QPointF(caret->center().x(), caret->bottom() + 1);
            geometry.insertionPointAround = QRectF(*caret);
        }
    }
    if (!geometry.textInsertionPoint && answers.hasText && element) {
        // The text element's bottom centre, where the popup may hang below it.
        geometry.textInsertionPoint =
            QPointF(element->x() + element->width() * 0.5, element->y() + element->height());
        geometry.insertionPointAround = QRectF(*element);
    }
}
