// SPDX-License-Identifier: GPL-3.0-or-later
#include "FakeNotifications.h"

namespace platform::fake {

void Notifications::notify(const QString &title, const QString &body) const
{
    m_shown.append({title, body});
}

} // namespace platform::fake
