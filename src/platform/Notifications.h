// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

class QString;

namespace platform {

// Messages in the desktop's notification area. Main thread; returns at once.
class Notifications {
public:
    virtual ~Notifications() = default;

    virtual void notify(const QString &title, const QString &body) const = 0;
};

} // namespace platform
