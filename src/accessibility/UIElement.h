#pragma once

#include "AXError.h"

#include <QList>
#include <QRect>
#include <QString>
#include <functional>
#include <memory>

// An element of another application's accessibility tree. Elements may only be
// created, read and dropped on the accessibility thread (AccessibilityThread);
// every read is one bounded call into the target application.
//
// Typed reads answer nothing for an unsupported interface or a missing value
// and fail with an AXError otherwise: an object that went away is
// InvalidUIElement, a missing interface AttributeUnsupported, an unreachable
// accessibility bus APIDisabled, a call that timed out CannotComplete.
class UIElement {
public:
    enum class Role { Unknown, Application, Window, MenuBar, Menu, MenuItem, Text, Other };

    enum State : unsigned {
        Active = 1u << 0,
        Focused = 1u << 1,
        Showing = 1u << 2,
        Enabled = 1u << 3,
        Sensitive = 1u << 4,
        Editable = 1u << 5,
        Visible = 1u << 6,
    };

    struct TextRange {
        int start = 0;
        int end = 0;
    };

    UIElement() = default;
    // Takes its own reference to a platform object (an AtspiAccessible).
    static UIElement fromPlatform(void *accessible);

    bool isNull() const { return !m_ref; }
    void *platform() const { return m_ref.get(); }
    friend bool operator==(const UIElement &a, const UIElement &b) { return a.m_ref == b.m_ref; }

    AXResult<Role> role() const;
    AXResult<QString> name() const;
    AXResult<unsigned> states() const;
    AXResult<qint64> processId() const;
    // The toolkit's identifier of the element (GtkBuildable ids, Qt object names
    // where exposed); nothing when the toolkit gives none.
    AXResult<QString> identifier() const;
    AXResult<UIElement> parent() const;
    // At most maxChildren children, so a hostile tree cannot exhaust memory.
    AXResult<QList<UIElement>> children(int maxChildren = 1000) const;

    // Text interface.
    AXResult<QString> selectedText() const;
    AXResult<TextRange> selectedTextRange() const;
    AXResult<QRect> boundsForRange(TextRange range) const;
    AXResult<int> caretOffset() const;
    bool supportsEditableText() const;

    // Component interface: the element's frame in screen device pixels.
    AXResult<QRect> frame() const;

    // Action interface.
    AXResult<QString> keyBinding(int actionIndex = 0) const;
    AXError performAction(int actionIndex = 0) const;

    // Depth-first pre-order search, bounded by depth and node count because
    // foreign trees may be deep or cyclic.
    UIElement findFirst(const std::function<bool(const UIElement &)> &predicate, int maxDepth = 12,
                        int maxNodes = 4000) const;

private:
    std::shared_ptr<void> m_ref;
};

// The element of one running application, found by its process id.
class Application : public UIElement {
public:
    // Nothing when no accessible application has that process id (or it is ours).
    static AXResult<Application> fromProcessId(qint64 pid);
    // The application's frame that is active, else its first showing one.
    AXResult<UIElement> activeWindow() const;
    // The first menu bar of the active window.
    AXResult<UIElement> menuBar() const;
};

// The entry point of the whole desktop.
class SystemWideElement {
public:
    // The application of the active X11 window (never Vellumo itself).
    static AXResult<Application> focusedApplication();
    // The focused accessible inside the active window of the focused application.
    static AXResult<UIElement> focusedUIElement();
    static AXResult<UIElement> focusedUIElement(const Application &app);
};

// True when the accessibility bus answers and accessibility is enabled on the
// session. With prompt, switches it on first (applications started before
// may need a restart to expose themselves). Any thread; blocks for one bounded
// D-Bus round trip.
bool isProcessTrusted(bool prompt);
