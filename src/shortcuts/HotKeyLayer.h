#pragma once

#include "GlobalShortcuts.h"

#include <QHash>
#include <QString>
#include <functional>
#include <memory>

namespace GlobalShortcuts {

// The platform's way of grabbing a key combination for the whole desktop.
// grab() answers an empty text on success, otherwise the status to print.
class HotKeyBackend {
public:
    virtual ~HotKeyBackend() = default;
    virtual QString grab(int hotKeyId, const Shortcut &shortcut) = 0;
    virtual void ungrab(int hotKeyId) = 0;

    // Set by the layer: the backend reports presses and releases with it.
    std::function<void(int hotKeyId, EventType type)> deliver;
};

// The hot keys handed to the platform, one record per registered shortcut,
// each under an id that is never reused.
class HotKeyLayer {
public:
    using Callback = std::function<void(const Shortcut &)>;

    static HotKeyLayer &shared();

    // The X11 backend when the application runs on X11; without one every
    // registration is refused. Tests and other platforms set their own.
    void setBackend(std::unique_ptr<HotKeyBackend> backend);
    HotKeyBackend *backend();

    // Prints "Error registering hotkey <text form>: <status>" when the
    // platform refuses; no record is kept then.
    bool registerHotKey(const Shortcut &shortcut, Callback onKeyDown, Callback onKeyUp);
    void unregisterHotKey(const Shortcut &shortcut);
    bool hasHotKey(const Shortcut &shortcut) const;

    bool isEnabled() const { return m_enabled; }
    void setEnabled(bool enabled);

    // Where the backend's deliver() ends.
    void handle(int hotKeyId, EventType type);

    static void printRegistrationError(const Shortcut &shortcut, const QString &status);

private:
    struct HotKey {
        Shortcut shortcut;
        int hotKeyId = 0;
        bool grabbed = false;
        Callback onKeyDown;
        Callback onKeyUp;
    };

    void ensureBackend();
    QString grab(const HotKey &hotKey);

    std::unique_ptr<HotKeyBackend> m_backend;
    QHash<int, HotKey> m_hotKeys;
    int m_lastId = 0;
    bool m_enabled = true;
};

} // namespace GlobalShortcuts
