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
    // Whether the combination could be taken now: an empty text when it is
    // free or one this layer holds already, else the backend's reason
    // (platform::hotKeyTakenStatus when another client holds it). The
    // desktop is asked afresh each time, with a grab that is let go at once;
    // one of ours is never probed, as letting the probe go would release it.
    QString availability(const Shortcut &shortcut);

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

    // The id of availability()'s probe; registered ones count up from 1.
    static constexpr int probeId = -1;

    QString grab(const Record &record);
    void lost(int hotKeyId, const QString &status) const;

    std::unique_ptr<platform::HotKeyBackend> m_backend;
    QHash<int, Record> m_hotKeys;
    int m_lastId = 0;
    bool m_enabled = true;
};

} // namespace GlobalShortcuts
