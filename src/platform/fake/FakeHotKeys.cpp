// SPDX-License-Identifier: GPL-3.0-or-later
#include "FakeHotKeys.h"

#include <algorithm>

namespace platform::fake {

QString HotKeyBackend::grab(int hotKeyId, const HotKey &hotKey)
{
    if (refused.contains(hotKey)) {
        return hotKeyTakenStatus;
    }
    grabs.insert(hotKeyId, hotKey);
    grabCount += 1;
    return {};
}

void HotKeyBackend::ungrab(int hotKeyId)
{
    grabs.remove(hotKeyId);
}

int HotKeyBackend::grabsOf(const HotKey &hotKey) const
{
    return int(std::count(grabs.cbegin(), grabs.cend(), hotKey));
}

bool HotKeyBackend::press(const HotKey &hotKey, HotKeyEvent event)
{
    const int id = idOf(hotKey);
    if (id == 0 || !deliver) {
        return false;
    }
    deliver(id, event);
    return true;
}

std::unique_ptr<platform::HotKeyBackend> HotKeys::makeBackend() const
{
    return std::make_unique<HotKeyBackend>();
}

} // namespace platform::fake
