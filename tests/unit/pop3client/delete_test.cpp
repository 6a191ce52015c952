// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <limits>

#include "tests/unit/pop3client/session.h"

namespace {

/// The line that deleting message `n` sends.
std::string commandFor(int n) {
    OpenSession session({sandbox::readUntil("\r\n"), sandbox::say("+OK\r\n")});
    EXPECT_TRUE(session.client.deleteMessage(n));
    EXPECT_EQ(session.peer.finish(), "");
    return session.peer.received();
}

TEST(Pop3Delete, sendsTheNumber) { EXPECT_EQ(commandFor(7), "DELE 7\r\n"); }

TEST(Pop3Delete, sendsZeroToo) { EXPECT_EQ(commandFor(0), "DELE 0\r\n"); }

TEST(Pop3Delete, sendsANegativeNumberWithItsSign) { EXPECT_EQ(commandFor(-3), "DELE -3\r\n"); }

TEST(Pop3Delete, sendsTheLargestNumbersWithoutSeparators) {
    EXPECT_EQ(commandFor(std::numeric_limits<int>::max()), "DELE 2147483647\r\n");
    EXPECT_EQ(commandFor(std::numeric_limits<int>::min()), "DELE -2147483648\r\n");
}

TEST(Pop3Delete, isFalseWhenTheServerRefuses) {
    OpenSession session("C: DELE 7\nS: -ERR no such message\nC: DELE 1\nS: +OK\n");
    EXPECT_FALSE(session.client.deleteMessage(7));
    EXPECT_EQ(session.client.getLastReply(), " no such message");
    EXPECT_TRUE(session.client.deleteMessage(1));
    EXPECT_EQ(session.peer.finish(), "");
}

TEST(Pop3Delete, isFalseWhenTheServerGoes) {
    OpenSession session("C: DELE 7\nclose\n");
    EXPECT_FALSE(session.client.deleteMessage(7));
    EXPECT_EQ(session.client.getLastReply(), "Unknown error");
    EXPECT_EQ(session.peer.finish(), "");
}

TEST(Pop3Delete, ofAClosedClientIsFalse) {
    POP3Client client;
    EXPECT_FALSE(client.deleteMessage(1));
    EXPECT_EQ(client.getLastReply(), "Unknown error");
}

}  // namespace
