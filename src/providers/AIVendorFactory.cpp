// SPDX-License-Identifier: GPL-3.0-or-later
#include "AIVendorFactory.h"

#include "AnthropicAPIClient.h"
#include "GeminiAPIClient.h"
#include "OpenAIAPIClient.h"

namespace AIVendorFactory {

std::shared_ptr<AIVendorProtocol> makeClient(const VendorConfig &config, std::optional<QString> key)
{
    switch (config.vendor) {
    case AIVendor::openai:
        return std::make_shared<OpenAIAPIClient>(config, std::move(key));
    case AIVendor::anthropic:
        return std::make_shared<AnthropicAPIClient>(config, std::move(key));
    case AIVendor::gemini:
        return std::make_shared<GeminiAPIClient>(config, std::move(key));
    }
    Q_UNREACHABLE();
    return nullptr;
}

} // namespace AIVendorFactory
