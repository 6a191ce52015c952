// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "tests/support/wide_text.h"
#include "tests/unit/pop3client/session.h"

using namespace std::string_literals;

namespace {

TEST(Pop3Login, sendsUserAndPassword) {
    OpenSession session("C: USER joe\nS: +OK\nC: PASS secret word\nS: +OK 2 messages\n");
    EXPECT_TRUE(session.client.auth_pass(u"joe", u"secret word"));
    EXPECT_EQ(session.client.getLastReply(), " 2 messages");
    EXPECT_EQ(session.peer.finish(), "");
}

TEST(Pop3Login, keepsThePasswordBackWhenTheUserIsRefused) {
    OpenSession session("C: USER joe\nS: -ERR who\n");
    EXPECT_FALSE(session.client.auth_pass(u"joe", u"secret"));
    EXPECT_EQ(session.client.getLastReply(), " who");
    EXPECT_EQ(session.peer.finish(), "");
    EXPECT_EQ(session.peer.received(), "USER joe\r\n");
}

TEST(Pop3Login, isFalseWhenThePasswordIsRefused) {
    OpenSession session("C: USER joe\nS: +OK\nC: PASS wrong\nS: -ERR [AUTH] no\n");
    EXPECT_FALSE(session.client.auth_pass(u"joe", u"wrong"));
    EXPECT_EQ(session.client.getLastReply(), " [AUTH] no");
    EXPECT_EQ(session.peer.finish(), "");
}

TEST(Pop3Login, canBeTriedAgainOnTheSameConnection) {
    OpenSession session(R"(
        C: USER joe
        S: +OK
        C: PASS wrong
        S: -ERR no
        C: USER joe
        S: +OK
        C: PASS right
        S: +OK
    )");
    EXPECT_FALSE(session.client.auth_pass(u"joe", u"wrong"));
    EXPECT_TRUE(session.client.auth_pass(u"joe", u"right"));
    EXPECT_EQ(session.peer.finish(), "");
}

TEST(Pop3Login, sendsEmptyTextsAsTheyAre) {
    OpenSession session({sandbox::expectLine("USER "), sandbox::say("+OK\r\n"),
                         sandbox::expectLine("PASS "), sandbox::say("+OK\r\n")});
    EXPECT_TRUE(session.client.auth_pass(u"", u""));
    EXPECT_EQ(session.peer.finish(), "");
}

TEST(Pop3Login, sendsAllOtherAsciiAsItIs) {
    std::string octets;
    for (char octet = 1; octet < 127; ++octet)
        if (octet != '\r' && octet != '\n') octets += octet;
    octets += '\x7F';
    OpenSession session({sandbox::expectLine("USER " + octets), sandbox::say("+OK\r\n"),
                         sandbox::expectLine("PASS " + octets), sandbox::say("+OK\r\n")});
    EXPECT_TRUE(session.client.auth_pass(wide(octets), wide(octets)));
    EXPECT_EQ(session.peer.finish(), "");
}

TEST(Pop3Login, sendsTextsThatAreLongerThanItsBuffer) {
    const std::string user(5000, 'u');
    const std::string password(1024, 'p');
    OpenSession session({sandbox::expectLine("USER " + user), sandbox::say("+OK\r\n"),
                         sandbox::expectLine("PASS " + password), sandbox::say("+OK\r\n")});
    EXPECT_TRUE(session.client.auth_pass(wide(user), wide(password)));
    EXPECT_EQ(session.peer.finish(), "");
}

struct LoginRow {
    const char* name;
    Zeb_String text;
};

void PrintTo(const LoginRow& row, std::ostream* out) { *out << row.name; }

const LoginRow loginRows[] = {
    {"letterWithAnAccent", u"jos\u00e9"}, {"letterOfTheUpperHalf", u"\u0080"},
    {"otherScript", u"\u6771\u4eac"},     {"emoji", u"\U0001F600"},
    {"loneSurrogate", u"a\xD800"},        {"carriageReturn", u"joe\rDELE 1"},
    {"lineFeed", u"joe\nDELE 1"},         {"lineEnd", u"joe\r\nDELE 1"},
    {"lineEndAtTheEnd", u"joe\r\n"},      {"nul", wide("joe\0x"s)},
    {"nulAtTheEnd", wide("joe\0"s)},
};

/// Texts that have no form on one ASCII line.
class Pop3Credential : public testing::TestWithParam<LoginRow> {};

TEST_P(Pop3Credential, isNotSentAsUser) {
    OpenSession session("C: STAT\nS: +OK 1 2\n");
    EXPECT_FALSE(session.client.auth_pass(GetParam().text, u"secret"));
    EXPECT_EQ(session.client.getLastReply(), " hi");
    EXPECT_EQ(session.client.countMessages(), 1);  // the next that the server hears
    EXPECT_EQ(session.peer.finish(), "");
    EXPECT_EQ(session.peer.received(), "STAT\r\n");
}

TEST_P(Pop3Credential, isNotSentAsPasswordNorTheUserBefore) {
    OpenSession session("C: STAT\nS: +OK 1 2\n");
    EXPECT_FALSE(session.client.auth_pass(u"joe", GetParam().text));
    EXPECT_EQ(session.client.getLastReply(), " hi");
    EXPECT_EQ(session.client.countMessages(), 1);
    EXPECT_EQ(session.peer.finish(), "");
    EXPECT_EQ(session.peer.received(), "STAT\r\n");
}

TEST_P(Pop3Credential, isNotReported) {
    OpenSession session("silence\n");
    const CapturedReports reports;
    EXPECT_FALSE(session.client.auth_pass(u"joe", GetParam().text));
    EXPECT_TRUE(clientReports(reports).empty());
}

INSTANTIATE_TEST_SUITE_P(Table, Pop3Credential, testing::ValuesIn(loginRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(Pop3Login, isFalseWhenTheServerGoesAfterTheUser) {
    OpenSession session("C: USER joe\nS: +OK\nC: PASS secret\nclose\n");
    EXPECT_FALSE(session.client.auth_pass(u"joe", u"secret"));
    EXPECT_EQ(session.client.getLastReply(), "Unknown error");
    EXPECT_EQ(session.peer.finish(), "");
}

TEST(Pop3Login, ofAClosedClientIsFalse) {
    POP3Client client;
    EXPECT_FALSE(client.auth_pass(u"joe", u"secret"));
    EXPECT_EQ(client.getLastReply(), "Unknown error");
}

}  // namespace
