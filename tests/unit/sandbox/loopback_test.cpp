// SPDX-License-Identifier: Apache-2.0
#include "sandbox/loopback.h"

#include <gtest/gtest.h>

using sandbox::isReachableFromOutside;

namespace {

TEST(Loopback, isOfThisMachineAlone) {
    for (const char* address : {"127.0.0.1", "127.0.0.2", "127.255.255.254", "::1",
                                "0:0:0:0:0:0:0:1", "::ffff:127.0.0.1"})
        EXPECT_FALSE(isReachableFromOutside(address)) << address;
}

TEST(Loopback, isNoOtherAddress) {
    for (const char* address : {"0.0.0.0", "::", "128.0.0.1", "126.255.255.255", "10.0.0.1",
                                "fe80::1", "::2", "::ffff:10.0.0.1", "::ffff:0.0.0.0"})
        EXPECT_TRUE(isReachableFromOutside(address)) << address;
}

TEST(Loopback, isNoQuestionForATextThatIsNoAddress) {
    for (const char* text : {"", "localhost", "127.0.0", "0.0.0.0 "})
        EXPECT_FALSE(isReachableFromOutside(text)) << text;
}

}  // namespace
