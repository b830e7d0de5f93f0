#include "AIVendorFactory.h"

#include "AnthropicAPIClient.h"
#include "GeminiAPIClient.h"
#include "OpenAIAPIClient.h"

namespace AIVendorFactory {

std::shared_ptr<AIVendorProtocol> makeClient(const VendorConfig &config)
{
    switch (config.vendor) {
    case AIVendor::openai:
        return std::make_shared<OpenAIAPIClient>(config);
    case AIVendor::anthropic:
        return std::make_shared<AnthropicAPIClient>(config);
    case AIVendor::gemini:
        return std::make_shared<GeminiAPIClient>(config);
    }
    Q_UNREACHABLE();
    return nullptr;
}

} // namespace AIVendorFactory
