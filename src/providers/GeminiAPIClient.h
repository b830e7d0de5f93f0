// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "AIVendorProtocol.h"
#include "ProviderRequest.h"
#include "VendorConfig.h"

// Gemini's generate-content endpoint: the model in the path, the key in the
// query, the first part of the first candidate back.
class GeminiAPIClient : public ProviderClient {
public:
    explicit GeminiAPIClient(VendorConfig config, std::optional<QString> key = std::nullopt)
        : ProviderClient(std::move(config), std::move(key))
    {}

    QFuture<QString> sendMessage(const QString &prompt) override;

    // baseURL + "/models/" + model + ":generateContent?key=" + key, neither
    // percent-encoded; none when that is not a valid URL (a key with
    // characters a URL cannot hold, for one).
    std::optional<ProviderRequest::Prepared> buildRequest(const QString &prompt) const
    {
        return buildRequest(prompt, apiKey());
    }
    std::optional<ProviderRequest::Prepared> buildRequest(const QString &prompt,
                                                          const QString &key) const;
    // The first part of the first candidate, untouched.
    static QString extractAnswer(const QByteArray &body);
};
