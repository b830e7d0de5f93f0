// SPDX-License-Identifier: GPL-3.0-or-later
#include "ProviderRequest.h"

#include "KeychainService.h"
#include "Network.h"

#include <QHostAddress>
#include <QJsonDocument>
#include <QJsonParseError>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <cstring>
#include <memory>

namespace ProviderRequest {

namespace {

// A request body that can be read once and never rewound. Qt's HTTP layer
// sends a request again when its connection drops before an answer (up to
// three more times), which for a provider means paying for the same prompt
// up to four times; without a rewindable body it cannot, and the call fails.
class OneShotBody : public QIODevice {
public:
    explicit OneShotBody(QByteArray data) : m_data(std::move(data)) { open(QIODevice::ReadOnly); }
    bool isSequential() const override { return true; }
    bool reset() override { return false; }
    qint64 bytesAvailable() const override
    {
        return m_data.size() - m_position + QIODevice::bytesAvailable();
    }
    bool atEnd() const override { return m_position >= m_data.size(); }

protected:
    qint64 readData(char *data, qint64 maxSize) override
    {
        const qint64 count = std::min(maxSize, qint64(m_data.size()) - m_position);
        std::memcpy(data, m_data.constData() + m_position, size_t(count));
        m_position += count;
        return count;
    }
    qint64 writeData(const char *, qint64) override { return -1; }

private:
    QByteArray m_data;
    qint64 m_position = 0;
};

QString transportErrorText(const QNetworkReply &reply, const QString &secret)
{
    QString text;
    switch (reply.error()) {
    case QNetworkReply::ContentReSendError:
        text = QStringLiteral("The connection closed before an answer came; the request was "
                              "not sent again.");
        break;
    // Nothing here aborts a request, so a cancelled reply is the transfer
    // timeout at work.
    case QNetworkReply::OperationCanceledError:
    case QNetworkReply::TimeoutError:
        text = QStringLiteral("The request timed out.");
        break;
    default:
        text = reply.errorString();
    }
    // Qt's texts may quote the whole URL, and Gemini's carries the key.
    if (!secret.isEmpty()) {
        text.replace(secret, QStringLiteral("<hidden>"));
    }
    return text;
}

[[noreturn]] void decodeFailure(const QString &why)
{
    throw APIError::networkError(QStringLiteral("The response could not be read: ") + why);
}

} // namespace

bool isLoopbackHost(const QString &host)
{
    return host.compare(QLatin1String("localhost"), Qt::CaseInsensitive) == 0 ||
           QHostAddress(host).isLoopback();
}

std::optional<QUrl> endpointURL(const QString &text)
{
    const QUrl url(text, QUrl::StrictMode);
    if (!url.isValid() || url.host().isEmpty()) {
        return std::nullopt;
    }
    if (url.scheme() == QLatin1String("https") ||
        (url.scheme() == QLatin1String("http") && isLoopbackHost(url.host()))) {
        return url;
    }
    return std::nullopt;
}

APIError endpointError(const QString &text)
{
    const QUrl url(text, QUrl::StrictMode);
    if (url.isValid() && url.scheme() == QLatin1String("http") && !url.host().isEmpty() &&
        !isLoopbackHost(url.host())) {
        return APIError::insecureHost(url.host());
    }
    return APIError::invalidURL();
}

QNetworkRequest makeRequest(const QUrl &url, bool jsonBody)
{
    QNetworkRequest request(url);
    request.setTransferTimeout(int(Network::transferTimeout.count()));
    request.setSslConfiguration(Network::tlsConfiguration());
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::ManualRedirectPolicy);
    if (jsonBody) {
        request.setHeader(QNetworkRequest::ContentTypeHeader,
                          QByteArrayLiteral("application/json"));
    }
    return request;
}

QByteArray headerValue(const QString &text)
{
    QByteArray value = text.toUtf8();
    if (value.isNull()) {
        value = QByteArray("");
    }
    return value;
}

QFuture<QByteArray> perform(const QNetworkRequest &request, const QByteArray &verb,
                            const QByteArray &body, const QString &secret)
{
    auto promise = std::make_shared<QPromise<QByteArray>>();
    QFuture<QByteArray> future = promise->future();
    promise->start();

    QNetworkAccessManager &manager = Network::accessManager();
    QNetworkReply *reply = nullptr;
    if (verb == "GET") {
        reply = manager.get(request);
    } else {
        QNetworkRequest once = request;
        once.setAttribute(QNetworkRequest::DoNotBufferUploadDataAttribute, true);
        once.setHeader(QNetworkRequest::ContentLengthHeader, body.size());
        auto *device = new OneShotBody(body);
        reply = manager.sendCustomRequest(once, verb, device);
        device->setParent(reply);
    }
    auto tooLong = std::make_shared<bool>(false);
    QObject::connect(reply, &QNetworkReply::downloadProgress, reply,
                     [reply, tooLong](qint64 received, qint64 total) {
                         if (received > maxBodyBytes || total > maxBodyBytes) {
                             *tooLong = true;
                             reply->abort();
                         }
                     });
    QObject::connect(reply, &QNetworkReply::finished, reply, [reply, promise, secret, tooLong]() {
        reply->deleteLater();
        if (*tooLong) {
            promise->setException(APIError::invalidResponse());
            promise->finish();
            return;
        }
        const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
        const bool transportFailed = reply->error() != QNetworkReply::NoError &&
                                     reply->error() < QNetworkReply::ContentAccessDenied;
        if (status.isValid() && status.toInt() != 200) {
            promise->setException(APIError::httpError(status.toInt()));
        } else if (status.isValid() && !transportFailed) {
            promise->addResult(reply->readAll());
        } else if (reply->error() != QNetworkReply::NoError) {
            promise->setException(APIError::networkError(transportErrorText(*reply, secret)));
        } else {
            promise->setException(APIError::invalidResponse());
        }
        promise->finish();
    });
    return future;
}

QFuture<QString> send(const QString &key, const QString &baseURL,
                      const std::optional<Prepared> &prepared,
                      QString (*extract)(const QByteArray &body))
{
    if (!KeychainService::isAcceptableKey(key)) {
        // A line break in a header would start another header.
        return failedFuture<QString>(APIError::httpError(401));
    }
    if (!prepared) {
        return failedFuture<QString>(endpointError(baseURL));
    }
    return perform(prepared->request, QByteArrayLiteral("POST"), prepared->body, prepared->secret)
        .then(QtFuture::Launch::Sync, extract);
}

QJsonObject parseObject(const QByteArray &body)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(body, &error);
    if (error.error != QJsonParseError::NoError) {
        decodeFailure(QStringLiteral("it is not valid JSON (%1 at offset %2).")
                          .arg(error.errorString())
                          .arg(error.offset));
    }
    if (!document.isObject()) {
        decodeFailure(QStringLiteral("it is not a JSON object."));
    }
    return document.object();
}

QJsonArray requireArray(const QJsonObject &object, const QString &key)
{
    const QJsonValue value = object.value(key);
    if (value.isUndefined()) {
        decodeFailure(QStringLiteral("the key \"%1\" is missing.").arg(key));
    }
    if (!value.isArray()) {
        decodeFailure(QStringLiteral("\"%1\" is not a list.").arg(key));
    }
    return value.toArray();
}

QJsonObject requireObject(const QJsonValue &value, const QString &what)
{
    if (value.isUndefined()) {
        decodeFailure(QStringLiteral("the key \"%1\" is missing.").arg(what));
    }
    if (!value.isObject()) {
        decodeFailure(QStringLiteral("\"%1\" is not an object.").arg(what));
    }
    return value.toObject();
}

QJsonObject requireObject(const QJsonObject &object, const QString &key)
{
    return requireObject(object.value(key), key);
}

QString requireString(const QJsonObject &object, const QString &key)
{
    const QJsonValue value = object.value(key);
    if (value.isUndefined()) {
        decodeFailure(QStringLiteral("the key \"%1\" is missing.").arg(key));
    }
    if (!value.isString()) {
        decodeFailure(QStringLiteral("\"%1\" is not text.").arg(key));
    }
    return value.toString();
}

} // namespace ProviderRequest
