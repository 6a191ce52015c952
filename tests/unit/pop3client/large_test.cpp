// SPDX-License-Identifier: Apache-2.0
// Sizes that only work when the cost grows no faster than the size; ctest's time limit judges.
#include <gtest/gtest.h>

#include <sstream>

#include "tests/unit/pop3client/session.h"

namespace {

TEST(Pop3LargeMessage, of100000LinesIsRead) {
    constexpr int count = 100'000;
    std::string octets = "+OK\r\n";
    std::string text;
    for (int i = 0; i < count; ++i) {
        octets += "..line " + std::to_string(i) + " \r\n";
        text += ".line " + std::to_string(i) + "\n";
    }
    text.pop_back();
    OpenSession session({sandbox::expectLine("RETR 1"), sandbox::say(octets + ".\r\n")});
    std::ostringstream message;
    EXPECT_TRUE(session.client.getMessage(1, message));
    EXPECT_TRUE(message.str() == text);
    EXPECT_EQ(session.peer.finish(), "");
}

TEST(Pop3LargeMessage, of100000BlankLinesIsRead) {
    constexpr std::size_t count = 100'000;
    std::string octets = "+OK\r\n";
    std::string text = "\r";
    octets += "\r\n";
    for (std::size_t i = 1; i < count; ++i) {
        octets += "\r\n";
        text += "\n\r";
    }
    OpenSession session({sandbox::expectLine("RETR 1"), sandbox::say(octets + ".\r\n")});
    std::ostringstream message;
    EXPECT_TRUE(session.client.getMessage(1, message));
    EXPECT_TRUE(message.str() == text);
}

TEST(Pop3LargeMessage, ofOneLongLineOfBlanksIsRead) {
    const std::string blanks(10'000'000, ' ');
    OpenSession session({sandbox::expectLine("RETR 1"),
                         sandbox::say("+OK\r\nx" + blanks + "\r\n" + blanks + "\r\n.\r\n")});
    std::ostringstream message;
    EXPECT_TRUE(session.client.getMessage(1, message));
    EXPECT_TRUE(message.str() == "x\n" + blanks + "\r");
}

TEST(Pop3LargeReply, ofOneLongLineIsRead) {
    const std::string text(10'000'000, 'x');
    OpenSession session({sandbox::expectLine("NOOP"), sandbox::say("-ERR" + text + "\r\n")});
    EXPECT_FALSE(session.client.sendCommand("NOOP"));
    EXPECT_TRUE(session.client.getLastReply() == text);
}

TEST(Pop3LargeMailbox, of20000MessagesIsDeleted) {
    constexpr int count = 20'000;
    sandbox::Dialogue dialogue;
    for (int i = 1; i <= count; ++i) {
        dialogue.push_back(sandbox::expectLine("DELE " + std::to_string(i)));
        dialogue.push_back(sandbox::say("+OK\r\n"));
    }
    OpenSession session(std::move(dialogue));
    for (int i = 1; i <= count; ++i) ASSERT_TRUE(session.client.deleteMessage(i));
    EXPECT_EQ(session.peer.finish(), "");
}

}  // namespace
