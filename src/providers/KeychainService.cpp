#include "KeychainService.h"

#include <QCoreApplication>
#include <QStringDecoder>
#include <QThread>
#include <future>
#include <iostream>
#include <qt6keychain/keychain.h>

namespace {

void printLine(const QString &line)
{
    std::cout << line.toStdString() << std::endl;
}

QString statusText(const KeychainService::Outcome &outcome)
{
    QString text = QString::number(outcome.code);
    if (!outcome.errorText.isEmpty()) {
        text += QStringLiteral(" (") + outcome.errorText + u')';
    }
    return text;
}

} // namespace

KeychainService &KeychainService::shared()
{
    static KeychainService instance;
    return instance;
}

KeychainService::KeychainService() : m_thread(std::make_unique<QThread>())
{
    m_thread->setObjectName(QStringLiteral("vellumo-keychain"));
    m_context = new QObject();
    m_context->moveToThread(m_thread.get());
    QObject::connect(m_thread.get(), &QThread::finished, m_context, &QObject::deleteLater);
    m_thread->start();
}

KeychainService::~KeychainService()
{
    m_thread->quit();
    // A job stuck in a prompt must not keep the process from ending.
    if (!m_thread->wait(std::chrono::milliseconds(500))) {
        m_thread->terminate();
        m_thread->wait();
    }
}

QString KeychainService::service(AIVendor vendor)
{
    return serviceName + u'.' + AIVendors::rawValue(vendor);
}

KeychainService::Outcome KeychainService::run(Operation operation, AIVendor vendor,
                                              const QByteArray &data)
{
    auto promise = std::make_shared<std::promise<Outcome>>();
    std::future<Outcome> future = promise->get_future();
    const QString serviceText = service(vendor);

    QMetaObject::invokeMethod(m_context, [operation, serviceText, data, promise]() {
        QKeychain::Job *job = nullptr;
        switch (operation) {
        case Operation::Read:
            job = new QKeychain::ReadPasswordJob(serviceText);
            break;
        case Operation::Write: {
            auto *write = new QKeychain::WritePasswordJob(serviceText);
            // Stored as text, so the key reads back as it is with the desktop's
            // own secret tools too.
            write->setTextData(QString::fromUtf8(data));
            job = write;
            break;
        }
        case Operation::Delete:
            job = new QKeychain::DeletePasswordJob(serviceText);
            break;
        }
        job->setInsecureFallback(false);
        job->setAutoDelete(true);
        job->setKey(KeychainService::account);
        QObject::connect(job, &QKeychain::Job::finished, job, [promise](QKeychain::Job *done) {
            Outcome outcome;
            outcome.code = static_cast<int>(done->error());
            if (done->error() != QKeychain::NoError) {
                outcome.errorText = done->errorString();
            }
            if (auto *read = qobject_cast<QKeychain::ReadPasswordJob *>(done)) {
                outcome.data = read->binaryData();
            }
            promise->set_value(outcome);
        });
        job->start();
    });

    if (future.wait_for(callTimeout) != std::future_status::ready) {
        return Outcome{QKeychain::OtherError,
                       QStringLiteral("no answer from the Secret Service within %1 ms")
                           .arg(callTimeout.count()),
                       {}};
    }
    return future.get();
}

bool KeychainService::storeAPIKey(const QString &key, AIVendor vendor)
{
    const QByteArray data = key.toUtf8();
    // Storing is always delete, then add; the delete's outcome does not matter.
    run(Operation::Delete, vendor);
    const Outcome outcome = run(Operation::Write, vendor, data);
    if (outcome.code == QKeychain::NoError) {
        return true;
    }
    printLine(QStringLiteral("Failed to store API key for ") + AIVendors::displayName(vendor) +
              QStringLiteral(": ") + statusText(outcome));
    return false;
}

std::optional<QString> KeychainService::retrieveAPIKey(AIVendor vendor)
{
    Outcome outcome = run(Operation::Read, vendor);
    if (outcome.code == QKeychain::EntryNotFound) {
        return std::nullopt;
    }
    if (outcome.code == QKeychain::NoError) {
        QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
        QString text = decoder.decode(outcome.data);
        if (!decoder.hasError()) {
            return text;
        }
        outcome.errorText = QStringLiteral("the stored key is not UTF-8 text");
    }
    printLine(QStringLiteral("Failed to retrieve API key for ") + AIVendors::displayName(vendor) +
              QStringLiteral(": ") + statusText(outcome));
    return std::nullopt;
}

bool KeychainService::deleteAPIKey(AIVendor vendor)
{
    const Outcome outcome = run(Operation::Delete, vendor);
    if (outcome.code == QKeychain::NoError || outcome.code == QKeychain::EntryNotFound) {
        return true;
    }
    printLine(QStringLiteral("Failed to delete API key for ") + AIVendors::displayName(vendor) +
              QStringLiteral(": ") + statusText(outcome));
    return false;
}
