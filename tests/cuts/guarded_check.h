// SPDX-License-Identifier: Apache-2.0
// What holds for a message whatever stands in it.
#pragma once

#include <string>
#include <string_view>

/// Decodes `octets` with guard, asks the tree everything that it can be asked, and holds it against
/// the message. Empty, else what does not hold.
std::string faultOf(std::string_view octets);
