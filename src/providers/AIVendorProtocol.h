// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "VendorConfig.h"

#include <QFuture>
#include <QString>
#include <optional>

// One provider, reached through one operation: a prompt in, the answer out.
class AIVendorProtocol {
public:
    virtual ~AIVendorProtocol() = default;
    // The answer exactly as the provider returned it; fails with an APIError
    // (QFuture::onFailed([](const APIError &e) {...})). The future does not
    // depend on the client object, which may be dropped at once.
    virtual QFuture<QString> sendMessage(const QString &prompt) = 0;
};

// A client of one configuration's provider. The key is the one it was made
// with or, when none was given, the one the key store holds when the request
// is built (a blocking read).
class ProviderClient : public AIVendorProtocol {
public:
    ProviderClient(VendorConfig config, std::optional<QString> key)
        : config(std::move(config)), m_key(std::move(key))
    {}

    QString apiKey() const { return m_key ? *m_key : config.apiKey(); }

    VendorConfig config;

private:
    std::optional<QString> m_key;
};
