// SPDX-License-Identifier: Apache-2.0
// A client can be opened again after any failure, and nothing of the last connection shows.
#include <gtest/gtest.h>

#include <cerrno>
#include <sstream>

#include "tests/unit/pop3client/session.h"
#include "tests/unit/socketstream/connection.h"
#include "tests/unit/socketstream/system_calls.h"

namespace {

/// Opens the client to a new server, which must hear nothing but the commands of this dialogue.
void expectAFreshStart(POP3Client& client) {
    sandbox::ScriptedPeer peer(
        sandbox::parseDialogue("S: +OK new\nC: STAT\nS: +OK 9 1\nC: QUIT\nS: +OK bye\n"));
    ASSERT_TRUE(openTo(client, peer));
    EXPECT_EQ(client.getLastReply(), " new");
    EXPECT_EQ(client.countMessages(), 9);
    client.close();
    EXPECT_EQ(client.getLastReply(), " bye");
    EXPECT_EQ(peer.finish(), "");
}

TEST(Pop3Reopen, afterClosing) {
    OpenSession session("C: QUIT\nS: +OK bye\n");
    session.client.close();
    expectAFreshStart(session.client);
    expectAFreshStart(session.client);
}

TEST(Pop3Reopen, afterAGreetingThatRefuses) {
    Session session("S: -ERR busy\nC: QUIT\nS: +OK bye\n");
    EXPECT_FALSE(session.open());
    expectAFreshStart(session.client);
}

TEST(Pop3Reopen, afterAServerThatSaysNothingAndGoes) {
    Session session("close\n");
    EXPECT_FALSE(session.open());
    expectAFreshStart(session.client);
}

TEST(Pop3Reopen, afterAConnectionThatFailed) {
    POP3Client client;
    {
        SystemCalls calls;
        calls.connect = [](int, const sockaddr*, socklen_t) { return failingWith(ECONNREFUSED); };
        EXPECT_FALSE(client.open(u"127.0.0.1", u"110"));
    }
    expectAFreshStart(client);
}

TEST(Pop3Reopen, afterAHostThatIsNotKnown) {
    POP3Client client;
    {
        SystemCalls calls;
        calls.getaddrinfo = [](const char*, const char*, const addrinfo*, addrinfo**) {
            return EAI_NONAME;
        };
        EXPECT_FALSE(client.open(u"host"));
    }
    expectAFreshStart(client);
}

TEST(Pop3Reopen, afterCommandsToAClosedClient) {
    POP3Client client;
    std::ostringstream message;
    EXPECT_FALSE(client.sendCommand("STAT"));
    EXPECT_FALSE(client.getMessage(1, message));
    expectAFreshStart(client);
}

TEST(Pop3Reopen, afterAConnectionLostInAMessage) {
    OpenSession session("C: RETR 1\nS: +OK\nS: one\nbytes tw\nclose\n");
    std::ostringstream message;
    EXPECT_FALSE(session.client.getMessage(1, message));
    session.client.close();
    expectAFreshStart(session.client);
}

TEST(Pop3Reopen, afterAResetConnection) {
    OpenSession session("silence\n");
    {
        SystemCalls calls;
        calls.recv = [](int, void*, std::size_t, int) { return ssize_t{failingWith(ECONNRESET)}; };
        EXPECT_EQ(session.client.countMessages(), 0);
    }
    session.client.close();
    expectAFreshStart(session.client);
}

TEST(Pop3Reopen, sendsNothingThatTheLastServerDidNotTake) {
    OpenSession session("silence\n");
    {
        SystemCalls calls;
        calls.send = [](int, const void*, std::size_t, int) { return ssize_t{failingWith(EIO)}; };
        EXPECT_FALSE(session.client.deleteMessage(1));
        session.client.close();
    }
    expectAFreshStart(session.client);
}

TEST(Pop3Reopen, doesNotReadWhatTheLastServerLeft) {
    Session session("S: -ERR no\nC: QUIT\nbytes +OK bye\\r\\n+OK left over\\r\\n\nclose\n");
    EXPECT_FALSE(session.open());
    EXPECT_EQ(session.client.getLastReply(), " bye");
    expectAFreshStart(session.client);
}

TEST(Pop3Reopen, ofALostConnectionNeedsAClose) {
    OpenSession session("C: STAT\nclose\n");
    EXPECT_EQ(session.client.countMessages(), 0);
    EXPECT_FALSE(session.open());
    session.client.close();
    expectAFreshStart(session.client);
}

TEST(Pop3Reopen, keepsNoDescriptorOfTheTimesBefore) {
    POP3Client client;
    const std::size_t descriptors = openDescriptors();
    for (int i = 0; i < 20; ++i) {
        sandbox::ScriptedPeer peer(sandbox::parseDialogue(
            i % 2 == 0 ? "S: -ERR no\nC: QUIT\nclose\n" : "bytes +OK\nclose\n"));
        EXPECT_FALSE(openTo(client, peer));
        EXPECT_EQ(peer.finish(), "");
    }
    EXPECT_EQ(openDescriptors(), descriptors);
}

}  // namespace
