// SPDX-License-Identifier: GPL-3.0-or-later
#include "AccessibilityService.h"

#include "AccessibilityThread.h"
#include "OwnText.h"
#include "SelectionGeometry.h"
#include "UIElement.h"
#include "Windows.h"

#include <QGuiApplication>
#include <QHash>
#include <QScreen>

namespace {

using Coordinates = UIElement::Coordinates;

std::optional<QRect> valueOf(const AXResult<QRect> &r)
{
    if (r.failed() || !r.value) {
        return std::nullopt;
    }
    return *r.value;
}

// The top of the window's tree, searched for a part that fills its
// container exactly in size (LibreOffice's document area below its menu
// bar): such a pair is where a toolkit can place a part without counting
// what lies above it. The pair of each window is found once; its places are
// read anew every time, since the toolkit may set them right meanwhile.
struct PartPair {
    UIElement container;
    UIElement part;
};

std::optional<PartPair> findFillingPart(const UIElement &window)
{
    struct Node {
        UIElement element;
        QRect frame;
        int depth;
    };
    const auto top = window.frame();
    if (top.failed() || !top.value) {
        return std::nullopt;
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
            return std::nullopt;
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
                return PartPair{node.element, kid};
            }
            queue.append({kid, *frame.value, node.depth + 1});
        }
    }
    return std::nullopt;
}

void findMisplacedPart(const UIElement &window, GeometryAnswers &answers)
{
    // By window; nothing found is remembered too. Accessibility thread only.
    static thread_local QHash<QString, std::optional<PartPair>> known;
    const QString key = window.service() + window.path();
    auto it = known.find(key);
    if (it == known.end()) {
        if (known.size() > 64) {
            known.clear();
        }
        it = known.insert(key, findFillingPart(window));
    }
    if (!*it) {
        return;
    }
    const auto container = (*it)->container.frame();
    const auto part = (*it)->part.frame();
    if (container.failed() || part.failed() || !container.value || !part.value) {
        known.erase(it); // gone: searched for again next time
        return;
    }
    const QPoint off = container.value->topLeft() - part.value->topLeft();
    if (part.value->size() == container.value->size() && !off.isNull()) {
        answers.misplacedPart = *part.value;
        answers.misplacedShift = off;
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

// The place of an embedded object's character (U+FFFC): its own selected
// characters, found through its own selection, or else its frame.
std::optional<QRect> placeOfEmbedded(const UIElement &in, int offset, bool first,
                                     Coordinates coordinates, int depth = 0)
{
    const auto character = in.text({offset, offset + 1});
    if (depth < 4 && !character.failed() && character.value == QString(QChar(0xFFFC))) {
        const auto object = in.embeddedObjectAt(offset);
        if (!object.failed() && object.value) {
            const auto inner = object.value->selections();
            if (!inner.failed() && !inner.value->isEmpty()) {
                const UIElement::TextRange r =
                    first ? inner.value->constFirst() : inner.value->constLast();
                return placeOfEmbedded(*object.value, first ? r.start : r.end - 1, first,
                                       coordinates, depth + 1);
            }
            return valueOf(object.value->frame(Coordinates::Screen));
        }
    }
    return valueOf(in.characterExtents(offset, coordinates));
}

// A selection that reaches the element's edge may go on in its neighbours.
void addNeighbours(const UIElement &element, UIElement::TextRange range, int characterCount,
                   Coordinates coordinates, GeometryAnswers &answers)
{
    const bool atStart = range.start == 0;
    const bool atEnd = range.end >= characterCount;
    if (!atStart && !atEnd) {
        return;
    }
    const auto parent = element.parent();
    const auto index = parent.value ? element.indexInParent() : AXResult<int>::none();
    if (!parent.value || !index.value) {
        return;
    }
    const auto before =
        atStart ? farthestSelected(*parent.value, *index.value, -1, false) : std::nullopt;
    const auto after =
        atEnd ? farthestSelected(*parent.value, *index.value, 1, true) : std::nullopt;
    if (before) {
        answers.firstCharacter =
            valueOf(before->element.characterExtents(before->range.start, coordinates));
    }
    if (after) {
        answers.lastCharacter =
            valueOf(after->element.characterExtents(after->range.end - 1, coordinates));
    }
    if (before || after) {
        answers.container = valueOf(parent.value->frame(Coordinates::Screen));
    }
}

// The places of the first and last selected characters and of the one at
// the cursor, asked in one round trip. Toolkits without screen coordinates for
// text (GTK 4) answer in window ones.
void addCharacterPlaces(const UIElement &element, const UIElement::TextState &state,
                        GeometryAnswers &answers)
{
    const bool selected = state.selectionCount > 0 && !state.firstSelection.isEmpty();
    const UIElement::TextRange range = state.firstSelection;
    int caret = state.caret;
    if (caret >= state.characterCount && caret > 0) {
        // At the very end of a text there is no character: the last one's place.
        caret = state.characterCount - 1;
    }
    QList<int> offsets;
    if (selected) {
        offsets << range.start << range.end - 1;
    }
    if (caret >= 0) {
        offsets << caret;
    }
    Coordinates coordinates = Coordinates::Screen;
    AXError failure = AXError::Success;
    QList<std::optional<QRect>> places = element.characterExtents(offsets, coordinates, &failure);
    if (failure != AXError::Success && failure != AXError::CannotComplete) {
        coordinates = Coordinates::Window;
        answers.charactersInWindow = true;
        places = element.characterExtents(offsets, coordinates);
    }
    if (selected) {
        answers.selectionStart = range.start;
        answers.selectionEnd = range.end;
        answers.firstCharacter = places.value(0);
        answers.lastCharacter = places.value(1);
        // Browsers put one placeholder character (U+FFFC) in a parent's text
        // for each paragraph or link inside it: the place of such a character
        // is the selected characters inside that object.
        const QString placeholder(QChar(0xFFFC));
        const auto ends =
            element.texts({{range.start, range.start + 1}, {range.end - 1, range.end}});
        if (ends.value(0) == placeholder || ends.value(1) == placeholder) {
            answers.firstCharacter = placeOfEmbedded(element, range.start, true, coordinates)
                                         .value_or(answers.firstCharacter.value_or(QRect()));
            answers.lastCharacter = placeOfEmbedded(element, range.end - 1, false, coordinates)
                                        .value_or(answers.lastCharacter.value_or(QRect()));
        }
        addNeighbours(element, range, state.characterCount, coordinates, answers);
    }
    if (caret >= 0) {
        answers.caretOffset = caret;
        answers.caret = places.value(selected ? 2 : 0);
    }
}

// A toolkit that places characters where they are not cannot find them there
// again: asks which characters lie at the places it gave.
void addCharacterChecks(const UIElement &element, GeometryAnswers &answers)
{
    const Coordinates coordinates =
        answers.charactersInWindow ? Coordinates::Window : Coordinates::Screen;
    QList<QPoint> checks;
    for (const auto &r : {answers.firstCharacter, answers.caret}) {
        // A line's end may be a character of no width: its place still counts.
        checks << (r && r->height() > 0 ? r->center() : QPoint(-1, -1));
    }
    const QList<std::optional<int>> found = element.offsetsAtPoints(checks, coordinates);
    if (answers.firstCharacter && answers.firstCharacter->height() > 0) {
        answers.characterAtFirst = found.value(0);
    }
    if (answers.caret && answers.caret->height() > 0) {
        answers.characterAtCaret = found.value(1);
    }
}

// The active window's frames, and the focused element of its application
// with the frame of the application's active window.
std::optional<UIElement> focusedElement(const platform::Windows &windows, SelectionGeometry &g,
                                        GeometryAnswers &answers)
{
    const auto active = windows.active();
    if (!active) {
        return std::nullopt;
    }
    const auto decorated = windows.frame(active->id);
    if (decorated && !decorated->isEmpty()) {
        g.focusedWindowFrame = QRectF(*decorated);
        answers.decoratedWindow = *decorated;
    }
    const auto area = windows.clientArea(active->id);
    if (!area) {
        return std::nullopt;
    }
    answers.clientWindow = *area;
    const auto app = Application::fromProcessId(active->processId);
    if (app.failed() || !app.value) {
        return std::nullopt;
    }
    auto focused = SystemWideElement::focusedUIElement(*app.value);
    if (focused.failed() || !focused.value) {
        return std::nullopt;
    }
    if (const auto window = app.value->activeWindow(); !window.failed() && window.value) {
        answers.accessibleWindow = valueOf(window.value->frame(Coordinates::Screen));
        findMisplacedPart(*window.value, answers);
    }
    return std::move(focused.value);
}

// Runs on the accessibility thread; answers in device pixels. Only a few
// characters are ever asked about, never a whole range: a toolkit computes
// the extents of a long range character by character, which takes seconds.
SelectionGeometry gather(const platform::Windows &windows)
{
    SelectionGeometry g;
    GeometryAnswers answers;
    const std::optional<UIElement> element = focusedElement(windows, g, answers);
    if (!element) {
        return g;
    }
    const auto state = element->textState(true);
    if (!state.failed()) {
        answers.elementOnScreen = state.value->frameOnScreen;
        answers.elementInWindow = state.value->frameInWindow;
        if (state.value->hasText()) {
            answers.hasText = true;
            addCharacterPlaces(*element, *state.value, answers);
            addCharacterChecks(*element, answers);
        }
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

AccessibilityService::AccessibilityService(const platform::Windows &windows,
                                           const platform::OwnText *ownText, QObject *parent)
    : QObject(parent), m_windows(windows), m_ownText(ownText)
{}

std::optional<SelectionGeometry> AccessibilityService::ownWindowGeometry() const
{
    if (!m_ownText) {
        return std::nullopt;
    }
    const auto active = m_windows.active();
    if (!active || !m_ownText->isOwnWindow(active->id)) {
        return std::nullopt;
    }
    const platform::OwnTextPlace place = m_ownText->place(active->id);
    auto logical = [](const std::optional<QRect> &r) -> std::optional<QRectF> {
        return r ? std::optional<QRectF>(QRectF(*r)) : std::nullopt;
    };
    SelectionGeometry g;
    g.selectionBounds = logical(place.selection);
    g.focusedElementFrame = logical(place.field);
    g.focusedWindowFrame = logical(place.window);
    if (place.cursor) {
        g.textInsertionPoint = QPointF(place.cursor->center().x(), place.cursor->bottom() + 1);
        g.insertionPointAround = QRectF(*place.cursor);
    }
    return g;
}

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
    if (const auto own = ownWindowGeometry()) {
        return QtFuture::makeReadyFuture(*own);
    }
    const qreal ratio = screenRatio();
    return AccessibilityThread::instance()
        .run([windows = &m_windows] { return gather(*windows); })
        .then([ratio](const SelectionGeometry &device) { return toLogical(device, ratio); });
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
