// SPDX-License-Identifier: Apache-2.0
// Faults as a person writes them, and how they strike.
#include "sandbox/fault.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/unit/sandbox/mail_clients.h"

using sandbox::Line;
using sandbox::parseFault;
using sandbox::ScriptedReply;
using sandbox::Server;
using sandbox::Service;
using sandbox::Step;
using testing::AllOf;
using testing::HasSubstr;
using testing::SizeIs;
using testing::ThrowsMessage;
using namespace std::chrono_literals;

namespace {

sandbox::ServerOptions faulty(const std::vector<std::string>& faults, std::uint64_t seed = 0) {
    sandbox::ServerOptions options;
    options.seed = seed;
    for (const std::string& fault : faults)
        for (ScriptedReply& reply : parseFault(fault, 30ms))
            options.replies.push_back(std::move(reply));
    return options;
}

struct StateCase {
    std::string state;
    Service service;
    Step step;
};
void PrintTo(const StateCase& row, std::ostream* out) { *out << row.state; }

class FaultState : public testing::TestWithParam<StateCase> {};

TEST_P(FaultState, isThatOfItsName) {
    const auto replies = parseFault(GetParam().state + ":close", 0ms);
    ASSERT_THAT(replies, SizeIs(1));
    EXPECT_EQ(replies[0].service, GetParam().service);
    EXPECT_EQ(replies[0].step, GetParam().step);
}

INSTANTIATE_TEST_SUITE_P(OfEither, FaultState,
                         testing::Values(StateCase{"SMTP.GREETING", Service::Smtp, Step::Greeting},
                                         StateCase{"EHLO", Service::Smtp, Step::Ehlo},
                                         StateCase{"smtp.helo", Service::Smtp, Step::Helo},
                                         StateCase{"Mail", Service::Smtp, Step::Mail},
                                         StateCase{"RCPT", Service::Smtp, Step::Rcpt},
                                         StateCase{"DATA", Service::Smtp, Step::Data},
                                         StateCase{"end-of-data", Service::Smtp, Step::EndOfData},
                                         StateCase{"SMTP.RSET", Service::Smtp, Step::Rset},
                                         StateCase{"SMTP.QUIT", Service::Smtp, Step::Quit},
                                         StateCase{"POP3.GREETING", Service::Pop3, Step::Greeting},
                                         StateCase{"USER", Service::Pop3, Step::User},
                                         StateCase{"PASS", Service::Pop3, Step::Pass},
                                         StateCase{"STAT", Service::Pop3, Step::Stat},
                                         StateCase{"LIST", Service::Pop3, Step::List},
                                         StateCase{"UIDL", Service::Pop3, Step::Uidl},
                                         StateCase{"RETR", Service::Pop3, Step::Retr},
                                         StateCase{"TOP", Service::Pop3, Step::Top},
                                         StateCase{"pop3.dele", Service::Pop3, Step::Dele},
                                         StateCase{"POP3.RSET", Service::Pop3, Step::Rset},
                                         StateCase{"POP3.QUIT", Service::Pop3, Step::Quit}));

TEST(FaultState, ofBothServicesIsThatOfBoth) {
    for (const char* state : {"GREETING", "RSET", "QUIT"}) {
        const auto replies = parseFault(std::string(state) + ":reset", 0ms);
        ASSERT_THAT(replies, SizeIs(2)) << state;
        EXPECT_NE(replies[0].service, replies[1].service);
        EXPECT_EQ(replies[0].step, replies[1].step);
    }
}

TEST(FaultState, ofBothServicesIsThatOfTheReply) {
    const auto smtp = parseFault("GREETING:554", 0ms);
    ASSERT_THAT(smtp, SizeIs(1));
    EXPECT_EQ(smtp[0].service, Service::Smtp);
    const auto pop3 = parseFault("GREETING:ERR", 0ms);
    ASSERT_THAT(pop3, SizeIs(1));
    EXPECT_EQ(pop3[0].service, Service::Pop3);
}

TEST(FaultText, hasAProbabilityOrIsSure) {
    EXPECT_EQ(parseFault("RCPT:550", 0ms)[0].when.probability, 1);
    EXPECT_EQ(parseFault("RCPT:550:0", 0ms)[0].when.probability, 0);
    EXPECT_EQ(parseFault("RCPT:550:.25", 0ms)[0].when.probability, 0.25);
    EXPECT_EQ(parseFault("RCPT:550:1e-3", 0ms)[0].when.probability, 0.001);
    EXPECT_EQ(parseFault("RCPT:550:1.0", 0ms)[0].when.probability, 1);
}

struct WrongCase {
    std::string text;
    std::string wrong;  // what the complaint points at
    std::string help;   // what it proposes
};
void PrintTo(const WrongCase& row, std::ostream* out) { *out << row.text; }

class WrongFault : public testing::TestWithParam<WrongCase> {};

TEST_P(WrongFault, isExplained) {
    EXPECT_THAT([] { parseFault(GetParam().text, 0ms); },
                ThrowsMessage<std::invalid_argument>(
                    AllOf(HasSubstr(GetParam().wrong), HasSubstr(GetParam().help))));
}

const std::string states = "END-OF-DATA, RSET, QUIT; of POP3 GREETING, USER";
const std::string faults = "200 to 599 for SMTP, ERR for POP3, or one of close, reset, silence";
const std::string numbers = "from 0 to 1";

INSTANTIATE_TEST_SUITE_P(
    Text, WrongFault,
    testing::Values(WrongCase{"", "no state \"\"", states},
                    WrongCase{"RCTP:550", "no state \"RCTP\"", states},
                    WrongCase{"NOOP:550", "no state \"NOOP\"", states},
                    WrongCase{"SMTP.STAT:close", "no state \"SMTP.STAT\"", states},
                    WrongCase{"POP3.MAIL:close", "no state \"POP3.MAIL\"", states},
                    WrongCase{"IMAP.QUIT:close", "no state \"IMAP.QUIT\"", states},
                    WrongCase{"SMTP.:close", "no state \"SMTP.\"", states},
                    WrongCase{" RCPT:550", "no state \" RCPT\"", states},
                    WrongCase{"RCPT", "no fault \"\" at \"RCPT\"", faults},
                    WrongCase{"RCPT:", "no fault \"\" at \"RCPT\"", faults},
                    WrongCase{"RCPT:0.5", "no fault \"0.5\" at \"RCPT\"", faults},
                    WrongCase{"RCPT:199", "no fault \"199\"", faults},
                    WrongCase{"RCPT:600", "no fault \"600\"", faults},
                    WrongCase{"RCPT:55", "no fault \"55\"", faults},
                    WrongCase{"RCPT:5500", "no fault \"5500\"", faults},
                    WrongCase{"RCPT:5x0", "no fault \"5x0\"", faults},
                    WrongCase{"RCPT:ERR", "no fault \"ERR\" at \"RCPT\"", faults},
                    WrongCase{"STAT:550", "no fault \"550\" at \"STAT\"", faults},
                    WrongCase{"RCPT:crash", "no fault \"crash\"", faults},
                    WrongCase{"RCPT:550:", "probability \"\"", numbers},
                    WrongCase{"RCPT:550:2", "probability \"2\"", numbers},
                    WrongCase{"RCPT:550:-0.1", "probability \"-0.1\"", numbers},
                    WrongCase{"RCPT:550:nan", "probability \"nan\"", numbers},
                    WrongCase{"RCPT:550:10%", "probability \"10%\"", numbers},
                    WrongCase{"RCPT:550:0,1", "probability \"0,1\"", numbers},
                    WrongCase{"RCPT:550: 0.1", "probability \" 0.1\"", numbers},
                    WrongCase{"RCPT:550:0.1:2", "probability \"0.1:2\"", numbers}));

TEST(Fault, refusesWithItsCode) {
    const Server server(faulty({"RCPT:451"}));
    SmtpClient client(server);
    EXPECT_EQ(client.code("HELO me"), "250");
    EXPECT_EQ(client.code("MAIL FROM:<>"), "250");
    EXPECT_EQ(client.ask("RCPT TO:<b@x>\r\n"), "451 a fault on purpose\r\n");
    EXPECT_EQ(client.code("DATA"), "554");
}

TEST(Fault, closesBehindA421) {
    const Server server(faulty({"MAIL:421"}));
    SmtpClient client(server);
    EXPECT_EQ(client.code("HELO me"), "250");
    EXPECT_EQ(client.ask("MAIL FROM:<>\r\n"), "421 a fault on purpose\r\n");
    EXPECT_EQ(client.rest(), "");
}

TEST(Fault, refusesInPop3) {
    const Server server(faulty({"STAT:ERR"}));
    EXPECT_EQ(Pop3Client(server).ask("STAT\r\n"), "-ERR a fault on purpose\r\n");
}

TEST(Fault, endsTheConnection) {
    const Server server(faulty({"SMTP.GREETING:close", "POP3.GREETING:reset"}));
    Client closed(server.smtpPort());
    EXPECT_EQ(closed.rest(), "");
    EXPECT_FALSE(closed.wasReset());
    Client reset(server.pop3Port());
    EXPECT_EQ(reset.rest(), "");
    EXPECT_TRUE(reset.wasReset());
}

TEST(Fault, saysNothing) {
    const Server server(faulty({"QUIT:silence"}));
    SmtpClient client(server);
    client.send("QUIT\r\n");
    EXPECT_TRUE(client.isSilentFor(50));
}

TEST(Fault, saysItLate) {
    const Server server(faulty({"HELO:slow"}));
    SmtpClient client(server);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(client.code("HELO me"), "250");
    EXPECT_GE(std::chrono::steady_clock::now() - start, 30ms);
}

TEST(Fault, saysHalfOfAMessage) {
    Server server(faulty({"RETR:half"}));
    server.addMessage(std::string(98, 'x') + "\r\n");
    Pop3Client client(server);
    client.send("RETR 1\r\n");
    // "+OK 100 octets", the message and its end line are 119 octets.
    EXPECT_EQ(client.rest(), "+OK 100 octets\r\n" + std::string(43, 'x'));
}

TEST(Fault, garblesTheWords) {
    const Server server(faulty({"HELO:garble"}));
    SmtpClient client(server);
    EXPECT_EQ(client.ask("HELO me\r\n").substr(0, 4), "\xCD\xCA\xCF\xDF");
}

TEST(Fault, isShownInTheTranscriptBeforeWhatItSays) {
    const Server server(faulty({"HELO:550:1", "MAIL:550:0"}));
    SmtpClient client(server);
    EXPECT_EQ(client.code("HELO me"), "550");
    EXPECT_EQ(client.code("MAIL FROM:<>"), "503");
    const auto lines = server.transcript();
    ASSERT_THAT(lines, SizeIs(6));
    EXPECT_EQ(lines[2], (Line{Line::Side::Script, "HELO:550:1", Service::Smtp, 1}));
    EXPECT_EQ(lines[3].text, "550 a fault on purpose");
}

/// The answers to so many times RSET: 'x' where the fault struck.
std::string strikes(const Server& server, int count, const std::string& before = {}) {
    SmtpClient client(server);
    std::string pattern;
    for (int at = 0; at < count; ++at) {
        if (!before.empty()) client.code(before);
        pattern += client.code("RSET") == "450" ? 'x' : '-';
    }
    return pattern;
}

TEST(RandomFault, strikesAlwaysOrNeverWhereThatIsSure) {
    EXPECT_EQ(strikes(Server(faulty({"RSET:450:1"}, 5)), 50), std::string(50, 'x'));
    EXPECT_EQ(strikes(Server(faulty({"RSET:450:0"}, 5)), 50), std::string(50, '-'));
}

TEST(RandomFault, strikesAsOftenAsItIsLikely) {
    const std::string pattern = strikes(Server(faulty({"RSET:450:0.1"}, 1)), 2000);
    const auto struck = std::count(pattern.begin(), pattern.end(), 'x');
    EXPECT_GT(struck, 150);
    EXPECT_LT(struck, 250);
}

TEST(RandomFault, strikesAtTheSamePlacesForASeedEverywhere) {
    EXPECT_EQ(strikes(Server(faulty({"RSET:450:0.5"}, 42)), 24), "---x-x-xxxx------xxx-xxx");
}

TEST(RandomFault, strikesElsewhereForAnotherSeed) {
    EXPECT_NE(strikes(Server(faulty({"RSET:450:0.5"}, 1)), 64),
              strikes(Server(faulty({"RSET:450:0.5"}, 2)), 64));
}

TEST(RandomFault, strikesTheSameWhateverHappensAtOtherSteps) {
    EXPECT_EQ(strikes(Server(faulty({"RSET:450:0.5", "HELO:550:0.5"}, 7)), 24),
              strikes(Server(faulty({"RSET:450:0.5", "HELO:550:0.5"}, 7)), 24, "HELO me"));
}

TEST(RandomFault, drawsForItselfBesideAnother) {
    // Both at the same step: the first one that strikes is the answer.
    const Server server(faulty({"RSET:450:0.5", "RSET:451:0.5"}, 42));
    const std::string first = strikes(server, 200);
    EXPECT_EQ(first, strikes(Server(faulty({"RSET:450:0.5"}, 42)), 200));
    std::size_t both = 0;
    for (const Line& line : server.transcript()) both += line.text == "RSET:451:0.5";
    EXPECT_GT(both, 20U);
    EXPECT_LT(both, 80U);
}

}  // namespace
