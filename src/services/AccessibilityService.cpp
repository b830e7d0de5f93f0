#include "AccessibilityService.h"

#include "AccessibilityThread.h"
#include "SelectionGeometry.h"
#include "UIElement.h"
#include "X11Windows.h"

#include <QGuiApplication>
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
    if (const auto f = X11Windows::windowFrame(active->windowId); f && !f->isEmpty()) {
        g.focusedWindowFrame = QRectF(*f);
    }
    const auto app = Application::fromProcessId(active->processId);
    if (app.failed() || !app.value) {
        return g;
    }
    const auto focused = SystemWideElement::focusedUIElement(*app.value);
    if (focused.failed() || !focused.value) {
        return g;
    }
    const UIElement &element = *focused.value;

    GeometryAnswers answers;
    answers.windowOrigin = X11Windows::windowOrigin(active->windowId).value_or(QPoint());
    answers.elementOnScreen = valueOf(element.frame(Coordinates::Screen));
    answers.elementInWindow = valueOf(element.frame(Coordinates::Window));
    const auto interfaces = element.interfaces();
    const bool hasText = !interfaces.failed() &&
                         (*interfaces.value & unsigned(UIElement::Interface::Text)) != 0;
    if (hasText) {
        answers.hasText = true;
        const auto ranges = element.selections();
        if (!ranges.failed() && !ranges.value->isEmpty()) {
            const UIElement::TextRange range = ranges.value->constFirst();
            answers.firstCharacter = valueOf(element.characterExtents(range.start, Coordinates::Screen));
            answers.lastCharacter =
                valueOf(element.characterExtents(range.end - 1, Coordinates::Screen));
        }
        const auto caret = element.caretOffset();
        if (!caret.failed() && caret.value && *caret.value >= 0) {
            answers.caret = valueOf(element.characterExtents(*caret.value, Coordinates::Screen));
            if (!answers.caret && *caret.value > 0) {
                // At the very end of a text there is no character: take the
                // last one's.
                answers.caret =
                    valueOf(element.characterExtents(*caret.value - 1, Coordinates::Screen));
            }
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
