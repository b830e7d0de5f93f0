// SPDX-License-Identifier: GPL-3.0-or-later
#include "SecretService.h"

#include "SecretWire.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QList>
#include <mutex>

namespace SecretService {

namespace {

const QString serviceName = QStringLiteral("org.freedesktop.secrets");
const QString servicePath = QStringLiteral("/org/freedesktop/secrets");
const QString serviceInterface = QStringLiteral("org.freedesktop.Secret.Service");
const QString collectionInterface = QStringLiteral("org.freedesktop.Secret.Collection");
const QString itemInterface = QStringLiteral("org.freedesktop.Secret.Item");
const QString noPrompt = QStringLiteral("/");

void registerTypes()
{
    static std::once_flag once;
    std::call_once(once, [] {
        qDBusRegisterMetaType<SecretWire>();
        qDBusRegisterMetaType<QMap<QString, QString>>();
        qDBusRegisterMetaType<QList<QDBusObjectPath>>();
    });
}

Result failure(Status status, const QString &detail = {})
{
    return Result{status, detail, {}};
}

Status statusOf(const QDBusMessage &reply)
{
    const QString name = reply.errorName();
    if (name == QLatin1String("org.freedesktop.DBus.Error.ServiceUnknown") ||
        name == QLatin1String("org.freedesktop.DBus.Error.NameHasNoOwner") ||
        name == QLatin1String("org.freedesktop.DBus.Error.Disconnected") ||
        name == QLatin1String("org.freedesktop.DBus.Error.NoServer") ||
        name.startsWith(QLatin1String("org.freedesktop.DBus.Error.Spawn"))) {
        return Status::noService;
    }
    if (name == QLatin1String("org.freedesktop.DBus.Error.NoReply") ||
        name == QLatin1String("org.freedesktop.DBus.Error.Timeout") ||
        name == QLatin1String("org.freedesktop.DBus.Error.TimedOut")) {
        return Status::notAnswering;
    }
    if (name == QLatin1String("org.freedesktop.Secret.Error.IsLocked")) {
        return Status::locked;
    }
    if (name == QLatin1String("org.freedesktop.Secret.Error.NoSuchObject") ||
        name == QLatin1String("org.freedesktop.DBus.Error.UnknownObject")) {
        return Status::notFound;
    }
    return Status::failed;
}

// One blocking call; on failure, result holds the mapped status.
class Call {
public:
    Call(const QString &path, const QString &interface, const QString &method,
         const QVariantList &arguments = {})
    {
        QDBusConnection bus = QDBusConnection::sessionBus();
        if (!bus.isConnected()) {
            m_result = failure(Status::noService, QStringLiteral("no session bus"));
            return;
        }
        QDBusMessage message = QDBusMessage::createMethodCall(serviceName, path, interface, method);
        message.setArguments(arguments);
        // Never let the service start an unlock prompt on its own.
        message.setInteractiveAuthorizationAllowed(false);
        m_reply = bus.call(message, QDBus::Block, int(callTimeout.count()));
        if (m_reply.type() != QDBusMessage::ReplyMessage) {
            m_result = failure(statusOf(m_reply),
                               m_reply.errorName() + QStringLiteral(": ") + m_reply.errorMessage());
        }
    }

    bool ok() const { return m_result.status == Status::ok; }
    const Result &result() const { return m_result; }
    QVariant argument(int index) const { return m_reply.arguments().value(index); }

private:
    QDBusMessage m_reply;
    Result m_result{Status::ok, {}, {}};
};

QList<QDBusObjectPath> pathList(const QVariant &value)
{
    return qdbus_cast<QList<QDBusObjectPath>>(value);
}

QDBusObjectPath objectPath(const QVariant &value)
{
    return qdbus_cast<QDBusObjectPath>(value);
}

struct Search {
    Result result{Status::ok, {}, {}};
    QList<QDBusObjectPath> unlocked;
    QList<QDBusObjectPath> locked;
};

Search search(const Attributes &attributes)
{
    registerTypes();
    Search found;
    const Call call(servicePath, serviceInterface, QStringLiteral("SearchItems"),
                    {QVariant::fromValue(attributes)});
    if (!call.ok()) {
        found.result = call.result();
        return found;
    }
    found.unlocked = pathList(call.argument(0));
    found.locked = pathList(call.argument(1));
    return found;
}

// A session for secrets in the clear: the bus is local to the machine and
// the user, as with every Secret Service client that does not negotiate.
struct Session {
    Result result{Status::ok, {}, {}};
    QDBusObjectPath path;

    Session()
    {
        const Call call(servicePath, serviceInterface, QStringLiteral("OpenSession"),
                        {QStringLiteral("plain"), QVariant::fromValue(QDBusVariant(QString()))});
        if (!call.ok()) {
            result = call.result();
            return;
        }
        path = objectPath(call.argument(1));
    }
    ~Session()
    {
        if (!path.path().isEmpty()) {
            const Call closed(path.path(), QStringLiteral("org.freedesktop.Secret.Session"),
                              QStringLiteral("Close"));
        }
    }
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;
};

// A prompt the service asks for (to unlock) is dismissed: nothing here shows
// one, and a locked keyring is the user's to open.
Result refusePrompt(const QDBusObjectPath &prompt)
{
    const Call dismissed(prompt.path(), QStringLiteral("org.freedesktop.Secret.Prompt"),
                         QStringLiteral("Dismiss"));
    return failure(Status::locked, QStringLiteral("the keyring asked to be unlocked"));
}

} // namespace

Result find(const Attributes &attributes)
{
    const Search found = search(attributes);
    if (found.result.status != Status::ok) {
        return found.result;
    }
    if (found.unlocked.isEmpty()) {
        return failure(found.locked.isEmpty() ? Status::notFound : Status::locked);
    }
    const Session session;
    if (session.result.status != Status::ok) {
        return session.result;
    }
    const Call call(found.unlocked.first().path(), itemInterface, QStringLiteral("GetSecret"),
                    {QVariant::fromValue(session.path)});
    if (!call.ok()) {
        return call.result();
    }
    SecretWire secret;
    call.argument(0).value<QDBusArgument>() >> secret;
    return Result{Status::ok, {}, secret.value};
}

Result store(const QString &label, const Attributes &attributes, const QByteArray &secret)
{
    registerTypes();
    const Call alias(servicePath, serviceInterface, QStringLiteral("ReadAlias"),
                     {QStringLiteral("default")});
    if (!alias.ok()) {
        return alias.result();
    }
    const QString collection = objectPath(alias.argument(0)).path();
    if (collection.isEmpty() || collection == noPrompt) {
        return failure(Status::failed, QStringLiteral("the Secret Service has no default keyring"));
    }
    const Call locked(collection, QStringLiteral("org.freedesktop.DBus.Properties"),
                      QStringLiteral("Get"), {collectionInterface, QStringLiteral("Locked")});
    if (!locked.ok()) {
        return locked.result();
    }
    if (qdbus_cast<QDBusVariant>(locked.argument(0)).variant().toBool()) {
        return failure(Status::locked);
    }
    const Session session;
    if (session.result.status != Status::ok) {
        return session.result;
    }
    const QVariantMap properties{
        {itemInterface + QStringLiteral(".Label"), label},
        {itemInterface + QStringLiteral(".Attributes"), QVariant::fromValue(attributes)},
    };
    const SecretWire wire{session.path, {}, secret, QStringLiteral("text/plain")};
    const Call create(collection, collectionInterface, QStringLiteral("CreateItem"),
                      {properties, QVariant::fromValue(wire), true});
    if (!create.ok()) {
        return create.result();
    }
    const QDBusObjectPath prompt = objectPath(create.argument(1));
    if (prompt.path() != noPrompt) {
        return refusePrompt(prompt);
    }
    return Result{Status::ok, {}, {}};
}

Result remove(const Attributes &attributes)
{
    const Search found = search(attributes);
    if (found.result.status != Status::ok) {
        return found.result;
    }
    if (!found.locked.isEmpty()) {
        return failure(Status::locked);
    }
    for (const QDBusObjectPath &item : found.unlocked) {
        const Call call(item.path(), itemInterface, QStringLiteral("Delete"));
        if (!call.ok() && call.result().status != Status::notFound) {
            return call.result();
        }
        const QDBusObjectPath prompt = call.ok() ? objectPath(call.argument(0)) : QDBusObjectPath();
        if (!prompt.path().isEmpty() && prompt.path() != noPrompt) {
            return refusePrompt(prompt);
        }
    }
    return Result{Status::ok, {}, {}};
}

QString sentence(const Result &result)
{
    switch (result.status) {
    case Status::ok:
    case Status::notFound:
        return {};
    case Status::locked:
        return QStringLiteral("The keyring is locked; unlock it (for example by logging in again "
                              "or with the desktop's password manager) and try again.");
    case Status::noService:
        return QStringLiteral("No keyring is running: the desktop's Secret Service "
                              "(gnome-keyring, KWallet or KeePassXC) is needed for API keys.");
    case Status::notAnswering:
        return QStringLiteral("The keyring is not answering (no reply within %1 ms); try again "
                              "once it responds.")
            .arg(callTimeout.count());
    case Status::failed:
        return QStringLiteral("The keyring failed: %1").arg(result.detail);
    }
    return {};
}

} // namespace SecretService
