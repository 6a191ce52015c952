// SPDX-License-Identifier: Apache-2.0
// For test programs that link vt_private_network_main in place of gtest_main.
#pragma once

#include <string>

/// The loopback address on which this test program may use ports 25 and 110.
const std::string& privateAddress();
