// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "AIVendorProtocol.h"
#include "ProviderRequest.h"
#include "VendorConfig.h"

// Anthropic's messages endpoint: one user message of one text block, the
// first content block's text back.
class AnthropicAPIClient : public ProviderClient {
public:
    static inline const QByteArray apiVersion = QByteArrayLiteral("2023-06-01");

    explicit AnthropicAPIClient(VendorConfig config, std::optional<QString> key = std::nullopt)
        : ProviderClient(std::move(config), std::move(key))
    {}

    QFuture<QString> sendMessage(const QString &prompt) override;

    // baseURL + "/messages" with "x-api-key" (the client's key) and
    // "anthropic-version"; none when that is not a valid URL.
    std::optional<ProviderRequest::Prepared> buildRequest(const QString &prompt) const
    {
        return buildRequest(prompt, apiKey());
    }
    std::optional<ProviderRequest::Prepared> buildRequest(const QString &prompt,
                                                          const QString &key) const;
    // The first content block's text, untouched; its type is not examined.
    static QString extractAnswer(const QByteArray &body);
};
