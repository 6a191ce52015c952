// SPDX-License-Identifier: Apache-2.0
// What an administrator reads who has the diagnostics on.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "tests/unit/pop3client/session.h"

using testing::ElementsAre;

namespace {

constexpr AdDiagnosticId mailDiagnostics = 11;

/// What is reported of one command and what the server sends before it closes.
std::vector<std::string> reportsOf(const std::string& reply) {
    OpenSession session({sandbox::expectLine("NOOP"), sandbox::say(reply)});
    const CapturedReports reports;
    session.client.sendCommand("NOOP");
    return clientReports(reports);
}

TEST(Pop3Log, hasEveryLineOfBothSides) {
    const CapturedReports reports;
    Session session("S: +OK hi\nC: STAT\nS: +OK 3 1200\nC: QUIT\nS: -ERR no\n");
    EXPECT_TRUE(session.open());
    EXPECT_EQ(session.client.countMessages(), 3);
    session.client.close();
    const std::string client = "pop3client (vtinetlib.dll)";
    const std::string buffer = "socketbuf (vtinetlib.dll)";
    using Report = CapturedReports::Report;
    EXPECT_THAT(reports.all(),
                ElementsAre(Report{buffer, "connect succeeded"}, Report{client, "POP3<-+OK hi"},
                            Report{client, "POP3->STAT"}, Report{client, "POP3<-+OK 3 1200"},
                            Report{client, "POP3->QUIT"}, Report{client, "POP3<--ERR no"},
                            Report{buffer, "closing socket"}));
}

TEST(Pop3Log, hasThePasswordInClear) {
    OpenSession session("C: USER joe\nS: +OK\nC: PASS secret\nS: +OK\n");
    const CapturedReports reports;
    EXPECT_TRUE(session.client.auth_pass(u"joe", u"secret"));
    EXPECT_THAT(clientReports(reports),
                ElementsAre("POP3->USER joe", "POP3<-+OK", "POP3->PASS secret", "POP3<-+OK"));
}

TEST(Pop3Log, hasNothingOfTheMessage) {
    OpenSession session("C: RETR 1\nS: +OK 9 octets\nS: secret\nS: .\n");
    const CapturedReports reports;
    std::ostringstream message;
    EXPECT_TRUE(session.client.getMessage(1, message));
    EXPECT_THAT(clientReports(reports), ElementsAre("POP3->RETR 1", "POP3<-+OK 9 octets"));
}

TEST(Pop3Log, showsCommandsWithTheirTrailingBlanks) {
    OpenSession session({sandbox::expectLine("USER "), sandbox::say("-ERR\r\n")});
    const CapturedReports reports;
    EXPECT_FALSE(session.client.auth_pass(u"", u""));
    EXPECT_THAT(clientReports(reports), ElementsAre("POP3->USER ", "POP3<--ERR"));
}

TEST(Pop3Log, showsRepliesWithoutTheirTrailingBlanks) {
    EXPECT_THAT(reportsOf("+OK x \t\r\n"), ElementsAre("POP3->NOOP", "POP3<-+OK x"));
}

TEST(Pop3Log, showsALineOfBlanksWhole) {
    EXPECT_THAT(reportsOf(" \t\r\n"), ElementsAre("POP3->NOOP", "POP3<- \t\r"));
}

TEST(Pop3Log, showsLinesThatAreNoStatusLine) {
    EXPECT_THAT(reportsOf("220 hi\r\n"), ElementsAre("POP3->NOOP", "POP3<-220 hi"));
}

TEST(Pop3Log, doesNotShowALineWithoutItsLineFeed) {
    EXPECT_THAT(reportsOf("+OK x"), ElementsAre("POP3->NOOP"));
}

TEST(Pop3Log, showsOctetsOfEightBitsAsUtf8) {
    EXPECT_THAT(reportsOf("+OK caf\xC3\xA9\r\n"), ElementsAre("POP3->NOOP", "POP3<-+OK caf\u00e9"));
}

TEST(Pop3Log, showsOctetsThatAreNoUtf8AsWindows1252) {
    EXPECT_THAT(reportsOf("+OK caf\xE9 \x80\r\n"),
                ElementsAre("POP3->NOOP", "POP3<-+OK caf\u00e9 \u20ac"));
}

TEST(Pop3Log, takesNoLineForAFormat) {
    EXPECT_THAT(reportsOf("+OK 100%s %d %n\r\n"),
                ElementsAre("POP3->NOOP", "POP3<-+OK 100%s %d %n"));
}

TEST(Pop3Log, hasCommandsThatCannotBeSent) {
    const CapturedReports reports;
    POP3Client client;
    EXPECT_FALSE(client.deleteMessage(1));
    EXPECT_THAT(clientReports(reports), ElementsAre("POP3->DELE 1"));
}

TEST(Pop3Log, isEmptyWhenTheDiagnosticsAreOff) {
    int count = 0;
    AdDiagnostic::SetReporter([&](const Zeb_String&, const Zeb_String&) { ++count; });
    Session session("S: -ERR no\nC: QUIT\nS: +OK\n");
    EXPECT_FALSE(session.open());
    AdDiagnostic::SetReporter({});
    EXPECT_EQ(count, 0);
}

TEST(Pop3Log, isEmptyWhenTheFlagAloneIsOff) {
    OpenSession session("C: NOOP\nS: +OK\n");
    const CapturedReports reports;
    AdDiagnostic::m_DiagnosticFlags[mailDiagnostics] = 0;
    EXPECT_TRUE(session.client.sendCommand("NOOP"));
    EXPECT_TRUE(reports.all().empty());
}

TEST(Pop3Log, isEmptyWhenOnlyTheFlagIsOn) {
    OpenSession session("C: NOOP\nS: +OK\n");
    const CapturedReports reports;
    AdDiagnostic::Enable(mailDiagnostics, false);
    AdDiagnostic::m_DiagnosticFlags[mailDiagnostics] = 1;
    EXPECT_TRUE(session.client.sendCommand("NOOP"));
    EXPECT_TRUE(reports.all().empty());
}

}  // namespace
