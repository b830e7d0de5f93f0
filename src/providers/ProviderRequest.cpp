#include "ProviderRequest.h"

#include "Network.h"

#include <QJsonDocument>
#include <QJsonParseError>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <memory>

namespace ProviderRequest {

namespace {

QString transportErrorText(const QNetworkReply &reply, const QString &secret)
{
    QString text;
    switch (reply.error()) {
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

std::optional<QUrl> endpointURL(const QString &text)
{
    const QUrl url(text, QUrl::StrictMode);
    if (!url.isValid() || url.scheme() != QLatin1String("https") || url.host().isEmpty()) {
        return std::nullopt;
    }
    return url;
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
    QNetworkReply *reply =
        verb == "GET" ? manager.get(request) : manager.sendCustomRequest(request, verb, body);
    QObject::connect(reply, &QNetworkReply::finished, reply, [reply, promise, secret]() {
        reply->deleteLater();
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

QFuture<QString> send(const std::optional<Prepared> &prepared,
                      QString (*extract)(const QByteArray &body))
{
    if (!prepared) {
        return failedFuture<QString>(APIError::invalidURL());
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
