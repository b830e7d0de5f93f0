#include "AccessibilityThread.h"
#include "UIElement.h"
#include "X11Windows.h"

#include <QElapsedTimer>
#include <QList>
#include <initializer_list>
#include <atspi/atspi.h>

namespace {

// Collection's state match finds the focused descendant inside the target
// application in one call (about 2 ms), where walking a tree costs hundreds.
// Up to maxCount elements holding every state of wanted, in tree order.
AXResult<QList<UIElement>> matchStates(AtspiCollection *collection,
                                       std::initializer_list<AtspiStateType> wanted, int maxCount)
{
    AtspiStateSet *states = atspi_state_set_new(nullptr);
    for (AtspiStateType state : wanted) {
        atspi_state_set_add(states, state);
    }
    AtspiMatchRule *rule = atspi_match_rule_new(
        states, ATSPI_Collection_MATCH_ALL, nullptr, ATSPI_Collection_MATCH_ALL, nullptr,
        ATSPI_Collection_MATCH_ALL, nullptr, ATSPI_Collection_MATCH_ALL, FALSE);
    g_object_unref(states);
    GError *error = nullptr;
    QElapsedTimer clock;
    clock.start();
    GArray *matches = atspi_collection_get_matches(
        collection, rule, ATSPI_Collection_SORT_ORDER_CANONICAL, maxCount, TRUE, &error);
    g_object_unref(rule);
    if (error) {
        const bool timedOut = QString::fromUtf8(error->message).contains(u"reply") ||
                              QString::fromUtf8(error->message).contains(u"imeout");
        g_error_free(error);
        return AXResult<QList<UIElement>>::failure(timedOut ? AXError::CannotComplete
                                                            : AXError::Failure);
    }
    if (!matches && clock.elapsed() >= AccessibilityThread::callTimeoutMs - 5) {
        return AXResult<QList<UIElement>>::failure(AXError::CannotComplete);
    }
    QList<UIElement> found;
    if (matches) {
        for (guint i = 0; i < matches->len; ++i) {
            found.append(UIElement::fromPlatform(g_array_index(matches, AtspiAccessible *, i)));
            g_object_unref(g_array_index(matches, AtspiAccessible *, i));
        }
        g_array_free(matches, TRUE);
    }
    return AXResult<QList<UIElement>>::of(found);
}

AXResult<UIElement> focusedByCollection(AtspiCollection *collection)
{
    const auto focused = matchStates(collection, {ATSPI_STATE_FOCUSED}, 1);
    if (focused.failed()) {
        return AXResult<UIElement>::failure(focused.error);
    }
    if (!focused.value->isEmpty()) {
        return AXResult<UIElement>::of(focused.value->constFirst());
    }
    // A GTK 3 text view loses its focused state once our popup has been
    // shown over its window, or once a menu item was pressed through its
    // action, and gets it back only when the window loses and regains the
    // focus. The window is the active one, so its showing
    // editable text that holds a selection, or else the only one there is,
    // is the element the user works in.
    const auto editable = matchStates(
        collection, {ATSPI_STATE_EDITABLE, ATSPI_STATE_FOCUSABLE, ATSPI_STATE_SHOWING}, 8);
    if (editable.failed()) {
        return AXResult<UIElement>::failure(editable.error);
    }
    for (const UIElement &candidate : *editable.value) {
        const auto range = candidate.selectedTextRange();
        if (range.failed()) {
            if (range.error == AXError::CannotComplete) {
                return AXResult<UIElement>::failure(range.error);
            }
            continue;
        }
        if (range.value && range.value->end > range.value->start) {
            return AXResult<UIElement>::of(candidate);
        }
    }
    if (editable.value->size() == 1) {
        return AXResult<UIElement>::of(editable.value->constFirst());
    }
    return AXResult<UIElement>::none();
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
