// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <sstream>

#include "tests/support/wide_text.h"
#include "tests/unit/smtpclient/session.h"
#include "tests/unit/socketstream/connection.h"
#include "tests/unit/socketstream/system_calls.h"

using testing::ElementsAre;

namespace {

constexpr char openAndClose[] = R"(
    S: 220 hi
    C: EHLO localhost
    S: 250 hi
    C: QUIT
    S: 221 bye
)";

TEST(SmtpOpen, greetsAndQuitsOnClosing) {
    Session session(openAndClose);
    EXPECT_TRUE(session.open());
    EXPECT_EQ(session.client.getReplyCode(), "250");
    session.client.close();
    EXPECT_EQ(session.client.getReplyCode(), "221");
    EXPECT_EQ(session.client.getReplyText(), "bye");
    EXPECT_EQ(session.peer.finish(), "");
}

TEST(SmtpOpen, takesAnyGreetingOfSuccess) {
    Session session(R"(
        S: 299-one
        S: 299 two
        C: EHLO localhost
        S: 250 hi
        C: QUIT
        S: 500 stay
    )");
    EXPECT_TRUE(session.open());
    session.client.close();
    EXPECT_EQ(session.peer.finish(), "");
}

struct OpenRow {
    const char* name;
    const char* dialogue;
    bool isOpen;
};

void PrintTo(const OpenRow& row, std::ostream* out) { *out << row.name; }

const OpenRow openRows[] = {
    {"ehloUnknown", "S: 220 hi\nC: EHLO localhost\nS: 502 what\nC: HELO localhost\nS: 250 hi\n",
     true},
    {"ehloOfAnotherSuccess",
     "S: 220 hi\nC: EHLO localhost\nS: 251 hi\nC: HELO localhost\nS: 250 hi\n", true},
    {"ehloAnsweredByNoReply", "S: 220 hi\nC: EHLO localhost\nS: 25\nC: HELO localhost\nS: 250 hi\n",
     true},
    {"heloOfAnotherSuccess",
     "S: 220 hi\nC: EHLO localhost\nS: 500 no\nC: HELO localhost\nS: 299 hi\n", true},
    {"heloRefused",
     "S: 220 hi\nC: EHLO localhost\nS: 550 no\nC: HELO localhost\nS: 550 no\nC: QUIT\nS: 221 b\n",
     false},
    {"heloAnsweredByNoReply",
     "S: 220 hi\nC: EHLO localhost\nS: 550 no\nC: HELO localhost\nS: 250x\nC: QUIT\nS: 221 b\n",
     false},
    {"greetingRefuses", "S: 554 no\nC: QUIT\nS: 221 bye\n", false},
    {"greetingAsksToGoOn", "S: 354 go on\nC: QUIT\nS: 221 bye\n", false},
    {"greetingIsNoReply", "S: HTTP/1.1 400 what\nC: QUIT\nS: 221 bye\n", false},
    {"quitIsNotAnswered", "S: 421 busy\nC: QUIT\nclose\n", false},
};

class SmtpGreeting : public testing::TestWithParam<OpenRow> {};

TEST_P(SmtpGreeting, decides) {
    const std::size_t descriptors = openDescriptors();
    {
        Session session(std::string(GetParam().dialogue));
        EXPECT_EQ(session.open(), GetParam().isOpen);
        EXPECT_EQ(session.peer.finish(), "");
    }
    EXPECT_EQ(openDescriptors(), descriptors);
}

INSTANTIATE_TEST_SUITE_P(Table, SmtpGreeting, testing::ValuesIn(openRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(SmtpOpen, usesTheServiceSmtpUnlessTold) {
    SystemCalls calls;
    std::vector<std::string> ports;
    calls.getaddrinfo = [&](const char*, const char* port, const addrinfo*, addrinfo**) {
        ports.emplace_back(port);
        return EAI_NONAME;
    };
    SMTPClient client;
    EXPECT_THROW(client.open(u"host"), socket_error);
    EXPECT_THROW(client.open(u"host", static_cast<const unsigned short*>(nullptr)), socket_error);
    EXPECT_THROW(client.open(u"host", static_cast<const char16_t*>(nullptr)), socket_error);
    EXPECT_THROW(client.open(u"host", nullptr), socket_error);
    EXPECT_THROW(client.open(u"host", u"2525"), socket_error);
    EXPECT_THAT(ports, ElementsAre("smtp", "smtp", "smtp", "smtp", "2525"));
}

TEST(SmtpOpen, passesOnWhyItCannotConnect) {
    SystemCalls calls;
    calls.connect = [](int, const sockaddr*, socklen_t) { return failingWith(ECONNREFUSED); };
    SMTPClient client;
    EXPECT_EQ(codeThrownBy([&] { client.open(u"127.0.0.1", u"25"); }), ECONNREFUSED);
}

TEST(SmtpOpen, canBeTriedAgainAfterAFailure) {
    SMTPClient client;
    {
        SystemCalls calls;
        calls.connect = [](int, const sockaddr*, socklen_t) { return failingWith(ECONNREFUSED); };
        EXPECT_THROW(client.open(u"127.0.0.1", u"25"), socket_error);
    }
    client.readReply();  // of a closed client, which throws nothing
    EXPECT_EQ(client.getReplyCode(), "999");
    sandbox::ScriptedPeer peer(sandbox::parseDialogue(openAndClose));
    EXPECT_TRUE(client.open(u"127.0.0.1", portOf(peer).GetBuffer()));
    client.close();
    EXPECT_EQ(peer.finish(), "");
}

TEST(SmtpOpen, passesOnWhyItCannotLimitItsWaits) {
    Session session("silence\n");
    SystemCalls calls;
    calls.ioctl = [](int, unsigned long, int*) { return failingWith(EIO); };
    EXPECT_EQ(codeThrownBy([&] { session.open(); }), EIO);
    calls.ioctl = real::ioctl;
    sandbox::ScriptedPeer second(sandbox::parseDialogue(openAndClose));
    EXPECT_TRUE(session.client.open(u"127.0.0.1", portOf(second).GetBuffer()));
    session.client.close();
    EXPECT_EQ(session.peer.finish(), "");
    EXPECT_EQ(second.finish(), "");
}

TEST(SmtpOpen, ofAnOpenClientTouchesNothing) {
    Session session(openAndClose);
    ASSERT_TRUE(session.open());
    SystemCalls calls;
    calls.getaddrinfo = [](const char*, const char*, const addrinfo*, addrinfo**) {
        ADD_FAILURE() << "the host was looked up";
        return EAI_NONAME;
    };
    EXPECT_FALSE(session.client.open(u"other", u"25"));
    EXPECT_EQ(session.client.getReplyCode(), "250");
    session.client.close();
    EXPECT_EQ(session.peer.finish(), "");
}

TEST(SmtpOpen, worksAgainAfterClosing) {
    sandbox::ScriptedPeer peer(
        std::vector<sandbox::Dialogue>(2, sandbox::parseDialogue(openAndClose)));
    SMTPClient client;
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(client.open(u"127.0.0.1", portOf(peer).GetBuffer()));
        client.close();
    }
    EXPECT_EQ(peer.finish(), "");
}

TEST(SmtpOpen, doesNotReadWhatTheLastServerLeft) {
    Session session("S: 554 no\nC: QUIT\nbytes 221 bye\\r\\n220 left over\\r\\n\nclose\n");
    EXPECT_FALSE(session.open());
    sandbox::ScriptedPeer second(sandbox::parseDialogue("S: 554 new\nC: QUIT\nclose\n"));
    EXPECT_FALSE(session.client.open(u"127.0.0.1", portOf(second).GetBuffer()));
    EXPECT_EQ(second.finish(), "");
}

TEST(SmtpOpen, endsQuietlyWhenTheConnectionIsLost) {
    Session session("S: 220 hi\nC: EHLO localhost\nclose\n");
    EXPECT_FALSE(session.open());
    EXPECT_EQ(session.client.getReplyCode(), "999");
    EXPECT_EQ(session.peer.finish(), "");
    EXPECT_EQ(session.peer.received(), "EHLO localhost\r\n");
}

TEST(SmtpClose, ofAClientThatIsNotOpenIsHarmless) {
    SMTPClient client;
    client.close();
    EXPECT_EQ(client.getReplyCode(), "999");
    client.close();
    sandbox::ScriptedPeer peer(sandbox::parseDialogue(openAndClose));
    EXPECT_TRUE(client.open(u"127.0.0.1", portOf(peer).GetBuffer()));
    client.close();
    EXPECT_EQ(peer.finish(), "");
}

TEST(SmtpClient, sendsNoQuitWhenItIsDestroyed) {
    const std::size_t descriptors = openDescriptors();
    {
        sandbox::ScriptedPeer peer(
            sandbox::parseDialogue("S: 220 hi\nC: EHLO localhost\nS: 250 hi\n"));
        {
            SMTPClient client;
            EXPECT_TRUE(client.open(u"127.0.0.1", portOf(peer).GetBuffer()));
        }
        EXPECT_EQ(peer.finish(), "");
    }
    EXPECT_EQ(openDescriptors(), descriptors);
}

}  // namespace
