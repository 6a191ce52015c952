// SPDX-License-Identifier: Apache-2.0
// What the server says and does in POP3 when nothing is scripted.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/unit/sandbox/mail_clients.h"

using sandbox::Server;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

namespace {

/// A server whose mailbox has two messages, of 5 and of 11 octets.
class Pop3Server : public testing::Test {
  protected:
    Pop3Server() {
        server_.addMessage("one\r\n");
        server_.addMessage("two\r\nthree\n");
    }

    Server server_;
};

TEST_F(Pop3Server, speaksFirst) {
    EXPECT_THAT(Client(server_.pop3Port()).line(), StartsWith("+OK "));
}

TEST_F(Pop3Server, letsAnybodyInWhenNoUserIsSet) {
    Client client(server_.pop3Port());
    client.line();
    EXPECT_THAT(client.ask("USER anybody\r\n"), StartsWith("+OK"));
    EXPECT_THAT(client.ask("PASS any thing \r\n"), StartsWith("+OK"));
    EXPECT_EQ(client.ask("STAT\r\n"), "+OK 2 16\r\n");
}

TEST_F(Pop3Server, wantsTheUserBeforeThePassword) {
    Client client(server_.pop3Port());
    client.line();
    EXPECT_THAT(client.ask("PASS secret\r\n"), StartsWith("-ERR"));
    EXPECT_THAT(client.ask("USER \r\n"), StartsWith("-ERR"));
    EXPECT_THAT(client.ask("PASS secret\r\n"), StartsWith("-ERR"));
}

TEST_F(Pop3Server, showsNothingWithoutAPassword) {
    Client client(server_.pop3Port());
    client.line();
    for (const char* command : {"STAT", "LIST", "UIDL", "RETR 1", "TOP 1 0", "DELE 1", "RSET"})
        EXPECT_THAT(client.ask(std::string(command) + "\r\n"), StartsWith("-ERR")) << command;
}

TEST_F(Pop3Server, takesNoSecondUser) {
    Pop3Client client(server_);
    EXPECT_FALSE(client.takes("USER other"));
    EXPECT_FALSE(client.takes("PASS other"));
}

TEST(Pop3Login, takesTheGivenUserAndPasswordOnly) {
    const Server server({.pop3User = "ines", .pop3Password = "se cret"});
    Client client(server.pop3Port());
    client.line();
    for (const auto* pair : {"USER ines\r\nPASS secret\r\n", "USER juan\r\nPASS se cret\r\n"}) {
        EXPECT_THAT(client.ask(pair), StartsWith("+OK"));
        EXPECT_THAT(client.line(), StartsWith("-ERR")) << pair;
    }
    EXPECT_THAT(client.ask("USER ines\r\nPASS se cret\r\n"), StartsWith("+OK"));
    EXPECT_THAT(client.line(), StartsWith("+OK"));
}

TEST(Pop3Login, wantsTheUserAgainAfterAWrongPassword) {
    const Server server({.pop3User = "ines", .pop3Password = "secret"});
    Client client(server.pop3Port());
    client.line();
    EXPECT_THAT(client.ask("USER ines\r\n"), StartsWith("+OK"));
    EXPECT_THAT(client.ask("PASS wrong\r\n"), StartsWith("-ERR"));
    EXPECT_THAT(client.ask("PASS secret\r\n"), StartsWith("-ERR"));
}

TEST_F(Pop3Server, countsMessagesAndOctets) {
    EXPECT_EQ(Pop3Client(server_).ask("STAT\r\n"), "+OK 2 16\r\n");
}

TEST_F(Pop3Server, countsNothingInAnEmptyMailbox) {
    const Server empty;
    Pop3Client client(empty);
    EXPECT_EQ(client.ask("STAT\r\n"), "+OK 0 0\r\n");
    EXPECT_EQ(client.lines("LIST"), ".\r\n");
    EXPECT_EQ(client.lines("UIDL"), ".\r\n");
}

TEST_F(Pop3Server, listsTheSizesOfAllMessages) {
    EXPECT_EQ(Pop3Client(server_).lines("LIST"), "1 5\r\n2 11\r\n.\r\n");
}

TEST_F(Pop3Server, listsTheSizeOfOneMessage) {
    EXPECT_EQ(Pop3Client(server_).ask("LIST 2\r\n"), "+OK 2 11\r\n");
}

TEST_F(Pop3Server, knowsNoMessageOfAnotherNumber) {
    Pop3Client client(server_);
    for (const char* verb : {"LIST ", "UIDL ", "RETR ", "DELE ", "TOP "})
        for (const char* number : {"0", "3", "-1", "x", "1x", "99999999999999999999"})
            EXPECT_FALSE(client.takes(verb + std::string(number) + (*verb == 'T' ? " 0" : "")))
                << verb << number;
}

TEST_F(Pop3Server, wantsANumberWhereThereIsNone) {
    Pop3Client client(server_);
    for (const char* command : {"RETR", "DELE", "TOP", "TOP 1", "TOP 1 x", "TOP 1 -1"})
        EXPECT_FALSE(client.takes(command)) << command;
}

TEST_F(Pop3Server, givesEachMessageAnIdOfItsOwn) {
    Pop3Client client(server_);
    const std::string first = client.ask("UIDL 1\r\n").substr(4);
    const std::string second = client.ask("UIDL 2\r\n").substr(4);
    EXPECT_THAT(first, StartsWith("1 "));
    EXPECT_NE(first.substr(2), second.substr(2));
    EXPECT_EQ(client.lines("UIDL"), first + second + ".\r\n");
}

TEST_F(Pop3Server, keepsTheIdsWhenEarlierMessagesGo) {
    Pop3Client client(server_);
    const std::string id = client.ask("UIDL 2\r\n").substr(6);
    EXPECT_TRUE(client.takes("DELE 1"));
    EXPECT_TRUE(client.takes("QUIT"));
    EXPECT_EQ(Pop3Client(server_).ask("UIDL 1\r\n"), "+OK 1 " + id);
}

TEST_F(Pop3Server, sendsAMessage) {
    EXPECT_EQ(Pop3Client(server_).lines("RETR 1"), "one\r\n.\r\n");
}

TEST_F(Pop3Server, endsALastLineThatHasNoEnd) {
    EXPECT_EQ(Pop3Client(server_).lines("RETR 2"), "two\r\nthree\n\r\n.\r\n");
}

TEST_F(Pop3Server, putsADotBeforeEachLineThatBeginsWithOne) {
    server_.addMessage(".\r\n..a\r\nb.\r\n.c\r\n");
    Pop3Client client(server_);
    EXPECT_TRUE(client.takes("RETR 3"));
    EXPECT_EQ(client.until("c\r\n.\r\n"), "..\r\n...a\r\nb.\r\n..c\r\n.\r\n");
}

TEST_F(Pop3Server, sendsEveryOctet) {
    std::string all;
    for (int octet = 0; octet < 256; ++octet) all += static_cast<char>(octet);
    server_.addMessage(all + "\r\n");
    Pop3Client client(server_);
    EXPECT_TRUE(client.takes("RETR 3"));
    EXPECT_EQ(client.until("\r\n.\r\n"), all + "\r\n.\r\n");
}

TEST_F(Pop3Server, sendsALargeMessage) {
    std::string large;
    while (large.size() < 20'000'000) large += std::string(76, 'x') + "\r\n";
    server_.addMessage(large);
    Pop3Client client(server_);
    client.send("RETR 3\r\nQUIT\r\n");
    EXPECT_EQ(client.line(), "+OK " + std::to_string(large.size()) + " octets\r\n");
    EXPECT_TRUE(client.rest() == large + ".\r\n+OK bye\r\n");
}

TEST_F(Pop3Server, sendsTheTopOfAMessage) {
    server_.addMessage("A: 1\r\nB: 2\r\n\r\n.x\r\ny\r\nz\r\n");
    Pop3Client client(server_);
    EXPECT_EQ(client.lines("TOP 3 0"), "A: 1\r\nB: 2\r\n\r\n.\r\n");
    EXPECT_EQ(client.lines("TOP 3 2"), "A: 1\r\nB: 2\r\n\r\n..x\r\ny\r\n.\r\n");
    EXPECT_EQ(client.lines("TOP 3 99"), "A: 1\r\nB: 2\r\n\r\n..x\r\ny\r\nz\r\n.\r\n");
}

TEST_F(Pop3Server, sendsAllOfAMessageWithoutBodyAsItsTop) {
    EXPECT_EQ(Pop3Client(server_).lines("TOP 1 0"), "one\r\n.\r\n");
}

TEST_F(Pop3Server, hidesADeletedMessageAndKeepsTheNumbers) {
    Pop3Client client(server_);
    EXPECT_TRUE(client.takes("DELE 1"));
    EXPECT_EQ(client.ask("STAT\r\n"), "+OK 1 11\r\n");
    EXPECT_EQ(client.lines("LIST"), "2 11\r\n.\r\n");
    for (const char* command : {"DELE 1", "RETR 1", "LIST 1", "UIDL 1", "TOP 1 0"})
        EXPECT_FALSE(client.takes(command)) << command;
}

TEST_F(Pop3Server, showsDeletedMessagesAgainAfterRset) {
    Pop3Client client(server_);
    EXPECT_TRUE(client.takes("DELE 1"));
    EXPECT_TRUE(client.takes("RSET"));
    EXPECT_EQ(client.ask("STAT\r\n"), "+OK 2 16\r\n");
    EXPECT_TRUE(client.takes("QUIT"));
    EXPECT_THAT(server_.mailbox(), SizeIs(2));
}

TEST_F(Pop3Server, deletesAtQuit) {
    Pop3Client client(server_);
    EXPECT_TRUE(client.takes("DELE 1"));
    EXPECT_THAT(server_.mailbox(), SizeIs(2));
    EXPECT_TRUE(client.takes("QUIT"));
    EXPECT_EQ(client.rest(), "");
    EXPECT_THAT(server_.mailbox(), ElementsAre("two\r\nthree\n"));
}

TEST_F(Pop3Server, deletesNothingWithoutQuit) {
    Pop3Client client(server_);
    EXPECT_TRUE(client.takes("DELE 1"));
    client.endSending();
    EXPECT_EQ(client.rest(), "");
    EXPECT_THAT(server_.mailbox(), SizeIs(2));
}

TEST_F(Pop3Server, closesAfterQuitAtAnyTime) {
    Client client(server_.pop3Port());
    client.line();
    EXPECT_THAT(client.ask("QUIT\r\n"), StartsWith("+OK"));
    EXPECT_EQ(client.rest(), "");
}

TEST_F(Pop3Server, doesNothingAtNoop) {
    Pop3Client client(server_);
    EXPECT_TRUE(client.takes("NOOP"));
    EXPECT_EQ(client.ask("STAT\r\n"), "+OK 2 16\r\n");
}

TEST_F(Pop3Server, listsWhatItCanDo) {
    EXPECT_EQ(Pop3Client(server_).lines("CAPA"), "USER\r\nTOP\r\nUIDL\r\nPIPELINING\r\n.\r\n");
}

TEST_F(Pop3Server, refusesBadInputAndGoesOn) {
    Pop3Client client(server_);
    for (const std::string& command :
         {std::string(), std::string("EHLO localhost"), std::string("RETR1"), std::string(" STAT"),
          std::string("STAT\n"), std::string("NOOP \0", 6), std::string("\xFF\xFE"),
          "NOOP " + std::string(100'000, 'x')})
        EXPECT_FALSE(client.takes(command)) << command.substr(0, 20);
    EXPECT_EQ(client.ask("stat\r\n"), "+OK 2 16\r\n");
}

TEST_F(Pop3Server, showsTheMailboxAsItWasAtTheLogin) {
    Pop3Client early(server_);
    server_.addMessage("new\r\n");
    Pop3Client late(server_);
    EXPECT_EQ(early.ask("STAT\r\n"), "+OK 2 16\r\n");
    EXPECT_EQ(late.ask("STAT\r\n"), "+OK 3 21\r\n");
}

TEST_F(Pop3Server, letsTwoClientsDeleteTheSameMessage) {
    Pop3Client one(server_);
    Pop3Client other(server_);
    for (Pop3Client* client : {&one, &other}) {
        EXPECT_TRUE(client->takes("DELE 1"));
        EXPECT_TRUE(client->takes("QUIT"));
    }
    EXPECT_THAT(server_.mailbox(), ElementsAre("two\r\nthree\n"));
}

TEST_F(Pop3Server, servesWhatSmtpBrought) {
    EXPECT_EQ(SmtpClient(server_).sendMessage("..mail\r\n"), "250");
    EXPECT_EQ(Pop3Client(server_).lines("RETR 3"), "..mail\r\n.\r\n");
}

TEST(Pop3Deletion, leavesTheMessagesOfSmtp) {
    const Server server;
    EXPECT_EQ(SmtpClient(server).sendMessage("mail\r\n"), "250");
    Pop3Client client(server);
    EXPECT_TRUE(client.takes("DELE 1"));
    EXPECT_TRUE(client.takes("QUIT"));
    EXPECT_THAT(server.mailbox(), IsEmpty());
    EXPECT_THAT(server.messages(), SizeIs(1));
}

TEST_F(Pop3Server, readsOnBehindALineThatIsTooLong) {
    Pop3Client client(server_);
    EXPECT_EQ(client.ask("NOOP " + std::string(5000, 'x') + "\r\n"), "-ERR line too long\r\n");
    EXPECT_TRUE(client.takes("NOOP"));
}

}  // namespace
