// SPDX-License-Identifier: GPL-3.0-or-later
#include "VendorConfig.h"

#include "KeychainService.h"

#include <QJsonDocument>
#include <QRegularExpression>

QString VendorConfig::apiKey() const
{
    return KeychainService::shared().retrieveAPIKey(vendor).value_or(QString());
}

void VendorConfig::setApiKey(const QString &key) const
{
    if (key.isEmpty()) {
        KeychainService::shared().deleteAPIKey(vendor);
    } else {
        KeychainService::shared().storeAPIKey(key, vendor);
    }
}

bool VendorConfig::hasAPIKey() const
{
    return KeychainService::shared().presence(vendor) == KeychainService::Presence::stored;
}

QString VendorConfig::baseURL() const
{
    QString host = apiHost.trimmed();
    QString path = subPath.trimmed();
    if (!path.startsWith(u'/')) {
        path.prepend(u'/');
    }
    // "scheme://" at the start: a server the user names in full (a model
    // server of their own, say), taken as written.
    static const QRegularExpression scheme(QStringLiteral("^[A-Za-z][A-Za-z0-9+.-]*://"));
    if (scheme.match(host).hasMatch()) {
        while (host.endsWith(u'/')) {
            host.chop(1);
        }
        return host + path;
    }
    return QStringLiteral("https://") + host + path;
}

bool VendorConfig::operator==(const VendorConfig &other) const
{
    return vendor == other.vendor && selectedModel == other.selectedModel &&
           apiHost == other.apiHost && subPath == other.subPath && apiKey() == other.apiKey();
}

QJsonObject VendorConfig::toJson() const
{
    return QJsonObject{
        {QStringLiteral("vendor"), AIVendors::rawValue(vendor)},
        {QStringLiteral("selectedModel"), selectedModel},
        {QStringLiteral("apiHost"), apiHost},
        {QStringLiteral("subPath"), subPath},
    };
}

QByteArray VendorConfig::encode() const
{
    return QJsonDocument(toJson()).toJson(QJsonDocument::Compact);
}

std::optional<VendorConfig> VendorConfig::fromJson(const QJsonObject &object)
{
    const QJsonValue vendor = object.value(QLatin1String("vendor"));
    const QJsonValue model = object.value(QLatin1String("selectedModel"));
    const QJsonValue host = object.value(QLatin1String("apiHost"));
    const QJsonValue path = object.value(QLatin1String("subPath"));
    if (!vendor.isString() || !model.isString() || !host.isString() || !path.isString()) {
        return std::nullopt;
    }
    const std::optional<AIVendor> parsed = AIVendors::fromRawValue(vendor.toString());
    if (!parsed) {
        return std::nullopt;
    }
    return VendorConfig(*parsed, model.toString(), host.toString(), path.toString());
}

std::optional<VendorConfig> VendorConfig::decode(const QByteArray &json)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        return std::nullopt;
    }
    return fromJson(document.object());
}
