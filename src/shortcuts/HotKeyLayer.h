// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "GlobalShortcuts.h"
#include "HotKeys.h"

#include <QHash>
#include <QString>
#include <functional>
#include <memory>

namespace GlobalShortcuts {

// The combination a shortcut stands for on the desktop.
platform::HotKey hotKeyFor(const Shortcut &shortcut);

// The hot keys handed to the platform, one record per registered shortcut,
// each under an id that is never reused.
class HotKeyLayer {
public:
    using Callback = std::function<void(const Shortcut &)>;

    static HotKeyLayer &shared();

    // The desktop's backend, which the application sets at its start;
    // without one every registration is refused.
    void setBackend(std::unique_ptr<platform::HotKeyBackend> backend);
    platform::HotKeyBackend *backend() const { return m_backend.get(); }

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
    struct Record {
        Shortcut shortcut;
        int hotKeyId = 0;
        bool grabbed = false;
        Callback onKeyDown;
        Callback onKeyUp;
    };

    QString grab(const Record &record);
    void lost(int hotKeyId, const QString &status) const;

    std::unique_ptr<platform::HotKeyBackend> m_backend;
    QHash<int, Record> m_hotKeys;
    int m_lastId = 0;
    bool m_enabled = true;
};

} // namespace GlobalShortcuts
