// SPDX-License-Identifier: Apache-2.0
// vtmail send: what became of each recipient, whole mails, and dialogues that stop before the mail.
#include <gmock/gmock.h>
#include <sysexits.h>

#include <fstream>

#include "sandbox/server.h"
#include "tests/unit/vtmail/json_schema.h"
#include "tests/unit/vtmail/on_smtp_port.h"
#include "tests/unit/vtmail/program.h"

namespace {

using sandbox::Reply;
using sandbox::Service;
using sandbox::Step;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;

class SendTo : public ::testing::Test {
  protected:
    SendTo() {
        settings_.folder.setOctets("SMTPHost = " + privateAddress() +
                                   "\nReplyTo = me@x\nRealName = Zoe\nSendActive = 1\n");
    }

    void on(Step step, const Reply& reply, const sandbox::When& when = {}) {
        server_.on(Service::Smtp, step, reply, when);
    }

    /// The commands that the server got.
    std::vector<std::string> commands() const {
        std::vector<std::string> all;
        for (const sandbox::Line& line : server_.transcript())
            if (line.side == sandbox::Line::Side::Client) all.push_back(line.text);
        return all;
    }

    const SettingsFolder& folder() const { return settings_.folder; }

    TestSettings settings_;
    sandbox::Server server_{onSmtpPort()};
};

// ---- what became of each recipient

class SendJson : public SendTo {
  protected:
    /// Delivers to a@x, c@x (a copy) and d@x (blind). What is printed, held against the schema.
    static std::string outcome(int exitCode) {
        const Outcome run = vtmail(
            {"send", "--to", "a@x", "--cc", "c@x", "--bcc", "d@x", "--body", "hello\n", "--json"});
        EXPECT_EQ(run.exitCode, exitCode) << run.err;
        EXPECT_EQ(differencesFromSchema("send", run.out), "");
        return run.out;
    }

    /// A recipient as it is printed.
    static std::string recipient(const std::string& address, const std::string& field,
                                 const std::string& outcome, const std::string& words = {}) {
        const std::string reply = words.empty() ? ""
                                                : R"(,"reply":{"code":")" + words.substr(0, 3) +
                                                      R"(","words":")" + words + "\"}";
        return R"({"address":")" + address + R"(","field":")" + field + R"(","outcome":")" +
               outcome + "\"" + reply + "}";
    }

    /// All three.
    static std::string recipients(const std::string& a, const std::string& c,
                                  const std::string& d) {
        return "\"recipients\":[" + a + "," + c + "," + d + "]}\n";
    }

    const std::string kept_ = "250 message kept";
};

TEST_F(SendJson, TellsWhoseMailWasTaken) {
    EXPECT_EQ(outcome(EX_OK), "{" + recipients(recipient("a@x", "to", "taken", kept_),
                                               recipient("c@x", "cc", "taken", kept_),
                                               recipient("d@x", "bcc", "taken", kept_)));
}

TEST_F(SendJson, TellsWhoWasRefusedWithTheServersWords) {
    on(Step::Rcpt, Reply::say("550 5.1.1 who?\r\n"), {.argument = "<c@x>"});
    const std::string out = outcome(EX_NOUSER);
    EXPECT_THAT(out,
                HasSubstr(R"("phase":"rcpt","reply":{"code":"550","words":"550 5.1.1 who?"})"));
    EXPECT_THAT(out, HasSubstr(recipients(recipient("a@x", "to", "taken", kept_),
                                          recipient("c@x", "cc", "refused", "550 5.1.1 who?"),
                                          recipient("d@x", "bcc", "taken", kept_))));
}

TEST_F(SendJson, ARefusedMailIsRefusedForAllWhoWereAccepted) {
    on(Step::EndOfData, Reply::say("554 spam\r\n"), {.occurrence = 1});
    const std::string out = outcome(EX_UNAVAILABLE);
    EXPECT_THAT(out, HasSubstr(R"("phase":"message","reply":{"code":"554")"));
    EXPECT_THAT(out, HasSubstr(recipients(recipient("a@x", "to", "refused", "554 spam"),
                                          recipient("c@x", "cc", "refused", "554 spam"),
                                          recipient("d@x", "bcc", "taken", kept_))));
}

TEST_F(SendJson, ARefusedDataIsARefusalOfTheMail) {
    on(Step::Data, Reply::say("451 later\r\n"), {.occurrence = 1});
    const std::string out = outcome(EX_TEMPFAIL);
    EXPECT_THAT(out, HasSubstr(R"("phase":"data")"));
    EXPECT_THAT(out, HasSubstr(recipient("a@x", "to", "refused", "451 later")));
}

TEST_F(SendJson, WhereTheAnswerToTheMailIsLostNobodyKnows) {
    on(Step::EndOfData, Reply::close(), {.occurrence = 1});
    const std::string out = outcome(EX_TEMPFAIL);
    EXPECT_THAT(out, HasSubstr(R"("phase":"message"},)"));
    EXPECT_THAT(out, HasSubstr(recipients(recipient("a@x", "to", "unknown"),
                                          recipient("c@x", "cc", "unknown"),
                                          recipient("d@x", "bcc", "notSent"))));
}

TEST_F(SendJson, ALostConnectionBeforeTheMailLeavesItUnsent) {
    on(Step::Rcpt, Reply::close(), {.argument = "<c@x>"});
    EXPECT_THAT(outcome(EX_TEMPFAIL),
                HasSubstr(recipients(recipient("a@x", "to", "accepted", "250 recipient taken"),
                                     recipient("c@x", "cc", "notSent"),
                                     recipient("d@x", "bcc", "notSent"))));
}

TEST_F(SendJson, AGreetingThatRefusesIsAPhase) {
    on(Step::Greeting, Reply::say("554 go away\r\n"));
    const std::string out = outcome(EX_UNAVAILABLE);
    EXPECT_THAT(out, StartsWith(R"({"failure":{"exitCode":69,"message":")"));
    EXPECT_THAT(out, HasSubstr(R"("phase":"greeting","reply":{"code":"554")"));
}

TEST_F(SendJson, RepliesThatAreNoneHaveNoCode) {
    on(Step::Mail, Reply::say("hello\r\n"));
    EXPECT_THAT(outcome(EX_PROTOCOL),
                HasSubstr(R"("phase":"mail","reply":{"code":"","words":"hello"})"));
}

TEST_F(SendJson, ServersThatCannotBeReachedHaveAPhase) {
    settings_.folder.setOctets("SMTPHost = 127.0.0.99\nReplyTo = me@x\nSendActive = 1\n");
    EXPECT_THAT(outcome(EX_TEMPFAIL), HasSubstr(R"("phase":"connect"},)"));
    settings_.folder.setOctets("SMTPHost = a b\nReplyTo = me@x\nSendActive = 1\n");
    EXPECT_THAT(outcome(EX_NOHOST), HasSubstr(R"("phase":"resolve"},)"));
}

TEST_F(SendJson, BlindRecipientsAloneHaveTheirFates) {
    on(Step::Rcpt, Reply::say("550 no\r\n"), {.argument = "<b@x>"});
    const Outcome run =
        vtmail({"send", "--bcc", "a@x", "--bcc", "b@x", "--body", "hello\n", "--json"});
    EXPECT_THAT(run.out, HasSubstr("\"recipients\":[" + recipient("a@x", "bcc", "taken", kept_) +
                                   "," + recipient("b@x", "bcc", "refused", "550 no") + "]}\n"));
}

TEST_F(SendJson, AMailThatIsNotSentHasNoPhase) {
    settings_.folder.setOctets("SMTPHost = x\nReplyTo = me@x\nSendActive = 0\n");
    const std::string out = outcome(EX_CONFIG);
    EXPECT_THAT(out, StartsWith(R"({"failure":{"exitCode":78,"message":"sending is switched off)"));
    EXPECT_THAT(out, ::testing::Not(HasSubstr("phase")));
}

// ---- --stop-after

class SendStops : public SendTo {
  protected:
    static Outcome stopAfter(const std::string& phase, const std::vector<std::string>& more = {}) {
        std::vector<std::string> arguments = {"send",   "--to",  "a@x",          "--bcc", "d@x",
                                              "--body", "hello", "--stop-after", phase};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return vtmail(arguments);
    }
};

TEST_F(SendStops, AfterEhlo) {
    const Outcome run = stopAfter("ehlo");
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.err, "vtmail: stopped as wanted, nobody got the mail\n");
    EXPECT_THAT(commands(), ElementsAre("EHLO localhost", "QUIT"));
}

TEST_F(SendStops, AfterMail) {
    EXPECT_EQ(stopAfter("mail").exitCode, 0);
    EXPECT_THAT(commands(), ElementsAre("EHLO localhost", "MAIL FROM:<me@x>", "RSET",
                                        "MAIL FROM:<me@x>", "RSET", "QUIT"));
}

TEST_F(SendStops, AfterRcpt) {
    const Outcome run = stopAfter("rcpt", {"--json"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(commands(),
                ElementsAre("EHLO localhost", "MAIL FROM:<me@x>", "RCPT TO:<a@x>", "RSET",
                            "MAIL FROM:<me@x>", "RCPT TO:<d@x>", "RSET", "QUIT"));
    EXPECT_THAT(run.out, AllOf(HasSubstr(R"("field":"to","outcome":"accepted")"),
                               HasSubstr(R"("field":"bcc","outcome":"accepted")")));
    EXPECT_EQ(differencesFromSchema("send", run.out), "");
    EXPECT_THAT(server_.messages(), IsEmpty());
}

TEST_F(SendStops, ARefusalIsTold) {
    on(Step::Rcpt, Reply::say("550 who?\r\n"), {.argument = "<d@x>"});
    const Outcome run = stopAfter("rcpt");
    EXPECT_EQ(run.exitCode, EX_NOUSER);
    EXPECT_THAT(run.err, HasSubstr("refused <d@x> (550 who?); nobody got the mail\n"));
}

TEST_F(SendStops, ALostConnectionIsTold) {
    on(Step::Mail, Reply::close());
    const Outcome run = stopAfter("rcpt");
    EXPECT_EQ(run.exitCode, EX_TEMPFAIL);
    EXPECT_THAT(run.err, HasSubstr("at MAIL FROM:<me@x>, the server closed the connection"));
}

TEST_F(SendStops, AServerThatIsNotThereIsTold) {
    settings_.folder.setOctets("SMTPHost = 127.0.0.99\nReplyTo = me@x\nSendActive = 1\n");
    EXPECT_EQ(stopAfter("ehlo").exitCode, EX_TEMPFAIL);
}

TEST_F(SendStops, APhaseThatIsNoneIsAUsageError) {
    const Outcome run = stopAfter("data");
    EXPECT_EQ(run.exitCode, EX_USAGE);
    EXPECT_THAT(run.err, HasSubstr("data not in {ehlo,mail,rcpt}"));
    EXPECT_THAT(commands(), IsEmpty());
}

// ---- settings check

class SettingsCheck : public SendTo {};

TEST_F(SettingsCheck, TellsWhatTheServerOffersAndSendsNothing) {
    const Outcome run = vtmail({"settings", "check"});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.out, privateAddress() +
                           " answers and offers:\n  PIPELINING\n  SIZE 10240000\n  8BITMIME\n"
                           "  HELP\n");
    EXPECT_THAT(run.err, IsEmpty());
    EXPECT_THAT(commands(), ElementsAre("EHLO localhost", "QUIT"));
}

TEST_F(SettingsCheck, AnOldServerOffersNothing) {
    on(Step::Ehlo, Reply::say("502 what?\r\n"));
    EXPECT_EQ(vtmail({"settings", "check"}).out,
              privateAddress() + " answers and offers no extension\n");
}

TEST_F(SettingsCheck, ForProgramsItIsAnObject) {
    on(Step::Ehlo, Reply::say("250-x\r\n250-\x1B\r\n250\r\n"));
    const Outcome run = vtmail({"settings", "check", "--json"});
    EXPECT_EQ(run.out, R"({"offers":["\u001b",""],"server":")" + privateAddress() + "\"}\n");
    EXPECT_EQ(differencesFromSchema("settingsCheck", run.out), "");
}

TEST_F(SettingsCheck, ARefusalIsToldWithoutAWordAboutMail) {
    on(Step::Greeting, Reply::say("554 go away\r\n"));
    const Outcome run = vtmail({"settings", "check"});
    EXPECT_EQ(run.exitCode, EX_UNAVAILABLE);
    EXPECT_EQ(run.err, "vtmail: " + privateAddress() + ": refused the greeting (554 go away)\n");
    EXPECT_THAT(run.out, IsEmpty());
}

TEST_F(SettingsCheck, WhatKeepsAMailFromBeingSentIsSaid) {
    settings_.folder.setOctets("SMTPHost = " + privateAddress() + "\n");
    const Outcome run = vtmail({"settings", "check"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.err, AllOf(HasSubstr("sending is switched off"), HasSubstr("no sender")));
    settings_.folder.setOctets("SendActive = 1\n");
    EXPECT_EQ(vtmail({"settings", "check"}).exitCode, EX_CONFIG);
}

// ---- whole mails

class SendWhole : public SendTo {
  protected:
    void expectRefusal(const std::string& mail, const std::string& words) const {
        const Outcome run = vtmail({"send", "-t"}, mail);
        EXPECT_EQ(run.exitCode, EX_DATAERR);
        EXPECT_THAT(run.err, HasSubstr(words));
        EXPECT_EQ(run.err.find('\n'), run.err.size() - 1) << run.err;
        EXPECT_THAT(commands(), IsEmpty());
    }
};

const std::string wholeMail =
    "From: Boss <boss@x>\nTo: Ann <a@x>,\n b@x\nCc: c@x\nBcc: d@x\nX-Other: lost\n"
    "Subject: =?UTF-8?Q?Gr=C3=BC=C3=9Fe?=\nContent-Type: text/plain; charset=iso-8859-1\n"
    "Content-Transfer-Encoding: quoted-printable\n\nGr=F6=DFe\n.\nend\n";

TEST_F(SendWhole, RecipientsSenderSubjectAndTextAreTaken) {
    const Outcome run = vtmail({"send", "-t"}, wholeMail);
    EXPECT_EQ(run.exitCode, 0) << run.err;
    ASSERT_THAT(server_.messages(), SizeIs(2));
    const sandbox::Message mail = server_.messages()[0];
    EXPECT_EQ(mail.sender, "boss@x");
    EXPECT_THAT(mail.recipients, ElementsAre("a@x", "b@x", "c@x"));
    EXPECT_THAT(mail.data, AllOf(HasSubstr("Subject: =?UTF-8?B?R3LDvMOfZQ==?="),
                                 HasSubstr("From: <boss@x>\r\nTo: <a@x>, <b@x>\r\nCc: <c@x>\r\n"),
                                 HasSubstr("\r\n\r\nGröße\r\n.\r\nend\r\n")));
    EXPECT_THAT(mail.data, ::testing::Not(HasSubstr("X-Other")));
    EXPECT_THAT(server_.messages()[1].recipients, ElementsAre("d@x"));
}

TEST_F(SendWhole, LineEndsOfBothKindsAreTheSame) {
    std::string mail = "To: a@x\r\nTo: b@x\r\n\r\none\r\ntwo\r\n";
    EXPECT_EQ(vtmail({"send", "-t"}, mail).exitCode, 0);
    ASSERT_THAT(server_.messages(), SizeIs(1));
    EXPECT_THAT(server_.messages()[0].recipients, ElementsAre("a@x", "b@x"));
    EXPECT_THAT(server_.messages()[0].data, ::testing::EndsWith("\r\n\r\none\r\ntwo\r\n"));
}

// Time in proportion to the square would be minutes.
TEST_F(SendWhole, AMillionLineEndsOfTwoOctetsAreReadInProportion) {
    std::string mail = "To: a@x\r\n\r\n";
    for (int line = 0; line < 1'000'000; ++line) mail += "\r\n";
    const Outcome run = vtmail({"send", "-t", "--dry-run"}, mail);
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_GT(run.out.size(), 2'000'000U);
}

TEST_F(SendWhole, WithoutFromTheSenderIsThatOfTheSettings) {
    EXPECT_EQ(vtmail({"send", "-t"}, "To: a@x\n\nhello\n").exitCode, 0);
    ASSERT_THAT(server_.messages(), SizeIs(1));
    EXPECT_THAT(server_.messages()[0].data, HasSubstr("From: \"Zoe\" <me@x>\r\n"));
}

TEST_F(SendWhole, TheOptionFromComesFirst) {
    EXPECT_EQ(vtmail({"send", "-t", "--from", "other@x"}, wholeMail).exitCode, 0);
    EXPECT_EQ(server_.messages().at(0).sender, "other@x");
}

TEST_F(SendWhole, ItIsReadFromAFileToo) {
    const std::string file = (folder().path() / "mail").string();
    std::ofstream(file) << "To: a@x\n\nhello\n";
    EXPECT_EQ(vtmail({"send", "-t", "--file", file}).exitCode, 0);
    EXPECT_THAT(server_.messages(), SizeIs(1));
}

TEST_F(SendWhole, WhatWouldBeLostIsRefused) {
    const std::pair<std::string, const char*> rows[] = {
        {"", "standard input has no recipient in To, Cc or Bcc"},
        {"To:\n\nx\n", "has no recipient"},
        {"To: a@x, nobody\n\nx\n", "To of standard input: a@x, nobody is no list"},
        {"To: a@x b@x\n\nx\n", "is no list of plain mail addresses"},
        {"Cc: friends: a@x;\n\nx\n", "Cc of standard input"},
        {"To: a@x,\n\nx\n", "behind 1 of them"},
        {"Bcc: \"a b\"@x\n\nx\n", "Bcc of standard input"},
        {"To: \xC3\xA4@x\n\nx\n", "To of standard input"},
        {"To: a@x\nFrom: b@x, c@x\n\nx\n", "From more than one address"},
        {"To: a@x\nSubject: a\nSubject: b\n\nx\n", "more than one Subject"},
        {"To: a@x\nContent-Type: text/html\n\nx\n", "is text/html, which would be lost"},
        {"To: a@x\nContent-Type: multipart/mixed; boundary=b\n\n--b\n\nx\n--b--\n",
         "is multipart/mixed, which would be lost"},
        {"To: a@x\nBcc: b@x,\n \n c@x\nSubject: s\n\nx\n", "has a line of blanks in its header"},
        {"To: a@x\r\n\t \r\n\r\nx\r\n", "has a line of blanks in its header"},
        {"To: a@x\nBcc : b@x\n\nx\n", "has a blank behind the name of the field Bcc "},
        {"To: a@x\nContent-Transfer-Encoding: Base64\n\naGVsbG8=\nd29ybGQ=\n",
         "has a base64 text that goes on behind its padding"},
        {"To: a@x\nrubbish\n\nx\n", "standard input is damaged: "},
        {"To: a@x\nContent-Type: text/plain; charset=klingon\n\nx\n", "is damaged: "},
    };
    for (const auto& [mail, words] : rows) expectRefusal(mail, words);
}

TEST_F(SendWhole, WhatOnlyLooksLikeThatIsSent) {
    for (const char* mail :
         {"To: a@x,\n b@x\nSubject: a : b\n c : d\n\n \nx : y\n", "To: a@x\n", "To: a@x",
          "To: a@x\nContent-Transfer-Encoding: base64\n\naGVs\nbG8=\n\n"})
        EXPECT_EQ(vtmail({"send", "-t"}, mail).exitCode, 0) << mail;
}

TEST_F(SendWhole, OptionsThatWouldContradictAreRefused) {
    const std::vector<std::string> options[] = {
        {"--to", "a@x"}, {"--cc", "a@x"}, {"--bcc", "a@x"}, {"--subject", "s"}, {"--body", "b"}};
    for (const std::vector<std::string>& option : options) {
        const Outcome run = vtmail({"send", "-t", option[0], option[1]}, wholeMail);
        EXPECT_EQ(run.exitCode, EX_USAGE);
        EXPECT_THAT(run.err, HasSubstr("excludes"));
    }
}

}  // namespace
