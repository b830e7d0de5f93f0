// SPDX-License-Identifier: GPL-3.0-or-later
#include "FakeLoginItem.h"

namespace platform::fake {

bool LoginItem::setEnabled(bool enabled) const
{
    if (m_failing) {
        return false;
    }
    m_enabled = enabled;
    return true;
}

} // namespace platform::fake
