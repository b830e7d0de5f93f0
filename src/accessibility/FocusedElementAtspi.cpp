// SPDX-License-Identifier: GPL-3.0-or-later
#include "UIElement.h"
#include "Windows.h"

#include <QHash>
#include <functional>

namespace {

// Whether a text holds the text cursor: LibreOffice leaves its focused state
// on the paragraph the cursor left, but not the cursor (its offset is -1).
bool holdsTheCursor(const UIElement &text)
{
    const auto caret = text.caretOffset();
    return caret.failed() || !caret.value || *caret.value >= 0;
}

// How well a focused candidate stands for "where the user types": a text
// holding the cursor, with a place on screen, beats a container (LibreOffice
// also marks the panel around the paragraph focused), a paragraph the cursor
// has left, and a zero-sized document in a hidden frame (Chromium marks those
// focused too).
int score(const UIElement &candidate, AXError *stall)
{
    const auto interfaces = candidate.interfaces();
    if (interfaces.failed()) {
        if (interfaces.error == AXError::CannotComplete) {
            *stall = interfaces.error;
        }
        return -1;
    }
    const bool text = (*interfaces.value & unsigned(UIElement::Interface::Text)) != 0;
    int points = text ? 2 : 0;
    if (text && holdsTheCursor(candidate)) {
        points += 2;
    }
    const auto frame = candidate.frame();
    if (frame.failed() || !frame.value || !frame.value->isEmpty()) {
        // Toolkits that cannot tell screen coordinates still have a place.
        points += 1;
    }
    return points;
}

// A focused text that does not hold the cursor is no answer: LibreOffice
// leaves such paragraphs marked, and takes the mark off the real one while
// another client grabs the keyboard (as the shortcut's key press does).
constexpr int holdsCursorPoints = 4;

AXResult<UIElement> best(const QList<UIElement> &candidates, int *bestScore = nullptr)
{
    AXError stall = AXError::Success;
    UIElement chosen;
    int chosenScore = -1;
    for (const UIElement &candidate : candidates) {
        // Later matches lie deeper in the tree: a tie goes to the deeper one.
        const int points = score(candidate, &stall);
        if (stall != AXError::Success) {
            return AXResult<UIElement>::failure(stall);
        }
        if (points >= chosenScore) {
            chosen = candidate;
            chosenScore = points;
        }
    }
    if (bestScore) {
        *bestScore = chosenScore;
    }
    if (chosen.isNull()) {
        return AXResult<UIElement>::none();
    }
    return AXResult<UIElement>::of(chosen);
}

// Collection's state match finds the focused descendants inside the target
// application in one call (about 2 ms), where walking a tree costs hundreds.
// Among the window's elements in all of states, the first that holds a
// selection, or else the first with a text cursor.
AXResult<UIElement> textAtWork(const UIElement &window, unsigned states)
{
    const auto candidates = window.descendantsWithStates(states, 64);
    if (candidates.failed()) {
        return AXResult<UIElement>::failure(candidates.error);
    }
    UIElement withCursor;
    for (const UIElement &candidate : *candidates.value) {
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
        if (withCursor.isNull()) {
            const auto caret = candidate.caretOffset();
            if (!caret.failed() && caret.value && *caret.value >= 0) {
                withCursor = candidate;
            }
        }
    }
    if (!withCursor.isNull()) {
        return AXResult<UIElement>::of(withCursor);
    }
    return AXResult<UIElement>::none();
}

AXResult<UIElement> focusedByCollection(const UIElement &window)
{
    const auto focused = window.descendantsWithStates(UIElement::Focused, 8);
    if (focused.failed()) {
        return AXResult<UIElement>::failure(focused.error);
    }
    int points = -1;
    const auto found = best(*focused.value, &points);
    if (found.failed() || (found.value && (points < 2 || points >= holdsCursorPoints))) {
        return found;
    }
    // No focused text holds the cursor. A GTK 3 text view loses its focused
    // state once a menu item was pressed through its action, LibreOffice's
    // paragraph while the keyboard is grabbed, and a toolkit takes it back
    // only some time after the shortcut's grab has ended. The window is the
    // active one, so its showing editable text that holds a selection, or
    // else the text cursor, is the element the user works in; failing that,
    // its showing focusable text (a terminal, a read-only view), so that
    // what it says about its selection decides, not a stale PRIMARY.
    for (const unsigned states :
         {UIElement::Editable | UIElement::Showing, UIElement::Focusable | UIElement::Showing}) {
        const auto text = textAtWork(window, states);
        if (text.failed() || text.value) {
            return text;
        }
    }
    return found;
}

// Toolkits without Collection (Qt, GTK 4): a walk that enters only what is
// on screen (GTK 4 marks it visible, Qt showing), which keeps it to the
// visible part of one window, and that gathers the focused elements on its
// way (Qt leaves containers marked focused beside the real one).
AXResult<UIElement> focusedByVisibleWalk(const UIElement &window)
{
    constexpr int maxDepth = 30;
    constexpr int maxNodes = 1500;
    QList<UIElement> focused;
    int visited = 0;
    AXError stall = AXError::Success;
    std::function<bool(const UIElement &, int)> visit = [&](const UIElement &node, int depth) {
        if (++visited > maxNodes) {
            return true;
        }
        const auto st = node.states();
        if (st.failed()) {
            if (st.error == AXError::CannotComplete) {
                stall = st.error;
                return true;
            }
            return false;
        }
        if (depth > 0 && !(*st.value & (UIElement::Showing | UIElement::Visible))) {
            return false;
        }
        if (*st.value & UIElement::Focused) {
            focused.append(node);
            const auto interfaces = node.interfaces();
            if (!interfaces.failed() &&
                (*interfaces.value & unsigned(UIElement::Interface::Text))) {
                return true; // a focused text: the place where the user types
            }
        }
        if (depth >= maxDepth) {
            return false;
        }
        const auto kids = node.children();
        if (kids.failed()) {
            if (kids.error == AXError::CannotComplete) {
                stall = kids.error;
                return true;
            }
            return false;
        }
        for (const UIElement &child : *kids.value) {
            if (visit(child, depth + 1)) {
                return true;
            }
        }
        return false;
    };
    visit(window, 0);
    if (stall != AXError::Success) {
        return AXResult<UIElement>::failure(stall);
    }
    return best(focused);
}

// The element found last time in each application. While it still reports
// the focus, it is the answer again without a search: most presses come from
// the text the user pressed in before. Accessibility thread only.
QHash<QString, UIElement> &lastFocused()
{
    static thread_local QHash<QString, UIElement> elements;
    return elements;
}

bool stillFocused(const UIElement &element)
{
    const auto state = element.textState();
    return !state.failed() && (state.value->states & UIElement::Focused) &&
           (!state.value->hasText() || state.value->caret >= 0);
}

} // namespace

AXResult<Application> SystemWideElement::focusedApplication(const platform::Windows &windows)
{
    const auto active = windows.active();
    if (!active || active->processId <= 0) {
        return AXResult<Application>::none();
    }
    return Application::fromProcessId(active->processId);
}

AXResult<UIElement> SystemWideElement::focusedUIElement(const platform::Windows &windows)
{
    const auto app = focusedApplication(windows);
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
    QHash<QString, UIElement> &known = lastFocused();
    if (const auto it = known.constFind(app.service()); it != known.constEnd()) {
        if (stillFocused(*it)) {
            return AXResult<UIElement>::of(*it);
        }
        known.erase(it);
    }
    const auto window = app.activeWindow();
    if (window.failed() || !window.value) {
        return window;
    }
    const auto interfaces = window.value->interfaces();
    if (interfaces.failed()) {
        return AXResult<UIElement>::failure(interfaces.error);
    }
    const AXResult<UIElement> found =
        (*interfaces.value & unsigned(UIElement::Interface::Collection))
            ? focusedByCollection(*window.value)
            : focusedByVisibleWalk(*window.value);
    if (!found.failed() && found.value && stillFocused(*found.value)) {
        // Applications come and go: keep the table small.
        if (known.size() > 32) {
            known.clear();
        }
        known.insert(app.service(), *found.value);
    }
    return found;
}
