// SPDX-License-Identifier: GPL-3.0-or-later
#include "AIVendor.h"

#include "VendorConfig.h"

namespace AIVendors {

const QList<AIVendor> &allCases()
{
    static const QList<AIVendor> cases{AIVendor::openai, AIVendor::anthropic, AIVendor::gemini};
    return cases;
}

QString rawValue(AIVendor vendor)
{
    switch (vendor) {
    case AIVendor::openai:
        return QStringLiteral("openai");
    case AIVendor::anthropic:
        return QStringLiteral("anthropic");
    case AIVendor::gemini:
        return QStringLiteral("gemini");
    }
    Q_UNREACHABLE();
    return QString();
}

std::optional<AIVendor> fromRawValue(const QString &raw)
{
    for (AIVendor vendor : allCases()) {
        if (rawValue(vendor) == raw) {
            return vendor;
        }
    }
    return std::nullopt;
}

QString displayName(AIVendor vendor)
{
    switch (vendor) {
    case AIVendor::openai:
        return QStringLiteral("OpenAI");
    case AIVendor::anthropic:
        return QStringLiteral("Anthropic");
    case AIVendor::gemini:
        return QStringLiteral("Google Gemini");
    }
    Q_UNREACHABLE();
    return QString();
}

QString apiKeyPage(AIVendor vendor)
{
    switch (vendor) {
    case AIVendor::openai:
        return QStringLiteral("https://platform.openai.com/api-keys");
    case AIVendor::anthropic:
        return QStringLiteral("https://console.anthropic.com/settings/keys");
    case AIVendor::gemini:
        return QStringLiteral("https://aistudio.google.com/app/apikey");
    }
    Q_UNREACHABLE();
    return QString();
}

QStringList availableModels(AIVendor vendor)
{
    switch (vendor) {
    case AIVendor::openai:
        return {QStringLiteral("gpt-4o"), QStringLiteral("gpt-4o-mini"),
                QStringLiteral("gpt-4-turbo"), QStringLiteral("gpt-4"),
                QStringLiteral("gpt-3.5-turbo")};
    case AIVendor::anthropic:
        return {
            QStringLiteral("claude-3-5-sonnet-20240620"), QStringLiteral("claude-3-opus-20240229"),
            QStringLiteral("claude-3-sonnet-20240229"), QStringLiteral("claude-3-haiku-20240307")};
    case AIVendor::gemini:
        return {QStringLiteral("gemini-1.5-pro"), QStringLiteral("gemini-1.5-flash"),
                QStringLiteral("gemini-1.0-pro")};
    }
    Q_UNREACHABLE();
    return QStringList();
}

VendorConfig defaultConfig(AIVendor vendor)
{
    switch (vendor) {
    case AIVendor::openai:
        return VendorConfig(vendor, QStringLiteral("gpt-4o-mini"), QStringLiteral("api.openai.com"),
                            QStringLiteral("/v1"));
    case AIVendor::anthropic:
        return VendorConfig(vendor, QStringLiteral("claude-3-5-sonnet-20240620"),
                            QStringLiteral("api.anthropic.com"), QStringLiteral("/v1"));
    case AIVendor::gemini:
        return VendorConfig(vendor, QStringLiteral("gemini-1.5-flash"),
                            QStringLiteral("generativelanguage.googleapis.com"),
                            QStringLiteral("/v1beta"));
    }
    Q_UNREACHABLE();
    return VendorConfig(vendor, {}, {}, {});
}

} // namespace AIVendors
