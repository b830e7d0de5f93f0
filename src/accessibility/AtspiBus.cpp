// SPDX-License-Identifier: GPL-3.0-or-later
#include "AtspiBus.h"

#include "AccessibilityThread.h"

#include <QDBusConnection>
#include <QDBusObjectPath>
#include <QDBusPendingCall>
#include <QDBusVariant>
#include <QHash>

namespace AtspiBus {
namespace {

const QString connectionName = QStringLiteral("vellumo-atspi");

// The bus address comes from the session bus's org.a11y.Bus service.
QString busAddress(int timeoutMs)
{
    auto message = QDBusMessage::createMethodCall(
        QStringLiteral("org.a11y.Bus"), QStringLiteral("/org/a11y/bus"),
        QStringLiteral("org.a11y.Bus"), QStringLiteral("GetAddress"));
    const QDBusMessage reply = QDBusConnection::sessionBus().call(message, QDBus::Block, timeoutMs);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
        return {};
    }
    return reply.arguments().constFirst().toString();
}

// The connection, made on first use and made again after the bus went away.
QDBusConnection *connection(int timeoutMs)
{
    static thread_local std::optional<QDBusConnection> bus;
    if (bus && bus->isConnected()) {
        return &*bus;
    }
    if (bus) {
        bus.reset();
        QDBusConnection::disconnectFromBus(connectionName);
    }
    const QString address = busAddress(timeoutMs);
    if (address.isEmpty()) {
        return nullptr;
    }
    QDBusConnection made = QDBusConnection::connectToBus(address, connectionName);
    if (!made.isConnected()) {
        QDBusConnection::disconnectFromBus(connectionName);
        return nullptr;
    }
    bus = made;
    return &*bus;
}

Reply send(const QDBusMessage &message, int timeoutMs)
{
    Q_ASSERT(AccessibilityThread::isCurrent());
    QDBusConnection *bus = connection(timeoutMs);
    if (!bus) {
        return {AXError::APIDisabled, {}};
    }
    const QDBusMessage reply = bus->call(message, QDBus::Block, timeoutMs);
    if (reply.type() == QDBusMessage::ReplyMessage) {
        return {AXError::Success, reply.arguments()};
    }
    return {errorFor(reply.errorName()), {}};
}

} // namespace

AXError errorFor(const QString &name)
{
    static const QHash<QString, AXError> table{
        {QStringLiteral("org.freedesktop.DBus.Error.NoReply"), AXError::CannotComplete},
        {QStringLiteral("org.freedesktop.DBus.Error.Timeout"), AXError::CannotComplete},
        {QStringLiteral("org.freedesktop.DBus.Error.TimedOut"), AXError::CannotComplete},
        {QStringLiteral("org.freedesktop.DBus.Error.ServiceUnknown"), AXError::InvalidUIElement},
        {QStringLiteral("org.freedesktop.DBus.Error.NameHasNoOwner"), AXError::InvalidUIElement},
        {QStringLiteral("org.freedesktop.DBus.Error.UnknownObject"), AXError::InvalidUIElement},
        {QStringLiteral("org.freedesktop.DBus.Error.UnknownMethod"), AXError::AttributeUnsupported},
        {QStringLiteral("org.freedesktop.DBus.Error.UnknownInterface"),
         AXError::AttributeUnsupported},
        {QStringLiteral("org.freedesktop.DBus.Error.UnknownProperty"),
         AXError::AttributeUnsupported},
        {QStringLiteral("org.freedesktop.DBus.Error.InvalidArgs"), AXError::IllegalArgument},
        {QStringLiteral("org.freedesktop.DBus.Error.Disconnected"), AXError::APIDisabled},
        {QStringLiteral("org.freedesktop.DBus.Error.NoServer"), AXError::APIDisabled},
        {QStringLiteral("org.freedesktop.DBus.Error.NoNetwork"), AXError::APIDisabled},
    };
    return table.value(name, AXError::Failure);
}

Reply call(const QString &service, const QString &path, const QString &interface,
           const QString &method, const QVariantList &arguments, int timeoutMs)
{
    QDBusMessage message = QDBusMessage::createMethodCall(service, path, interface, method);
    message.setArguments(arguments);
    return send(message, timeoutMs);
}

Reply property(const QString &service, const QString &path, const QString &interface,
               const QString &name, int timeoutMs)
{
    Reply reply = call(service, path, QStringLiteral("org.freedesktop.DBus.Properties"),
                       QStringLiteral("Get"), {interface, name}, timeoutMs);
    if (!reply.failed()) {
        if (reply.arguments.isEmpty()) {
            return {AXError::NoValue, {}};
        }
        reply.arguments = {reply.arguments.constFirst().value<QDBusVariant>().variant()};
    }
    return reply;
}

int Batch::call(const QString &service, const QString &path, const QString &interface,
                const QString &method, const QVariantList &arguments)
{
    QDBusMessage message = QDBusMessage::createMethodCall(service, path, interface, method);
    message.setArguments(arguments);
    m_messages.append(message);
    m_isProperty.append(false);
    return int(m_messages.size() - 1);
}

int Batch::property(const QString &service, const QString &path, const QString &interface,
                    const QString &name)
{
    QDBusMessage message = QDBusMessage::createMethodCall(
        service, path, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    message.setArguments({interface, name});
    m_messages.append(message);
    m_isProperty.append(true);
    return int(m_messages.size() - 1);
}

void Batch::run(int timeoutMs)
{
    Q_ASSERT(AccessibilityThread::isCurrent());
    m_replies.clear();
    QDBusConnection *bus = connection(timeoutMs);
    if (!bus) {
        m_replies.fill(Reply{AXError::APIDisabled, {}}, m_messages.size());
        return;
    }
    QList<QDBusPendingCall> pending;
    pending.reserve(m_messages.size());
    for (const QDBusMessage &message : std::as_const(m_messages)) {
        pending.append(bus->asyncCall(message, timeoutMs));
    }
    for (qsizetype i = 0; i < pending.size(); ++i) {
        QDBusPendingCall &call = pending[i];
        call.waitForFinished();
        const QDBusMessage answer = call.reply();
        Reply reply;
        if (answer.type() == QDBusMessage::ReplyMessage) {
            reply.arguments = answer.arguments();
            if (m_isProperty.at(i)) {
                if (reply.arguments.isEmpty()) {
                    reply.error = AXError::NoValue;
                } else {
                    reply.arguments = {
                        reply.arguments.constFirst().value<QDBusVariant>().variant()};
                }
            }
        } else {
            reply.error = errorFor(answer.errorName());
        }
        m_replies.append(reply);
    }
}

AXResult<qint64> processIdOf(const QString &service, int timeoutMs)
{
    static thread_local QHash<QString, qint64> known;
    if (const auto it = known.constFind(service); it != known.constEnd()) {
        return AXResult<qint64>::of(*it);
    }
    const Reply reply =
        call(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
             QStringLiteral("org.freedesktop.DBus"), QStringLiteral("GetConnectionUnixProcessID"),
             {service}, timeoutMs);
    if (reply.failed()) {
        return AXResult<qint64>::failure(reply.error);
    }
    if (reply.arguments.isEmpty()) {
        return AXResult<qint64>::none();
    }
    const qint64 pid = reply.arguments.constFirst().toLongLong();
    if (service.startsWith(u':')) {
        known.insert(service, pid);
    }
    return AXResult<qint64>::of(pid);
}

bool readObjectReference(const QVariant &value, QString *service, QString *path)
{
    if (!value.canConvert<QDBusArgument>()) {
        return false;
    }
    const QDBusArgument argument = value.value<QDBusArgument>();
    if (argument.currentType() != QDBusArgument::StructureType) {
        return false;
    }
    QDBusObjectPath objectPath;
    argument.beginStructure();
    argument >> *service >> objectPath;
    argument.endStructure();
    *path = objectPath.path();
    return true;
}

QList<std::pair<QString, QString>> readObjectReferences(const QVariant &value)
{
    QList<std::pair<QString, QString>> list;
    if (!value.canConvert<QDBusArgument>()) {
        return list;
    }
    const QDBusArgument argument = value.value<QDBusArgument>();
    if (argument.currentType() != QDBusArgument::ArrayType) {
        return list;
    }
    argument.beginArray();
    while (!argument.atEnd()) {
        QString service;
        QDBusObjectPath path;
        argument.beginStructure();
        argument >> service >> path;
        argument.endStructure();
        list.append({service, path.path()});
    }
    argument.endArray();
    return list;
}

QList<uint> readUIntArray(const QVariant &value)
{
    if (value.canConvert<QDBusArgument>()) {
        QList<uint> list;
        const QDBusArgument argument = value.value<QDBusArgument>();
        argument.beginArray();
        while (!argument.atEnd()) {
            uint word = 0;
            argument >> word;
            list.append(word);
        }
        argument.endArray();
        return list;
    }
    return value.value<QList<uint>>();
}

QList<int> readIntStruct(const QVariant &value)
{
    QList<int> list;
    if (!value.canConvert<QDBusArgument>()) {
        return list;
    }
    const QDBusArgument argument = value.value<QDBusArgument>();
    if (argument.currentType() != QDBusArgument::StructureType) {
        return list;
    }
    argument.beginStructure();
    while (!argument.atEnd()) {
        int field = 0;
        argument >> field;
        list.append(field);
    }
    argument.endStructure();
    return list;
}

} // namespace AtspiBus
