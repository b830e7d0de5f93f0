// SPDX-License-Identifier: GPL-3.0-or-later
#include "KeyEvent.h"

#include <QJsonArray>
#include <array>

namespace {

struct ModifierRow {
    const char *name;
    quint64 flag;
};

constexpr std::array<ModifierRow, KeyEvent::modifierCount> modifierTable{{
    {"capsLock", 0x10000},
    {"command", 0x100000},
    {"control", 0x40000},
    {"function", 0x800000},
    {"help", 0x400000},
    {"numPad", 0x200000},
    {"option", 0x80000},
    {"shift", 0x20000},
}};

const Keys::KeyInfo &row(KeyEvent::Key key)
{
    return Keys::keys()[static_cast<size_t>(key)];
}

// One member named after a known case, whose value is an empty object.
template <typename T>
std::optional<T> decodeCase(const QJsonValue &value, std::optional<T> (*fromName)(const QString &),
                            QString *error)
{
    const QString mismatch = QStringLiteral("Invalid number of keys found, expected one.");
    if (!value.isObject()) {
        if (error) {
            *error = mismatch;
        }
        return std::nullopt;
    }
    const QJsonObject object = value.toObject();
    std::optional<T> found;
    int known = 0;
    for (auto it = object.begin(); it != object.end(); ++it) {
        if (auto c = fromName(it.key())) {
            found = c;
            ++known;
        }
    }
    if (known != 1) {
        if (error) {
            *error = mismatch;
        }
        return std::nullopt;
    }
    return found;
}

} // namespace

quint64 KeyEvent::flags() const
{
    quint64 bits = 0;
    for (const Modifier m : modifiers) {
        bits |= flag(m);
    }
    return bits;
}

quint16 KeyEvent::keyCode(Key key)
{
    return quint16(row(key).macKeyCode);
}

QString KeyEvent::character(Key key)
{
    return QString::fromUtf16(row(key).symbol);
}

QString KeyEvent::name(Key key)
{
    return QString::fromLatin1(row(key).name);
}

std::optional<KeyEvent::Key> KeyEvent::keyFromName(const QString &name)
{
    const auto keys = Keys::keys();
    for (size_t i = 0; i < keys.size(); ++i) {
        if (name == QLatin1String(keys[i].name)) {
            return static_cast<Key>(i);
        }
    }
    return std::nullopt;
}

std::optional<KeyEvent::Key> KeyEvent::keyForCharacter(const QString &character)
{
    const QString wanted = character.toLower();
    const auto keys = Keys::keys();
    for (size_t i = 0; i < keys.size(); ++i) {
        if (QString::fromUtf16(keys[i].symbol).toLower() == wanted) {
            return static_cast<Key>(i);
        }
    }
    return std::nullopt;
}

quint64 KeyEvent::flag(Modifier modifier)
{
    return modifierTable[static_cast<size_t>(modifier)].flag;
}

QString KeyEvent::name(Modifier modifier)
{
    return QString::fromLatin1(modifierTable[static_cast<size_t>(modifier)].name);
}

std::optional<KeyEvent::Modifier> KeyEvent::modifierFromName(const QString &name)
{
    for (size_t i = 0; i < modifierTable.size(); ++i) {
        if (name == QLatin1String(modifierTable[i].name)) {
            return static_cast<Modifier>(i);
        }
    }
    return std::nullopt;
}

QJsonObject KeyEvent::toJson() const
{
    QJsonArray mods;
    for (const Modifier m : modifiers) {
        mods.append(QJsonObject{{name(m), QJsonObject{}}});
    }
    return QJsonObject{{QStringLiteral("key"), QJsonObject{{name(key), QJsonObject{}}}},
                       {QStringLiteral("modifiers"), mods}};
}

std::optional<KeyEvent> KeyEvent::fromJson(const QJsonObject &object, QString *error)
{
    const auto k = decodeCase<Key>(object.value(QStringLiteral("key")), &keyFromName, error);
    if (!k) {
        return std::nullopt;
    }
    const QJsonValue modsValue = object.value(QStringLiteral("modifiers"));
    if (!modsValue.isArray()) {
        if (error) {
            *error = QStringLiteral("Expected an array of modifiers.");
        }
        return std::nullopt;
    }
    KeyEvent event;
    event.key = *k;
    for (const auto &m : modsValue.toArray()) {
        const auto modifier = decodeCase<Modifier>(m, &modifierFromName, error);
        if (!modifier) {
            return std::nullopt;
        }
        event.modifiers.append(*modifier);
    }
    return event;
}
