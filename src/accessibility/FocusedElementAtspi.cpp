#include "AccessibilityThread.h"
#include "UIElement.h"
#include "X11Windows.h"

#include <QElapsedTimer>
#include <atspi/atspi.h>

namespace {

// Collection's state match finds the focused descendant inside the target
// application in one call (about 2 ms), where walking a tree costs hundreds.
AXResult<UIElement> focusedByCollection(AtspiCollection *collection)
{
    AtspiStateSet *states = atspi_state_set_new(nullptr);
    atspi_state_set_add(states, ATSPI_STATE_FOCUSED);
    AtspiMatchRule *rule = atspi_match_rule_new(
        states, ATSPI_Collection_MATCH_ALL, nullptr, ATSPI_Collection_MATCH_ALL, nullptr,
        ATSPI_Collection_MATCH_ALL, nullptr, ATSPI_Collection_MATCH_ALL, FALSE);
    g_object_unref(states);
    GError *error = nullptr;
    QElapsedTimer clock;
    clock.start();
    GArray *matches = atspi_collection_get_matches(
        collection, rule, ATSPI_Collection_SORT_ORDER_CANONICAL, 1, TRUE, &error);
    g_object_unref(rule);
    if (error) {
        const bool timedOut = QString::fromUtf8(error->message).contains(u"reply") ||
                              QString::fromUtf8(error->message).contains(u"imeout");
        g_error_free(error);
        return AXResult<UIElement>::failure(timedOut ? AXError::CannotComplete : AXError::Failure);
    }
    if (!matches && clock.elapsed() >= AccessibilityThread::callTimeoutMs - 5) {
        return AXResult<UIElement>::failure(AXError::CannotComplete);
    }
    UIElement found;
    if (matches && matches->len > 0) {
        found = UIElement::fromPlatform(g_array_index(matches, AtspiAccessible *, 0));
    }
    if (matches) {
        for (guint i = 0; i < matches->len; ++i) {
            g_object_unref(g_array_index(matches, AtspiAccessible *, i));
        }
        g_array_free(matches, TRUE);
    }
    if (found.isNull()) {
        return AXResult<UIElement>::none();
    }
    return AXResult<UIElement>::of(found);
}

// Toolkits without Collection (Qt): descend only into showing children, which
// keeps the walk to the visible part of one window.
AXResult<UIElement> focusedByShowingWalk(const UIElement &window)
{
    AXError failure = AXError::Success;
    const UIElement found = window.findFirst(
        [&failure](const UIElement &e) {
            if (failure != AXError::Success) {
                return false;
            }
            const auto st = e.states();
            if (st.failed()) {
                if (st.error == AXError::CannotComplete) {
                    failure = st.error;
                }
                return false;
            }
            return (*st.value & UIElement::Focused) != 0;
        },
        30, 1500);
    if (failure != AXError::Success) {
        return AXResult<UIElement>::failure(failure);
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
    AtspiAccessible *w = static_cast<AtspiAccessible *>(window.value->platform());
    if (AtspiCollection *collection = atspi_accessible_get_collection_iface(w)) {
        auto result = focusedByCollection(collection);
        g_object_unref(collection);
        return result;
    }
    return focusedByShowingWalk(*window.value);
}
