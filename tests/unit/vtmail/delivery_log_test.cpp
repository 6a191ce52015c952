// SPDX-License-Identifier: Apache-2.0
// What the library's reports of a failed delivery mean, where no server can bring them about.
#include "tools/vtmail/delivery_log.h"

#include <gmock/gmock.h>
#include <netdb.h>

#include <cerrno>

namespace {

using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;

DeliveryFailure explained(const std::vector<std::string>& reports) {
    DeliveryLog log;
    for (const std::string& report : reports) log.add(report);
    return log.explain("mail.x");
}

/// A delivery to a@x that went well up to the reply to MAIL FROM, then `rest`.
DeliveryFailure explainedAfterMail(const std::vector<std::string>& rest) {
    std::vector<std::string> reports = {"connect succeeded",      "SMTP<-220 hello",
                                        "SMTP->EHLO localhost",   "SMTP<-250 mail.x",
                                        "SMTP->MAIL FROM:<me@x>", "SMTP<-250 ok"};
    reports.insert(reports.end(), rest.begin(), rest.end());
    return explained(reports);
}

/// The same up to the message.
DeliveryFailure explainedAfterData(const std::vector<std::string>& rest) {
    std::vector<std::string> reports = {"SMTP->RCPT TO:<a@x>", "SMTP<-250 ok", "SMTP->DATA",
                                        "SMTP<-354 go on"};
    reports.insert(reports.end(), rest.begin(), rest.end());
    return explainedAfterMail(reports);
}

// ---- no connection

struct Unconnected {
    const char* name;
    std::string report;
    int exitCode;
    std::string words;
};

void PrintTo(const Unconnected& row, std::ostream* out) { *out << row.name; }

class NoConnection : public ::testing::TestWithParam<Unconnected> {};

TEST_P(NoConnection, IsExplainedByItsReport) {
    const Failure failure = explained({GetParam().report});
    EXPECT_EQ(failure.exitCode(), GetParam().exitCode);
    EXPECT_THAT(failure.what(), HasSubstr(GetParam().words));
}

std::string resolverReport(int status) {
    return "getaddrinfo(mail.x,smtp) failed (" + std::to_string(status) + ")";
}

INSTANTIATE_TEST_SUITE_P(
    Reports, NoConnection,
    ::testing::Values(
        Unconnected{"Unknown", resolverReport(EAI_NONAME), EX_NOHOST,
                    "mail.x: Name or service not known; see vtmail settings get SMTPHost"},
        Unconnected{"WithoutAddress", resolverReport(EAI_NODATA), EX_NOHOST,
                    "mail.x: No address associated with hostname"},
        Unconnected{"NotNow", resolverReport(EAI_AGAIN), EX_TEMPFAIL,
                    "mail.x: Temporary failure in name resolution"},
        Unconnected{"NoMemory", resolverReport(EAI_MEMORY), EX_TEMPFAIL,
                    "mail.x: Memory allocation failure"},
        Unconnected{"NoService", resolverReport(EAI_SERVICE), EX_OSFILE, "netbase"},
        Unconnected{"NoName", resolverReport(1), EX_NOHOST, "mail.x is no host name"},
        Unconnected{"TimedOut", "connect() failed (" + std::to_string(ETIMEDOUT) + ")", EX_TEMPFAIL,
                    "cannot connect to mail.x, port of the service smtp: Connection "
                    "timed out"},
        Unconnected{"NoDescriptor", "socket() failed (" + std::to_string(EMFILE) + ")", EX_TEMPFAIL,
                    "Too many open files"}),
    [](const auto& row) { return row.param.name; });

TEST(DeliveryLog, AFailureWithoutAReportIsOneOfMemory) {
    EXPECT_THAT(explained({}).what(), EndsWith("Cannot allocate memory"));
}

// ---- silence and lost connections

TEST(DeliveryLog, SilenceIsNamedWithItsStep) {
    const Failure failure =
        explained({"connect succeeded", "SMTP<-220 hello", "SMTP->EHLO localhost",
                   "select timed out", "SMTP->HELO localhost", "SMTP->QUIT", "closing socket"});
    EXPECT_EQ(failure.exitCode(), EX_TEMPFAIL);
    EXPECT_STREQ(failure.what(),
                 "mail.x: at EHLO localhost, the server did not answer in time; "
                 "nobody got the mail");
}

TEST(DeliveryLog, ASilentServerMayHaveTakenTheMessage) {
    EXPECT_STREQ(explainedAfterData({"select timed out", "SMTP->QUIT"}).what(),
                 "mail.x: at the message, the server did not answer in time; "
                 "the mail may have arrived all the same");
}

TEST(DeliveryLog, AMessageThatDidNotLeaveHasNotArrived) {
    EXPECT_STREQ(explainedAfterData({"send(1024) failed (32)", "SMTP->QUIT"}).what(),
                 "mail.x: at the message, the connection was lost: Broken pipe; "
                 "nobody got the mail");
}

TEST(DeliveryLog, AMessageThatLeftInPartIsNoErrorNumber) {
    EXPECT_THAT(explainedAfterData({"send(1024) failed (900)"}).what(),
                HasSubstr("at the message, the connection was lost: it is stuck; nobody"));
}

// ---- which transaction

TEST(DeliveryLog, ALossAmongTheBlindRecipientsDoesNotHideThatTheOthersGotTheMail) {
    const Failure failure = explainedAfterData(
        {"SMTP<-250 taken", "SMTP->MAIL FROM:<me@x>", "recv() failed (104)", "SMTP->QUIT"});
    EXPECT_STREQ(failure.what(),
                 "mail.x: at MAIL FROM:<me@x> for the blind recipients, the connection was lost: "
                 "Connection reset by peer; the others got the mail");
}

TEST(DeliveryLog, EveryRefusedRecipientIsNamed) {
    std::vector<std::string> reports;
    for (int i = 0; i < 1000; ++i) {
        reports.push_back("SMTP->RCPT TO:<" + std::to_string(i) + "@x>");
        reports.emplace_back("SMTP<-550 unknown");
    }
    const std::string text = explainedAfterMail(reports).what();
    EXPECT_THAT(text, AllOf(HasSubstr("refused <0@x> (550 unknown)"),
                            HasSubstr("refused <999@x> (550 unknown)")));
}

TEST(DeliveryLog, TheFirstReasonGivesTheExitCode) {
    const Failure failure =
        explainedAfterMail({"SMTP->RCPT TO:<a@x>", "SMTP<-450 later", "SMTP->RCPT TO:<b@x>",
                            "SMTP<-550 never", "SMTP->DATA", "SMTP<-554 nobody"});
    EXPECT_EQ(failure.exitCode(), EX_TEMPFAIL);
}

TEST(DeliveryLog, ALongReplyIsCutBetweenCharacters) {
    std::string words = "550 x";
    for (int i = 0; i < 300; ++i) words += "ü";
    EXPECT_THAT(explained({"connect succeeded", "SMTP<-" + words}).what(),
                HasSubstr("(" + words.substr(0, 399) + "...)"));
}

}  // namespace
