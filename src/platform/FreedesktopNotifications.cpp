// SPDX-License-Identifier: GPL-3.0-or-later
#include "FreedesktopNotifications.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QVariantMap>

Q_LOGGING_CATEGORY(lcNotifications, "vellumo.notifications", QtWarningMsg)

namespace platform {

namespace {

const QString service = QStringLiteral("org.freedesktop.Notifications");
const QString path = QStringLiteral("/org/freedesktop/Notifications");
const QString interface = QStringLiteral("org.freedesktop.Notifications");
// The action a daemon reports when the notification itself is clicked.
const QString defaultAction = QStringLiteral("default");

QDBusMessage notifyCall(uint replaces, const QString &title, const QString &body,
                        const QStringList &actions, const QVariantMap &hints, int expiry)
{
    QDBusMessage call =
        QDBusMessage::createMethodCall(service, path, interface, QStringLiteral("Notify"));
    // app_name, replaces_id, app_icon, summary, body, actions, hints, expiry.
    call << QStringLiteral("Vellumo") << replaces << QString() << title << body << actions << hints
         << expiry;
    return call;
}

} // namespace

NotificationSignals::NotificationSignals(FreedesktopNotifications &owner) : m_owner(owner) {}

void NotificationSignals::actionInvoked(uint id, const QString &action)
{
    m_owner.actionInvoked(id, action);
}

void NotificationSignals::notificationClosed(uint id, uint /*reason*/)
{
    m_owner.closed(id);
}

FreedesktopNotifications::FreedesktopNotifications(QDBusConnection bus)
    : m_bus(std::move(bus)), m_calls(std::make_unique<QObject>()),
      m_signals(std::make_unique<NotificationSignals>(*this))
{
    m_bus.connect(service, path, interface, QStringLiteral("ActionInvoked"), m_signals.get(),
                  SLOT(actionInvoked(uint, QString)));
    m_bus.connect(service, path, interface, QStringLiteral("NotificationClosed"), m_signals.get(),
                  SLOT(notificationClosed(uint, uint)));
}

FreedesktopNotifications::~FreedesktopNotifications() = default;

void FreedesktopNotifications::notify(const QString &title, const QString &body) const
{
    auto *watcher = new QDBusPendingCallWatcher(
        m_bus.asyncCall(notifyCall(0, title, body, {}, {}, -1)), m_calls.get());
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

void FreedesktopNotifications::post(const QString &tag, const QString &title, const QString &body,
                                    Handlers handlers)
{
    const std::shared_ptr<Posted> before = m_posted.value(tag);
    const uint replaces = before ? before->id : 0;
    if (before && replaces == 0) {
        // Still on its way: closed once its id is known.
        before->withdrawn = true;
    }
    auto posted = std::make_shared<Posted>();
    posted->handlers = std::move(handlers);
    m_posted.insert(tag, posted);

    // The desktop entry lets the daemon show the application's name and
    // icon; an expiry of 0 keeps the notification until the user or
    // withdraw() closes it.
    const QVariantMap hints{
        {QStringLiteral("desktop-entry"), QStringLiteral("com.vellumo.Vellumo")}};
    auto *watcher = new QDBusPendingCallWatcher(
        m_bus.asyncCall(notifyCall(replaces, title, body, {defaultAction, title}, hints, 0)),
        m_calls.get());
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher,
                     [this, tag, posted](QDBusPendingCallWatcher *finished) {
                         finished->deleteLater();
                         const QDBusPendingReply<uint> reply = *finished;
                         if (reply.isError()) {
                             if (m_posted.value(tag) == posted) {
                                 m_posted.remove(tag);
                             }
                             if (posted->handlers.failed) {
                                 posted->handlers.failed(reply.error().message());
                             }
                             return;
                         }
                         posted->id = reply.value();
                         if (posted->withdrawn) {
                             closeOnDaemon(posted->id);
                         }
                     });
}

void FreedesktopNotifications::withdraw(const QString &tag)
{
    const std::shared_ptr<Posted> posted = m_posted.take(tag);
    if (!posted) {
        return;
    }
    if (posted->id == 0) {
        posted->withdrawn = true;
    } else {
        closeOnDaemon(posted->id);
    }
}

void FreedesktopNotifications::closeOnDaemon(uint id) const
{
    QDBusMessage call = QDBusMessage::createMethodCall(service, path, interface,
                                                       QStringLiteral("CloseNotification"));
    call << id;
    // A notification the user closed meanwhile is no failure worth a line.
    m_bus.asyncCall(call);
}

void FreedesktopNotifications::actionInvoked(uint id, const QString &action)
{
    if (id == 0 || action != defaultAction) {
        return;
    }
    for (const std::shared_ptr<Posted> &posted : std::as_const(m_posted)) {
        if (posted->id == id && !posted->withdrawn) {
            // A copy: the handler may post or withdraw, changing m_posted.
            const std::function<void()> clicked = posted->handlers.clicked;
            if (clicked) {
                clicked();
            }
            return;
        }
    }
}

void FreedesktopNotifications::closed(uint id)
{
    for (auto it = m_posted.begin(); it != m_posted.end(); ++it) {
        if (it.value()->id == id) {
            m_posted.erase(it);
            return;
        }
    }
}

} // namespace platform
