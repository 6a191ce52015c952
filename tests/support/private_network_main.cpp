// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <exception>
#include <iostream>

#include "sandbox/private_network.h"
#include "tests/support/private_network.h"

namespace {
std::string address;
}

const std::string& privateAddress() { return address; }

// First of all, while the process has a single thread.
int main(int argc, char** argv) {
    try {
        address = sandbox::enterPrivateNetwork();
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
