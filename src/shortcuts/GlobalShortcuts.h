// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QMetaType>
#include <QObject>
#include <QString>
#include <functional>
#include <optional>

// Named system-wide keyboard shortcuts: their defaults, their stored form in
// the defaults store, the handlers called when one is pressed, and the text
// form shown to the user. Everything here runs on the main thread.
namespace GlobalShortcuts {

// A virtual key code in the Mac numbering, which is the stored form on every
// platform (44 is the slash key, 49 Space).
struct Key {
    int rawValue = 0;
};

struct Shortcut {
    int carbonKeyCode = 0;
    int carbonModifiers = 0;

    constexpr Shortcut() = default;
    constexpr Shortcut(int keyCode, int modifiers)
        : carbonKeyCode(keyCode), carbonModifiers(modifiers)
    {}
    // From a recorded key and the held modifiers; modifiers without a
    // counterpart in the stored form are dropped.
    Shortcut(Key key, Qt::KeyboardModifiers modifiers);

    Qt::KeyboardModifiers modifiers() const;

    // The JSON object {"carbonKeyCode": n, "carbonModifiers": m}.
    QByteArray toJson() const;
    // Nothing unless the text is a JSON object with both integer members.
    static std::optional<Shortcut> fromJson(const QByteArray &json);

    friend bool operator==(const Shortcut &, const Shortcut &) = default;
};
size_t qHash(const Shortcut &shortcut, size_t seed = 0);

class Name {
public:
    Name() = default; // an empty name, for containers and queued signals
    // Stores the default at once when the store holds nothing at all for the
    // name, so that a removed shortcut (stored as false) stays removed.
    explicit Name(const QString &rawValue, std::optional<Shortcut> defaultShortcut = std::nullopt);

    // The popup's shortcut, Control+Command+slash by default (Ctrl+Super+/).
    static const Name &showPopup();

    const QString &rawValue() const { return m_rawValue; }
    const std::optional<Shortcut> &defaultShortcut() const { return m_defaultShortcut; }
    // Where the settings keep its shortcut ("GlobalShortcuts_" + the raw value).
    QString storeKey() const;

    friend bool operator==(const Name &a, const Name &b) { return a.m_rawValue == b.m_rawValue; }

private:
    QString m_rawValue;
    std::optional<Shortcut> m_defaultShortcut;
};

enum class EventType { keyDown, keyUp };

inline const QString shortcutByNameDidChangeNotification =
    QStringLiteral("GlobalShortcuts_shortcutByNameDidChange");

// Posts shortcutByNameDidChange (the notification above) after every
// successful set or removal.
class Notifier : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;
Q_SIGNALS:
    void shortcutByNameDidChange(const GlobalShortcuts::Name &name);
};
Notifier *notifier();

std::optional<Shortcut> getShortcut(const Name &name);
// Stores the shortcut and registers it as a system hot key; with nothing,
// removes the name's shortcut.
void setShortcut(const std::optional<Shortcut> &shortcut, const Name &name);

using Handler = std::function<void()>;
// Appends a handler and registers the name's shortcut if it is not yet. With a
// context object, the handler is skipped once that object is gone.
void onKeyDown(const Name &name, Handler handler, const QObject *context = nullptr);
void onKeyUp(const Name &name, Handler handler, const QObject *context = nullptr);

// While paused (the recorder sets it while it records) presses still arrive
// but no handler is called.
bool isPaused();
void setPaused(bool paused);

// While disabled no hot key is grabbed at all.
bool isEnabled();
void setEnabled(bool enabled);

// The text form: "Ctrl+", "Alt+", "Shift+", "Super+" (and "Fn+"), then the
// key's symbol or the character it types, capitalized ("Ctrl+Super+/").
QString shortcutDescription(const Shortcut &shortcut);

// Whether the name's stored shortcut is grabbed now.
bool isRegistered(const Name &name);
// Whether the shortcut's key code is a key this keyboard layer knows.
bool namesAKey(const Shortcut &shortcut);

// Calls the handlers of every name whose stored shortcut is the given one.
// The hot-key layer calls this for each press and release.
void dispatch(const Shortcut &shortcut, EventType type);

} // namespace GlobalShortcuts

Q_DECLARE_METATYPE(GlobalShortcuts::Name)
