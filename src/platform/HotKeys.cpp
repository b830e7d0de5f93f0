// SPDX-License-Identifier: GPL-3.0-or-later
#include "HotKeys.h"

namespace platform {

size_t qHash(const HotKey &hotKey, size_t seed)
{
    return qHashMulti(seed, hotKey.storedKeyCode, hotKey.keysym, hotKey.modifiers);
}

} // namespace platform
