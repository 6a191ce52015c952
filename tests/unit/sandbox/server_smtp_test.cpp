// SPDX-License-Identifier: Apache-2.0
// What the server says and keeps in SMTP when nothing is scripted.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/unit/sandbox/mail_clients.h"

using sandbox::Message;
using sandbox::Server;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using namespace std::chrono_literals;

namespace {

std::vector<std::string> keptData(const Server& server) {
    std::vector<std::string> data;
    for (const Message& message : server.messages()) data.push_back(message.data);
    return data;
}

TEST(SmtpServer, speaksFirst) {
    const Server server;
    EXPECT_THAT(Client(server.smtpPort()).line(), StartsWith("220 "));
}

TEST(SmtpServer, listsItsExtensionsToEhlo) {
    const Server server;
    SmtpClient client(server);
    client.send("EHLO localhost\r\n");
    EXPECT_EQ(client.reply(),
              "250-sandbox.localhost\r\n250-PIPELINING\r\n250-SIZE 10240000\r\n250-8BITMIME\r\n"
              "250 HELP\r\n");
}

TEST(SmtpServer, listsTheGivenExtensions) {
    const Server server({.ehloLines = {"SIZE", "AUTH PLAIN"}});
    SmtpClient client(server);
    client.send("EHLO localhost\r\n");
    EXPECT_EQ(client.reply(), "250-sandbox.localhost\r\n250-SIZE\r\n250 AUTH PLAIN\r\n");
}

TEST(SmtpServer, announcesTheSizeItTakes) {
    for (const std::size_t size : {0U, 77U}) {
        const Server server({.limits = {.message = size}});
        SmtpClient client(server);
        client.send("EHLO localhost\r\n");
        EXPECT_THAT(client.reply(), HasSubstr("\r\n250-SIZE " + std::to_string(size) + "\r\n"));
    }
}

TEST(SmtpServer, answersEhloWithOneLineWithoutExtensions) {
    const Server server({.ehloLines = {}});
    SmtpClient client(server);
    client.send("EHLO localhost\r\n");
    EXPECT_EQ(client.reply(), "250 sandbox.localhost\r\n");
}

TEST(SmtpServer, answersHeloWithOneLine) {
    const Server server;
    SmtpClient client(server);
    EXPECT_EQ(client.ask("HELO localhost\r\n"), "250 sandbox.localhost\r\n");
}

struct CommandCase {
    std::string name;
    std::vector<std::string> before;  // commands that are taken
    std::string command;
    std::string code;
};
void PrintTo(const CommandCase& row, std::ostream* out) { *out << row.name; }

class SmtpCommand : public testing::TestWithParam<CommandCase> {};

TEST_P(SmtpCommand, isAnsweredWithItsCode) {
    const Server server;
    SmtpClient client(server);
    for (const std::string& command : GetParam().before)
        ASSERT_EQ(client.code(command).front(), '2') << command;
    EXPECT_EQ(client.code(GetParam().command), GetParam().code);
    EXPECT_EQ(client.code("NOOP"), "250");
}

const std::string hello = "EHLO localhost";
const std::string mail = "MAIL FROM:<a@example.org>";
const std::string recipient = "RCPT TO:<b@example.org>";

std::string nameOf(const testing::TestParamInfo<CommandCase>& info) { return info.param.name; }

INSTANTIATE_TEST_SUITE_P(OfAnyTime, SmtpCommand,
                         testing::Values(CommandCase{"EhloWithoutName", {}, "EHLO", "501"},
                                         CommandCase{"EhloWithTwoNames", {}, "EHLO a b", "501"},
                                         CommandCase{"HeloWithoutName", {}, "HELO", "501"},
                                         CommandCase{"LowerCase", {}, "ehlo localhost", "250"},
                                         CommandCase{"NoopWithText", {}, "NOOP anything", "250"},
                                         CommandCase{"Vrfy", {}, "VRFY somebody", "252"},
                                         CommandCase{"VrfyOfNobody", {}, "VRFY", "501"},
                                         CommandCase{"Expn", {}, "EXPN list", "502"},
                                         CommandCase{"Help", {}, "HELP", "214"},
                                         CommandCase{"Rset", {}, "RSET", "250"},
                                         CommandCase{"RsetWithText", {}, "RSET all", "501"},
                                         CommandCase{"QuitWithText", {}, "QUIT now", "501"},
                                         CommandCase{"Unknown", {}, "STARTTLS", "500"},
                                         CommandCase{"EmptyLine", {}, "", "500"},
                                         CommandCase{"LeadingSpace", {}, " NOOP", "500"},
                                         CommandCase{"CommandOfPop3", {}, "STAT", "500"},
                                         CommandCase{"BareLineFeed", {}, "NOOP\nNOOP", "500"},
                                         CommandCase{"BareCarriageReturn", {}, "NOOP\rNOOP", "500"},
                                         CommandCase{"Nul", {}, std::string("NOOP \0", 6), "500"},
                                         CommandCase{"OctetsAbove7F", {}, "\xC3\xA4\xFF", "500"}),
                         nameOf);

INSTANTIATE_TEST_SUITE_P(
    InOrder, SmtpCommand,
    testing::Values(CommandCase{"MailBeforeHello", {}, mail, "503"},
                    CommandCase{"MailAfterRsetOnly", {"RSET"}, mail, "503"},
                    CommandCase{"MailAfterHelo", {"HELO localhost"}, mail, "250"},
                    CommandCase{"MailTwice", {hello, mail}, mail, "503"},
                    CommandCase{"RecipientBeforeMail", {hello}, recipient, "503"},
                    CommandCase{"SecondRecipient", {hello, mail, recipient}, recipient, "250"},
                    CommandCase{"DataBeforeMail", {hello}, "DATA", "503"},
                    CommandCase{"DataWithoutRecipient", {hello, mail}, "DATA", "554"},
                    CommandCase{"DataWithText", {hello, mail, recipient}, "DATA now", "501"},
                    CommandCase{"RecipientAfterRset", {hello, mail, "RSET"}, recipient, "503"},
                    CommandCase{"MailAfterRset", {hello, mail, "RSET"}, mail, "250"},
                    CommandCase{"RecipientAfterHello", {hello, mail, hello}, recipient, "503"}),
    nameOf);

/// A row of MAIL after EHLO.
CommandCase mailCase(const std::string& name, const std::string& argument,
                     const std::string& code) {
    return {name, {hello}, "MAIL " + argument, code};
}

INSTANTIATE_TEST_SUITE_P(
    OfSender, SmtpCommand,
    testing::Values(mailCase("Null", "FROM:<>", "250"),
                    mailCase("LowerCase", "from:<a@example.org>", "250"),
                    mailCase("Quoted", R"(FROM:<"a \" b"@example.org>)", "250"),
                    mailCase("AddressLiteral", "FROM:<a@[127.0.0.1]>", "250"),
                    mailCase("SpaceBeforePath", "FROM: <a@example.org>", "501"),
                    mailCase("NoBrackets", "FROM:a@example.org", "501"),
                    mailCase("NoClosingBracket", "FROM:<a@example.org", "501"),
                    mailCase("NoDomain", "FROM:<a>", "501"),
                    mailCase("TwoDots", "FROM:<a..b@example.org>", "501"),
                    mailCase("OpenQuote", R"(FROM:<"a@example.org>)", "501"),
                    mailCase("OpenLiteral", "FROM:<a@[127.0.0.1>", "501"),
                    mailCase("SourceRouteAlone", "FROM:<@x.example:>", "501"),
                    mailCase("OctetAbove7F", "FROM:<\xE4@example.org>", "501"),
                    mailCase("OfRcpt", "TO:<a@example.org>", "501")),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    OfMailParameters, SmtpCommand,
    testing::Values(mailCase("Size", "FROM:<a@example.org> SIZE=10240000", "250"),
                    mailCase("SizeInLowerCase", "FROM:<a@example.org> size=1", "250"),
                    mailCase("SizeTooLarge", "FROM:<a@example.org> SIZE=10240001", "552"),
                    mailCase("SizeOfManyDigits", "FROM:<> SIZE=99999999999999999999", "552"),
                    mailCase("SizeThatIsNoNumber", "FROM:<a@example.org> SIZE=-1", "501"),
                    mailCase("SizeWithoutValue", "FROM:<a@example.org> SIZE", "501"),
                    mailCase("SizeWithEmptyValue", "FROM:<a@example.org> SIZE=", "501"),
                    mailCase("Body8Bit", "FROM:<a@example.org> BODY=8BITMIME", "250"),
                    mailCase("Body7Bit", "FROM:<a@example.org> BODY=7bit SIZE=3", "250"),
                    mailCase("BodyOfAnotherKind", "FROM:<a@example.org> BODY=BINARYMIME", "501"),
                    mailCase("Unknown", "FROM:<a@example.org> RET=HDRS", "555"),
                    mailCase("TwoSpaces", "FROM:<a@example.org>  SIZE=1", "501"),
                    mailCase("SpaceAtTheEnd", "FROM:<a@example.org> ", "501"),
                    CommandCase{"SizeAfterHelo", {"HELO localhost"}, mail + " SIZE=1", "555"},
                    CommandCase{"BodyAfterHelo", {"HELO localhost"}, mail + " BODY=7BIT", "555"}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    OfRecipient, SmtpCommand,
    testing::Values(CommandCase{"Null", {hello, mail}, "RCPT TO:<>", "501"},
                    CommandCase{"Postmaster", {hello, mail}, "RCPT TO:<Postmaster>", "250"},
                    CommandCase{"NoBrackets", {hello, mail}, "RCPT TO:b@example.org", "501"},
                    CommandCase{"OfMail", {hello, mail}, "RCPT FROM:<b@example.org>", "501"},
                    CommandCase{"Parameter", {hello, mail}, recipient + " NOTIFY=NEVER", "555"}),
    nameOf);

TEST(SmtpServer, takesOnlyParametersOfListedExtensions) {
    const Server server({.ehloLines = {"SIZE"}});
    SmtpClient client(server);
    EXPECT_EQ(client.code(hello), "250");
    EXPECT_EQ(client.code(mail + " BODY=8BITMIME"), "555");
    EXPECT_EQ(client.code(mail + " SIZE=1"), "250");
}

TEST(SmtpServer, closesAfterQuit) {
    const Server server;
    SmtpClient client(server);
    EXPECT_EQ(client.code("QUIT"), "221");
    EXPECT_EQ(client.rest(), "");
    EXPECT_FALSE(client.wasReset());
}

TEST(SmtpServer, keepsEnvelopeAndMessage) {
    const Server server;
    SmtpClient client(server);
    EXPECT_EQ(client.code(hello), "250");
    EXPECT_EQ(client.code("MAIL FROM:<@x.example,@y.example:a@example.org> SIZE=9"), "250");
    EXPECT_EQ(client.code("RCPT TO:<c@example.org>"), "250");
    EXPECT_EQ(client.code("RCPT TO:<\"b b\"@[127.0.0.1]>"), "250");
    EXPECT_EQ(client.code("DATA"), "354");
    EXPECT_EQ(client.code("Subject: x\r\n\r\ntext\r\n."), "250");
    EXPECT_THAT(server.messages(), ElementsAre(Message{"a@example.org",
                                                       {"c@example.org", "\"b b\"@[127.0.0.1]"},
                                                       "Subject: x\r\n\r\ntext\r\n"}));
}

TEST(SmtpServer, takesSeveralMessagesOnOneConnection) {
    const Server server;
    SmtpClient client(server);
    for (const char* data : {"one\r\n", "two\r\n", "three\r\n"})
        EXPECT_EQ(client.sendMessage(data), "250");
    EXPECT_THAT(keptData(server), ElementsAre("one\r\n", "two\r\n", "three\r\n"));
}

TEST(SmtpServer, startsTheNextEnvelopeEmpty) {
    const Server server;
    SmtpClient client(server);
    EXPECT_EQ(client.sendMessage("one\r\n"), "250");
    EXPECT_EQ(client.code(recipient), "503");
    EXPECT_EQ(client.code("MAIL FROM:<>"), "250");
    EXPECT_EQ(client.code("RCPT TO:<c@example.org>"), "250");
    EXPECT_EQ(client.code("DATA"), "354");
    EXPECT_EQ(client.code("."), "250");
    EXPECT_EQ(server.messages().at(1), (Message{"", {"c@example.org"}, ""}));
}

TEST(SmtpServer, forgetsTheEnvelopeAtRset) {
    const Server server;
    SmtpClient client(server);
    client.startMail();
    EXPECT_EQ(client.code("RSET"), "250");
    EXPECT_EQ(client.code("MAIL FROM:<c@example.org>"), "250");
    EXPECT_EQ(client.code("RCPT TO:<d@example.org>"), "250");
    EXPECT_EQ(client.code("DATA"), "354");
    EXPECT_EQ(client.code("."), "250");
    EXPECT_THAT(server.messages(), ElementsAre(Message{"c@example.org", {"d@example.org"}, ""}));
}

TEST(SmtpServer, takesTheFirstDotFromEachLineThatBeginsWithOne) {
    const Server server;
    EXPECT_EQ(SmtpClient(server).sendMessage("..a\r\n.b\r\n...\r\n..\r\nc.\r\n"), "250");
    EXPECT_THAT(keptData(server), ElementsAre(".a\r\nb\r\n..\r\n.\r\nc.\r\n"));
}

TEST(SmtpServer, endsAMessageAtNoBareLineFeedOrCarriageReturn) {
    const Server server;
    SmtpClient client(server);
    EXPECT_EQ(client.sendMessage("a\n.\nb\r.\rc\n.\r\nd\r\n.\ne\r\n.\rf\r\n"), "250");
    EXPECT_THAT(keptData(server), ElementsAre("a\n.\nb\r.\rc\n.\r\nd\r\n\ne\r\n\rf\r\n"));
}

TEST(SmtpServer, keepsEveryOctet) {
    std::string all;
    for (int octet = 0; octet < 256; ++octet) all += static_cast<char>(octet);
    const Server server;
    EXPECT_EQ(SmtpClient(server).sendMessage(all + "\r\n"), "250");
    EXPECT_THAT(keptData(server), ElementsAre(all + "\r\n"));
}

TEST(SmtpServer, answersPipelinedCommandsInOrder) {
    const Server server;
    SmtpClient client(server);
    client.send("HELO localhost\r\n" + mail + "\r\n" + recipient +
                "\r\nDATA\r\ntext\r\n.\r\nWHAT\r\nQUIT\r\n");
    std::string codes;
    for (int replies = 0; replies < 7; ++replies) codes += client.line().substr(0, 3) + ' ';
    EXPECT_EQ(codes, "250 250 250 354 250 500 221 ");
    EXPECT_EQ(client.rest(), "");
    EXPECT_THAT(keptData(server), ElementsAre("text\r\n"));
}

TEST(SmtpServer, takesADialogueOctetByOctet) {
    const Server server;
    SmtpClient client(server);
    const std::string dialogue =
        "HELO localhost\r\n" + mail + "\r\n" + recipient + "\r\nDATA\r\n..a\r\n.b\r\n.\r\nQUIT\r\n";
    for (const char& octet : dialogue) client.send({&octet, 1});
    client.rest();
    EXPECT_THAT(keptData(server), ElementsAre(".a\r\nb\r\n"));
}

TEST(SmtpServer, keepsNothingOfAMessageThatDoesNotEnd) {
    const Server server;
    SmtpClient client(server);
    client.startMail();
    EXPECT_EQ(client.code("DATA"), "354");
    client.send("text\r\n");
    client.endSending();
    EXPECT_EQ(client.rest(), "");
    EXPECT_THAT(server.messages(), IsEmpty());
}

TEST(SmtpServer, takesALargeMessage) {
    std::string large;
    while (large.size() < 20'000'000) large += std::string(76, 'x') + "\r\n";
    const Server server({.limits = {.message = 0}});
    EXPECT_EQ(SmtpClient(server).sendMessage(large), "250");
    EXPECT_TRUE(server.messages().at(0).data == large);
}

TEST(SmtpServer, takesAMessageOfTheSizeOfItsLimit) {
    const Server server({.limits = {.message = 6}});
    EXPECT_EQ(SmtpClient(server).sendMessage("abcd\r\n"), "250");
}

TEST(SmtpServer, refusesALargerMessageAndTakesTheNext) {
    const Server server({.limits = {.message = 6}});
    SmtpClient client(server);
    EXPECT_EQ(client.sendMessage("abcd\r\ne\r\n"), "552");
    EXPECT_EQ(client.sendMessage("abcd\r\n"), "250");
    EXPECT_THAT(keptData(server), ElementsAre("abcd\r\n"));
}

TEST(SmtpServer, refusesAMessageWithALineBeyondTheLimit) {
    const Server server({.limits = {.dataLine = 5}});
    SmtpClient client(server);
    EXPECT_EQ(client.sendMessage("abc\r\nabcd\r\nabc\r\n"), "500");
    EXPECT_EQ(client.sendMessage("abc\r\nabc\r\n"), "250");
    EXPECT_THAT(keptData(server), ElementsAre("abc\r\nabc\r\n"));
}

TEST(SmtpServer, takesACommandLineOfTheSizeOfItsLimit) {
    const Server server;
    SmtpClient client(server);
    EXPECT_EQ(client.code("NOOP " + std::string(1000 - 7, 'x')), "250");
    EXPECT_EQ(client.code("NOOP " + std::string(1000 - 6, 'x')), "500");
}

TEST(SmtpServer, readsOnBehindACommandLineThatIsMuchTooLong) {
    const Server server;
    SmtpClient client(server);
    EXPECT_EQ(client.ask("NOOP " + std::string(5'000'000, 'x') + "\r\n"), "500 line too long\r\n");
    EXPECT_EQ(client.code("NOOP"), "250");
}

TEST(SmtpServer, takesAnyCommandLineWithoutALimit) {
    const Server server({.limits = {.commandLine = 0}});
    EXPECT_EQ(SmtpClient(server).code("NOOP " + std::string(100'000, 'x')), "250");
}

TEST(SmtpServer, showsALongLineCutInItsTranscript) {
    const Server server({.limits = {.commandLine = 10}});
    EXPECT_EQ(SmtpClient(server).code("NOOP " + std::string(100'000, 'x')), "500");
    EXPECT_THAT(server.transcript().at(1).text, StartsWith("NOOP xxx"));
    EXPECT_LT(server.transcript().at(1).text.size(), 20000U);
}

TEST(SmtpServer, doesWithoutARefusedRecipient) {
    Server server;
    server.on(sandbox::Service::Smtp, sandbox::Step::Rcpt,
              sandbox::Reply::say("550 no such user\r\n"), {.argument = "<no@example.org>"});
    SmtpClient client(server);
    client.startMail();
    EXPECT_EQ(client.code("RCPT TO:<no@example.org>"), "550");
    EXPECT_EQ(client.code("RCPT TO:<c@example.org>"), "250");
    EXPECT_EQ(client.code("DATA"), "354");
    EXPECT_EQ(client.code("."), "250");
    EXPECT_THAT(server.messages().at(0).recipients, ElementsAre("b@example.org", "c@example.org"));
}

TEST(SmtpServer, takesNoDataWhenAllRecipientsAreRefused) {
    Server server;
    server.on(sandbox::Service::Smtp, sandbox::Step::Rcpt, sandbox::Reply::say("550 no\r\n"));
    SmtpClient client(server);
    EXPECT_EQ(client.code(hello), "250");
    EXPECT_EQ(client.code(mail), "250");
    EXPECT_EQ(client.code(recipient), "550");
    EXPECT_EQ(client.code("DATA"), "554");
}

TEST(SmtpServer, sendsToThoseRecipientsThatItHasRoomFor) {
    const Server server({.limits = {.recipients = 2}});
    SmtpClient client(server);
    client.startMail();
    EXPECT_EQ(client.code("RCPT TO:<c@example.org>"), "250");
    EXPECT_EQ(client.code("RCPT TO:<d@example.org>"), "452");
    EXPECT_EQ(client.code("DATA"), "354");
    EXPECT_EQ(client.code("."), "250");
    EXPECT_THAT(server.messages().at(0).recipients, ElementsAre("b@example.org", "c@example.org"));
}

TEST(SmtpServer, countsRecipientsAnewForEachMail) {
    const Server server({.limits = {.recipients = 1}});
    SmtpClient client(server);
    EXPECT_EQ(client.sendMessage("one\r\n"), "250");
    EXPECT_EQ(client.sendMessage("two\r\n"), "250");
}

TEST(SmtpServer, takesAnyNumberOfRecipientsWithoutALimit) {
    const Server server({.limits = {.recipients = 0}});
    SmtpClient client(server);
    client.startMail();
    for (int count = 0; count < 1100; ++count)
        ASSERT_EQ(client.code("RCPT TO:<c@example.org>"), "250") << count;
}

TEST(SmtpServer, numbersWhatArrivesAndNotesTheTime) {
    const Server server;
    const auto before = std::chrono::system_clock::now();
    SmtpClient client(server);
    EXPECT_EQ(client.sendMessage("one\r\n"), "250");
    EXPECT_EQ(client.sendMessage("two\r\n"), "250");
    const std::vector<sandbox::Arrival> arrivals = server.arrivals();
    ASSERT_THAT(arrivals, SizeIs(2));
    EXPECT_EQ(arrivals[0].number, 1U);
    EXPECT_EQ(arrivals[1].number, 2U);
    EXPECT_EQ(arrivals[1].message->data, "two\r\n");
    EXPECT_LE(before, arrivals[0].time);
    EXPECT_LE(arrivals[0].time, arrivals[1].time);
}

TEST(SmtpServer, hasAMessageBeforeItsClientKnows) {
    const Server server;
    EXPECT_EQ(SmtpClient(server).sendMessage("text\r\n"), "250");
    EXPECT_TRUE(server.waitForMessages(1, 0ms));
}

TEST(SmtpServer, endsAWaitForMessagesThatDoNotCome) {
    const Server server;
    EXPECT_EQ(SmtpClient(server).sendMessage("text\r\n"), "250");
    EXPECT_FALSE(server.waitForMessages(2, 20ms));
}

}  // namespace
