// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cerrno>
#include <sstream>

#include "tests/unit/pop3client/session.h"
#include "tests/unit/socketstream/connection.h"
#include "tests/unit/socketstream/system_calls.h"

namespace {

TEST(Pop3Close, quitsAndKeepsTheReply) {
    OpenSession session("C: QUIT\nS: +OK bye\n");
    session.client.close();
    EXPECT_EQ(session.client.getLastReply(), " bye");
    EXPECT_EQ(session.peer.finish(), "");
}

TEST(Pop3Close, disconnectsEvenWhenQuitIsRefused) {
    Session session("S: +OK hi\nC: QUIT\nS: -ERR some were not deleted\nsilence\n");
    int descriptor = -1;
    SystemCalls calls;
    calls.socket = [&](int family, int type, int protocol) {
        return descriptor = real::socket(family, type, protocol);
    };
    ASSERT_TRUE(session.open());
    EXPECT_FALSE(isClosed(descriptor));
    session.client.close();
    EXPECT_TRUE(isClosed(descriptor));
    EXPECT_EQ(session.client.getLastReply(), " some were not deleted");
    EXPECT_EQ(session.peer.finish(), "");
}

TEST(Pop3Close, ofAClientThatWasNeverOpenDoesNothing) {
    const CapturedReports reports;
    POP3Client client;
    client.close();
    EXPECT_EQ(client.getLastReply(), "");
    EXPECT_TRUE(reports.all().empty());
}

TEST(Pop3Close, ofAClosedClientDoesNothing) {
    OpenSession session("C: QUIT\nS: +OK bye\n");
    session.client.close();
    const CapturedReports reports;
    session.client.close();
    EXPECT_EQ(session.client.getLastReply(), " bye");
    EXPECT_TRUE(reports.all().empty());
    EXPECT_EQ(session.peer.finish(), "");
}

TEST(Pop3Close, ofALostConnectionIsQuiet) {
    const std::size_t descriptors = openDescriptors();
    {
        OpenSession session("C: STAT\nclose\n");
        EXPECT_EQ(session.client.countMessages(), 0);
        session.client.close();
        EXPECT_EQ(session.client.getLastReply(), "Unknown error");
        EXPECT_EQ(session.peer.finish(), "");
        EXPECT_EQ(session.peer.received(), "STAT\r\n");
    }
    EXPECT_EQ(openDescriptors(), descriptors);
}

TEST(Pop3Close, disconnectsWhenQuitCannotBeSent) {
    OpenSession session("silence\n");
    SystemCalls calls;
    calls.send = [](int, const void*, std::size_t, int) { return ssize_t{failingWith(EPIPE)}; };
    const CapturedReports reports;
    session.client.close();
    EXPECT_EQ(session.client.getLastReply(), "Unknown error");
    EXPECT_EQ(socketReports(reports).back(), "closing socket");
}

TEST(Pop3Client, sendsNoQuitWhenItIsDestroyed) {
    const std::size_t descriptors = openDescriptors();
    {
        sandbox::ScriptedPeer peer(sandbox::parseDialogue("S: +OK hi\n"));
        {
            POP3Client client;
            EXPECT_TRUE(openTo(client, peer));
        }
        EXPECT_EQ(peer.finish(), "");
        EXPECT_EQ(peer.received(), "");
    }
    EXPECT_EQ(openDescriptors(), descriptors);
}

TEST(Pop3Client, playsAWholeDialogue) {
    OpenSession session(R"(
        C: USER joe
        S: +OK
        C: PASS secret
        S: +OK
        C: STAT
        S: +OK 1 20
        C: RETR 1
        S: +OK 20 octets
        S: Subject: x
        S:
        S: hello
        S: .
        C: DELE 1
        S: +OK
        C: QUIT
        S: +OK bye
    )");
    std::ostringstream message;
    EXPECT_TRUE(session.client.auth_pass(u"joe", u"secret"));
    EXPECT_EQ(session.client.countMessages(), 1);
    EXPECT_TRUE(session.client.getMessage(1, message));
    EXPECT_EQ(message.str(), "Subject: x\n\r\nhello");
    EXPECT_TRUE(session.client.deleteMessage(1));
    session.client.close();
    EXPECT_EQ(session.peer.finish(), "");
}

}  // namespace
