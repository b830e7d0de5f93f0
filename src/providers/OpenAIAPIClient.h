// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "AIVendorProtocol.h"
#include "ProviderRequest.h"
#include "VendorConfig.h"

// OpenAI's chat completions, and any server speaking that format at the
// configured host and sub-path: one user message, the first choice's text.
class OpenAIAPIClient : public ProviderClient {
public:
    explicit OpenAIAPIClient(VendorConfig config, std::optional<QString> key = std::nullopt)
        : ProviderClient(std::move(config), std::move(key))
    {}

    QFuture<QString> sendMessage(const QString &prompt) override;

    // baseURL + "/chat/completions" with "Authorization: Bearer <key>" (the
    // key read now); none when that is not a valid URL.
    std::optional<ProviderRequest::Prepared> buildRequest(const QString &prompt) const
    {
        return buildRequest(prompt, apiKey());
    }
    std::optional<ProviderRequest::Prepared> buildRequest(const QString &prompt,
                                                          const QString &key) const;
    // The first choice's message content, untouched.
    static QString extractAnswer(const QByteArray &body);
    // The reasoning and GPT-5-and-later models refuse "max_tokens" and any
    // "temperature" but the default; they get "max_completion_tokens".
    static bool usesCompletionTokens(const QString &model);
};
