// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "HotKeys.h"

#include <QHash>
#include <QSet>

namespace platform::fake {

// Keeps what is grabbed, refuses a combination as another client holding it
// would, and presses a grabbed combination.
class HotKeyBackend final : public platform::HotKeyBackend {
public:
    QString grab(int hotKeyId, const HotKey &hotKey) override;
    void ungrab(int hotKeyId) override;

    // The id under which the combination is grabbed, 0 when it is not.
    int idOf(const HotKey &hotKey) const { return grabs.key(hotKey, 0); }
    int grabsOf(const HotKey &hotKey) const;
    // False when the combination is not grabbed.
    bool press(const HotKey &hotKey, HotKeyEvent event = HotKeyEvent::Pressed);

    QHash<int, HotKey> grabs;
    QSet<HotKey> refused;
    int grabCount = 0;
};

class HotKeys final : public platform::HotKeys {
public:
    std::unique_ptr<platform::HotKeyBackend> makeBackend() const override;
};

} // namespace platform::fake
