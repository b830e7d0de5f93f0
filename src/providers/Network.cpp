// SPDX-License-Identifier: GPL-3.0-or-later
#include "Network.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QNetworkAccessManager>
#include <QPointer>
#include <QPromise>
#include <QSslCertificate>
#include <QThreadPool>
#include <memory>

Q_LOGGING_CATEGORY(lcNetwork, "vellumo.network")

namespace Network {

QNetworkAccessManager &accessManager()
{
    static QPointer<QNetworkAccessManager> manager;
    if (!manager) {
        // Owned by the application object, and deleted while that still
        // exists: its connection thread closes TLS sockets on the way out,
        // which needs the application (Qt warns otherwise, at every exit).
        manager = new QNetworkAccessManager(QCoreApplication::instance());
        manager->setTransferTimeout(int(transferTimeout.count()));
        manager->setRedirectPolicy(QNetworkRequest::ManualRedirectPolicy);
        qAddPostRoutine([]() { delete manager.data(); });
    }
    return *manager;
}

namespace {

// Loaded once, from whichever thread asks first (a function-local static is
// made once, the other threads wait for it).
const QList<QSslCertificate> &systemCertificates()
{
    static const QList<QSslCertificate> system = QSslConfiguration::systemCaCertificates();
    return system;
}

} // namespace

QFuture<void> preloadInBackground()
{
    auto promise = std::make_shared<QPromise<void>>();
    QFuture<void> future = promise->future();
    promise->start();
    QThreadPool::globalInstance()->start([promise] {
        (void)systemCertificates();
        (void)QSslConfiguration::defaultConfiguration();
        promise->finish();
    });
    return future;
}

QSslConfiguration tlsConfiguration()
{
    const QList<QSslCertificate> &system = systemCertificates();
    static QString cachedPath;
    static QDateTime cachedTime;
    static QList<QSslCertificate> extra;

    const QString path = qEnvironmentVariable("VELLUMO_CA_FILE");
    const QDateTime modified = path.isEmpty() ? QDateTime() : QFileInfo(path).lastModified();
    if (path != cachedPath || modified != cachedTime) {
        cachedPath = path;
        cachedTime = modified;
        extra.clear();
        if (!path.isEmpty()) {
            extra = QSslCertificate::fromPath(path, QSsl::Pem);
            if (extra.isEmpty()) {
                qCWarning(lcNetwork) << "VELLUMO_CA_FILE names" << path
                                     << "which holds no PEM certificate; it is ignored";
            }
        }
    }

    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setCaCertificates(system + extra);
    configuration.setPeerVerifyMode(QSslSocket::VerifyPeer);
    return configuration;
}

} // namespace Network
