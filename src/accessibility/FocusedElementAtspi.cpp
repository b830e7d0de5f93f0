#include "UIElement.h"
#include "X11Windows.h"

namespace {

// Collection's state match finds the focused descendant inside the target
// application in one call (about 2 ms), where walking a tree costs hundreds.
AXResult<UIElement> focusedByCollection(const UIElement &window)
{
    const auto focused = window.descendantsWithStates(UIElement::Focused, 1);
    if (focused.failed()) {
        return AXResult<UIElement>::failure(focused.error);
    }
    if (!focused.value->isEmpty()) {
        return AXResult<UIElement>::of(focused.value->constFirst());
    }
    // A GTK 3 text view loses its focused state once a menu item was pressed
    // through its action, and gets it back only when the window loses and
    // regains the focus. The window is the active one, so its showing
    // editable text that holds a selection, or else the only one there is,
    // is the element the user works in.
    const auto editable = window.descendantsWithStates(
        UIElement::Editable | UIElement::Focusable | UIElement::Showing, 8);
    if (editable.failed()) {
        return AXResult<UIElement>::failure(editable.error);
    }
    for (const UIElement &candidate : *editable.value) {
        const auto ranges = candidate.selections();
        if (ranges.failed()) {
            if (ranges.error == AXError::CannotComplete) {
                return AXResult<UIElement>::failure(ranges.error);
            }
            continue;
        }
        if (!ranges.value->isEmpty()) {
            return AXResult<UIElement>::of(candidate);
        }
    }
    if (editable.value->size() == 1) {
        return AXResult<UIElement>::of(editable.value->constFirst());
    }
    return AXResult<UIElement>::none();
}

// Toolkits without Collection (Qt, GTK 4): descend only into showing
// children, which keeps the walk to the visible part of one window.
AXResult<UIElement> focusedByShowingWalk(const UIElement &window)
{
    bool stalled = false;
    const UIElement found = window.findFirst(
        [&stalled](const UIElement &e) {
            const auto st = e.states();
            if (st.failed()) {
                stalled = stalled || st.error == AXError::CannotComplete;
                return false;
            }
            return (*st.value & UIElement::Focused) != 0;
        },
        30, 1500);
    if (stalled) {
        return AXResult<UIElement>::failure(AXError::CannotComplete);
    }
    if (found.isNull()) {
        return AXResult<UIElement>::none();
    }
    return AXResult<UIElement>::of(found);
}

} // namespace

AXResult<Application> SystemWideElement::focusedApplication()
{
    const auto active = X11Windows::activeWindow();
    if (!active || active->processId <= 0) {
        return AXResult<Application>::none();
    }
    return Application::fromProcessId(active->processId);
}

AXResult<UIElement> SystemWideElement::focusedUIElement()
{
    const auto app = focusedApplication();
    if (app.failed()) {
        return AXResult<UIElement>::failure(app.error);
    }
    if (!app.value) {
        return AXResult<UIElement>::none();
    }
    return focusedUIElement(*app.value);
}

AXResult<UIElement> SystemWideElement::focusedUIElement(const Application &app)
{
    const auto window = app.activeWindow();
    if (window.failed() || !window.value) {
        return window;
    }
    const auto interfaces = window.value->interfaces();
    if (interfaces.failed()) {
        return AXResult<UIElement>::failure(interfaces.error);
    }
    if (*interfaces.value & unsigned(UIElement::Interface::Collection)) {
        return focusedByCollection(*window.value);
    }
    return focusedByShowingWalk(*window.value);
}
