// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Notifications.h"

#include <QDBusConnection>
#include <QLoggingCategory>
#include <QObject>
#include <memory>

Q_DECLARE_LOGGING_CATEGORY(lcNotifications)

namespace platform {

// org.freedesktop.Notifications on the session bus, which the notification
// daemons of every freedesktop.org desktop serve. A failed call is logged.
class FreedesktopNotifications final : public Notifications {
public:
    explicit FreedesktopNotifications(QDBusConnection bus = QDBusConnection::sessionBus());
    ~FreedesktopNotifications() override;

    void notify(const QString &title, const QString &body) const override;

private:
    QDBusConnection m_bus;
    // Owns the watchers of the calls still in flight.
    std::unique_ptr<QObject> m_calls;
};

} // namespace platform
