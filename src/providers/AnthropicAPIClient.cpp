// SPDX-License-Identifier: GPL-3.0-or-later
#include "AnthropicAPIClient.h"

#include <QJsonDocument>

QFuture<QString> AnthropicAPIClient::sendMessage(const QString &prompt)
{
    const QString key = apiKey();
    return ProviderRequest::send(key, config.baseURL(), buildRequest(prompt, key),
                                 &AnthropicAPIClient::extractAnswer);
}

std::optional<ProviderRequest::Prepared> AnthropicAPIClient::buildRequest(const QString &prompt,
                                                                          const QString &key) const
{
    const auto url = ProviderRequest::endpointURL(config.baseURL() + QStringLiteral("/messages"));
    if (!url) {
        return std::nullopt;
    }
    QNetworkRequest request = ProviderRequest::makeRequest(*url);
    // Sent even when empty: the provider's refusal then comes back as usual.
    request.setRawHeader("x-api-key", ProviderRequest::headerValue(key));
    request.setRawHeader("anthropic-version", apiVersion);

    const QJsonObject content{{QStringLiteral("type"), QStringLiteral("text")},
                              {QStringLiteral("text"), prompt}};
    const QJsonObject message{{QStringLiteral("role"), QStringLiteral("user")},
                              {QStringLiteral("content"), QJsonArray{content}}};
    const QJsonObject body{
        {QStringLiteral("model"), config.selectedModel},
        {QStringLiteral("max_tokens"), 1000},
        {QStringLiteral("messages"), QJsonArray{message}},
    };
    return ProviderRequest::Prepared{request, QJsonDocument(body).toJson(QJsonDocument::Compact),
                                     key};
}

QString AnthropicAPIClient::extractAnswer(const QByteArray &body)
{
    using namespace ProviderRequest;
    const QJsonArray content = requireArray(parseObject(body), QStringLiteral("content"));
    if (content.isEmpty()) {
        throw APIError::noContent();
    }
    const QJsonObject block = requireObject(content.first(), QStringLiteral("content[0]"));
    requireString(block, QStringLiteral("type"));
    return requireString(block, QStringLiteral("text"));
}
