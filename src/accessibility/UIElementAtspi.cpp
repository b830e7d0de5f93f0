#include "UIElement.h"

#include "AccessibilityThread.h"
#include "X11Windows.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QElapsedTimer>
#include <QQueue>
#include <atspi/atspi.h>

namespace {

AtspiAccessible *acc(const UIElement &e)
{
    return static_cast<AtspiAccessible *>(e.platform());
}

// D-Bus errors reach us as libatspi GErrors carrying the bus's message.
AXError toAXError(GError *error)
{
    if (!error) {
        return AXError::Success;
    }
    const QString text = QString::fromUtf8(error->message).toLower();
    g_error_free(error);
    if (text.contains(u"did not receive a reply") || text.contains(u"timeout") ||
        text.contains(u"timed out") || text.contains(u"noreply")) {
        return AXError::CannotComplete;
    }
    if (text.contains(u"no longer exists") || text.contains(u"not provided by any") ||
        text.contains(u"unknown object") || text.contains(u"doesn't exist") ||
        text.contains(u"does not exist") || text.contains(u"disconnected") ||
        text.contains(u"no such") || text.contains(u"unknownobject") ||
        text.contains(u"serviceunknown")) {
        return AXError::InvalidUIElement;
    }
    if (text.contains(u"not connected") || text.contains(u"bus")) {
        return AXError::APIDisabled;
    }
    return AXError::Failure;
}

template <typename Iface> using IfacePtr = std::unique_ptr<Iface, decltype(&g_object_unref)>;

template <typename Iface> IfacePtr<Iface> iface(Iface *raw)
{
    return IfacePtr<Iface>(raw, &g_object_unref);
}

UIElement::Role mapRole(AtspiRole role)
{
    switch (role) {
    case ATSPI_ROLE_APPLICATION:
        return UIElement::Role::Application;
    case ATSPI_ROLE_FRAME:
    case ATSPI_ROLE_WINDOW:
    case ATSPI_ROLE_DIALOG:
        return UIElement::Role::Window;
    case ATSPI_ROLE_MENU_BAR:
        return UIElement::Role::MenuBar;
    case ATSPI_ROLE_MENU:
        return UIElement::Role::Menu;
    case ATSPI_ROLE_MENU_ITEM:
    case ATSPI_ROLE_CHECK_MENU_ITEM:
    case ATSPI_ROLE_RADIO_MENU_ITEM:
        return UIElement::Role::MenuItem;
    case ATSPI_ROLE_TEXT:
    case ATSPI_ROLE_ENTRY:
    case ATSPI_ROLE_PARAGRAPH:
    case ATSPI_ROLE_DOCUMENT_TEXT:
    case ATSPI_ROLE_PASSWORD_TEXT:
    case ATSPI_ROLE_TERMINAL:
        return UIElement::Role::Text;
    case ATSPI_ROLE_INVALID:
        return UIElement::Role::Unknown;
    default:
        return UIElement::Role::Other;
    }
}

QString takeString(gchar *s)
{
    QString out = QString::fromUtf8(s);
    g_free(s);
    return out;
}

// libatspi does not always report a call that ran into its time-out (some
// answers come back empty without an error), so the clock decides.
template <typename T> AXResult<T> guarded(const std::function<AXResult<T>()> &body)
{
    QElapsedTimer clock;
    clock.start();
    AXResult<T> result = body();
    if (!result.failed() && clock.elapsed() >= AccessibilityThread::callTimeoutMs - 5) {
        return AXResult<T>::failure(AXError::CannotComplete);
    }
    return result;
}

} // namespace

UIElement UIElement::fromPlatform(void *accessible)
{
    UIElement e;
    if (accessible) {
        g_object_ref(accessible);
        e.m_ref = std::shared_ptr<void>(accessible, [](void *p) { g_object_unref(p); });
    }
    return e;
}

AXResult<UIElement::Role> UIElement::role() const
{
    return guarded<UIElement::Role>([&]() -> AXResult<UIElement::Role> {
        GError *error = nullptr;
        const AtspiRole r = atspi_accessible_get_role(acc(*this), &error);
        if (const AXError e = toAXError(error); e != AXError::Success) {
            return AXResult<Role>::failure(e);
        }
        return AXResult<Role>::of(mapRole(r));
    });
}

AXResult<QString> UIElement::name() const
{
    return guarded<QString>([&]() -> AXResult<QString> {
        GError *error = nullptr;
        gchar *n = atspi_accessible_get_name(acc(*this), &error);
        if (const AXError e = toAXError(error); e != AXError::Success) {
            g_free(n);
            return AXResult<QString>::failure(e);
        }
        if (!n) {
            return AXResult<QString>::none();
        }
        return AXResult<QString>::of(takeString(n));
    });
}

AXResult<unsigned> UIElement::states() const
{
    return guarded<unsigned>([&]() -> AXResult<unsigned> {
        AtspiStateSet *set = atspi_accessible_get_state_set(acc(*this));
        if (!set) {
            return AXResult<unsigned>::failure(AXError::Failure);
        }
        static constexpr std::pair<AtspiStateType, State> table[] = {
            {ATSPI_STATE_ACTIVE, Active},       {ATSPI_STATE_FOCUSED, Focused},
            {ATSPI_STATE_SHOWING, Showing},     {ATSPI_STATE_ENABLED, Enabled},
            {ATSPI_STATE_SENSITIVE, Sensitive}, {ATSPI_STATE_EDITABLE, Editable},
            {ATSPI_STATE_VISIBLE, Visible},
        };
        const bool defunct = atspi_state_set_contains(set, ATSPI_STATE_DEFUNCT);
        unsigned bits = 0;
        for (const auto &[type, bit] : table) {
            if (atspi_state_set_contains(set, type)) {
                bits |= bit;
            }
        }
        g_object_unref(set);
        if (defunct) {
            return AXResult<unsigned>::failure(AXError::InvalidUIElement);
        }
        return AXResult<unsigned>::of(bits);
    });
}

AXResult<qint64> UIElement::processId() const
{
    return guarded<qint64>([&]() -> AXResult<qint64> {
        GError *error = nullptr;
        const guint pid = atspi_accessible_get_process_id(acc(*this), &error);
        if (const AXError e = toAXError(error); e != AXError::Success) {
            return AXResult<qint64>::failure(e);
        }
        return AXResult<qint64>::of(pid);
    });
}

AXResult<QString> UIElement::identifier() const
{
    return guarded<QString>([&]() -> AXResult<QString> {
        GError *error = nullptr;
        gchar *id = atspi_accessible_get_accessible_id(acc(*this), &error);
        if (const AXError e = toAXError(error); e != AXError::Success) {
            g_free(id);
            // Older toolkits do not know the property at all.
            return e == AXError::Failure ? AXResult<QString>::none()
                                         : AXResult<QString>::failure(e);
        }
        if (!id || !*id) {
            g_free(id);
            return AXResult<QString>::none();
        }
        return AXResult<QString>::of(takeString(id));
    });
}

AXResult<UIElement> UIElement::parent() const
{
    return guarded<UIElement>([&]() -> AXResult<UIElement> {
        GError *error = nullptr;
        AtspiAccessible *p = atspi_accessible_get_parent(acc(*this), &error);
        if (const AXError e = toAXError(error); e != AXError::Success) {
            return AXResult<UIElement>::failure(e);
        }
        if (!p) {
            return AXResult<UIElement>::none();
        }
        UIElement parentElement = fromPlatform(p);
        g_object_unref(p);
        return AXResult<UIElement>::of(parentElement);
    });
}

AXResult<QList<UIElement>> UIElement::children(int maxChildren) const
{
    return guarded<QList<UIElement>>([&]() -> AXResult<QList<UIElement>> {
        GError *error = nullptr;
        const gint count = atspi_accessible_get_child_count(acc(*this), &error);
        if (const AXError e = toAXError(error); e != AXError::Success) {
            return AXResult<QList<UIElement>>::failure(e);
        }
        QList<UIElement> list;
        for (gint i = 0; i < std::min<gint>(count, maxChildren); ++i) {
            AtspiAccessible *child = atspi_accessible_get_child_at_index(acc(*this), i, &error);
            if (const AXError e = toAXError(error); e != AXError::Success) {
                if (e == AXError::CannotComplete) {
                    return AXResult<QList<UIElement>>::failure(e);
                }
                continue; // a child that vanished meanwhile is skipped
            }
            if (child) {
                list.append(fromPlatform(child));
                g_object_unref(child);
            }
        }
        return AXResult<QList<UIElement>>::of(list);
    });
}

AXResult<QString> UIElement::selectedText() const
{
    return guarded<QString>([&]() -> AXResult<QString> {
        auto text = iface(atspi_accessible_get_text_iface(acc(*this)));
        if (!text) {
            return AXResult<QString>::failure(AXError::AttributeUnsupported);
        }
        GError *error = nullptr;
        const gint n = atspi_text_get_n_selections(text.get(), &error);
        if (const AXError e = toAXError(error); e != AXError::Success) {
            return AXResult<QString>::failure(e);
        }
        if (n <= 0) {
            return AXResult<QString>::of(QString());
        }
        AtspiRange *range = atspi_text_get_selection(text.get(), 0, &error);
        if (const AXError e = toAXError(error); e != AXError::Success) {
            g_free(range);
            return AXResult<QString>::failure(e);
        }
        const int start = range ? range->start_offset : 0;
        const int end = range ? range->end_offset : 0;
        g_free(range);
        if (end <= start) {
            return AXResult<QString>::of(QString());
        }
        gchar *s = atspi_text_get_text(text.get(), start, end, &error);
        if (const AXError e = toAXError(error); e != AXError::Success) {
            g_free(s);
            return AXResult<QString>::failure(e);
        }
        return AXResult<QString>::of(takeString(s));
    });
}

AXResult<UIElement::TextRange> UIElement::selectedTextRange() const
{
    return guarded<UIElement::TextRange>([&]() -> AXResult<UIElement::TextRange> {
        auto text = iface(atspi_accessible_get_text_iface(acc(*this)));
        if (!text) {
            return AXResult<TextRange>::failure(AXError::AttributeUnsupported);
        }
        GError *error = nullptr;
        const gint n = atspi_text_get_n_selections(text.get(), &error);
        if (const AXError e = toAXError(error); e != AXError::Success) {
            return AXResult<TextRange>::failure(e);
        }
        if (n <= 0) {
            const gint caret = atspi_text_get_caret_offset(text.get(), &error);
            if (const AXError e = toAXError(error); e != AXError::Success) {
                return AXResult<TextRange>::failure(e);
            }
            return AXResult<TextRange>::of({caret, caret});
        }
        AtspiRange *range = atspi_text_get_selection(text.get(), 0, &error);
        if (const AXError e = toAXError(error); e != AXError::Success) {
            g_free(range);
            return AXResult<TextRange>::failure(e);
        }
        const TextRange r{range->start_offset, range->end_offset};
        g_free(range);
        return AXResult<TextRange>::of(r);
    });
}

AXResult<QRect> UIElement::boundsForRange(TextRange range) const
{
    return guarded<QRect>([&]() -> AXResult<QRect> {
        auto text = iface(atspi_accessible_get_text_iface(acc(*this)));
        if (!text) {
            return AXResult<QRect>::failure(AXError::ParameterizedAttributeUnsupported);
        }
        GError *error = nullptr;
        AtspiRect *r = atspi_text_get_range_extents(text.get(), range.start, range.end,
                                                    ATSPI_COORD_TYPE_SCREEN, &error);
        if (const AXError e = toAXError(error); e != AXError::Success) {
            g_free(r);
            return AXResult<QRect>::failure(e);
        }
        if (!r) {
            return AXResult<QRect>::none();
        }
        const QRect rect(r->x, r->y, r->width, r->height);
        g_free(r);
        return AXResult<QRect>::of(rect);
    });
}

AXResult<int> UIElement::caretOffset() const
{
    return guarded<int>([&]() -> AXResult<int> {
        auto text = iface(atspi_accessible_get_text_iface(acc(*this)));
        if (!text) {
            return AXResult<int>::failure(AXError::AttributeUnsupported);
        }
        GError *error = nullptr;
        const gint caret = atspi_text_get_caret_offset(text.get(), &error);
        if (const AXError e = toAXError(error); e != AXError::Success) {
            return AXResult<int>::failure(e);
        }
        return AXResult<int>::of(caret);
    });
}

bool UIElement::supportsEditableText() const
{
    auto editable = iface(atspi_accessible_get_editable_text_iface(acc(*this)));
    return editable != nullptr;
}

AXResult<QRect> UIElement::frame() const
{
    return guarded<QRect>([&]() -> AXResult<QRect> {
        auto component = iface(atspi_accessible_get_component_iface(acc(*this)));
        if (!component) {
            return AXResult<QRect>::failure(AXError::AttributeUnsupported);
        }
        GError *error = nullptr;
        AtspiRect *r =
            atspi_component_get_extents(component.get(), ATSPI_COORD_TYPE_SCREEN, &error);
        if (const AXError e = toAXError(error); e != AXError::Success) {
            g_free(r);
            return AXResult<QRect>::failure(e);
        }
        if (!r) {
            return AXResult<QRect>::none();
        }
        const QRect rect(r->x, r->y, r->width, r->height);
        g_free(r);
        return AXResult<QRect>::of(rect);
    });
}

AXResult<QString> UIElement::keyBinding(int actionIndex) const
{
    return guarded<QString>([&]() -> AXResult<QString> {
        auto action = iface(atspi_accessible_get_action_iface(acc(*this)));
        if (!action) {
            return AXResult<QString>::none();
        }
        GError *error = nullptr;
        const gint n = atspi_action_get_n_actions(action.get(), &error);
        if (const AXError e = toAXError(error); e != AXError::Success) {
            return AXResult<QString>::failure(e);
        }
        if (actionIndex >= n) {
            return AXResult<QString>::none();
        }
        gchar *binding = atspi_action_get_key_binding(action.get(), actionIndex, &error);
        if (const AXError e = toAXError(error); e != AXError::Success) {
            g_free(binding);
            return AXResult<QString>::failure(e);
        }
        if (!binding || !*binding) {
            g_free(binding);
            return AXResult<QString>::none();
        }
        return AXResult<QString>::of(takeString(binding));
    });
}

AXError UIElement::performAction(int actionIndex) const
{
    auto action = iface(atspi_accessible_get_action_iface(acc(*this)));
    if (!action) {
        return AXError::ActionUnsupported;
    }
    GError *error = nullptr;
    QElapsedTimer clock;
    clock.start();
    const gboolean done = atspi_action_do_action(action.get(), actionIndex, &error);
    if (!error && clock.elapsed() >= AccessibilityThread::callTimeoutMs - 5) {
        return AXError::CannotComplete;
    }
    if (const AXError e = toAXError(error); e != AXError::Success) {
        return e;
    }
    return done ? AXError::Success : AXError::CannotComplete;
}

UIElement UIElement::findFirst(const std::function<bool(const UIElement &)> &predicate,
                               int maxDepth, int maxNodes) const
{
    int visited = 0;
    std::function<UIElement(const UIElement &, int)> visit = [&](const UIElement &node,
                                                                 int depth) -> UIElement {
        if (++visited > maxNodes) {
            return {};
        }
        if (predicate(node)) {
            return node;
        }
        if (depth >= maxDepth) {
            return {};
        }
        const auto kids = node.children();
        if (kids.failed() || !kids.value) {
            return {};
        }
        for (const UIElement &child : *kids.value) {
            if (UIElement found = visit(child, depth + 1); !found.isNull()) {
                return found;
            }
            if (visited > maxNodes) {
                break;
            }
        }
        return {};
    };
    return visit(*this, 0);
}

AXResult<Application> Application::fromProcessId(qint64 pid)
{
    if (pid <= 0 || pid == QCoreApplication::applicationPid()) {
        return AXResult<Application>::none();
    }
    AtspiAccessible *desktop = atspi_get_desktop(0);
    if (!desktop) {
        return AXResult<Application>::failure(AXError::APIDisabled);
    }
    const UIElement desk = UIElement::fromPlatform(desktop);
    g_object_unref(desktop);
    const auto apps = desk.children();
    if (apps.failed()) {
        return AXResult<Application>::failure(
            apps.error == AXError::CannotComplete ? AXError::CannotComplete : AXError::APIDisabled);
    }
    // The process id comes from the bus daemon, so a hung application is not asked.
    for (const UIElement &app : apps.value.value_or(QList<UIElement>{})) {
        const auto appPid = app.processId();
        if (!appPid.failed() && appPid.value == pid) {
            Application found;
            static_cast<UIElement &>(found) = app;
            return AXResult<Application>::of(found);
        }
    }
    return AXResult<Application>::none();
}

AXResult<UIElement> Application::activeWindow() const
{
    const auto windows = children(200);
    if (windows.failed()) {
        return AXResult<UIElement>::failure(windows.error);
    }
    UIElement firstShowing;
    for (const UIElement &w : *windows.value) {
        const auto st = w.states();
        if (st.failed()) {
            if (st.error == AXError::CannotComplete) {
                return AXResult<UIElement>::failure(st.error);
            }
            continue;
        }
        if (*st.value & Active) {
            return AXResult<UIElement>::of(w);
        }
        if (firstShowing.isNull() && (*st.value & Showing)) {
            firstShowing = w;
        }
    }
    if (firstShowing.isNull()) {
        return AXResult<UIElement>::none();
    }
    return AXResult<UIElement>::of(firstShowing);
}

AXResult<UIElement> Application::menuBar() const
{
    const auto window = activeWindow();
    if (window.failed() || !window.value) {
        return window;
    }
    // Breadth first and shallow: menu bars sit a few levels below the window,
    // while the document subtree beside them can be large.
    QQueue<std::pair<UIElement, int>> queue;
    queue.enqueue({*window.value, 0});
    int budget = 400;
    while (!queue.isEmpty() && budget-- > 0) {
        const auto [node, depth] = queue.dequeue();
        const auto r = node.role();
        if (r.failed()) {
            if (r.error == AXError::CannotComplete) {
                return AXResult<UIElement>::failure(r.error);
            }
            continue;
        }
        if (*r.value == Role::MenuBar) {
            return AXResult<UIElement>::of(node);
        }
        if (depth >= 5 || *r.value == Role::Text || *r.value == Role::Menu) {
            continue;
        }
        const auto kids = node.children(200);
        if (kids.failed()) {
            if (kids.error == AXError::CannotComplete) {
                return AXResult<UIElement>::failure(kids.error);
            }
            continue;
        }
        for (const UIElement &k : *kids.value) {
            queue.enqueue({k, depth + 1});
        }
    }
    return AXResult<UIElement>::none();
}

bool isProcessTrusted(bool prompt)
{
    auto bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        return false;
    }
    const QString service = QStringLiteral("org.a11y.Bus");
    const QString path = QStringLiteral("/org/a11y/bus");
    const QString props = QStringLiteral("org.freedesktop.DBus.Properties");
    const QString status = QStringLiteral("org.a11y.Status");
    const int timeoutMs = 2 * AccessibilityThread::callTimeoutMs;
    if (prompt) {
        auto set = QDBusMessage::createMethodCall(service, path, props, QStringLiteral("Set"));
        set << status << QStringLiteral("IsEnabled") << QVariant::fromValue(QDBusVariant(true));
        bus.call(set, QDBus::Block, timeoutMs);
    }
    auto get = QDBusMessage::createMethodCall(service, path, props, QStringLiteral("Get"));
    get << status << QStringLiteral("IsEnabled");
    const QDBusMessage reply = bus.call(get, QDBus::Block, timeoutMs);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
        return false;
    }
    const bool enabled = reply.arguments().constFirst().value<QDBusVariant>().variant().toBool();
    return enabled && X11Windows::hasXTest();
}
