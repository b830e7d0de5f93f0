// SPDX-License-Identifier: GPL-3.0-or-later
#include "ApplicationService.h"

#include <QDBusConnectionInterface>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusReply>
#include <QTimer>

const QString ApplicationService::serviceName = QStringLiteral("com.vellumo.Vellumo");
const QString ApplicationService::objectPath = QStringLiteral("/com/vellumo/Vellumo");
const QStringList ApplicationService::actionNames{QStringLiteral("settings"),
                                                  QStringLiteral("onboarding"),
                                                  QStringLiteral("popup"), QStringLiteral("quit")};

namespace {

const QString applicationInterface = QStringLiteral("org.freedesktop.Application");
// Long enough for a busy instance, short enough for a key binding.
constexpr int askTimeoutMs = 5000;

} // namespace

ApplicationService::ApplicationService(QDBusConnection bus, QObject *parent)
    : QObject(parent), m_bus(std::move(bus))
{}

ApplicationService::~ApplicationService()
{
    if (m_owned) {
        m_bus.unregisterService(serviceName);
    }
    if (m_exported) {
        m_bus.unregisterObject(objectPath);
    }
}

ApplicationService::Claim ApplicationService::claim()
{
    if (!m_bus.isConnected() || !m_bus.interface()) {
        return Claim::noBus;
    }
    // The object first, so a caller that sees the name finds it.
    m_exported = m_bus.registerObject(objectPath, this, QDBusConnection::ExportScriptableSlots);
    if (!m_exported) {
        return Claim::noBus;
    }
    const QDBusReply<QDBusConnectionInterface::RegisterServiceReply> reply =
        m_bus.interface()->registerService(serviceName, QDBusConnectionInterface::DontQueueService,
                                           QDBusConnectionInterface::DontAllowReplacement);
    if (!reply.isValid()) {
        return Claim::noBus;
    }
    if (reply.value() != QDBusConnectionInterface::ServiceRegistered) {
        m_bus.unregisterObject(objectPath);
        m_exported = false;
        return Claim::taken;
    }
    m_owned = true;
    return Claim::owned;
}

void ApplicationService::setAction(const QString &name, const std::function<void()> &action)
{
    m_actions.insert(name, action);
}

QString ApplicationService::ask(const QString &action, const QDBusConnection &bus)
{
    if (!bus.isConnected()) {
        return QStringLiteral("there is no D-Bus session bus");
    }
    QDBusMessage call = QDBusMessage::createMethodCall(
        serviceName, objectPath, applicationInterface,
        action.isEmpty() ? QStringLiteral("Activate") : QStringLiteral("ActivateAction"));
    if (!action.isEmpty()) {
        call << action << QVariantList();
    }
    call << QVariantMap();
    // Vellumo is started by the user or at login, never by the bus.
    call.setAutoStartService(false);
    const QDBusMessage answer = bus.call(call, QDBus::Block, askTimeoutMs);
    if (answer.type() == QDBusMessage::ErrorMessage) {
        if (answer.errorName() == QLatin1String("org.freedesktop.DBus.Error.ServiceUnknown") ||
            answer.errorName() == QLatin1String("org.freedesktop.DBus.Error.NameHasNoOwner")) {
            return QStringLiteral("Vellumo is not running");
        }
        return answer.errorMessage();
    }
    return {};
}

bool ApplicationService::run(const QString &name)
{
    const std::function<void()> action = m_actions.value(name);
    if (!action) {
        if (calledFromDBus()) {
            sendErrorReply(QDBusError::InvalidArgs,
                           QStringLiteral("Vellumo has no action \"%1\"; it has %2.")
                               .arg(name, actionNames.join(QStringLiteral(", "))));
        }
        return false;
    }
    // After the reply: an action may open a window or end the process, and
    // the caller should not wait for either.
    QTimer::singleShot(0, this, [this, name] {
        const std::function<void()> later = m_actions.value(name);
        if (later) {
            later();
        }
    });
    return true;
}

void ApplicationService::Activate(const QVariantMap & /*platformData*/)
{
    run(QStringLiteral("settings"));
}

void ApplicationService::ActivateAction(const QString &actionName,
                                        const QVariantList & /*parameter*/,
                                        const QVariantMap & /*platformData*/)
{
    run(actionName);
}

void ApplicationService::Open(const QStringList & /*uris*/, const QVariantMap & /*platformData*/)
{
    // Vellumo opens no files: opening it means its settings.
    run(QStringLiteral("settings"));
}
