// SPDX-License-Identifier: GPL-3.0-or-later
#include "FakeNotifications.h"

namespace platform::fake {

void Notifications::notify(const QString &title, const QString &body) const
{
    m_shown.append({title, body});
}

void Notifications::post(const QString &tag, const QString &title, const QString &body,
                         Handlers handlers)
{
    ++m_postCount;
    if (m_nextFailure) {
        const QString reason = *std::exchange(m_nextFailure, std::nullopt);
        m_posted.remove(tag);
        if (handlers.failed) {
            handlers.failed(reason);
        }
        return;
    }
    m_posted.insert(tag, {title, body, std::move(handlers)});
}

void Notifications::withdraw(const QString &tag)
{
    m_posted.remove(tag);
}

bool Notifications::click(const QString &tag)
{
    const auto found = m_posted.constFind(tag);
    if (found == m_posted.constEnd()) {
        return false;
    }
    // A desktop closes a notification that was clicked.
    const std::function<void()> clicked = found->handlers.clicked;
    m_posted.remove(tag);
    if (clicked) {
        clicked();
    }
    return true;
}

} // namespace platform::fake
