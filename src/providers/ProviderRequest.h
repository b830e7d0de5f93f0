// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "APIError.h"

#include <QByteArray>
#include <QFuture>
#include <QJsonArray>
#include <QJsonObject>
#include <QNetworkRequest>
#include <QPromise>
#include <QString>
#include <QUrl>
#include <optional>

// The request rules the provider clients share: how an endpoint becomes a
// request, how one exchange runs, and how its failures become APIError values.
namespace ProviderRequest {

// The endpoint text as a URL, or none when it does not form a valid one (a
// space in the host, characters a URL cannot hold, no host at all) or may
// not be used: https is required, except for a server on this computer
// (isLoopbackHost), which may also be reached over plain http.
std::optional<QUrl> endpointURL(const QString &text);
// Why endpointURL refuses the text: insecureHost for plain http to another
// computer, invalidURL otherwise.
APIError endpointError(const QString &text);
// "localhost", or an address in 127.0.0.0/8 or ::1, as QUrl::host() gives it.
bool isLoopbackHost(const QString &host);

// A request for url with the 60-second transfer timeout, verified TLS and,
// for a body, "Content-Type: application/json".
QNetworkRequest makeRequest(const QUrl &url, bool jsonBody = true);

// A header value that Qt sends even when empty (it drops null values).
QByteArray headerValue(const QString &text);

// Runs one exchange through the shared access manager: verb "POST" with the
// body, or "GET". The request is sent at most once: a connection that drops
// fails the call, it is never sent again. Resolves with the whole body of a
// status-200 answer. Fails with httpError for any other status (the body is
// not read), networkError for a transport failure, invalidResponse when no
// HTTP answer came or the body is longer than maxBodyBytes. The secret, when
// not empty, is cut out of any transport error text.
QFuture<QByteArray> perform(const QNetworkRequest &request, const QByteArray &verb,
                            const QByteArray &body, const QString &secret);

// Reading a response body. A body that is not the expected JSON fails with
// networkError, as any decoding failure does; the texts say what was wrong.
QJsonObject parseObject(const QByteArray &body);
QJsonArray requireArray(const QJsonObject &object, const QString &key);
QJsonObject requireObject(const QJsonObject &object, const QString &key);
QJsonObject requireObject(const QJsonValue &value, const QString &what);
QString requireString(const QJsonObject &object, const QString &key);

// A built provider request: the request, its JSON body, and the key it
// carries (to keep it out of error texts).
struct Prepared {
    QNetworkRequest request;
    QByteArray body;
    QString secret;
};

// The largest response body read; a longer one fails with invalidResponse
// and nothing of it is kept. No model answers a selection with megabytes.
inline constexpr qint64 maxBodyBytes = qint64(4) * 1024 * 1024;

// The common run of a client's sendMessage: the invalid-key failure (a 401)
// for a key that cannot go into a request, endpointError(baseURL) when there
// is no request, otherwise perform a POST and hand the body to extract, whose
// throws become the call's failure.
QFuture<QString> send(const QString &key, const QString &baseURL,
                      const std::optional<Prepared> &prepared,
                      QString (*extract)(const QByteArray &body));

template <typename T> QFuture<T> failedFuture(const QException &error)
{
    QPromise<T> promise;
    QFuture<T> future = promise.future();
    promise.start();
    promise.setException(error);
    promise.finish();
    return future;
}

} // namespace ProviderRequest
