// SPDX-License-Identifier: Apache-2.0
// Where the server listens, whom it serves at once, and what it tells of the dialogues.
#include "sandbox/server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "tests/unit/sandbox/mail_clients.h"

using sandbox::Line;
using sandbox::Server;
using sandbox::Service;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::ThrowsMessage;

namespace {

constexpr auto clientSide = Line::Side::Client;
constexpr auto serverSide = Line::Side::Server;

TEST(Server, picksDifferentFreePorts) {
    const Server one;
    const Server other;
    EXPECT_NE(one.smtpPort(), 0);
    EXPECT_NE(one.pop3Port(), 0);
    EXPECT_NE(one.smtpPort(), one.pop3Port());
    EXPECT_NE(one.smtpPort(), other.smtpPort());
}

TEST(Server, listensOnTheGivenAddressOnly) {
    const Server elsewhere({.address = "127.0.0.2"});
    EXPECT_NO_THROW(Client(elsewhere.smtpPort(), "127.0.0.2"));
    EXPECT_ANY_THROW(Client(elsewhere.smtpPort(), "127.0.0.1"));
}

TEST(Server, namesServiceAddressAndPortWhereItCannotListen) {
    const Server first;
    const std::string place = "127.0.0.1:" + std::to_string(first.pop3Port());
    EXPECT_THAT([&] { const Server second({.smtpPort = first.pop3Port()}); },
                ThrowsMessage<std::system_error>(
                    AllOf(HasSubstr("SMTP"), HasSubstr(place), HasSubstr("in use"))));
    EXPECT_THAT([&] { const Server second({.pop3Port = first.pop3Port()}); },
                ThrowsMessage<std::system_error>(AllOf(HasSubstr("POP3"), HasSubstr(place))));
    EXPECT_THROW(Server({.address = "nowhere"}), std::system_error);
}

TEST(Server, canListenAgainWhereAnotherEnded) {
    auto first = std::make_unique<Server>();
    const std::uint16_t port = first->smtpPort();
    EXPECT_EQ(SmtpClient(*first).code("QUIT"), "221");
    first.reset();
    EXPECT_NO_THROW(Server({.smtpPort = port}));
}

TEST(Server, endsAllConnections) {
    auto ending = std::make_unique<Server>();
    SmtpClient idle(*ending);
    SmtpClient sending(*ending);
    sending.startMail();
    EXPECT_EQ(sending.code("DATA"), "354");
    ending.reset();
    EXPECT_EQ(idle.rest(), "");
    EXPECT_EQ(sending.rest(), "");
}

TEST(Server, servesManyClientsInTurns) {
    const Server busy;
    std::vector<std::unique_ptr<SmtpClient>> clients(40);
    std::vector<std::string> expected;
    for (auto& each : clients) each = std::make_unique<SmtpClient>(busy);
    for (auto& each : clients) each->startMail();
    for (auto& each : clients) EXPECT_EQ(each->code("DATA"), "354");
    for (auto& each : clients) {
        expected.push_back("message " + std::to_string(expected.size()) + "\r\n");
        each->send(expected.back());
    }
    for (auto& each : clients) EXPECT_EQ(each->code("."), "250");
    std::vector<std::string> kept;
    for (const auto& message : busy.messages()) kept.push_back(message.data);
    EXPECT_EQ(kept, expected);
}

TEST(Server, turnsAwayAConnectionTooMany) {
    const Server small({.limits = {.connections = 2}});
    SmtpClient first(small);
    Pop3Client second(small);
    EXPECT_EQ(Client(small.smtpPort()).rest(), "421 too many connections\r\n");
    EXPECT_EQ(Client(small.pop3Port()).rest(), "-ERR too many connections\r\n");
    EXPECT_EQ(first.code("NOOP"), "250");
}

TEST(Server, takesAConnectionInPlaceOfOneThatEnded) {
    const Server small({.limits = {.connections = 1}});
    for (int round = 0; round < 5; ++round) {
        SmtpClient guest(small);
        EXPECT_EQ(guest.code("QUIT"), "221") << round;
        EXPECT_EQ(guest.rest(), "");
    }
}

TEST(Server, servesAnyNumberOfConnectionsWithoutALimit) {
    const Server large({.limits = {.connections = 0}});
    std::vector<std::unique_ptr<SmtpClient>> clients(120);
    for (auto& each : clients) each = std::make_unique<SmtpClient>(large);
    EXPECT_EQ(clients.back()->code("NOOP"), "250");
}

TEST(Server, goesOnWhenAClientLeavesWithoutAWord) {
    const Server left;
    {
        SmtpClient leaving(left);
        leaving.startMail();
        leaving.send("DATA\r\nunfinished");
    }
    EXPECT_EQ(SmtpClient(left).sendMessage("text\r\n"), "250");
    EXPECT_EQ(left.messages().size(), 1U);
}

TEST(Server, goesOnWhenAClientDoesNotRead) {
    Server unread;
    unread.addMessage(std::string(50'000'000, 'x') + "\r\n");
    Pop3Client deaf(unread);
    deaf.send("RETR 1\r\n");
    EXPECT_EQ(SmtpClient(unread).sendMessage("text\r\n"), "250");
}

TEST(ServerTranscript, hasTheLinesOfTheDialoguesWithoutMessages) {
    Server talking;
    talking.addMessage("secret\r\n");
    {
        SmtpClient sender(talking);
        EXPECT_EQ(sender.code("HELO localhost"), "250");
        EXPECT_EQ(sender.code("MAIL FROM:<>"), "250");
        EXPECT_EQ(sender.code("RCPT TO:<b@example.org>"), "250");
        EXPECT_EQ(sender.code("DATA"), "354");
        EXPECT_EQ(sender.code("secret\r\n."), "250");
    }
    Pop3Client reader(talking);
    reader.lines("RETR 1");
    const auto lines = talking.transcript();
    ASSERT_EQ(lines.size(), 17U);
    EXPECT_EQ(lines[1], (Line{clientSide, "HELO localhost", Service::Smtp, 1}));
    EXPECT_EQ(lines[2], (Line{serverSide, "250 sandbox.localhost", Service::Smtp, 1}));
    EXPECT_EQ(lines[7], (Line{clientSide, "DATA", Service::Smtp, 1}));
    EXPECT_EQ(lines[9], (Line{serverSide, "250 message kept", Service::Smtp, 1}));
    EXPECT_EQ(lines[11], (Line{clientSide, "USER any", Service::Pop3, 2}));
    EXPECT_EQ(lines[16], (Line{serverSide, "+OK 8 octets", Service::Pop3, 2}));
}

TEST(ServerTranscript, showsWhatWasReallySaid) {
    const Server cutting({.replies = {{Service::Smtp, sandbox::Step::Greeting,
                                       sandbox::Reply::usual().cutAfter(4)}}});
    EXPECT_EQ(Client(cutting.smtpPort()).rest(), "220 ");
    EXPECT_THAT(cutting.transcript(), ElementsAre(Line{serverSide, "220 ", Service::Smtp, 1}));
}

TEST(ServerTranscript, goesToTheObserverLineByLine) {
    std::vector<Line> seen;
    std::vector<Line> kept;
    {
        const Server observed({.observer = [&](const Line& line) { seen.push_back(line); }});
        EXPECT_EQ(SmtpClient(observed).code("EHLO localhost"), "250");
        kept = observed.transcript();
    }
    EXPECT_EQ(seen.size(), 7U);
    EXPECT_EQ(seen, kept);
}

}  // namespace
