// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "AIVendor.h"

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <optional>

// One provider's settings as the user edits them. The API key is not part of
// the record: the key members go to the key store every time.
struct VendorConfig {
    AIVendor vendor;
    QString selectedModel;
    QString apiHost; // host name[:port], or a URL with its scheme
    QString subPath; // path prefix, normally starting with "/"

    VendorConfig(AIVendor vendor, QString selectedModel, QString apiHost, QString subPath)
        : vendor(vendor), selectedModel(std::move(selectedModel)), apiHost(std::move(apiHost)),
          subPath(std::move(subPath))
    {}

    // The stored key, or "" when there is none or it cannot be read. Reads
    // the key store, waiting for it: never on the UI thread.
    QString apiKey() const;
    // "" deletes the key; anything else is stored untrimmed. Failures are
    // only reported by the key store's console line.
    void setApiKey(const QString &key) const;
    // Whether the key store last found a key that is not blank; never waits.
    bool hasAPIKey() const;

    // "https://" + trimmed host + trimmed sub-path (given a leading "/" when
    // it lacks one); a host written with its scheme ("http://localhost:8080")
    // keeps it, without closing slashes. Nothing else is normalised; whether
    // the scheme may be used is ProviderRequest::endpointURL's call.
    QString baseURL() const;

    // Compares the fields and then the keys the key store holds for both
    // providers, so a key changed elsewhere makes two records unequal.
    bool operator==(const VendorConfig &other) const;

    QJsonObject toJson() const;
    QByteArray encode() const;
    // All four keys required as strings; "vendor" must be a raw value.
    static std::optional<VendorConfig> fromJson(const QJsonObject &object);
    static std::optional<VendorConfig> decode(const QByteArray &json);
};
