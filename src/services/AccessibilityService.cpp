#include "AccessibilityService.h"

#include "AccessibilityThread.h"
#include "SelectionGeometry.h"
#include "UIElement.h"
#include "X11Windows.h"

#include <QGuiApplication>
#include <QScreen>
#include <functional>

namespace {

using Coordinates = UIElement::Coordinates;

std::optional<QRect> valueOf(const AXResult<QRect> &r)
{
    if (r.failed() || !r.value) {
        return std::nullopt;
    }
    return *r.value;
}

std::optional<int> valueOf(const AXResult<int> &r)
{
    if (r.failed() || !r.value) {
        return std::nullopt;
    }
    return *r.value;
}

// The top of the window's tree, searched for a part that fills its
// container exactly but is reported at another place: the toolkit placed
// it without counting what lies above it (LibreOffice's document below its
// menu bar, until the pointer first moves over the window).
void findMisplacedPart(const UIElement &window, GeometryAnswers &answers)
{
    struct Node {
        UIElement element;
        QRect frame;
        int depth;
    };
    const auto top = window.frame();
    if (top.failed() || !top.value) {
        return;
    }
    QList<Node> queue{{window, *top.value, 0}};
    int budget = 24;
    while (!queue.isEmpty() && budget > 0) {
        const Node node = queue.takeFirst();
        if (node.depth >= 4) {
            continue;
        }
        const auto kids = node.element.children(8);
        if (kids.failed()) {
            return;
        }
        for (const UIElement &kid : *kids.value) {
            if (--budget <= 0) {
                break;
            }
            const auto frame = kid.frame();
            if (frame.failed() || !frame.value || frame.value->isEmpty()) {
                continue;
            }
            const QPoint off = node.frame.topLeft() - frame.value->topLeft();
            if (frame.value->size() == node.frame.size() && !off.isNull() &&
                std::abs(off.x()) <= 200 && std::abs(off.y()) <= 200) {
                answers.misplacedPart = *frame.value;
                answers.misplacedShift = off;
                return;
            }
            queue.append({kid, *frame.value, node.depth + 1});
        }
    }
}

// The selection may go on in the elements beside the focused one (each
// paragraph of a word processor is one): the farthest neighbour on each side
// that still holds a share, with that share, so the bounds cover all of it.
struct Neighbour {
    UIElement element;
    UIElement::TextRange range;
};

std::optional<Neighbour> farthestSelected(const UIElement &parent, int from, int step, bool toEnd)
{
    std::optional<Neighbour> farthest;
    for (int i = from + step, n = 0; i >= 0 && n < 64; i += step, ++n) {
        const auto sibling = parent.childAt(i);
        if (sibling.failed() || !sibling.value) {
            break;
        }
        const auto ranges = sibling.value->selections();
        if (ranges.failed() || ranges.value->isEmpty()) {
            break;
        }
        const UIElement::TextRange range = ranges.value->constFirst();
        farthest = Neighbour{*sibling.value, range};
        const auto count = sibling.value->characterCount();
        // A share that does not reach the far edge is the selection's end.
        if (count.failed() || (toEnd ? range.end < count.value.value_or(0) : range.start > 0)) {
            break;
        }
    }
    return farthest;
}

// Runs on the accessibility thread; answers in device pixels. Only a few
// characters are ever asked about, never a whole range: a toolkit computes
// the extents of a long range character by character, which takes seconds.
SelectionGeometry gather()
{
    SelectionGeometry g;
    const auto active = X11Windows::activeWindow();
    if (!active) {
        return g;
    }
    GeometryAnswers answers;
    const auto decorated = X11Windows::windowFrame(active->windowId);
    if (decorated && !decorated->isEmpty()) {
        g.focusedWindowFrame = QRectF(*decorated);
        answers.decoratedWindow = *decorated;
    }
    const auto origin = X11Windows::windowOrigin(active->windowId);
    const auto size = X11Windows::windowSize(active->windowId);
    if (!origin || !size) {
        return g;
    }
    answers.clientWindow = QRect(*origin, *size);
    const auto app = Application::fromProcessId(active->processId);
    if (app.failed() || !app.value) {
        return g;
    }
    const auto focused = SystemWideElement::focusedUIElement(*app.value);
    if (focused.failed() || !focused.value) {
        return g;
    }
    const UIElement &element = *focused.value;
    if (const auto window = app.value->activeWindow(); !window.failed() && window.value) {
        answers.accessibleWindow = valueOf(window.value->frame(Coordinates::Screen));
        findMisplacedPart(*window.value, answers);
    }
    answers.elementOnScreen = valueOf(element.frame(Coordinates::Screen));
    answers.elementInWindow = valueOf(element.frame(Coordinates::Window));
    const auto interfaces = element.interfaces();
    if (interfaces.failed() || !(*interfaces.value & unsigned(UIElement::Interface::Text))) {
        resolveGeometry(answers, g);
        return g;
    }
    answers.hasText = true;
    // Toolkits without screen coordinates for text (GTK 4) answer in window ones.
    Coordinates coordinates = Coordinates::Screen;
    auto extents = [&](int offset) {
        auto r = element.characterExtents(offset, coordinates);
        if (r.failed() && r.error != AXError::CannotComplete && coordinates == Coordinates::Screen) {
            coordinates = Coordinates::Window;
            answers.charactersInWindow = true;
            r = element.characterExtents(offset, coordinates);
        }
        return valueOf(r);
    };
    auto characterAt = [&](const std::optional<QRect> &r) -> std::optional<int> {
        // A line's end may be a character of no width: its place still counts.
        if (!r || r->height() <= 0) {
            return std::nullopt;
        }
        return valueOf(element.offsetAtPoint(r->center(), coordinates));
    };
    // Browsers put one placeholder character (U+FFFC) in a parent's text for
    // each paragraph or link inside it: the place of such a character is the
    // selected characters inside that object, found through its own selection.
    std::function<std::optional<QRect>(const UIElement &, int, bool, int)> place =
        [&](const UIElement &in, int offset, bool first, int depth) -> std::optional<QRect> {
        if (depth < 4) {
            const auto character = in.text({offset, offset + 1});
            if (!character.failed() && character.value == QString(QChar(0xFFFC))) {
                const auto object = in.embeddedObjectAt(offset);
                if (!object.failed() && object.value) {
                    const auto inner = object.value->selections();
                    if (!inner.failed() && !inner.value->isEmpty()) {
                        const UIElement::TextRange r =
                            first ? inner.value->constFirst() : inner.value->constLast();
                        return place(*object.value, first ? r.start : r.end - 1, first, depth + 1);
                    }
                    return valueOf(object.value->frame(Coordinates::Screen));
                }
            }
        }
        if (in == element) {
            return extents(offset);
        }
        return valueOf(in.characterExtents(offset, coordinates));
    };
    const auto ranges = element.selections();
    if (!ranges.failed() && !ranges.value->isEmpty()) {
        const UIElement::TextRange range = ranges.value->constFirst();
        answers.selectionStart = range.start;
        answers.selectionEnd = range.end;
        answers.firstCharacter = place(element, range.start, true, 0);
        answers.lastCharacter = place(element, range.end - 1, false, 0);
        answers.characterAtFirst = characterAt(answers.firstCharacter);
        const auto count = element.characterCount();
        const bool atStart = range.start == 0;
        const bool atEnd = !count.failed() && range.end >= count.value.value_or(0);
        const auto parent = (atStart || atEnd) ? element.parent() : AXResult<UIElement>::none();
        const auto index = parent.value ? element.indexInParent() : AXResult<int>::none();
        if (parent.value && index.value) {
            const auto before = atStart ? farthestSelected(*parent.value, *index.value, -1, false)
                                        : std::nullopt;
            const auto after = atEnd ? farthestSelected(*parent.value, *index.value, 1, true)
                                     : std::nullopt;
            if (before) {
                answers.firstCharacter = valueOf(
                    before->element.characterExtents(before->range.start, coordinates));
            }
            if (after) {
                answers.lastCharacter = valueOf(
                    after->element.characterExtents(after->range.end - 1, coordinates));
            }
            if (before || after) {
                answers.container = valueOf(parent.value->frame(Coordinates::Screen));
            }
        }
    }
    const auto caret = element.caretOffset();
    if (!caret.failed() && caret.value && *caret.value >= 0) {
        answers.caretOffset = *caret.value;
        answers.caret = extents(*caret.value);
        if ((!answers.caret || answers.caret->isNull()) && *caret.value > 0) {
            // At the very end of a text there is no character: take the last one's.
            answers.caretOffset = *caret.value - 1;
            answers.caret = extents(answers.caretOffset);
        }
        answers.characterAtCaret = characterAt(answers.caret);
    }
    resolveGeometry(answers, g);
    return g;
}

qreal screenRatio()
{
    const QScreen *screen = QGuiApplication::primaryScreen();
    return screen ? screen->devicePixelRatio() : 1.0;
}

} // namespace

AccessibilityService::AccessibilityService(QObject *parent) : QObject(parent) {}

SelectionGeometry AccessibilityService::toLogical(const SelectionGeometry &device, qreal ratio)
{
    if (ratio <= 0) {
        ratio = 1.0;
    }
    auto rect = [ratio](const std::optional<QRectF> &r) -> std::optional<QRectF> {
        if (!r) {
            return std::nullopt;
        }
        return QRectF(r->x() / ratio, r->y() / ratio, r->width() / ratio, r->height() / ratio);
    };
    SelectionGeometry g;
    g.selectionBounds = rect(device.selectionBounds);
    g.focusedElementFrame = rect(device.focusedElementFrame);
    g.focusedWindowFrame = rect(device.focusedWindowFrame);
    g.insertionPointAround = rect(device.insertionPointAround);
    if (device.textInsertionPoint) {
        g.textInsertionPoint = *device.textInsertionPoint / ratio;
    }
    return g;
}

QFuture<SelectionGeometry> AccessibilityService::queryGeometry() const
{
    const qreal ratio = screenRatio();
    return AccessibilityThread::instance().run(&gather).then(
        [ratio](const SelectionGeometry &device) { return toLogical(device, ratio); });
}

QFuture<std::optional<QRectF>> AccessibilityService::selectionBounds() const
{
    return queryGeometry().then([](const SelectionGeometry &g) { return g.selectionBounds; });
}

QFuture<std::optional<QPointF>> AccessibilityService::textInsertionPoint() const
{
    return queryGeometry().then([](const SelectionGeometry &g) { return g.textInsertionPoint; });
}

QFuture<std::optional<QRectF>> AccessibilityService::focusedElementFrame() const
{
    return queryGeometry().then([](const SelectionGeometry &g) { return g.focusedElementFrame; });
}

QFuture<std::optional<QRectF>> AccessibilityService::focusedWindowFrame() const
{
    return queryGeometry().then([](const SelectionGeometry &g) { return g.focusedWindowFrame; });
}
