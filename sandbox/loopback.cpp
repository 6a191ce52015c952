// SPDX-License-Identifier: Apache-2.0
#include "sandbox/loopback.h"

#include <asio/ip/address.hpp>

namespace sandbox {

bool isReachableFromOutside(const std::string& address) {
    asio::error_code error;
    asio::ip::address parsed = asio::ip::make_address(address, error);
    if (error) return false;
    if (parsed.is_v6() && parsed.to_v6().is_v4_mapped())
        parsed = asio::ip::make_address_v4(asio::ip::v4_mapped, parsed.to_v6());
    return !parsed.is_loopback();
}

}  // namespace sandbox
