// SPDX-License-Identifier: GPL-3.0-or-later
#include "OpenAIAPIClient.h"

#include <QJsonDocument>
#include <QRegularExpression>

QFuture<QString> OpenAIAPIClient::sendMessage(const QString &prompt)
{
    const QString key = apiKey();
    return ProviderRequest::send(key, config.baseURL(), buildRequest(prompt, key),
                                 &OpenAIAPIClient::extractAnswer);
}

bool OpenAIAPIClient::usesCompletionTokens(const QString &model)
{
    // o1, o3, o4 and later o-series; gpt-5, gpt-5.1, gpt-6 ... but not gpt-4o.
    static const QRegularExpression reasoning(QStringLiteral("^o([1-9][0-9]*)(?![0-9])"));
    static const QRegularExpression generation(QStringLiteral("^gpt-([0-9]+)"));
    const QString id = model.trimmed().toLower();
    if (const auto match = reasoning.match(id); match.hasMatch()) {
        return match.captured(1) != QLatin1String("2");
    }
    if (const auto match = generation.match(id); match.hasMatch()) {
        return match.captured(1).toInt() >= 5;
    }
    return false;
}

std::optional<ProviderRequest::Prepared> OpenAIAPIClient::buildRequest(const QString &prompt,
                                                                       const QString &key) const
{
    const auto url =
        ProviderRequest::endpointURL(config.baseURL() + QStringLiteral("/chat/completions"));
    if (!url) {
        return std::nullopt;
    }
    QNetworkRequest request = ProviderRequest::makeRequest(*url);
    request.setRawHeader("Authorization", QByteArrayLiteral("Bearer ") + key.toUtf8());

    QJsonObject body{
        {QStringLiteral("model"), config.selectedModel},
        {QStringLiteral("messages"),
         QJsonArray{QJsonObject{{QStringLiteral("role"), QStringLiteral("user")},
                                {QStringLiteral("content"), prompt}}}},
    };
    if (usesCompletionTokens(config.selectedModel)) {
        body.insert(QStringLiteral("max_completion_tokens"), 1000);
    } else {
        body.insert(QStringLiteral("max_tokens"), 1000);
        body.insert(QStringLiteral("temperature"), 0.7);
    }
    return ProviderRequest::Prepared{request, QJsonDocument(body).toJson(QJsonDocument::Compact),
                                     key};
}

QString OpenAIAPIClient::extractAnswer(const QByteArray &body)
{
    using namespace ProviderRequest;
    const QJsonArray choices = requireArray(parseObject(body), QStringLiteral("choices"));
    if (choices.isEmpty()) {
        throw APIError::noContent();
    }
    const QJsonObject message = requireObject(
        requireObject(choices.first(), QStringLiteral("choices[0]")), QStringLiteral("message"));
    requireString(message, QStringLiteral("role"));
    return requireString(message, QStringLiteral("content"));
}
