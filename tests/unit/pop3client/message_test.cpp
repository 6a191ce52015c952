// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cerrno>
#include <sstream>
#include <thread>

#include "tests/unit/pop3client/session.h"
#include "tests/unit/socketstream/connection.h"
#include "tests/unit/socketstream/system_calls.h"

using namespace std::string_literals;

namespace {

struct MessageRow {
    const char* name;
    std::string octets;  // what the server sends after "+OK" before it closes
    std::string message;
    bool isWhole = true;
};

void PrintTo(const MessageRow& row, std::ostream* out) { *out << row.name; }

const MessageRow messageRows[] = {
    {"joinsLinesByLineFeeds", "a\r\nb\r\n.\r\n", "a\nb"},
    {"keepsABlankLineAsALoneReturn", "Subject: x\r\n\r\n..dot\r\n.\r\n", "Subject: x\n\r\n.dot"},
    {"endsAtADotAndABlank", "a\r\n. \r\nb\r\n", "a"},
    {"endsAtADotAndATab", "a\r\n.\t\r\nb\r\n", "a"},
    {"endsAtADotAndReturns", "a\r\n.\r\r\r\nb\r\n", "a"},
    {"endsAtADotAndALineFeed", "a\n.\nb\n", "a"},
    {"isEmptyWhenTheDotComesFirst", ".\r\n", ""},
    {"dropsTheStuffedDot", "..x\r\n.\r\n", ".x"},
    {"dropsADotThatWasNotStuffed", ".x\r\n.\r\n", "x"},
    {"dropsOneDotOfMany", "....\r\n.\r\n", "..."},
    {"knowsAStuffedLoneDot", "..\r\n.\r\n", "."},
    {"knowsAStuffedLoneDotWithBlanks", ".. \t\r\n.\r\n", "."},
    {"dropsADotBeforeABlankAndText", ". x\r\n.\r\n", " x"},
    {"keepsADotBehindABlank", " .\r\n.\r\n", " ."},
    {"keepsADotInsideALine", "a.\r\n.\r\n", "a."},
    {"takesTrailingBlanks", "a \t \r\nb\t\r\n.\r\n", "a\nb"},
    {"keepsLeadingBlanks", " \ta\r\n.\r\n", " \ta"},
    {"keepsALineOfBlanksWhole", "a\r\n \t\r\nb\r\n.\r\n", "a\n \t\r\nb"},
    {"keepsALineOfReturnsWhole", "a\r\n\r\r\nb\r\n.\r\n", "a\n\r\r\nb"},
    {"keepsAnEmptyLineOfALineFeedEmpty", "a\n\nb\n.\n", "a\n\nb"},
    {"keepsABlankLineAtTheStart", "\r\na\r\n.\r\n", "\r\na"},
    {"keepsAnEmptyLineAtTheStart", "\na\r\n.\r\n", "\na"},
    {"keepsBlankLinesAtTheEnd", "a\r\n\r\n\r\n.\r\n", "a\n\r\n\r"},
    {"keepsTwoEmptyLines", "\n\n.\n", "\n"},
    {"keepsAReturnInsideALine", "a\rb\r\n.\r\n", "a\rb"},
    {"takesReturnsAtTheEndOfALine", "a\r\r\r\n.\r\n", "a"},
    {"keepsOctetsOfEightBits", "caf\xC3\xA9 \xFF\x80\r\n.\r\n", "caf\xC3\xA9 \xFF\x80"},
    {"keepsNul", "a\0b\0\r\n.\r\n"s, "a\0b\0"s},
    {"takesStatusLinesForText", "+OK\r\n-ERR no\r\n.\r\n", "+OK\n-ERR no"},
    {"keepsWhatCameBeforeTheServerWent", "a\r\nb\r\n", "a\nb", false},
    {"dropsALineWithoutItsEnd", "a\r\nb", "a", false},
    {"dropsAFirstLineWithoutItsEnd", "abc", "", false},
    {"needsTheLineFeedOfTheLastDot", "a\r\n.\r", "a", false},
    {"isNotWholeWithoutAnyLine", "", "", false},
};

class Pop3Message : public testing::TestWithParam<MessageRow> {};

TEST_P(Pop3Message, isRead) {
    OpenSession session(
        {sandbox::expectLine("RETR 1"), sandbox::say("+OK\r\n" + GetParam().octets)});
    std::ostringstream message;
    EXPECT_EQ(session.client.getMessage(1, message), GetParam().isWhole);
    EXPECT_EQ(message.str(), GetParam().message);
    EXPECT_EQ(session.peer.finish(), "");
}

TEST_P(Pop3Message, mayComeOctetByOctet) {
    OpenSession session(
        {sandbox::expectLine("RETR 1"), sandbox::sayOneByOne("+OK\r\n" + GetParam().octets)});
    std::ostringstream message;
    EXPECT_EQ(session.client.getMessage(1, message), GetParam().isWhole);
    EXPECT_EQ(message.str(), GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(Table, Pop3Message, testing::ValuesIn(messageRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(Pop3Retrieve, writesNothingWhenTheServerRefuses) {
    OpenSession session("C: RETR 2\nS: -ERR no such message\nC: STAT\nS: +OK 1 2\n");
    std::ostringstream message;
    EXPECT_FALSE(session.client.getMessage(2, message));
    EXPECT_EQ(message.str(), "");
    EXPECT_EQ(session.client.getLastReply(), " no such message");
    EXPECT_EQ(session.client.countMessages(), 1);
    EXPECT_EQ(session.peer.finish(), "");
}

TEST(Pop3Retrieve, sendsTheNumberAsItIs) {
    for (const char* number : {"0", "-3", "2147483647"}) {
        OpenSession session("C: RETR "s + number + "\nS: +OK\nS: .\n");
        std::ostringstream message;
        EXPECT_TRUE(session.client.getMessage(std::stoi(number), message));
        EXPECT_EQ(session.peer.finish(), "");
    }
}

TEST(Pop3Retrieve, keepsTheStatusLineAndTheDialogueInStep) {
    OpenSession session(R"(
        C: RETR 1
        S: +OK 20 octets
        S: one
        S: .
        C: RETR 2
        S: +OK
        S: two
        S: .
        C: DELE 1
        S: +OK gone
    )");
    std::ostringstream message;
    EXPECT_TRUE(session.client.getMessage(1, message));
    EXPECT_EQ(session.client.getLastReply(), " 20 octets");
    EXPECT_TRUE(session.client.getMessage(2, message));
    EXPECT_EQ(message.str(), "onetwo");
    EXPECT_TRUE(session.client.deleteMessage(1));
    EXPECT_EQ(session.peer.finish(), "");
}

TEST(Pop3Retrieve, readsOnWhenTheCallersStreamHasFailed) {
    OpenSession session("C: RETR 1\nS: +OK\nS: one\nS: .\nC: STAT\nS: +OK 1 2\n");
    std::ostringstream message;
    message.setstate(std::ios::failbit);
    EXPECT_TRUE(session.client.getMessage(1, message));
    EXPECT_EQ(message.str(), "");
    EXPECT_EQ(session.client.countMessages(), 1);
    EXPECT_EQ(session.peer.finish(), "");
}

TEST(Pop3Retrieve, keepsWhatCameBeforeAReset) {
    OpenSession session("C: RETR 1\nS: +OK\nS: one\nbytes tw\nsilence\n");
    std::string received;
    SystemCalls calls;
    calls.recv = [&](int descriptor, void* octets, std::size_t length, int flags) {
        if (received.ends_with("one\r\ntw")) return ssize_t{failingWith(ECONNRESET)};
        const ssize_t count = real::recv(descriptor, octets, length, flags);
        if (count > 0) received.append(static_cast<char*>(octets), static_cast<std::size_t>(count));
        return count;
    };
    std::ostringstream message;
    EXPECT_FALSE(session.client.getMessage(1, message));
    EXPECT_EQ(message.str(), "one");
    EXPECT_EQ(session.client.getLastReply(), "");
}

TEST(Pop3Retrieve, ofALostConnectionWritesNothing) {
    OpenSession session("C: STAT\nclose\n");
    EXPECT_EQ(session.client.countMessages(), 0);
    std::ostringstream message;
    EXPECT_FALSE(session.client.getMessage(1, message));
    EXPECT_EQ(message.str(), "");
    EXPECT_EQ(session.client.getLastReply(), "Unknown error");
}

TEST(Pop3Retrieve, ofAClosedClientIsFalse) {
    POP3Client client;
    std::ostringstream message;
    EXPECT_FALSE(client.getMessage(1, message));
    EXPECT_EQ(message.str(), "");
}

TEST(Pop3Lines, canBeReadAfterACommandOfTheCaller) {
    OpenSession session("C: UIDL\nS: +OK\nS: 1 abc\nS: 2 def\nS: .\n");
    std::ostringstream list;
    EXPECT_TRUE(session.client.sendCommand("UIDL"));
    EXPECT_TRUE(session.client.readLines(list));
    EXPECT_EQ(list.str(), "1 abc\n2 def");
    EXPECT_EQ(session.peer.finish(), "");
}

TEST(Pop3Lines, ofAClosedClientAreNone) {
    POP3Client client;
    std::ostringstream list;
    EXPECT_FALSE(client.readLines(list));
    EXPECT_EQ(client.getLastReply(), "");
}

TEST(Pop3Unread, isWhatFollowsTheEndOfAMessage) {
    OpenSession session("C: RETR 1\nS: +OK\nS: a\nS: .\nS: +OK deleted\n");
    std::ostringstream message;
    ASSERT_TRUE(session.client.getMessage(1, message));
    while (!session.client.hasUnread()) std::this_thread::yield();  // it may be on its way
    EXPECT_TRUE(session.client.readReply());
    EXPECT_FALSE(session.client.hasUnread());
    EXPECT_EQ(session.peer.finish(), "");
}

TEST(Pop3Unread, isNothingOfAClosedClient) {
    OpenSession session({sandbox::expectLine("RETR 1"), sandbox::say("+OK\r\n.\r\nx\r\ny\r\n"),
                         sandbox::expectLine("QUIT")});
    std::ostringstream message;
    ASSERT_TRUE(session.client.getMessage(1, message));
    session.client.close();
    EXPECT_FALSE(session.client.hasUnread());
}

struct EndRow {
    const char* name;
    std::string octets;  // the server's reply to RETR
    bool isCertain;
};

void PrintTo(const EndRow& row, std::ostream* out) { *out << row.name; }

const EndRow endRows[] = {
    {"isBetweenTwoOfCrLf", "+OK\r\na\r\n.\r\n", true},
    {"mayFollowTheStatusLine", "+OK\r\n.\r\n", true},
    {"needsAReturnInFrontOfTheDot", "+OK\r\na\n.\r\n", false},
    {"needsAReturnInFrontOfADotBehindAnEmptyLine", "+OK\r\na\r\n\n.\r\n", false},
    {"needsAReturnBehindTheDot", "+OK\r\na\r\n.\n", false},
    {"isNoDotWithABlank", "+OK\r\na\r\n. \r\n", false},
    {"isNoDotWithTwoReturns", "+OK\r\na\r\n.\r\r\n", false},
    {"needsNoReturnFromAServerWithoutThem", "+OK\na\n.\n", true},
    {"isNoneOfALostConnection", "+OK\r\na\r\n", false},
};

class Pop3CertainEnd : public testing::TestWithParam<EndRow> {};

TEST_P(Pop3CertainEnd, ofAMessage) {
    OpenSession session({sandbox::expectLine("RETR 1"), sandbox::say(GetParam().octets)});
    std::ostringstream message;
    session.client.getMessage(1, message);
    EXPECT_EQ(session.client.isEndCertain(), GetParam().isCertain);
}

TEST_P(Pop3CertainEnd, ofAMessageThatComesOctetByOctet) {
    OpenSession session({sandbox::expectLine("RETR 1"), sandbox::sayOneByOne(GetParam().octets)});
    std::ostringstream message;
    session.client.getMessage(1, message);
    EXPECT_EQ(session.client.isEndCertain(), GetParam().isCertain);
}

INSTANTIATE_TEST_SUITE_P(Table, Pop3CertainEnd, testing::ValuesIn(endRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(Pop3CertainEnd, isNoneBehindOneThatTheSenderMayHaveWritten) {
    OpenSession session({sandbox::expectLine("RETR 1"),
                         sandbox::say("+OK\r\na\n.\n+OK\r\nx\r\n.\r\n+OK\ny\n.\n"),
                         sandbox::expectLine("RETR 2"), sandbox::expectLine("RETR 3")});
    for (const int number : {1, 2, 3}) {
        std::ostringstream message;
        EXPECT_TRUE(session.client.getMessage(number, message));
        EXPECT_FALSE(session.client.isEndCertain()) << number;
    }
}

TEST(Pop3CertainEnd, isOfOneConnection) {
    OpenSession session({sandbox::expectLine("RETR 1"), sandbox::say("+OK\r\na\n.\n")});
    std::ostringstream message;
    ASSERT_TRUE(session.client.getMessage(1, message));
    session.client.close();
    const sandbox::ScriptedPeer next(sandbox::parseDialogue("S: +OK\nC: RETR 1\nS: +OK\nS: .\n"));
    ASSERT_TRUE(openTo(session.client, next));
    ASSERT_TRUE(session.client.getMessage(1, message));
    EXPECT_TRUE(session.client.isEndCertain());
}

}  // namespace
