// SPDX-License-Identifier: GPL-3.0-or-later
#include "FreedesktopNotifications.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QVariantMap>

Q_LOGGING_CATEGORY(lcNotifications, "vellumo.notifications", QtWarningMsg)

namespace platform {

FreedesktopNotifications::FreedesktopNotifications(QDBusConnection bus)
    : m_bus(std::move(bus)), m_calls(std::make_unique<QObject>())
{}

FreedesktopNotifications::~FreedesktopNotifications() = default;

void FreedesktopNotifications::notify(const QString &title, const QString &body) const
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.Notifications"),
        QStringLiteral("/org/freedesktop/Notifications"),
        QStringLiteral("org.freedesktop.Notifications"), QStringLiteral("Notify"));
    // app_name, replaces_id, app_icon, summary, body, actions, hints, and
    // the daemon's own expiry (-1).
    call << QStringLiteral("Vellumo") << uint(0) << QString() << title << body << QStringList()
         << QVariantMap() << int(-1);
    auto *watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(call), m_calls.get());
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher,
                     [](QDBusPendingCallWatcher *finished) {
                         if (finished->isError()) {
                             qCWarning(lcNotifications).noquote()
                                 << QStringLiteral("Cannot show a notification: %1 (%2)")
                                        .arg(finished->error().message(), finished->error().name());
                         }
                         finished->deleteLater();
                     });
}

} // namespace platform
