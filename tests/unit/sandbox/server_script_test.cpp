// SPDX-License-Identifier: Apache-2.0
// Steps that are answered in another way than usual.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>

#include "tests/unit/sandbox/mail_clients.h"

using sandbox::Reply;
using sandbox::Server;
using sandbox::Service;
using sandbox::Step;
using testing::IsEmpty;
using testing::SizeIs;
using namespace std::chrono_literals;

namespace {

constexpr auto noop = "NOOP\r\n";
constexpr auto usualNoop = "250 done nothing\r\n";

class ScriptedServer : public testing::Test {
  protected:
    /// Answers a step of SMTP.
    void on(Step step, const Reply& reply, const sandbox::When& when = {}) {
        server_.on(Service::Smtp, step, reply, when);
    }

    Server server_;
};

TEST_F(ScriptedServer, saysOtherWords) {
    on(Step::Noop, Reply::say("250-one\r\n250 two\r\n"));
    SmtpClient client(server_);
    client.send(noop);
    EXPECT_EQ(client.reply(), "250-one\r\n250 two\r\n");
}

TEST_F(ScriptedServer, saysWordsThatAreNoReply) {
    on(Step::Noop, Reply::say(std::string("\0\xFF\n", 3)).thenClose());
    SmtpClient client(server_);
    client.send(noop);
    EXPECT_EQ(client.rest(), std::string("\0\xFF\n", 3));
}

TEST_F(ScriptedServer, waits) {
    on(Step::Noop, Reply::usual().after(100ms));
    SmtpClient client(server_);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(client.ask(noop), usualNoop);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 100ms);
}

TEST_F(ScriptedServer, servesOthersWhileItWaits) {
    on(Step::Noop, Reply::usual().after(1h));
    SmtpClient waiting(server_);
    waiting.send(noop);
    EXPECT_EQ(SmtpClient(server_).code("HELO localhost"), "250");
}

TEST_F(ScriptedServer, cutsItsWords) {
    on(Step::Noop, Reply::usual().cutAfter(5));
    SmtpClient client(server_);
    client.send(noop);
    EXPECT_EQ(client.rest(), "250 d");
    EXPECT_FALSE(client.wasReset());
}

TEST_F(ScriptedServer, cutsNothingBehindTheEnd) {
    on(Step::Noop, Reply::usual().cutAfter(1000));
    SmtpClient client(server_);
    client.send(noop);
    EXPECT_EQ(client.rest(), usualNoop);
}

TEST_F(ScriptedServer, saysTheSameOctetByOctet) {
    on(Step::Noop, Reply::usual().oneByOne());
    EXPECT_EQ(SmtpClient(server_).ask(noop), usualNoop);
}

TEST_F(ScriptedServer, garblesAllButLineEnds) {
    on(Step::Noop, Reply::usual().garbled());
    std::string line = SmtpClient(server_).ask(noop);
    ASSERT_TRUE(line.ends_with("\r\n"));
    std::transform(line.begin(), line.end() - 2, line.begin(),
                   [](char octet) { return static_cast<char>(~octet); });
    EXPECT_EQ(line, usualNoop);
}

TEST_F(ScriptedServer, closesWithoutAWord) {
    on(Step::Greeting, Reply::close());
    Client client(server_.smtpPort());
    EXPECT_EQ(client.rest(), "");
    EXPECT_FALSE(client.wasReset());
}

TEST_F(ScriptedServer, closesInOrderWithOctetsUnread) {
    on(Step::Noop, Reply::close());
    SmtpClient client(server_);
    client.send("NOOP\r\nNOOP\r\n");
    EXPECT_EQ(client.rest(), "");
    EXPECT_FALSE(client.wasReset());
}

TEST_F(ScriptedServer, resetsTheConnection) {
    on(Step::Noop, Reply::reset());
    SmtpClient client(server_);
    client.send(noop);
    EXPECT_EQ(client.rest(), "");
    EXPECT_TRUE(client.wasReset());
}

TEST_F(ScriptedServer, closesAfterItsWords) {
    on(Step::Greeting, Reply::say("421 too busy\r\n").thenClose());
    EXPECT_EQ(Client(server_.smtpPort()).rest(), "421 too busy\r\n");
}

TEST_F(ScriptedServer, fallsSilent) {
    on(Step::Noop, Reply::silence());
    SmtpClient client(server_);
    client.send("NOOP\r\nHELP\r\n");
    EXPECT_TRUE(client.isSilentFor(50));
    EXPECT_EQ(SmtpClient(server_).code("HELP"), "214");
}

TEST_F(ScriptedServer, takesTheNthOccurrenceOverAllConnections) {
    on(Step::Noop, Reply::say("421 third\r\n"), {.occurrence = 3});
    SmtpClient one(server_);
    SmtpClient other(server_);
    EXPECT_EQ(one.code("NOOP"), "250");
    EXPECT_EQ(other.code("NOOP"), "250");
    EXPECT_EQ(one.code("NOOP"), "421");
    EXPECT_EQ(other.code("NOOP"), "250");
}

TEST_F(ScriptedServer, countsOnlyCommandsWithTheArgument) {
    on(Step::Noop, Reply::say("421 found\r\n"), {.argument = "x", .occurrence = 2});
    SmtpClient client(server_);
    EXPECT_EQ(client.code("NOOP x"), "250");
    EXPECT_EQ(client.code("NOOP y"), "250");
    EXPECT_EQ(client.code("NOOP axb"), "421");
}

TEST_F(ScriptedServer, takesTheReplyThatWasAddedFirst) {
    on(Step::Noop, Reply::say("251 first\r\n"));
    on(Step::Noop, Reply::say("252 second\r\n"));
    EXPECT_EQ(SmtpClient(server_).code("NOOP"), "251");
}

TEST_F(ScriptedServer, countsAlsoForRepliesBehindTheOneItTakes) {
    on(Step::Noop, Reply::say("251 first\r\n"), {.occurrence = 1});
    on(Step::Noop, Reply::say("252 second\r\n"), {.occurrence = 2});
    SmtpClient client(server_);
    EXPECT_EQ(client.code("NOOP"), "251");
    EXPECT_EQ(client.code("NOOP"), "252");
    EXPECT_EQ(client.code("NOOP"), "250");
}

TEST(ScriptedOptions, comeBeforeLaterReplies) {
    Server server({.replies = {{Service::Smtp, Step::Noop, Reply::say("251 option\r\n")}}});
    server.on(Service::Smtp, Step::Noop, Reply::say("252 later\r\n"));
    EXPECT_EQ(SmtpClient(server).code("NOOP"), "251");
}

TEST_F(ScriptedServer, answersUnknownCommands) {
    on(Step::Unknown, Reply::say("250 why not\r\n"), {.argument = "XYZ"});
    SmtpClient client(server_);
    EXPECT_EQ(client.code("XYZ 1"), "250");
    EXPECT_EQ(client.code("XY"), "500");
}

TEST_F(ScriptedServer, servesNobodyItDidNotWelcome) {
    on(Step::Greeting, Reply::say("554 no service\r\n"));
    SmtpClient client(server_);
    EXPECT_EQ(client.code("EHLO localhost"), "503");
    EXPECT_EQ(client.code("QUIT"), "221");
}

TEST_F(ScriptedServer, doesNotDoWhatItRefuses) {
    on(Step::Mail, Reply::say("451 later\r\n"), {.occurrence = 1});
    SmtpClient client(server_);
    EXPECT_EQ(client.code("HELO localhost"), "250");
    EXPECT_EQ(client.code("MAIL FROM:<a@example.org>"), "451");
    EXPECT_EQ(client.code("RCPT TO:<b@example.org>"), "503");
    EXPECT_EQ(client.code("MAIL FROM:<a@example.org>"), "250");
}

TEST_F(ScriptedServer, doesWhatItAgreesToInOtherWords) {
    on(Step::Mail, Reply::say("259 well\r\n"));
    SmtpClient client(server_);
    EXPECT_EQ(client.code("HELO localhost"), "250");
    EXPECT_EQ(client.code("MAIL FROM:<a@example.org>"), "259");
    EXPECT_EQ(client.code("RCPT TO:<b@example.org>"), "250");
}

TEST_F(ScriptedServer, takesNoDataUnlessItSaysSo) {
    on(Step::Data, Reply::say("250 but not now\r\n"));
    SmtpClient client(server_);
    client.startMail();
    EXPECT_EQ(client.code("DATA"), "250");
    EXPECT_EQ(client.code("NOOP"), "250");
    EXPECT_THAT(server_.messages(), IsEmpty());
}

TEST_F(ScriptedServer, throwsAwayAMessageThatItRefuses) {
    on(Step::EndOfData, Reply::say("554 spam\r\n"), {.occurrence = 1});
    SmtpClient client(server_);
    EXPECT_EQ(client.sendMessage("one\r\n"), "554");
    EXPECT_THAT(server_.messages(), IsEmpty());
    EXPECT_EQ(client.sendMessage("two\r\n"), "250");
    EXPECT_THAT(server_.messages(), SizeIs(1));
}

TEST_F(ScriptedServer, keepsAMessageWhoseClientNeverLearnsOfIt) {
    on(Step::EndOfData, Reply::reset());
    SmtpClient client(server_);
    EXPECT_EQ(client.sendMessage("one\r\n"), "");
    EXPECT_TRUE(client.wasReset());
    EXPECT_THAT(server_.messages(), SizeIs(1));
}

TEST_F(ScriptedServer, answersPop3Too) {
    server_.on(Service::Pop3, Step::Stat, Reply::say("-ERR not today\r\n"));
    EXPECT_EQ(Pop3Client(server_).ask("STAT\r\n"), "-ERR not today\r\n");
}

TEST_F(ScriptedServer, answersOnlyTheGivenService) {
    server_.on(Service::Pop3, Step::Noop, Reply::say("-ERR\r\n"));
    EXPECT_EQ(SmtpClient(server_).code("NOOP"), "250");
}

TEST_F(ScriptedServer, deletesNothingWhenItRefusesQuit) {
    server_.on(Service::Pop3, Step::Quit, Reply::say("-ERR some are left\r\n").thenClose());
    server_.addMessage("one\r\n");
    Pop3Client client(server_);
    EXPECT_TRUE(client.takes("DELE 1"));
    EXPECT_FALSE(client.takes("QUIT"));
    EXPECT_EQ(client.rest(), "");
    EXPECT_THAT(server_.mailbox(), SizeIs(1));
}

TEST_F(ScriptedServer, cutsAMessage) {
    server_.on(Service::Pop3, Step::Retr, Reply::usual().cutAfter(18));
    server_.addMessage("one two three\r\n");
    Pop3Client client(server_);
    client.send("RETR 1\r\n");
    EXPECT_EQ(client.rest(), "+OK 15 octets\r\none");
}

}  // namespace
