// SPDX-License-Identifier: Apache-2.0
#include "sandbox/private_network.h"

#include <gtest/gtest.h>

#include "sandbox/scripted_peer.h"
#include "tests/support/private_network.h"
#include "tests/unit/sandbox/client.h"

using sandbox::say;
using sandbox::ScriptedPeer;

namespace {

TEST(PrivateNetwork, hasTheMailPorts) {
    for (const std::uint16_t port : {std::uint16_t{25}, std::uint16_t{110}}) {
        ScriptedPeer peer({say("hello\r\n")}, {.address = privateAddress(), .port = port});
        EXPECT_EQ(Client(port, privateAddress()).rest(), "hello\r\n");
        EXPECT_EQ(peer.finish(), "");
    }
}

TEST(PrivateNetwork, hasThemAgainRightAfterUse) {
    for (int round = 0; round < 3; ++round) {
        ScriptedPeer peer({say("hello\r\n")}, {.address = privateAddress(), .port = 25});
        EXPECT_EQ(Client(25, privateAddress()).rest(), "hello\r\n");
    }
}

}  // namespace
