// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>

#include "tests/support/wide_text.h"
#include "tests/unit/pop3client/session.h"
#include "tests/unit/socketstream/connection.h"
#include "tests/unit/socketstream/system_calls.h"

using testing::ElementsAre;

namespace {

TEST(Pop3Open, keepsTheTextOfTheGreeting) {
    Session session("S: +OK POP3 ready\n");
    EXPECT_EQ(session.client.getLastReply(), "");
    EXPECT_TRUE(session.open());
    EXPECT_EQ(session.client.getLastReply(), " POP3 ready");
    EXPECT_EQ(session.peer.finish(), "");
}

TEST(Pop3Open, quitsWhenTheGreetingRefuses) {
    Session session("S: -ERR busy\nC: QUIT\nS: -ERR go away\n");
    EXPECT_FALSE(session.open());
    EXPECT_EQ(session.client.getLastReply(), " go away");
    EXPECT_EQ(session.peer.finish(), "");
    EXPECT_EQ(session.peer.received(), "QUIT\r\n");
}

TEST(Pop3Open, doesNotKnowWhyWhenTheServerRefusesAndGoes) {
    Session session("S: -ERR busy\nC: QUIT\nclose\n");
    EXPECT_FALSE(session.open());
    EXPECT_EQ(session.client.getLastReply(), "Unknown error");
    EXPECT_EQ(session.peer.finish(), "");
}

struct OpenRow {
    const char* name;
    const char* dialogue;
    bool isOpen;
    const char* lastReply;
};

void PrintTo(const OpenRow& row, std::ostream* out) { *out << row.name; }

const OpenRow openRows[] = {
    {"bareOk", "S: +OK\n", true, ""},
    {"okAndMoreLetters", "S: +OKAY\n", true, "AY"},
    {"lineFeedOnly", "bytes +OK hi\\n\n", true, " hi"},
    {"refusesAndAnswersQuit", "S: -ERR busy\nC: QUIT\nS: +OK bye\n", false, " bye"},
    {"isNoStatusLine", "S: 220 mail.example ESMTP\nC: QUIT\nS: 221 bye\n", false, "221 bye"},
    {"isInLowerCase", "S: +ok hi\nC: QUIT\nS: +ok bye\n", false, "+ok bye"},
    {"isEmpty", "S: \nC: QUIT\nS: +OK\n", false, ""},
    {"doesNotCome", "close\n", false, "Unknown error"},
    {"isCutOff", "bytes +OK hi\nclose\n", false, "Unknown error"},
    {"asksForMore", "S: + \nC: QUIT\nS: +OK\n", false, ""},
};

class Pop3Greeting : public testing::TestWithParam<OpenRow> {};

TEST_P(Pop3Greeting, decides) {
    const std::size_t descriptors = openDescriptors();
    {
        Session session(std::string(GetParam().dialogue));
        EXPECT_EQ(session.open(), GetParam().isOpen);
        EXPECT_EQ(session.client.getLastReply(), GetParam().lastReply);
        EXPECT_EQ(session.peer.finish(), "");
    }
    EXPECT_EQ(openDescriptors(), descriptors);
}

INSTANTIATE_TEST_SUITE_P(Table, Pop3Greeting, testing::ValuesIn(openRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(Pop3Open, closesTheDescriptorWhenTheGreetingRefuses) {
    Session session("S: -ERR busy\nC: QUIT\nS: +OK bye\n");
    int descriptor = -1;
    SystemCalls calls;
    calls.socket = [&](int family, int type, int protocol) {
        return descriptor = real::socket(family, type, protocol);
    };
    EXPECT_FALSE(session.open());
    ASSERT_NE(descriptor, -1);
    EXPECT_TRUE(isClosed(descriptor));
}

TEST(Pop3Open, usesTheServicePop3UnlessTold) {
    SystemCalls calls;
    std::vector<std::string> ports;
    calls.getaddrinfo = [&](const char*, const char* port, const addrinfo*, addrinfo**) {
        ports.emplace_back(port);
        return EAI_NONAME;
    };
    POP3Client client;
    EXPECT_FALSE(client.open(u"host"));
    EXPECT_FALSE(client.open(u"host", static_cast<const unsigned short*>(nullptr)));
    EXPECT_FALSE(client.open(u"host", static_cast<const char16_t*>(nullptr)));
    EXPECT_FALSE(client.open(u"host", nullptr));
    EXPECT_FALSE(client.open(u"host", u"1110"));
    EXPECT_FALSE(client.open(u"host", Zeb_String(u"2110").GetBuffer()));
    EXPECT_THAT(ports, ElementsAre("pop3", "pop3", "pop3", "pop3", "1110", "2110"));
}

TEST(Pop3Open, connectsToWhereTheServiceIs) {
    Session session("S: +OK hi\n");
    const std::string port = std::to_string(session.peer.port());
    SystemCalls calls;
    calls.getaddrinfo = [&](const char*, const char* service, const addrinfo* hints,
                            addrinfo** list) {
        EXPECT_STREQ(service, "pop3");
        return real::getaddrinfo("127.0.0.1", port.c_str(), hints, list);
    };
    EXPECT_TRUE(session.client.open(u"mail.example"));
    EXPECT_EQ(session.peer.finish(), "");
}

TEST(Pop3Open, isFalseWhenItCannotConnect) {
    SystemCalls calls;
    calls.connect = [](int, const sockaddr*, socklen_t) { return failingWith(ECONNREFUSED); };
    const CapturedReports reports;
    POP3Client client;
    EXPECT_FALSE(client.open(u"127.0.0.1", u"110"));
    EXPECT_EQ(client.getLastReply(), "");
    EXPECT_THAT(clientReports(reports), ElementsAre());
}

TEST(Pop3Open, isFalseForAHostNameWithoutAnAsciiForm) {
    POP3Client client;
    EXPECT_FALSE(client.open(wide(std::string(64, 'x') + ".example"), u"110"));
    EXPECT_FALSE(client.open(u"host\r\nQUIT", u"110"));
}

TEST(Pop3Open, isFalseWhenTheConnectionIsResetBeforeTheGreeting) {
    Session session("silence\n");
    SystemCalls calls;
    calls.recv = [](int, void*, std::size_t, int) { return ssize_t{failingWith(ECONNRESET)}; };
    EXPECT_FALSE(session.open());
    EXPECT_EQ(session.client.getLastReply(), "Unknown error");
}

TEST(Pop3Open, ofAnOpenClientTouchesNothing) {
    OpenSession session("C: STAT\nS: +OK 1 2\n");
    {
        SystemCalls calls;
        calls.getaddrinfo = [](const char*, const char*, const addrinfo*, addrinfo**) {
            ADD_FAILURE() << "the host was looked up";
            return EAI_NONAME;
        };
        calls.send = [](int, const void*, std::size_t, int) {
            ADD_FAILURE() << "something was sent";
            return ssize_t{-1};
        };
        EXPECT_FALSE(session.client.open(u"other", u"110"));
        EXPECT_EQ(session.client.getLastReply(), " hi");
    }
    EXPECT_EQ(session.client.countMessages(), 1);
    EXPECT_EQ(session.peer.finish(), "");
}

TEST(Pop3Open, setsNoLimitToTheWaits) {
    Session session("S: +OK hi\n");
    SystemCalls calls;
    calls.ioctl = [](int, unsigned long, int*) {
        ADD_FAILURE() << "the socket was made non-blocking";
        return -1;
    };
    EXPECT_TRUE(session.open());
}

}  // namespace
