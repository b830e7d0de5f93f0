#include "KeyEvent.h"

#include <QJsonArray>
#include <array>

namespace {

struct KeyRow {
    const char *name;
    quint16 code;
    const char *character; // UTF-8
};

// Declaration order, Mac virtual key codes, characters.
constexpr std::array<KeyRow, KeyEvent::keyCount> keyTable{{
    {"a", 0, "a"},
    {"b", 11, "b"},
    {"c", 8, "c"},
    {"d", 2, "d"},
    {"e", 14, "e"},
    {"f", 3, "f"},
    {"g", 5, "g"},
    {"h", 4, "h"},
    {"i", 34, "i"},
    {"j", 38, "j"},
    {"k", 40, "k"},
    {"l", 37, "l"},
    {"m", 46, "m"},
    {"n", 45, "n"},
    {"o", 31, "o"},
    {"p", 35, "p"},
    {"q", 12, "q"},
    {"r", 15, "r"},
    {"s", 1, "s"},
    {"t", 17, "t"},
    {"u", 32, "u"},
    {"v", 9, "v"},
    {"w", 13, "w"},
    {"x", 7, "x"},
    {"y", 16, "y"},
    {"z", 6, "z"},
    {"zero", 29, "0"},
    {"one", 18, "1"},
    {"two", 19, "2"},
    {"three", 20, "3"},
    {"four", 21, "4"},
    {"five", 23, "5"},
    {"six", 22, "6"},
    {"seven", 26, "7"},
    {"eight", 28, "8"},
    {"nine", 25, "9"},
    {"minus", 27, "-"},
    {"equal", 24, "="},
    {"leftBracket", 33, "["},
    {"rightBracket", 30, "]"},
    {"backslash", 42, "\\"},
    {"semicolon", 41, ";"},
    {"quote", 39, "'"},
    {"comma", 43, ","},
    {"period", 47, "."},
    {"slash", 44, "/"},
    {"grave", 50, "`"},
    {"keypadDecimal", 65, "."},
    {"keypadMultiply", 67, "*"},
    {"keypadPlus", 69, "+"},
    {"keypadClear", 71, "\u2327"},
    {"keypadDivide", 75, "\u00F7"},
    {"keypadEnter", 76, "\n"},
    {"keypadMinus", 78, "-"},
    {"keypadEquals", 81, "="},
    {"keypad0", 82, "0"},
    {"keypad1", 83, "1"},
    {"keypad2", 84, "2"},
    {"keypad3", 85, "3"},
    {"keypad4", 86, "4"},
    {"keypad5", 87, "5"},
    {"keypad6", 88, "6"},
    {"keypad7", 89, "7"},
    {"keypad8", 91, "8"},
    {"keypad9", 92, "9"},
    {"return", 36, "\n"},
    {"tab", 48, "\t"},
    {"space", 49, " "},
    {"delete", 51, "\u232B"},
    {"forwardDelete", 117, "\u2326"},
    {"escape", 53, "\u238B"},
    {"volumeUp", 72, "\U0010FFEE"},
    {"volumeDown", 73, "\U0010FFEE"},
    {"mute", 74, "\U0010FFEE"},
    {"home", 115, "\u21F1"},
    {"end", 119, "\u21F2"},
    {"pageUp", 116, "\u21DE"},
    {"pageDown", 121, "\u21DF"},
    {"leftArrow", 123, "\u2190"},
    {"rightArrow", 124, "\u2192"},
    {"downArrow", 125, "\u2193"},
    {"upArrow", 126, "\u2191"},
    {"f1", 122, "F1"},
    {"f2", 120, "F2"},
    {"f3", 99, "F3"},
    {"f4", 118, "F4"},
    {"f5", 96, "F5"},
    {"f6", 97, "F6"},
    {"f7", 98, "F7"},
    {"f8", 100, "F8"},
    {"f9", 101, "F9"},
    {"f10", 109, "F10"},
    {"f11", 103, "F11"},
    {"f12", 111, "F12"},
    {"f13", 105, "F13"},
    {"f14", 107, "F14"},
    {"f15", 113, "F15"},
    {"f16", 106, "F16"},
    {"f17", 64, "F17"},
    {"f18", 79, "F18"},
    {"f19", 80, "F19"},
    {"f20", 90, "F20"},
    {"isoSection", 10, "\u00A7"},
    {"jisYen", 93, "\u00A5"},
    {"jisUnderscore", 94, "_"},
    {"jisKeypadComma", 95, ","},
    {"jisEisu", 102, "\u82F1\u6570"},
    {"jisKana", 104, "\u304B\u306A"},
}};

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

const KeyRow &row(KeyEvent::Key key)
{
    return keyTable[static_cast<size_t>(key)];
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
    return row(key).code;
}

QString KeyEvent::character(Key key)
{
    return QString::fromUtf8(row(key).character);
}

QString KeyEvent::name(Key key)
{
    return QString::fromLatin1(row(key).name);
}

std::optional<KeyEvent::Key> KeyEvent::keyFromName(const QString &name)
{
    for (size_t i = 0; i < keyTable.size(); ++i) {
        if (name == QLatin1String(keyTable[i].name)) {
            return static_cast<Key>(i);
        }
    }
    return std::nullopt;
}

std::optional<KeyEvent::Key> KeyEvent::keyForCharacter(const QString &character)
{
    const QString wanted = character.toLower();
    for (size_t i = 0; i < keyTable.size(); ++i) {
        if (QString::fromUtf8(keyTable[i].character).toLower() == wanted) {
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
    for (const QJsonValue &m : modsValue.toArray()) {
        const auto modifier = decodeCase<Modifier>(m, &modifierFromName, error);
        if (!modifier) {
            return std::nullopt;
        }
        event.modifiers.append(*modifier);
    }
    return event;
}
