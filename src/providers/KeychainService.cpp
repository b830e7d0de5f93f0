// SPDX-License-Identifier: GPL-3.0-or-later
#include "KeychainService.h"

#include "APIError.h"
#include "Console.h"
#include "SecretService.h"

#include <QPromise>
#include <QStringDecoder>
#include <QThreadPool>

namespace {

SecretService::Attributes attributes(AIVendor vendor)
{
    return {{QStringLiteral("service"), KeychainService::service(vendor)},
            {QStringLiteral("account"), KeychainService::account}};
}

// How versions before this one addressed the same item.
SecretService::Attributes earlierAttributes(AIVendor vendor)
{
    return {{QStringLiteral("server"), KeychainService::service(vendor)},
            {QStringLiteral("user"), KeychainService::account}};
}

QString label(AIVendor vendor)
{
    return QStringLiteral("Vellumo API key for ") + AIVendors::displayName(vendor);
}

void reportFailure(const char *operation, AIVendor vendor, const QString &why)
{
    Console::printError(QStringLiteral("Failed to %1 API key for %2: %3")
                            .arg(QLatin1String(operation), AIVendors::displayName(vendor), why));
}

// An item of an earlier version is moved to the documented attributes the
// first time it is read; the key is returned even if the move fails.
SecretService::Result moveEarlierItem(AIVendor vendor)
{
    const SecretService::Result earlier = SecretService::find(earlierAttributes(vendor));
    if (earlier.status != SecretService::Status::ok) {
        return earlier;
    }
    if (SecretService::store(label(vendor), attributes(vendor), earlier.secret).status ==
        SecretService::Status::ok) {
        SecretService::remove(earlierAttributes(vendor));
    }
    return earlier;
}

} // namespace

KeychainService &KeychainService::shared()
{
    // Never destroyed: its worker may sit in a call to a keyring that does
    // not answer when the process ends.
    static KeychainService *instance = new KeychainService();
    return *instance;
}

KeychainService::KeychainService() : m_worker(new QThreadPool(this))
{
    m_worker->setMaxThreadCount(1);
    m_worker->setObjectName(QStringLiteral("vellumo-keychain"));
}

QString KeychainService::service(AIVendor vendor)
{
    return serviceName + u'.' + AIVendors::rawValue(vendor);
}

bool KeychainService::isAcceptableKey(const QString &key)
{
    for (const QChar c : key) {
        const QChar::Category category = c.category();
        if (category == QChar::Other_Control || category == QChar::Separator_Line ||
            category == QChar::Separator_Paragraph) {
            return false;
        }
    }
    return true;
}

KeychainService::Presence KeychainService::presence(AIVendor vendor) const
{
    const std::lock_guard lock(m_mutex);
    return m_presence.value(vendor, Presence::unknown);
}

QString KeychainService::problem() const
{
    const std::lock_guard lock(m_mutex);
    return m_problem;
}

void KeychainService::setOutcome(std::optional<AIVendor> vendor, Presence presence,
                                 const QString &problem)
{
    {
        const std::lock_guard lock(m_mutex);
        if (!problem.isEmpty()) {
            m_problem = problem;
            for (AIVendor each : AIVendors::allCases()) {
                m_presence.insert(each, Presence::unavailable);
            }
        } else {
            if (!m_problem.isEmpty()) {
                // The others were not read since the store answered again.
                m_problem.clear();
                for (AIVendor each : AIVendors::allCases()) {
                    m_presence.insert(each, Presence::unknown);
                }
            }
            if (vendor) {
                m_presence.insert(*vendor, presence);
            }
        }
    }
    announce();
}

void KeychainService::announce()
{
    QMetaObject::invokeMethod(this, &KeychainService::presenceChanged, Qt::QueuedConnection);
}

KeychainService::KeyRead KeychainService::readAPIKey(AIVendor vendor)
{
    SecretService::Result result = SecretService::find(attributes(vendor));
    if (result.status == SecretService::Status::notFound) {
        result = moveEarlierItem(vendor);
    }
    switch (result.status) {
    case SecretService::Status::ok: {
        QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
        const QString text = decoder.decode(result.secret);
        if (decoder.hasError()) {
            reportFailure("retrieve", vendor, QStringLiteral("the stored key is not UTF-8 text"));
            setOutcome(vendor, Presence::missing, {});
            return {};
        }
        setOutcome(vendor, text.trimmed().isEmpty() ? Presence::missing : Presence::stored, {});
        return KeyRead{text, {}};
    }
    case SecretService::Status::notFound:
        setOutcome(vendor, Presence::missing, {});
        return {};
    default: {
        const QString why = SecretService::sentence(result);
        reportFailure("retrieve", vendor, why);
        setOutcome(vendor, Presence::unavailable, why);
        return KeyRead{std::nullopt, why};
    }
    }
}

std::optional<QString> KeychainService::retrieveAPIKey(AIVendor vendor)
{
    return readAPIKey(vendor).key;
}

bool KeychainService::storeAPIKey(const QString &key, AIVendor vendor)
{
    if (!isAcceptableKey(key)) {
        reportFailure("store", vendor,
                      QStringLiteral("the key holds control characters (a line break, a tab...)"));
        return false;
    }
    const SecretService::Result result =
        SecretService::store(label(vendor), attributes(vendor), key.toUtf8());
    if (result.status != SecretService::Status::ok) {
        const QString why = SecretService::sentence(result);
        reportFailure("store", vendor, why);
        setOutcome(vendor, Presence::unavailable, why);
        return false;
    }
    // An item of an earlier version would come back on the next read.
    SecretService::remove(earlierAttributes(vendor));
    setOutcome(vendor, key.trimmed().isEmpty() ? Presence::missing : Presence::stored, {});
    return true;
}

bool KeychainService::deleteAPIKey(AIVendor vendor)
{
    SecretService::Result result = SecretService::remove(attributes(vendor));
    if (result.status == SecretService::Status::ok) {
        result = SecretService::remove(earlierAttributes(vendor));
    }
    if (result.status != SecretService::Status::ok) {
        const QString why = SecretService::sentence(result);
        reportFailure("delete", vendor, why);
        setOutcome(vendor, Presence::unavailable, why);
        return false;
    }
    setOutcome(vendor, Presence::missing, {});
    return true;
}

void KeychainService::readAllPresence()
{
    for (AIVendor vendor : AIVendors::allCases()) {
        if (readAPIKey(vendor).failed()) {
            return;
        }
    }
}

void KeychainService::refreshPresence()
{
    {
        const std::lock_guard lock(m_mutex);
        if (m_refreshQueued) {
            return;
        }
        m_refreshQueued = true;
    }
    m_worker->start([this] {
        {
            const std::lock_guard lock(m_mutex);
            m_refreshQueued = false;
        }
        readAllPresence();
    });
}

bool KeychainService::refreshPresenceNow()
{
    readAllPresence();
    return problem().isEmpty();
}

QFuture<QString> KeychainService::keyForRequest(AIVendor vendor)
{
    auto promise = std::make_shared<QPromise<QString>>();
    QFuture<QString> future = promise->future();
    promise->start();
    m_worker->start([this, vendor, promise] {
        const KeyRead read = readAPIKey(vendor);
        if (read.failed()) {
            promise->setException(KeyStoreError(read.problem));
        } else {
            promise->addResult(read.key.value_or(QString()));
        }
        promise->finish();
    });
    return future;
}

QFuture<bool> KeychainService::setAPIKeyInBackground(const QString &key, AIVendor vendor)
{
    auto promise = std::make_shared<QPromise<bool>>();
    QFuture<bool> future = promise->future();
    promise->start();
    m_worker->start([this, key, vendor, promise] {
        promise->addResult(key.isEmpty() ? deleteAPIKey(vendor) : storeAPIKey(key, vendor));
        promise->finish();
    });
    return future;
}
