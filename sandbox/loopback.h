// SPDX-License-Identifier: Apache-2.0
// Which addresses only this machine can reach.
#pragma once

#include <string>

namespace sandbox {

/// Whether a text is an IP address that other machines may reach when a server listens there: any
/// but those of the loopback. False for a text that is no address.
bool isReachableFromOutside(const std::string& address);

}  // namespace sandbox
