// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "AXError.h"

#include <QList>
#include <QRect>
#include <QString>
#include <QStringList>
#include <functional>
#include <optional>

namespace platform {
class KeyInput;
class Windows;
} // namespace platform

// An element of another application's accessibility tree: one object of the
// AT-SPI bus, named by the bus name of its application and its object path.
// An element is a plain value that any thread may copy; its reads are
// synchronous calls into the target application and run on the
// accessibility thread only (AccessibilityThread), each bounded by
// AccessibilityThread::callTimeoutMs.
//
// Typed reads answer nothing for a missing value and fail with an AXError
// otherwise: an object or application that went away is InvalidUIElement, a
// missing interface AttributeUnsupported, an unreachable accessibility bus
// APIDisabled, a call that ran into its time-out CannotComplete.
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
        Focusable = 1u << 7,
        MultiLine = 1u << 8,
    };

    enum class Interface : unsigned {
        Text = 1u << 0,
        EditableText = 1u << 1,
        Component = 1u << 2,
        Action = 1u << 3,
        Collection = 1u << 4,
        Hypertext = 1u << 5,
    };

    // Where coordinates are counted from. Some toolkits answer window-relative
    // values whatever they are asked for; callers compare both.
    enum class Coordinates { Screen = 0, Window = 1 };

    // Offsets count characters (Unicode code points), not UTF-16 units.
    struct TextRange {
        int start = 0;
        int end = 0;
        int length() const { return end - start; }
        bool isEmpty() const { return end <= start; }
        friend bool operator==(const TextRange &, const TextRange &) = default;
    };

    UIElement() = default;
    UIElement(QString service, QString path)
        : m_service(std::move(service)), m_path(std::move(path))
    {}

    bool isNull() const { return m_service.isEmpty() || m_path.isEmpty(); }
    const QString &service() const { return m_service; }
    const QString &path() const { return m_path; }
    friend bool operator==(const UIElement &, const UIElement &) = default;

    AXResult<Role> role() const;
    AXResult<QString> name() const;
    AXResult<unsigned> states() const;
    // From the bus daemon, so a hung application is not asked.
    AXResult<qint64> processId() const;
    // The toolkit's identifier of the element (GtkBuildable ids, Qt object
    // names where exposed); nothing when the toolkit gives none.
    AXResult<QString> identifier() const;
    AXResult<UIElement> parent() const;
    AXResult<int> indexInParent() const;
    // Both in one round trip.
    AXResult<std::pair<UIElement, int>> parentAndIndex() const;
    AXResult<UIElement> childAt(int index) const;
    // At most maxChildren children, so a hostile tree cannot exhaust memory.
    AXResult<QList<UIElement>> children(int maxChildren = 1000) const;
    // A set of Interface bits.
    AXResult<unsigned> interfaces() const;

    // Text interface.
    AXResult<int> characterCount() const;
    AXResult<int> caretOffset() const;
    AXResult<QString> text(TextRange range) const;
    // Several short ranges at once, in one round trip.
    QList<std::optional<QString>> texts(const QList<TextRange> &ranges) const;
    // Every selection the element reports, in its order (empty ones dropped).
    AXResult<QList<TextRange>> selections() const;
    AXResult<QRect> characterExtents(int offset, Coordinates coordinates) const;
    // Several at once, in one round trip; nothing for the ones it cannot place.
    QList<std::optional<QRect>> characterExtents(const QList<int> &offsets, Coordinates coordinates,
                                                 AXError *failure = nullptr) const;
    // The character under a point; -1 when there is none.
    AXResult<int> offsetAtPoint(QPoint point, Coordinates coordinates) const;
    QList<std::optional<int>> offsetsAtPoints(const QList<QPoint> &points,
                                              Coordinates coordinates) const;

    // Hypertext interface: the object that an embedded-object character
    // (U+FFFC) at offset stands for.
    AXResult<UIElement> embeddedObjectAt(int offset) const;

    // Component interface: the element's frame in device pixels.
    AXResult<QRect> frame(Coordinates coordinates = Coordinates::Screen) const;

    // Action interface.
    AXResult<QString> keyBinding(int actionIndex = 0) const;
    AXError performAction(int actionIndex = 0) const;

    // Collection interface: up to maxCount descendants holding every state
    // of states (State bits), in tree order.
    AXResult<QList<UIElement>> descendantsWithStates(unsigned states, int maxCount) const;

    // What the capture and the geometry ask of a focused text, in one round
    // trip: its interfaces, states, first selection (and how many there are),
    // text cursor and length, and optionally its frame both ways.
    struct TextState {
        unsigned interfaces = 0; // Interface bits
        unsigned states = 0;     // State bits
        int selectionCount = 0;
        TextRange firstSelection; // empty without a selection
        int caret = -1;
        int characterCount = 0;
        std::optional<QRect> frameOnScreen;
        std::optional<QRect> frameInWindow;
        bool hasText() const { return interfaces & unsigned(Interface::Text); }
    };
    AXResult<TextState> textState(bool withFrames = false) const;

    // Depth-first pre-order search, bounded by depth and node count because
    // foreign trees may be deep or cyclic. A predicate's read that timed out
    // ends the search; the caller learns it through timedOut.
    UIElement findFirst(const std::function<bool(const UIElement &)> &predicate, int maxDepth = 12,
                        int maxNodes = 4000, bool *timedOut = nullptr) const;

private:
    QString m_service;
    QString m_path;
};

// The element of one running application, found by its process id.
class Application : public UIElement {
public:
    Application() = default;
    explicit Application(const UIElement &root) : UIElement(root) {}

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
    // The application of the active window (never Vellumo itself).
    static AXResult<Application> focusedApplication(const platform::Windows &windows);
    // The focused accessible inside the active window of the focused application.
    static AXResult<UIElement> focusedUIElement(const platform::Windows &windows);
    static AXResult<UIElement> focusedUIElement(const Application &app);
};

// True when the accessibility bus answers, accessibility is enabled on the
// session, and the desktop takes synthetic keys from Vellumo. With prompt,
// switches accessibility on first (applications started before may need a
// restart to expose themselves), on GNOME also for the logins to come (its
// toolkit-accessibility setting). Any thread; blocks for one bounded D-Bus
// round trip.
bool isProcessTrusted(bool prompt, const platform::KeyInput &keys);
