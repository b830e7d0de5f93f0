// SPDX-License-Identifier: GPL-3.0-or-later
#include "GlobalShortcuts.h"

#include "HotKeyLayer.h"
#include "KeyTable.h"
#include "Settings.h"

#include <QHashFunctions>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPointer>
#include <QSet>
#include <algorithm>
#include <limits>
#include <vector>

// On macOS system hot keys stay silent while any menu is being tracked, so
// matching there switches to ordinary key events for that time. X has no such
// gap to bridge: a grabbed key reaches this process while another client's
// menu is open unless that menu holds the keyboard, and then no other client
// can see the key at all. That raw-key path is therefore left out here.

namespace GlobalShortcuts {

namespace {

struct HandlerEntry {
    Handler handler;
    QPointer<const QObject> context;
    bool hasContext = false;

    bool isAlive() const { return !hasContext || !context.isNull(); }
};

struct NameHandlers {
    Name name;
    std::vector<HandlerEntry> handlers;
};

struct Registry {
    std::vector<NameHandlers> keyDown;
    std::vector<NameHandlers> keyUp;
    // Shortcuts currently handed to the hot-key layer.
    QSet<Shortcut> registered;
    bool paused = false;
};

Registry &registry()
{
    static Registry instance;
    return instance;
}

void registerShortcut(const Shortcut &shortcut)
{
    Registry &r = registry();
    if (r.registered.contains(shortcut)) {
        return;
    }
    const bool registered = HotKeyLayer::shared().registerHotKey(
        shortcut, [](const Shortcut &s) { dispatch(s, EventType::keyDown); },
        [](const Shortcut &s) { dispatch(s, EventType::keyUp); });
    // A refused shortcut is tried again when the next handler is added.
    if (registered) {
        r.registered.insert(shortcut);
    }
}

void unregisterShortcut(const Shortcut &shortcut)
{
    HotKeyLayer::shared().unregisterHotKey(shortcut);
    registry().registered.remove(shortcut);
}

void addHandler(std::vector<NameHandlers> &table, const Name &name, Handler handler,
                const QObject *context)
{
    HandlerEntry entry{std::move(handler), context, context != nullptr};
    auto it = std::find_if(table.begin(), table.end(),
                           [&](const NameHandlers &entry) { return entry.name == name; });
    if (it == table.end()) {
        table.push_back({name, {}});
        it = std::prev(table.end());
    }
    it->handlers.push_back(std::move(entry));
    if (const std::optional<Shortcut> shortcut = getShortcut(name)) {
        registerShortcut(*shortcut);
    }
}

} // namespace

Shortcut::Shortcut(Key key, Qt::KeyboardModifiers modifiers)
    : carbonKeyCode(key.rawValue), carbonModifiers(KeyTable::carbonModifiers(modifiers))
{}

Qt::KeyboardModifiers Shortcut::modifiers() const
{
    return KeyTable::qtModifiers(carbonModifiers);
}

QByteArray Shortcut::toJson() const
{
    const QJsonObject object{{QStringLiteral("carbonKeyCode"), carbonKeyCode},
                             {QStringLiteral("carbonModifiers"), carbonModifiers}};
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

std::optional<Shortcut> Shortcut::fromJson(const QByteArray &json)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        return std::nullopt;
    }
    const QJsonObject object = document.object();
    const QJsonValue keyCode = object.value(QStringLiteral("carbonKeyCode"));
    const QJsonValue modifiers = object.value(QStringLiteral("carbonModifiers"));
    const auto isInteger = [](const QJsonValue &value) {
        return value.isDouble() && value.toDouble() == double(value.toInteger()) &&
               value.toInteger() >= std::numeric_limits<int>::min() &&
               value.toInteger() <= std::numeric_limits<int>::max();
    };
    if (!isInteger(keyCode) || !isInteger(modifiers)) {
        return std::nullopt;
    }
    return Shortcut(int(keyCode.toInteger()), int(modifiers.toInteger()));
}

size_t qHash(const Shortcut &shortcut, size_t seed)
{
    return qHashMulti(seed, shortcut.carbonKeyCode, shortcut.carbonModifiers);
}

Name::Name(const QString &rawValue, std::optional<Shortcut> defaultShortcut)
    : m_rawValue(rawValue), m_defaultShortcut(defaultShortcut)
{
    // Only the stored value is written here: the hot key itself is grabbed
    // when a handler is added, so a process that merely names a shortcut
    // (the command line, the settings) never takes the key from the desktop.
    Settings &settings = Settings::standard();
    if (m_defaultShortcut && !settings.hasShortcutEntry(m_rawValue)) {
        settings.setShortcutJson(m_rawValue, QString::fromUtf8(m_defaultShortcut->toJson()));
    }
}

const Name &Name::showPopup()
{
    static const Name name(QStringLiteral("showpopup"),
                           Shortcut(44, KeyTable::controlKey | KeyTable::cmdKey));
    return name;
}

QString Name::storeKey() const
{
    return Settings::shortcutKey(m_rawValue);
}

Notifier *notifier()
{
    static Notifier instance;
    return &instance;
}

std::optional<Shortcut> getShortcut(const Name &name)
{
    const std::optional<QString> stored = Settings::standard().shortcutJson(name.rawValue());
    if (!stored) {
        return std::nullopt;
    }
    return Shortcut::fromJson(stored->toUtf8());
}

void setShortcut(const std::optional<Shortcut> &shortcut, const Name &name)
{
    Settings &settings = Settings::standard();
    const std::optional<Shortcut> old = getShortcut(name);
    if (!shortcut) {
        if (!old) {
            return;
        }
        // False keeps the default from coming back at the next start.
        if (name.defaultShortcut()) {
            settings.setShortcutRemoved(name.rawValue());
        } else {
            settings.removeShortcutEntry(name.rawValue());
        }
        unregisterShortcut(*old);
        Q_EMIT notifier()->shortcutByNameDidChange(name);
        return;
    }

    const QString json = QString::fromUtf8(shortcut->toJson());
    if (old) {
        unregisterShortcut(*old);
    }
    registerShortcut(*shortcut);
    settings.setShortcutJson(name.rawValue(), json);
    Q_EMIT notifier()->shortcutByNameDidChange(name);
}

void onKeyDown(const Name &name, Handler handler, const QObject *context)
{
    addHandler(registry().keyDown, name, std::move(handler), context);
}

void onKeyUp(const Name &name, Handler handler, const QObject *context)
{
    addHandler(registry().keyUp, name, std::move(handler), context);
}

bool isPaused()
{
    return registry().paused;
}

void setPaused(bool paused)
{
    registry().paused = paused;
}

bool isEnabled()
{
    return HotKeyLayer::shared().isEnabled();
}

void setEnabled(bool enabled)
{
    HotKeyLayer &layer = HotKeyLayer::shared();
    layer.setEnabled(enabled);
    // A combination taken by another client meanwhile is dropped by the
    // layer; forgetting it here lets the next handler try again.
    registry().registered.removeIf(
        [&](const Shortcut &shortcut) { return !layer.hasHotKey(shortcut); });
}

void dispatch(const Shortcut &shortcut, EventType type)
{
    if (registry().paused) {
        return;
    }
    const std::vector<NameHandlers> &table =
        type == EventType::keyDown ? registry().keyDown : registry().keyUp;
    // A copy: handlers may add handlers or change shortcuts.
    const std::vector<NameHandlers> names = table;
    for (const NameHandlers &entry : names) {
        // Read at press time, so handlers follow a changed shortcut.
        if (getShortcut(entry.name) != shortcut) {
            continue;
        }
        for (const HandlerEntry &handler : entry.handlers) {
            if (handler.isAlive() && handler.handler) {
                handler.handler();
            }
        }
    }
}

QString shortcutDescription(const Shortcut &shortcut)
{
    QString text;
    const int bits = shortcut.carbonModifiers;
    if (bits & KeyTable::controlKey) {
        text += QStringLiteral("Ctrl+");
    }
    if (bits & KeyTable::optionKey) {
        text += QStringLiteral("Alt+");
    }
    if (bits & KeyTable::shiftKey) {
        text += QStringLiteral("Shift+");
    }
    if (bits & KeyTable::cmdKey) {
        text += QStringLiteral("Super+");
    }
    if (bits & KeyTable::functionKey) {
        text += QStringLiteral("Fn+");
    }
    if (const std::optional<QString> symbol = KeyTable::specialKeySymbol(shortcut.carbonKeyCode)) {
        return text + *symbol;
    }
    const std::optional<KeyTable::KeyInfo> key = KeyTable::keyForMacKeyCode(shortcut.carbonKeyCode);
    const QString character = key ? QString::fromUtf16(key->character) : QString();
    if (character.isEmpty()) {
        return text + QStringLiteral("key code %1").arg(shortcut.carbonKeyCode);
    }
    return text + character.left(1).toUpper() + character.mid(1);
}

bool isRegistered(const Name &name)
{
    const std::optional<Shortcut> shortcut = getShortcut(name);
    return shortcut && registry().registered.contains(*shortcut);
}

bool namesAKey(const Shortcut &shortcut)
{
    if (KeyTable::specialKeySymbol(shortcut.carbonKeyCode)) {
        return true;
    }
    const std::optional<KeyTable::KeyInfo> key = KeyTable::keyForMacKeyCode(shortcut.carbonKeyCode);
    return key && !QString::fromUtf16(key->character).isEmpty();
}

} // namespace GlobalShortcuts
