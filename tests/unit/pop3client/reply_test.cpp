// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <cerrno>

#include "tests/unit/pop3client/session.h"
#include "tests/unit/socketstream/connection.h"
#include "tests/unit/socketstream/system_calls.h"

namespace {

struct Row {
    const char* name;
    std::string octets;  // what the server sends before it closes
    bool isGood;
    std::string text;
};

void PrintTo(const Row& row, std::ostream* out) { *out << row.name; }

const Row rows[] = {
    {"ok", "+OK done\r\n", true, " done"},
    {"okAlone", "+OK\r\n", true, ""},
    {"okAndNumbers", "+OK 2 320\r\n", true, " 2 320"},
    {"okAndMoreLetters", "+OKAY\r\n", true, "AY"},
    {"okAndTab", "+OK\tx\r\n", true, "\tx"},
    {"okWithTwoBlanks", "+OK  x\r\n", true, "  x"},
    {"okWithBlanksBehind", "+OK x \t \r\n", true, " x"},
    {"okWithBlanksOnly", "+OK  \t\r\n", true, ""},
    {"lineFeedOnly", "+OK x\n", true, " x"},
    {"severalCarriageReturns", "+OK x\r\r\r\n", true, " x"},
    {"carriageReturnInside", "+OK x\ry\r\n", true, " x\ry"},
    {"octetsOfEightBits", "+OK caf\xC3\xA9\xFF\r\n", true, " caf\xC3\xA9\xFF"},
    {"nul", std::string("+OK a\0b\r\n", 9), true, std::string(" a\0b", 4)},
    {"moreThanOneLine", "+OK a\r\n-ERR b\r\n", true, " a"},
    {"error", "-ERR no\r\n", false, " no"},
    {"errorAlone", "-ERR\r\n", false, ""},
    {"errorAndMoreLetters", "-ERRATA\r\n", false, "ATA"},
    {"errorWithBlanksBehind", "-ERR \t\r\n", false, ""},
    {"okWithoutItsSign", "OK\r\n", false, "OK"},
    {"okInLowerCase", "+ok\r\n", false, "+ok"},
    {"okInMixedCase", "+Ok x\r\n", false, "+Ok x"},
    {"okBehindABlank", " +OK\r\n", false, " +OK"},
    {"okCutShort", "+O\r\n", false, "+O"},
    {"errorInLowerCase", "-err x\r\n", false, "-err x"},
    {"errorCutShort", "-ER x\r\n", false, "-ER x"},
    {"otherProtocol", "220 mail.example ready \r\n", false, "220 mail.example ready"},
    {"emptyLine", "\n", false, ""},
    {"loneCarriageReturn", "\r\n", false, "\r"},
    {"blanksAlone", " \t\r\n", false, " \t\r"},
    {"noLineFeed", "+OK done\r", false, "Unknown error"},
    {"nothing", "", false, "Unknown error"},
};

class Pop3Reply : public testing::TestWithParam<Row> {};

TEST_P(Pop3Reply, hasItsOutcomeAndText) {
    OpenSession session({sandbox::expectLine("NOOP"), sandbox::say(GetParam().octets)});
    EXPECT_EQ(session.client.sendCommand("NOOP"), GetParam().isGood);
    EXPECT_EQ(session.client.getLastReply(), GetParam().text);
    EXPECT_EQ(session.peer.finish(), "");
}

INSTANTIATE_TEST_SUITE_P(Table, Pop3Reply, testing::ValuesIn(rows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(Pop3Reply, mayComeOctetByOctet) {
    OpenSession session({sandbox::expectLine("NOOP"), sandbox::sayOneByOne("+OK done\r\n")});
    EXPECT_TRUE(session.client.sendCommand("NOOP"));
    EXPECT_EQ(session.client.getLastReply(), " done");
}

TEST(Pop3Reply, canBeReadWithoutACommand) {
    OpenSession session({sandbox::say("+OK a\r\n-ERR b\r\n"), sandbox::close()});
    EXPECT_TRUE(session.client.readReply());
    EXPECT_EQ(session.client.getLastReply(), " a");
    EXPECT_FALSE(session.client.readReply());
    EXPECT_EQ(session.client.getLastReply(), " b");
    EXPECT_FALSE(session.client.readReply());
    EXPECT_EQ(session.client.getLastReply(), "Unknown error");
    EXPECT_EQ(session.peer.finish(), "");
}

TEST(Pop3Reply, ofAClosedClientIsNone) {
    POP3Client client;
    EXPECT_FALSE(client.readReply());
    EXPECT_EQ(client.getLastReply(), "Unknown error");
}

TEST(Pop3Reply, isNoneWhenTheConnectionIsReset) {
    OpenSession session("silence\n");
    SystemCalls calls;
    calls.recv = [](int, void*, std::size_t, int) { return ssize_t{failingWith(ECONNRESET)}; };
    EXPECT_FALSE(session.client.sendCommand("NOOP"));
    EXPECT_EQ(session.client.getLastReply(), "Unknown error");
}

TEST(Pop3Command, ofOneThatHasFailedLeavesTheConnectionAsItIs) {
    OpenSession session("C: XYZ\nS: -ERR what\nC: STAT\nS: +OK 1 2\n");
    EXPECT_FALSE(session.client.sendCommand("XYZ"));
    EXPECT_EQ(session.client.countMessages(), 1);
    EXPECT_EQ(session.peer.finish(), "");
}

TEST(Pop3Command, goesOutAtOnceAndWhole) {
    OpenSession session("C: NOOP\nS: +OK\n");
    std::vector<std::string> sends;
    SystemCalls calls;
    calls.send = [&](int descriptor, const void* octets, std::size_t length, int flags) {
        sends.emplace_back(static_cast<const char*>(octets), length);
        return real::send(descriptor, octets, length, flags);
    };
    EXPECT_TRUE(session.client.sendCommand("NOOP"));
    EXPECT_EQ(sends, std::vector<std::string>{"NOOP\r\n"});
}

TEST(Pop3Command, thatCannotBeSentIsFalse) {
    OpenSession session("silence\n");
    SystemCalls calls;
    calls.send = [](int, const void*, std::size_t, int) { return ssize_t{failingWith(EIO)}; };
    EXPECT_FALSE(session.client.sendCommand("NOOP"));
    EXPECT_EQ(session.client.getLastReply(), "Unknown error");
}

// The default action of the signal would end the test program.
TEST(Pop3Command, toAPeerThatHasGoneRaisesNoSignal) {
    OpenSession session("silence\n");
    SystemCalls calls;
    int error = 0;
    calls.send = [&](int descriptor, const void* octets, std::size_t length, int flags) {
        shutdown(descriptor, SHUT_WR);
        const ssize_t sent = real::send(descriptor, octets, length, flags);
        error = errno;
        return sent;
    };
    EXPECT_FALSE(session.client.sendCommand("NOOP"));
    EXPECT_EQ(error, EPIPE);
    EXPECT_EQ(session.client.getLastReply(), "Unknown error");
}

}  // namespace
