// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "tests/unit/pop3client/session.h"

namespace {

struct Row {
    const char* name;
    std::string reply;
    int count;
};

void PrintTo(const Row& row, std::ostream* out) { *out << row.name; }

const Row rows[] = {
    {"countAndSize", "+OK 3 1200", 3},
    {"none", "+OK 0 0", 0},
    {"textBehindTheSize", "+OK 3 1200 octets", 3},
    {"countAlone", "+OK 3", 0},
    {"countAndBlanks", "+OK 3 \t", 0},
    {"okAlone", "+OK", 0},
    {"okAndBlank", "+OK ", 0},
    {"noBlankBeforeTheCount", "+OK3 1", 3},
    {"tabBeforeTheCount", "+OK\t 3 1", 3},
    {"letterBehindTheCount", "+OK 5x", 5},
    {"commaBehindTheCount", "+OK 1,000 5", 1},
    {"negative", "+OK -2 1", -2},
    {"signed", "+OK +2 1", 2},
    {"leadingZeros", "+OK 010 1", 10},
    {"largest", "+OK 2147483647 1", 2147483647},
    {"smallest", "+OK -2147483648 1", -2147483647 - 1},
    {"tooLarge", "+OK 2147483648 1", 0},
    {"tooSmall", "+OK -2147483649 1", 0},
    {"farTooLarge", "+OK 99999999999999999999999999 1", 0},
    {"noNumber", "+OK three 1200", 0},
    {"lettersBehindOk", "+OKAY 3 1200", 0},
    {"error", "-ERR 3 1200", 0},
    {"errorAlone", "-ERR", 0},
    {"noStatusLine", "3 1200", 0},
};

class Pop3Count : public testing::TestWithParam<Row> {};

TEST_P(Pop3Count, isThatOfTheReply) {
    OpenSession session({sandbox::expectLine("STAT"), sandbox::say(GetParam().reply + "\r\n")});
    EXPECT_EQ(session.client.countMessages(), GetParam().count);
    EXPECT_EQ(session.peer.finish(), "");
}

INSTANTIATE_TEST_SUITE_P(Table, Pop3Count, testing::ValuesIn(rows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(Pop3Count, leavesTheReplyToTheCaller) {
    OpenSession session("C: STAT\nS: +OK 3 1200\n");
    EXPECT_EQ(session.client.countMessages(), 3);
    EXPECT_EQ(session.client.getLastReply(), " 3 1200");
}

TEST(Pop3Count, isZeroWhenTheServerGoes) {
    OpenSession session("C: STAT\nbytes +OK 3 12\nclose\n");
    EXPECT_EQ(session.client.countMessages(), 0);
    EXPECT_EQ(session.client.getLastReply(), "Unknown error");
    EXPECT_EQ(session.peer.finish(), "");
}

TEST(Pop3Count, ofAClosedClientIsZero) {
    POP3Client client;
    EXPECT_EQ(client.countMessages(), 0);
    EXPECT_EQ(client.getLastReply(), "Unknown error");
}

}  // namespace
