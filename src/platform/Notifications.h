// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <functional>

namespace platform {

// Messages in the desktop's notification area. Main thread; every call
// returns at once.
class Notifications {
public:
    // What happens to a posted notification later, on the main thread.
    struct Handlers {
        // The user clicked the notification itself (its default action).
        std::function<void()> clicked;
        // It could not be shown; the reason, for a line of the application.
        std::function<void(const QString &reason)> failed;
    };

    virtual ~Notifications() = default;

    // A message and nothing more; a failure is logged.
    virtual void notify(const QString &title, const QString &body) const = 0;

    // A notification that answers a click and stays until the desktop or
    // withdraw() closes it. Posting again under the same tag replaces the
    // one shown before, so a tag is never on screen twice.
    virtual void post(const QString &tag, const QString &title, const QString &body,
                      Handlers handlers) = 0;
    // Closes the notification posted under tag, if it is still shown (or
    // still on its way to the desktop).
    virtual void withdraw(const QString &tag) = 0;
};

} // namespace platform
