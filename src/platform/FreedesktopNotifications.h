// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Notifications.h"

#include <QDBusConnection>
#include <QHash>
#include <QLoggingCategory>
#include <QObject>
#include <memory>

Q_DECLARE_LOGGING_CATEGORY(lcNotifications)

namespace platform {

class FreedesktopNotifications;

// The daemon's signals, which QtDBus delivers to slots only.
class NotificationSignals : public QObject {
    Q_OBJECT

public:
    explicit NotificationSignals(FreedesktopNotifications &owner);

public Q_SLOTS:
    void actionInvoked(uint id, const QString &action);
    void notificationClosed(uint id, uint reason);

private:
    FreedesktopNotifications &m_owner;
};

// org.freedesktop.Notifications on the session bus, which the notification
// daemons of every freedesktop.org desktop serve. A failed notify() is
// logged; a failed post() goes to its handler.
class FreedesktopNotifications final : public Notifications {
public:
    explicit FreedesktopNotifications(QDBusConnection bus = QDBusConnection::sessionBus());
    ~FreedesktopNotifications() override;

    void notify(const QString &title, const QString &body) const override;
    void post(const QString &tag, const QString &title, const QString &body,
              Handlers handlers) override;
    void withdraw(const QString &tag) override;

private:
    struct Posted {
        Handlers handlers;
        uint id = 0;            // the daemon's, once its answer came
        bool withdrawn = false; // withdrawn before that answer
    };

    void closeOnDaemon(uint id) const;
    void actionInvoked(uint id, const QString &action);
    void closed(uint id);

    QDBusConnection m_bus;
    // Owns the watchers of the calls still in flight.
    std::unique_ptr<QObject> m_calls;
    std::unique_ptr<NotificationSignals> m_signals;
    QHash<QString, std::shared_ptr<Posted>> m_posted;

    friend class NotificationSignals;
};

} // namespace platform
