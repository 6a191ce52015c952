// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/smtpclient/session.h"
#include "tests/unit/socketstream/connection.h"

using testing::IsEmpty;

namespace {

/// A server that answers EHLO with these octets.
struct Announcement : Session {
    explicit Announcement(const std::string& reply)
        : Session({sandbox::say("220 hi\r\n"), sandbox::expectLine("EHLO localhost"),
                   sandbox::say(reply), sandbox::silence()}) {
        EXPECT_TRUE(open());
    }
};

struct Row {
    const char* name;
    std::string reply;
    std::vector<std::string> stored;
};

void PrintTo(const Row& row, std::ostream* out) { *out << row.name; }

const Row rows[] = {
    {"lastLineIsLeftOut", "250-host\r\n250-8BITMIME\r\n250 SIZE 1000\r\n", {"8BITMIME"}},
    {"lastLineIsLeftOutWhateverItIs",
     "250-host\r\n250-SIZE 1000\r\n250 8BITMIME\r\n",
     {"SIZE 1000"}},
    {"fiveLines", "250-host\r\n250-A\r\n250-B x\r\n250-C\r\n250 D\r\n", {"A", "B x", "C"}},
    {"greetingOnly", "250 host\r\n", {}},
    {"bareCode", "250\r\n", {}},
    {"twoLines", "250-host\r\n250 8BITMIME\r\n", {}},
    {"emptyFirstText", "250-\r\n250-A\r\n250-B\r\n250-C\r\n250 D\r\n", {"B", "C"}},
    {"bareCodeLast", "250-h\r\n250-A\r\n250-B\r\n250-C\r\n250\r\n", {"A", "B"}},
    {"emptyLineBetween", "250-h\r\n250-A\r\n250-\r\n250-B\r\n250 C\r\n", {"A", "", "B"}},
    {"emptyLineAndBareCodeLast", "250-h\r\n250-A\r\n250-\r\n250\r\n", {"A"}},
    {"trailingBlanks", "250-h\r\n250-A \t\r\n250 B\r\n", {"A"}},
    {"leadingBlanks", "250-h\r\n250- A\r\n250 B\r\n", {" A"}},
    {"otherCodesBetween", "250-h\r\n251-A\r\n250 B\r\n", {"A"}},
};

class Extensions : public testing::TestWithParam<Row> {};

TEST_P(Extensions, areStored) {
    const Announcement server(GetParam().reply);
    EXPECT_EQ(server.client.getExtensions(), GetParam().stored);
}

INSTANTIATE_TEST_SUITE_P(Table, Extensions, testing::ValuesIn(rows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(Extension, isSupportedWhenItsWholeLineIsStored) {
    const Announcement server("250-host\r\n250-8BITMIME\r\n250-SIZE 1000\r\n250 HELP\r\n");
    EXPECT_TRUE(server.client.isExtensionSupported(u"8BITMIME"));
    EXPECT_TRUE(server.client.isExtensionSupported(u"SIZE 1000"));
    EXPECT_FALSE(server.client.isExtensionSupported(u"SIZE"));
    EXPECT_FALSE(server.client.isExtensionSupported(u"8BIT"));
    EXPECT_FALSE(server.client.isExtensionSupported(u"host"));
}

TEST(Extension, ofTheLastLineIsNotSupported) {
    const Announcement server("250-host\r\n250-SIZE 1000\r\n250 8BITMIME\r\n");
    EXPECT_FALSE(server.client.isExtensionSupported(u"8BITMIME"));
}

TEST(Extension, isComparedWithCase) {
    const Announcement server("250-host\r\n250-8BITMIME\r\n250 HELP\r\n");
    EXPECT_FALSE(server.client.isExtensionSupported(u"8bitmime"));
}

TEST(Extension, withoutANameIsSupportedWhenAnEmptyLineIsStored) {
    const Announcement server("250-host\r\n250-\r\n250 HELP\r\n");
    EXPECT_TRUE(server.client.isExtensionSupported(u""));
    EXPECT_FALSE(
        Announcement("250-host\r\n250-A\r\n250 HELP\r\n").client.isExtensionSupported(u""));
}

TEST(Extension, withoutAnAsciiNameIsNotSupported) {
    const Announcement server("250-host\r\n250-\r\n250-UTF8=\xC3\xBC\r\n250 HELP\r\n");
    EXPECT_FALSE(server.client.isExtensionSupported(u"UTF8=\u00fc"));
    EXPECT_FALSE(server.client.isExtensionSupported(u"\u00fc"));
}

TEST(Extension, isNeverSupportedByAServerThatDoesNotKnowEhlo) {
    Session session(R"(
        S: 220 hi
        C: EHLO localhost
        S: 502-what
        S: 502-8BITMIME
        S: 502 is that
        C: HELO localhost
        S: 250-hi
        S: 250-8BITMIME
        S: 250 there
        silence
    )");
    EXPECT_TRUE(session.open());
    EXPECT_THAT(session.client.getExtensions(), IsEmpty());
    EXPECT_FALSE(session.client.isExtensionSupported(u"8BITMIME"));
    EXPECT_FALSE(session.client.isExtensionSupported(u""));
}

TEST(Extension, isNotSupportedBeforeTheClientIsOpen) {
    EXPECT_FALSE(SMTPClient().isExtensionSupported(u"8BITMIME"));
}

TEST(Extension, staysKnownAfterClosingAndIsForgottenByTheNextOpening) {
    Session session(R"(
        S: 220 hi
        C: EHLO localhost
        S: 250-hi
        S: 250-8BITMIME
        S: 250 HELP
        C: QUIT
        S: 221 bye
    )");
    ASSERT_TRUE(session.open());
    session.client.close();
    EXPECT_TRUE(session.client.isExtensionSupported(u"8BITMIME"));
    sandbox::ScriptedPeer refusing(sandbox::parseDialogue("S: 554 no\nC: QUIT\nS: 221 bye\n"));
    EXPECT_FALSE(session.client.open(u"127.0.0.1", portOf(refusing).GetBuffer()));
    EXPECT_THAT(session.client.getExtensions(), IsEmpty());
}

TEST(Extension, staysKnownWhenAnOpenClientIsOpenedAgain) {
    Announcement server("250-host\r\n250-8BITMIME\r\n250 HELP\r\n");
    EXPECT_FALSE(server.open());
    EXPECT_TRUE(server.client.isExtensionSupported(u"8BITMIME"));
}

}  // namespace
