// SPDX-License-Identifier: Apache-2.0
// What an administrator reads who has the diagnostics on.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/smtpclient/session.h"

using testing::ElementsAre;

namespace {

/// What is reported of one command and what the server sends before it closes.
std::vector<std::string> reportsOf(const std::string& reply) {
    OpenSession session({sandbox::expectLine("NOOP"), sandbox::say(reply)});
    const CapturedReports reports;
    session.client.sendCommand("NOOP");
    return clientReports(reports);
}

TEST(ProtocolLog, hasEveryLineOfBothSides) {
    const CapturedReports reports;
    Session session(R"(
        S: 220 hi
        C: EHLO localhost
        S: 250-hi
        S: 250 HELP
        C: QUIT
        S: 221 bye
    )");
    EXPECT_TRUE(session.open());
    session.client.close();
    const std::string client = "smtpclient (vtinetlib.dll)";
    const std::string buffer = "socketbuf (vtinetlib.dll)";
    using Report = CapturedReports::Report;
    EXPECT_THAT(reports.all(),
                ElementsAre(Report{buffer, "connect succeeded"}, Report{client, "SMTP<-220 hi"},
                            Report{client, "SMTP->EHLO localhost"}, Report{client, "SMTP<-250-hi"},
                            Report{client, "SMTP<-250 HELP"}, Report{client, "SMTP->QUIT"},
                            Report{client, "SMTP<-221 bye"}, Report{buffer, "closing socket"}));
}

TEST(ProtocolLog, hasNothingOfTheMessage) {
    OpenSession session(R"(
        C: MAIL FROM:<from@here>
        S: 250 ok
        C: RCPT TO:<a@b>
        S: 250 ok
        C: DATA
        S: 354 go on
        C: secret
        C: .
        S: 250 taken
        silence
    )");
    const CapturedReports reports;
    EXPECT_EQ(session.deliver({"a@b"}, "secret\r\n"), 1U);
    EXPECT_THAT(clientReports(reports),
                ElementsAre("SMTP->MAIL FROM:<from@here>", "SMTP<-250 ok", "SMTP->RCPT TO:<a@b>",
                            "SMTP<-250 ok", "SMTP->DATA", "SMTP<-354 go on", "SMTP<-250 taken"));
}

TEST(ProtocolLog, showsLinesWithoutTheirTrailingBlanks) {
    EXPECT_THAT(reportsOf("250 ok \t\r\n"), ElementsAre("SMTP->NOOP", "SMTP<-250 ok"));
}

TEST(ProtocolLog, showsLinesThatAreNoReply) {
    EXPECT_THAT(reportsOf("25\r\n"), ElementsAre("SMTP->NOOP", "SMTP<-25"));
    EXPECT_THAT(reportsOf("250x\r\n"), ElementsAre("SMTP->NOOP", "SMTP<-250x"));
}

TEST(ProtocolLog, doesNotShowALineWithoutItsLineFeed) {
    EXPECT_THAT(reportsOf("250-a\r\n250 ok"), ElementsAre("SMTP->NOOP", "SMTP<-250-a"));
}

TEST(ProtocolLog, showsOctetsOfEightBitsAsUtf8) {
    EXPECT_THAT(reportsOf("250 caf\xC3\xA9\r\n"), ElementsAre("SMTP->NOOP", "SMTP<-250 caf\u00e9"));
}

TEST(ProtocolLog, showsOctetsThatAreNoUtf8AsWindows1252) {
    EXPECT_THAT(reportsOf("250 caf\xE9 \x80\r\n"),
                ElementsAre("SMTP->NOOP", "SMTP<-250 caf\u00e9 \u20ac"));
}

TEST(ProtocolLog, showsALineUpToItsFirstNul) {
    EXPECT_THAT(reportsOf(std::string("250 a\0b\r\n", 9)),
                ElementsAre("SMTP->NOOP", "SMTP<-250 a"));
}

TEST(ProtocolLog, takesNoLineForAFormat) {
    EXPECT_THAT(reportsOf("250 100%s %d %n\r\n"),
                ElementsAre("SMTP->NOOP", "SMTP<-250 100%s %d %n"));
}

TEST(ProtocolLog, hasCommandsThatAreNotSent) {
    const CapturedReports reports;
    SMTPClient client;
    client.close();
    EXPECT_THAT(reports.all(),
                ElementsAre(CapturedReports::Report{"smtpclient (vtinetlib.dll)", "SMTP->QUIT"}));
}

TEST(ProtocolLog, isEmptyWhenTheDiagnosticsAreOff) {
    int count = 0;
    AdDiagnostic::SetReporter([&](const Zeb_String&, const Zeb_String&) { ++count; });
    Session session("S: 554 no\nC: QUIT\nS: 221 bye\n");
    EXPECT_FALSE(session.open());
    AdDiagnostic::SetReporter({});
    EXPECT_EQ(count, 0);
}

}  // namespace
