// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <optional>

struct VendorConfig;

// The AI providers. Declaration order is the iteration order everywhere and
// the tie-break when a default provider is chosen.
enum class AIVendor { openai, anthropic, gemini };

namespace AIVendors {

const QList<AIVendor> &allCases();
// "openai", "anthropic", "gemini": the identifier, JSON value and key suffix.
QString rawValue(AIVendor vendor);
// Exactly the three raw values, case-sensitive.
std::optional<AIVendor> fromRawValue(const QString &raw);
QString displayName(AIVendor vendor);
// The page of the provider's site where a user makes an API key.
QString apiKeyPage(AIVendor vendor);
// The models offered by the model picker, in order.
QStringList availableModels(AIVendor vendor);
// The configuration a provider has until the user saves one.
VendorConfig defaultConfig(AIVendor vendor);

} // namespace AIVendors

inline size_t qHash(AIVendor vendor, size_t seed = 0) noexcept
{
    return ::qHash(static_cast<int>(vendor), seed);
}
