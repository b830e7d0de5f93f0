#pragma once

#include "AIVendorProtocol.h"
#include "VendorConfig.h"

#include <memory>

namespace AIVendorFactory {

// A new client of the configuration's provider, for one call.
std::shared_ptr<AIVendorProtocol> makeClient(const VendorConfig &config);

} // namespace AIVendorFactory
