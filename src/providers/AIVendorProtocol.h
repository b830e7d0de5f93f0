#pragma once

#include <QFuture>
#include <QString>

// One provider, reached through one operation: a prompt in, the answer out.
class AIVendorProtocol {
public:
    virtual ~AIVendorProtocol() = default;
    // The answer exactly as the provider returned it; fails with an APIError
    // (QFuture::onFailed([](const APIError &e) {...})). The future does not
    // depend on the client object, which may be dropped at once.
    virtual QFuture<QString> sendMessage(const QString &prompt) = 0;
};
