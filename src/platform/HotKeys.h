// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QHashFunctions>
#include <QString>
#include <functional>
#include <memory>

namespace platform {

// A key combination to take for the whole desktop.
struct HotKey {
    enum Modifier : unsigned { Control = 1, Alt = 2, Shift = 4, Super = 8, Function = 16 };

    int storedKeyCode = 0; // the shortcut's stored key code, for messages
    quint32 keysym = 0;    // 0 when the stored key code names no key
    unsigned modifiers = 0;

    friend bool operator==(const HotKey &, const HotKey &) = default;
};
size_t qHash(const HotKey &hotKey, size_t seed = 0);

enum class HotKeyEvent { Pressed, Released };

// The reason grab() gives when another client holds the combination (X11's
// own name for it).
inline const QString hotKeyTakenStatus = QStringLiteral("BadAccess");

// One desktop's way of taking key combinations. Main thread.
class HotKeyBackend {
public:
    virtual ~HotKeyBackend() = default;
    // An empty text on success, otherwise the reason, as the user reads it.
    virtual QString grab(int hotKeyId, const HotKey &hotKey) = 0;
    virtual void ungrab(int hotKeyId) = 0;

    // Set by the owner: presses and releases of grabbed combinations.
    std::function<void(int hotKeyId, HotKeyEvent event)> deliver;
    // Set by the owner: a grab given up after the keyboard's mapping
    // changed, with the reason. The backend tries again at the next change.
    std::function<void(int hotKeyId, const QString &status)> lost;
};

class HotKeys {
public:
    virtual ~HotKeys() = default;
    // Main thread, once the QGuiApplication exists.
    virtual std::unique_ptr<HotKeyBackend> makeBackend() const = 0;
};

} // namespace platform
