// SPDX-License-Identifier: GPL-3.0-or-later
#include "UIElement.h"

#include "AccessibilityThread.h"
#include "AtspiBus.h"
#include "KeyInput.h"

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QProcess>
#include <QQueue>
// The published AT-SPI enumerations only (roles, states, coordinate types);
// nothing of libatspi itself is linked.
#include <atspi/atspi-constants.h>

namespace {

constexpr int timeoutMs = AccessibilityThread::callTimeoutMs;

const QString accessibleInterface = QStringLiteral("org.a11y.atspi.Accessible");
const QString textInterface = QStringLiteral("org.a11y.atspi.Text");
const QString componentInterface = QStringLiteral("org.a11y.atspi.Component");
const QString actionInterface = QStringLiteral("org.a11y.atspi.Action");
const QString collectionInterface = QStringLiteral("org.a11y.atspi.Collection");
const QString hypertextInterface = QStringLiteral("org.a11y.atspi.Hypertext");
const QString hyperlinkInterface = QStringLiteral("org.a11y.atspi.Hyperlink");

AtspiBus::Reply invoke(const UIElement &e, const QString &interface, const char *method,
                       const QVariantList &arguments = {}, int timeout = timeoutMs)
{
    if (e.isNull()) {
        return {AXError::InvalidUIElement, {}};
    }
    return AtspiBus::call(e.service(), e.path(), interface, QString::fromLatin1(method), arguments,
                          timeout);
}

AtspiBus::Reply read(const UIElement &e, const QString &interface, const char *name)
{
    if (e.isNull()) {
        return {AXError::InvalidUIElement, {}};
    }
    return AtspiBus::property(e.service(), e.path(), interface, QString::fromLatin1(name),
                              timeoutMs);
}

template <typename T> AXResult<T> failureOf(const AtspiBus::Reply &reply)
{
    return AXResult<T>::failure(reply.error);
}

AXResult<int> intAnswer(const AtspiBus::Reply &reply)
{
    if (reply.failed()) {
        return failureOf<int>(reply);
    }
    if (reply.arguments.isEmpty()) {
        return AXResult<int>::none();
    }
    return AXResult<int>::of(reply.arguments.constFirst().toInt());
}

UIElement elementOf(const QString &service, const QString &path)
{
    if (service.isEmpty() || path.isEmpty() || path == QLatin1String(AtspiBus::nullPath)) {
        return {};
    }
    return UIElement(service, path);
}

AXResult<UIElement> elementAnswer(const AtspiBus::Reply &reply)
{
    if (reply.failed()) {
        return failureOf<UIElement>(reply);
    }
    QString service;
    QString path;
    if (reply.arguments.isEmpty() ||
        !AtspiBus::readObjectReference(reply.arguments.constFirst(), &service, &path)) {
        return AXResult<UIElement>::none();
    }
    const UIElement e = elementOf(service, path);
    return e.isNull() ? AXResult<UIElement>::none() : AXResult<UIElement>::of(e);
}

// Four integers, as one structure (Component) or as four answers (Text).
AXResult<QRect> rectAnswer(const AtspiBus::Reply &reply)
{
    if (reply.failed()) {
        return failureOf<QRect>(reply);
    }
    QList<int> v;
    if (reply.arguments.size() == 1) {
        v = AtspiBus::readIntStruct(reply.arguments.constFirst());
    } else {
        for (const QVariant &a : reply.arguments) {
            v.append(a.toInt());
        }
    }
    if (v.size() != 4) {
        return AXResult<QRect>::none();
    }
    return AXResult<QRect>::of(QRect(v[0], v[1], v[2], v[3]));
}

UIElement::Role mapRole(uint role)
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

bool hasState(const QList<uint> &words, AtspiStateType state)
{
    const int index = int(state);
    return index / 32 < words.size() && (words.at(index / 32) >> (index % 32)) & 1u;
}

void addState(QList<int> &words, AtspiStateType state)
{
    words[int(state) / 32] |= int(1u << (int(state) % 32));
}

constexpr std::pair<AtspiStateType, UIElement::State> stateTable[] = {
    {ATSPI_STATE_ACTIVE, UIElement::Active},        {ATSPI_STATE_FOCUSED, UIElement::Focused},
    {ATSPI_STATE_SHOWING, UIElement::Showing},      {ATSPI_STATE_ENABLED, UIElement::Enabled},
    {ATSPI_STATE_SENSITIVE, UIElement::Sensitive},  {ATSPI_STATE_EDITABLE, UIElement::Editable},
    {ATSPI_STATE_VISIBLE, UIElement::Visible},      {ATSPI_STATE_FOCUSABLE, UIElement::Focusable},
    {ATSPI_STATE_MULTI_LINE, UIElement::MultiLine},
};

// The longest text read in one call; a longer selection is refused by the
// caller rather than moved across the bus.
constexpr int maxTextCharacters = 8 * 1024 * 1024;

AXResult<unsigned> statesAnswer(const AtspiBus::Reply &reply)
{
    if (reply.failed()) {
        return failureOf<unsigned>(reply);
    }
    const QList<uint> words =
        reply.arguments.isEmpty() ? QList<uint>{} : AtspiBus::readUIntArray(reply.arguments[0]);
    if (hasState(words, ATSPI_STATE_DEFUNCT)) {
        return AXResult<unsigned>::failure(AXError::InvalidUIElement);
    }
    unsigned bits = 0;
    for (const auto &[state, bit] : stateTable) {
        if (hasState(words, state)) {
            bits |= bit;
        }
    }
    return AXResult<unsigned>::of(bits);
}

AXResult<unsigned> interfacesAnswer(const AtspiBus::Reply &reply)
{
    if (reply.failed()) {
        return failureOf<unsigned>(reply);
    }
    static const std::pair<const QString *, UIElement::Interface> table[] = {
        {&textInterface, UIElement::Interface::Text},
        {&componentInterface, UIElement::Interface::Component},
        {&actionInterface, UIElement::Interface::Action},
        {&collectionInterface, UIElement::Interface::Collection},
        {&hypertextInterface, UIElement::Interface::Hypertext},
    };
    const QStringList names = reply.arguments.value(0).toStringList();
    unsigned bits = 0;
    for (const auto &[name, bit] : table) {
        if (names.contains(*name)) {
            bits |= unsigned(bit);
        }
    }
    if (names.contains(QStringLiteral("org.a11y.atspi.EditableText"))) {
        bits |= unsigned(UIElement::Interface::EditableText);
    }
    return AXResult<unsigned>::of(bits);
}

} // namespace

AXResult<UIElement::Role> UIElement::role() const
{
    const auto reply = invoke(*this, accessibleInterface, "GetRole");
    if (reply.failed()) {
        return failureOf<Role>(reply);
    }
    if (reply.arguments.isEmpty()) {
        return AXResult<Role>::none();
    }
    return AXResult<Role>::of(mapRole(reply.arguments.constFirst().toUInt()));
}

AXResult<QString> UIElement::name() const
{
    const auto reply = read(*this, accessibleInterface, "Name");
    if (reply.failed()) {
        return failureOf<QString>(reply);
    }
    if (reply.arguments.isEmpty()) {
        return AXResult<QString>::none();
    }
    return AXResult<QString>::of(reply.arguments.constFirst().toString());
}

AXResult<unsigned> UIElement::states() const
{
    return statesAnswer(invoke(*this, accessibleInterface, "GetState"));
}

AXResult<qint64> UIElement::processId() const
{
    if (isNull()) {
        return AXResult<qint64>::failure(AXError::InvalidUIElement);
    }
    return AtspiBus::processIdOf(service(), timeoutMs);
}

AXResult<QString> UIElement::identifier() const
{
    const auto reply = read(*this, accessibleInterface, "AccessibleId");
    if (reply.failed()) {
        // Older toolkits do not know the property at all.
        return reply.error == AXError::AttributeUnsupported || reply.error == AXError::Failure
                   ? AXResult<QString>::none()
                   : failureOf<QString>(reply);
    }
    const QString id = reply.arguments.value(0).toString();
    return id.isEmpty() ? AXResult<QString>::none() : AXResult<QString>::of(id);
}

AXResult<UIElement> UIElement::parent() const
{
    return elementAnswer(read(*this, accessibleInterface, "Parent"));
}

AXResult<int> UIElement::indexInParent() const
{
    return intAnswer(invoke(*this, accessibleInterface, "GetIndexInParent"));
}

AXResult<std::pair<UIElement, int>> UIElement::parentAndIndex() const
{
    using Answer = std::pair<UIElement, int>;
    if (isNull()) {
        return AXResult<Answer>::failure(AXError::InvalidUIElement);
    }
    AtspiBus::Batch batch;
    const int parent =
        batch.property(service(), path(), accessibleInterface, QStringLiteral("Parent"));
    const int index =
        batch.call(service(), path(), accessibleInterface, QStringLiteral("GetIndexInParent"));
    batch.run(timeoutMs);
    const auto p = elementAnswer(batch.reply(parent));
    const auto i = intAnswer(batch.reply(index));
    if (p.failed() || i.failed()) {
        return AXResult<Answer>::failure(p.failed() ? p.error : i.error);
    }
    if (!p.value || !i.value || *i.value < 0) {
        return AXResult<Answer>::none();
    }
    return AXResult<Answer>::of({*p.value, *i.value});
}

AXResult<UIElement> UIElement::childAt(int index) const
{
    if (index < 0) {
        return AXResult<UIElement>::none();
    }
    return elementAnswer(invoke(*this, accessibleInterface, "GetChildAtIndex", {index}));
}

AXResult<QList<UIElement>> UIElement::children(int maxChildren) const
{
    const auto reply = invoke(*this, accessibleInterface, "GetChildren");
    if (reply.failed()) {
        return failureOf<QList<UIElement>>(reply);
    }
    QList<UIElement> list;
    if (!reply.arguments.isEmpty()) {
        for (const auto &[service, path] :
             AtspiBus::readObjectReferences(reply.arguments.constFirst())) {
            if (list.size() >= maxChildren) {
                break;
            }
            if (const UIElement child = elementOf(service, path); !child.isNull()) {
                list.append(child);
            }
        }
    }
    return AXResult<QList<UIElement>>::of(list);
}

AXResult<unsigned> UIElement::interfaces() const
{
    return interfacesAnswer(invoke(*this, accessibleInterface, "GetInterfaces"));
}

AXResult<int> UIElement::characterCount() const
{
    return intAnswer(read(*this, textInterface, "CharacterCount"));
}

AXResult<int> UIElement::caretOffset() const
{
    return intAnswer(read(*this, textInterface, "CaretOffset"));
}

AXResult<QString> UIElement::text(TextRange range) const
{
    if (range.isEmpty()) {
        return AXResult<QString>::of(QString());
    }
    if (range.length() > maxTextCharacters) {
        return AXResult<QString>::failure(AXError::IllegalArgument);
    }
    // Moving a long text takes the target and the bus longer than one
    // ordinary call: about a millisecond for every 2,000 characters.
    const int timeout = timeoutMs + range.length() / 2000;
    const auto reply = invoke(*this, textInterface, "GetText", {range.start, range.end}, timeout);
    if (reply.failed()) {
        return failureOf<QString>(reply);
    }
    if (reply.arguments.isEmpty()) {
        return AXResult<QString>::none();
    }
    return AXResult<QString>::of(reply.arguments.constFirst().toString());
}

QList<std::optional<QString>> UIElement::texts(const QList<TextRange> &ranges) const
{
    AtspiBus::Batch batch;
    for (const TextRange &range : ranges) {
        batch.call(service(), path(), textInterface, QStringLiteral("GetText"),
                   {range.start, range.end});
    }
    batch.run(timeoutMs);
    QList<std::optional<QString>> answers;
    for (qsizetype i = 0; i < ranges.size(); ++i) {
        const AtspiBus::Reply &reply = batch.reply(int(i));
        answers.append(reply.failed() || reply.arguments.isEmpty()
                           ? std::nullopt
                           : std::optional<QString>(reply.arguments.constFirst().toString()));
    }
    return answers;
}

AXResult<QList<UIElement::TextRange>> UIElement::selections() const
{
    const auto count = intAnswer(invoke(*this, textInterface, "GetNSelections"));
    if (count.failed()) {
        return AXResult<QList<TextRange>>::failure(count.error);
    }
    QList<TextRange> list;
    // A toolkit could claim any number; nobody selects more than a few ranges.
    for (int i = 0; i < std::min(count.value.value_or(0), 64); ++i) {
        const auto reply = invoke(*this, textInterface, "GetSelection", {i});
        if (reply.failed()) {
            return AXResult<QList<TextRange>>::failure(reply.error);
        }
        if (reply.arguments.size() < 2) {
            continue;
        }
        TextRange range{reply.arguments[0].toInt(), reply.arguments[1].toInt()};
        if (range.start > range.end) {
            std::swap(range.start, range.end);
        }
        if (!range.isEmpty() && range.start >= 0) {
            list.append(range);
        }
    }
    return AXResult<QList<TextRange>>::of(list);
}

AXResult<UIElement::TextState> UIElement::textState(bool withFrames) const
{
    if (isNull()) {
        return AXResult<TextState>::failure(AXError::InvalidUIElement);
    }
    AtspiBus::Batch batch;
    const int interfaces =
        batch.call(service(), path(), accessibleInterface, QStringLiteral("GetInterfaces"));
    const int states =
        batch.call(service(), path(), accessibleInterface, QStringLiteral("GetState"));
    const int count =
        batch.call(service(), path(), textInterface, QStringLiteral("GetNSelections"));
    const int first =
        batch.call(service(), path(), textInterface, QStringLiteral("GetSelection"), {0});
    const int caret =
        batch.property(service(), path(), textInterface, QStringLiteral("CaretOffset"));
    const int length =
        batch.property(service(), path(), textInterface, QStringLiteral("CharacterCount"));
    int onScreen = -1;
    int inWindow = -1;
    if (withFrames) {
        onScreen = batch.call(service(), path(), componentInterface, QStringLiteral("GetExtents"),
                              {uint(Coordinates::Screen)});
        inWindow = batch.call(service(), path(), componentInterface, QStringLiteral("GetExtents"),
                              {uint(Coordinates::Window)});
    }
    batch.run(timeoutMs);

    const auto i = interfacesAnswer(batch.reply(interfaces));
    if (i.failed()) {
        return AXResult<TextState>::failure(i.error);
    }
    const auto st = statesAnswer(batch.reply(states));
    if (st.failed()) {
        return AXResult<TextState>::failure(st.error);
    }
    TextState state;
    state.interfaces = *i.value;
    state.states = *st.value;
    for (const int index : {count, first, caret, length, onScreen, inWindow}) {
        if (index >= 0 && batch.reply(index).error == AXError::CannotComplete) {
            return AXResult<TextState>::failure(AXError::CannotComplete);
        }
    }
    if (state.hasText()) {
        const auto n = intAnswer(batch.reply(count));
        if (n.failed()) {
            return AXResult<TextState>::failure(n.error);
        }
        state.selectionCount = std::max(0, n.value.value_or(0));
        const AtspiBus::Reply &range = batch.reply(first);
        if (state.selectionCount > 0 && !range.failed() && range.arguments.size() >= 2) {
            TextRange r{range.arguments[0].toInt(), range.arguments[1].toInt()};
            if (r.start > r.end) {
                std::swap(r.start, r.end);
            }
            if (r.start >= 0) {
                state.firstSelection = r;
            }
        }
        state.caret = intAnswer(batch.reply(caret)).value.value_or(-1);
        state.characterCount = intAnswer(batch.reply(length)).value.value_or(0);
    }
    if (withFrames) {
        const auto screen = rectAnswer(batch.reply(onScreen));
        const auto window = rectAnswer(batch.reply(inWindow));
        if (!screen.failed()) {
            state.frameOnScreen = screen.value;
        }
        if (!window.failed()) {
            state.frameInWindow = window.value;
        }
    }
    return AXResult<TextState>::of(state);
}

AXResult<QRect> UIElement::characterExtents(int offset, Coordinates coordinates) const
{
    return rectAnswer(
        invoke(*this, textInterface, "GetCharacterExtents", {offset, uint(coordinates)}));
}

QList<std::optional<QRect>> UIElement::characterExtents(const QList<int> &offsets,
                                                        Coordinates coordinates,
                                                        AXError *failure) const
{
    AtspiBus::Batch batch;
    for (const int offset : offsets) {
        batch.call(service(), path(), textInterface, QStringLiteral("GetCharacterExtents"),
                   {offset, uint(coordinates)});
    }
    batch.run(timeoutMs);
    QList<std::optional<QRect>> places;
    for (qsizetype i = 0; i < offsets.size(); ++i) {
        const auto place = rectAnswer(batch.reply(int(i)));
        if (place.failed() && failure && *failure == AXError::Success) {
            *failure = place.error;
        }
        places.append(place.failed() ? std::nullopt : place.value);
    }
    return places;
}

QList<std::optional<int>> UIElement::offsetsAtPoints(const QList<QPoint> &points,
                                                     Coordinates coordinates) const
{
    AtspiBus::Batch batch;
    for (const QPoint &point : points) {
        batch.call(service(), path(), textInterface, QStringLiteral("GetOffsetAtPoint"),
                   {point.x(), point.y(), uint(coordinates)});
    }
    batch.run(timeoutMs);
    QList<std::optional<int>> offsets;
    for (qsizetype i = 0; i < points.size(); ++i) {
        const auto offset = intAnswer(batch.reply(int(i)));
        offsets.append(offset.failed() ? std::nullopt : offset.value);
    }
    return offsets;
}

AXResult<int> UIElement::offsetAtPoint(QPoint point, Coordinates coordinates) const
{
    return intAnswer(invoke(*this, textInterface, "GetOffsetAtPoint",
                            {point.x(), point.y(), uint(coordinates)}));
}

AXResult<UIElement> UIElement::embeddedObjectAt(int offset) const
{
    const auto index = intAnswer(invoke(*this, hypertextInterface, "GetLinkIndex", {offset}));
    if (index.failed() || !index.value || *index.value < 0) {
        return index.failed() ? AXResult<UIElement>::failure(index.error)
                              : AXResult<UIElement>::none();
    }
    const auto link = elementAnswer(invoke(*this, hypertextInterface, "GetLink", {*index.value}));
    if (link.failed() || !link.value) {
        return link;
    }
    return elementAnswer(invoke(*link.value, hyperlinkInterface, "GetObject", {0}));
}

AXResult<QRect> UIElement::frame(Coordinates coordinates) const
{
    return rectAnswer(invoke(*this, componentInterface, "GetExtents", {uint(coordinates)}));
}

AXResult<QString> UIElement::keyBinding(int actionIndex) const
{
    const auto reply = invoke(*this, actionInterface, "GetKeyBinding", {actionIndex});
    if (reply.failed()) {
        return reply.error == AXError::AttributeUnsupported || reply.error == AXError::Failure
                   ? AXResult<QString>::none()
                   : failureOf<QString>(reply);
    }
    const QString binding = reply.arguments.value(0).toString();
    return binding.isEmpty() ? AXResult<QString>::none() : AXResult<QString>::of(binding);
}

AXError UIElement::performAction(int actionIndex) const
{
    const auto reply = invoke(*this, actionInterface, "DoAction", {actionIndex});
    if (reply.failed()) {
        return reply.error == AXError::AttributeUnsupported ? AXError::ActionUnsupported
                                                            : reply.error;
    }
    return reply.arguments.value(0).toBool() ? AXError::Success : AXError::CannotComplete;
}

AXResult<QList<UIElement>> UIElement::descendantsWithStates(unsigned states, int maxCount) const
{
    QList<int> stateWords{0, 0};
    for (const auto &[state, bit] : stateTable) {
        if (states & bit) {
            addState(stateWords, state);
        }
    }
    // The match rule (aiia{ss}iaiiasib): states, attributes, roles and
    // interfaces, each with how it must match, and whether to invert.
    QDBusArgument rule;
    rule.beginStructure();
    rule << stateWords << int(ATSPI_Collection_MATCH_ALL);
    rule.beginMap(QMetaType::fromType<QString>(), QMetaType::fromType<QString>());
    rule.endMap();
    rule << int(ATSPI_Collection_MATCH_ALL);
    rule << QList<int>{0, 0, 0, 0} << int(ATSPI_Collection_MATCH_ALL);
    rule << QStringList() << int(ATSPI_Collection_MATCH_ALL);
    rule << false;
    rule.endStructure();
    const auto reply = invoke(
        *this, collectionInterface, "GetMatches",
        {QVariant::fromValue(rule), uint(ATSPI_Collection_SORT_ORDER_CANONICAL), maxCount, true});
    if (reply.failed()) {
        return failureOf<QList<UIElement>>(reply);
    }
    QList<UIElement> found;
    if (!reply.arguments.isEmpty()) {
        for (const auto &[service, path] :
             AtspiBus::readObjectReferences(reply.arguments.constFirst())) {
            if (const UIElement e = elementOf(service, path); !e.isNull()) {
                found.append(e);
            }
        }
    }
    return AXResult<QList<UIElement>>::of(found);
}

UIElement UIElement::findFirst(const std::function<bool(const UIElement &)> &predicate,
                               int maxDepth, int maxNodes, bool *timedOut) const
{
    int visited = 0;
    bool stalled = false;
    std::function<UIElement(const UIElement &, int)> visit = [&](const UIElement &node,
                                                                 int depth) -> UIElement {
        if (++visited > maxNodes || stalled) {
            return {};
        }
        if (predicate(node)) {
            return node;
        }
        if (depth >= maxDepth) {
            return {};
        }
        const auto kids = node.children();
        if (kids.failed()) {
            stalled = kids.error == AXError::CannotComplete;
            return {};
        }
        for (const UIElement &child : kids.value.value_or(QList<UIElement>{})) {
            if (UIElement found = visit(child, depth + 1); !found.isNull()) {
                return found;
            }
            if (visited > maxNodes || stalled) {
                break;
            }
        }
        return {};
    };
    UIElement found = visit(*this, 0);
    if (timedOut) {
        *timedOut = stalled;
    }
    return found;
}

AXResult<Application> Application::fromProcessId(qint64 pid)
{
    if (pid <= 0 || pid == QCoreApplication::applicationPid()) {
        return AXResult<Application>::none();
    }
    const UIElement desktop(QString::fromLatin1(AtspiBus::registryService),
                            QString::fromLatin1(AtspiBus::rootPath));
    const auto apps = desktop.children();
    if (apps.failed()) {
        return AXResult<Application>::failure(
            apps.error == AXError::CannotComplete ? AXError::CannotComplete : AXError::APIDisabled);
    }
    // The process ids come from the bus daemon, so a hung application is not asked.
    for (const UIElement &app : *apps.value) {
        const auto appPid = app.processId();
        if (!appPid.failed() && appPid.value == pid) {
            return AXResult<Application>::of(Application(app));
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
    // Every window's states in one round trip.
    AtspiBus::Batch batch;
    for (const UIElement &w : *windows.value) {
        batch.call(w.service(), w.path(), accessibleInterface, QStringLiteral("GetState"));
    }
    batch.run(timeoutMs);
    UIElement firstShowing;
    for (qsizetype i = 0; i < windows.value->size(); ++i) {
        const UIElement &w = windows.value->at(i);
        const auto st = statesAnswer(batch.reply(int(i)));
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

namespace {

// GNOME switches the session's accessibility on at each login from this
// setting: without it, what the prompt turned on is off again next time.
// gsettings runs on its own; nothing waits for it.
void keepOnAfterLoginOnGnome()
{
    const QStringList desktops = qEnvironmentVariable("XDG_CURRENT_DESKTOP").split(u':');
    if (!desktops.contains(QStringLiteral("GNOME"), Qt::CaseInsensitive)) {
        return;
    }
    QProcess::startDetached(QStringLiteral("gsettings"),
                            {QStringLiteral("set"), QStringLiteral("org.gnome.desktop.interface"),
                             QStringLiteral("toolkit-accessibility"), QStringLiteral("true")});
}

} // namespace

bool isProcessTrusted(bool prompt, const platform::KeyInput &keys)
{
    auto bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        return false;
    }
    const QString service = QStringLiteral("org.a11y.Bus");
    const QString path = QStringLiteral("/org/a11y/bus");
    const QString props = QStringLiteral("org.freedesktop.DBus.Properties");
    const QString status = QStringLiteral("org.a11y.Status");
    const int timeout = 2 * AccessibilityThread::callTimeoutMs;
    if (prompt) {
        auto set = QDBusMessage::createMethodCall(service, path, props, QStringLiteral("Set"));
        set << status << QStringLiteral("IsEnabled") << QVariant::fromValue(QDBusVariant(true));
        bus.call(set, QDBus::Block, timeout);
        keepOnAfterLoginOnGnome();
    }
    auto get = QDBusMessage::createMethodCall(service, path, props, QStringLiteral("Get"));
    get << status << QStringLiteral("IsEnabled");
    const QDBusMessage reply = bus.call(get, QDBus::Block, timeout);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
        return false;
    }
    const bool enabled = reply.arguments().constFirst().value<QDBusVariant>().variant().toBool();
    return enabled && keys.isAvailable();
}
