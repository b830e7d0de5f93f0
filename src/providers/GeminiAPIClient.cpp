// SPDX-License-Identifier: GPL-3.0-or-later
#include "GeminiAPIClient.h"

#include <QJsonDocument>

QFuture<QString> GeminiAPIClient::sendMessage(const QString &prompt)
{
    const QString key = apiKey();
    return ProviderRequest::send(key, config.baseURL(), buildRequest(prompt, key),
                                 &GeminiAPIClient::extractAnswer);
}

std::optional<ProviderRequest::Prepared> GeminiAPIClient::buildRequest(const QString &prompt,
                                                                       const QString &key) const
{
    const auto url = ProviderRequest::endpointURL(config.baseURL() + QStringLiteral("/models/") +
                                                  config.selectedModel +
                                                  QStringLiteral(":generateContent?key=") + key);
    if (!url) {
        return std::nullopt;
    }
    const QNetworkRequest request = ProviderRequest::makeRequest(*url);

    const QJsonObject part{{QStringLiteral("text"), prompt}};
    const QJsonObject content{{QStringLiteral("parts"), QJsonArray{part}}};
    const QJsonObject generationConfig{{QStringLiteral("maxOutputTokens"), 1000},
                                       {QStringLiteral("temperature"), 0.7}};
    const QJsonObject body{{QStringLiteral("contents"), QJsonArray{content}},
                           {QStringLiteral("generationConfig"), generationConfig}};
    return ProviderRequest::Prepared{request, QJsonDocument(body).toJson(QJsonDocument::Compact),
                                     key};
}

QString GeminiAPIClient::extractAnswer(const QByteArray &body)
{
    using namespace ProviderRequest;
    // A blocked prompt comes without "candidates" and fails here as a
    // decoding failure.
    const QJsonArray candidates = requireArray(parseObject(body), QStringLiteral("candidates"));
    if (candidates.isEmpty()) {
        throw APIError::noContent();
    }
    const QJsonObject candidate =
        requireObject(candidates.first(), QStringLiteral("candidates[0]"));
    const QJsonArray parts =
        requireArray(requireObject(candidate, QStringLiteral("content")), QStringLiteral("parts"));
    if (parts.isEmpty()) {
        throw APIError::noContent();
    }
    return requireString(requireObject(parts.first(), QStringLiteral("parts[0]")),
                         QStringLiteral("text"));
}
