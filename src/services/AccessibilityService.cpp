#include "AccessibilityService.h"

#include "AccessibilityThread.h"
#include "UIElement.h"
#include "X11Windows.h"

#include <QGuiApplication>
#include <QScreen>

namespace {

std::optional<QRectF> nonZero(const QRect &r)
{
    if (r.x() == 0 && r.y() == 0 && r.width() == 0 && r.height() == 0) {
        return std::nullopt;
    }
    return QRectF(r);
}

// Runs on the accessibility thread; answers in device pixels.
SelectionGeometry gather()
{
    SelectionGeometry g;
    const auto active = X11Windows::activeWindow();
    if (!active) {
        return g;
    }
    const auto app = Application::fromProcessId(active->processId);
    if (!app.failed() && app.value) {
        const auto window = app.value->activeWindow();
        if (!window.failed() && window.value) {
            if (const auto f = window.value->frame();
                !f.failed() && f.value && !f.value->isEmpty()) {
                g.focusedWindowFrame = QRectF(*f.value);
            }
        }
        const auto focused = SystemWideElement::focusedUIElement(*app.value);
        if (!focused.failed() && focused.value) {
            const UIElement &element = *focused.value;
            const auto frame = element.frame();
            if (!frame.failed() && frame.value) {
                g.focusedElementFrame = QRectF(*frame.value);
            }
            const auto range = element.selectedTextRange();
            if (!range.failed() && range.value) {
                const auto bounds = element.boundsForRange(*range.value);
                if (!bounds.failed() && bounds.value) {
                    // Some toolkits answer extents on the first line whatever
                    // the range: trust only a rectangle inside the element.
                    const bool inside =
                        !g.focusedElementFrame || g.focusedElementFrame->adjusted(-2, -2, 2, 2)
                                                      .contains(QRectF(*bounds.value));
                    if (inside) {
                        g.selectionBounds = nonZero(*bounds.value);
                    }
                }
                // A text element's bottom centre, where the popup may hang below it.
                if (!frame.failed() && frame.value) {
                    const QRectF f(*frame.value);
                    g.textInsertionPoint = QPointF(f.x() + f.width() * 0.5, f.y() + f.height());
                }
            }
        }
    }
    if (!g.focusedWindowFrame) {
        if (const auto f = X11Windows::windowFrame(active->windowId); f && !f->isEmpty()) {
            g.focusedWindowFrame = QRectF(*f);
        }
    }
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
