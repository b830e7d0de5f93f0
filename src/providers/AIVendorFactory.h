// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "AIVendorProtocol.h"
#include "VendorConfig.h"

#include <memory>

namespace AIVendorFactory {

// A new client of the configuration's provider, for one call, with the key
// given or, without one, the key the store holds when the request is built.
std::shared_ptr<AIVendorProtocol> makeClient(const VendorConfig &config,
                                             std::optional<QString> key = std::nullopt);

} // namespace AIVendorFactory
