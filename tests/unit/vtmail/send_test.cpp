// SPDX-License-Identifier: Apache-2.0
// vtmail send: what it delivers, prints and refuses.
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sysexits.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "sandbox/server.h"
#include "tests/unit/host/child_process.h"
#include "tests/unit/vtmail/on_smtp_port.h"
#include "tests/unit/vtmail/program.h"
#include "tests/unit/vtmail/terminal.h"

namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::Field;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

class Send : public ::testing::Test {
  protected:
    Send() {
        folder().setOctets("SMTPHost = " + privateAddress() +
                           "\nReplyTo = me@x\nRealName = Zoë\nSendActive = 1\n");
    }

    const SettingsFolder& folder() const { return settings_.folder; }

    /// One line on stderr that holds `words`, nothing on stdout.
    static void expectFailure(const std::vector<std::string>& arguments, int exitCode,
                              const std::string& words) {
        const Outcome run = vtmail(arguments);
        EXPECT_EQ(run.exitCode, exitCode);
        EXPECT_THAT(run.out, IsEmpty());
        EXPECT_THAT(run.err, AllOf(StartsWith("vtmail: "), HasSubstr(words)));
        EXPECT_EQ(run.err.find('\n'), run.err.size() - 1) << run.err;
    }

  private:
    TestSettings settings_;
};

const std::vector<std::string> oneMail = {"send", "--to", "a@x", "--body", "hello\n"};

// ---- what is delivered

TEST_F(Send, IsSilentWhenEverybodyGotTheMail) {
    const sandbox::Server server(onSmtpPort());
    const Outcome run = vtmail(oneMail);
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.out, IsEmpty());
    EXPECT_THAT(run.err, IsEmpty());
    EXPECT_THAT(server.messages(), SizeIs(1));
}

TEST_F(Send, SendsToEveryRecipientOfEachKind) {
    const sandbox::Server server(onSmtpPort());
    const Outcome run = vtmail({"send", "--to", "a@x", "--to", "b@x", "--cc", "c@x", "--bcc", "d@x",
                                "--bcc", "e@x", "--body", "hello\n"});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    ASSERT_THAT(server.messages(), SizeIs(2));
    EXPECT_THAT(server.messages()[0].recipients, ElementsAre("a@x", "b@x", "c@x"));
    EXPECT_THAT(server.messages()[1].recipients, ElementsAre("d@x", "e@x"));
    EXPECT_THAT(server.messages()[0].data, HasSubstr("To: <a@x>, <b@x>\r\nCc: <c@x>\r\n\r\n"));
}

TEST_F(Send, SendsSubjectAndTextOfAnyScript) {
    const sandbox::Server server(onSmtpPort());
    EXPECT_EQ(vtmail({"send", "--to", "a@x", "--subject", "Grüße", "--body", "日本\n"}).exitCode,
              0);
    ASSERT_THAT(server.messages(), SizeIs(1));
    EXPECT_THAT(
        server.messages()[0].data,
        AllOf(HasSubstr("Subject: =?UTF-8?B?R3LDvMOfZQ==?= \r\n"),
              HasSubstr("From: =?UTF-8?B?Wm/Dqw==?= <me@x>\r\n"), EndsWith("\r\n\r\n日本\r\n")));
}

TEST_F(Send, TakesTheTextFromStandardInput) {
    const sandbox::Server server(onSmtpPort());
    EXPECT_EQ(vtmail({"send", "--to", "a@x"}, "from a pipe\n").exitCode, 0);
    ASSERT_THAT(server.messages(), SizeIs(1));
    EXPECT_THAT(server.messages()[0].data, EndsWith("\r\n\r\nfrom a pipe\r\n"));
}

TEST_F(Send, TakesTheTextFromAFile) {
    const std::filesystem::path file = folder().path() / "text";
    std::ofstream(file) << "from a file\n";
    const sandbox::Server server(onSmtpPort());
    EXPECT_EQ(vtmail({"send", "--to", "a@x", "--file", file.string()}).exitCode, 0);
    ASSERT_THAT(server.messages(), SizeIs(1));
    EXPECT_THAT(server.messages()[0].data, EndsWith("\r\n\r\nfrom a file\r\n"));
}

TEST_F(Send, AnotherSenderHasNoName) {
    const sandbox::Server server(onSmtpPort());
    EXPECT_EQ(vtmail({"send", "--to", "a@x", "--from", "boss@x", "--body", ""}).exitCode, 0);
    ASSERT_THAT(server.messages(), SizeIs(1));
    EXPECT_EQ(server.messages()[0].sender, "boss@x");
    EXPECT_THAT(server.messages()[0].data, HasSubstr("From: <boss@x>\r\n"));
}

struct GivenAddress {
    const char* name;
    const char* given;
    const char* sent;
};

void PrintTo(const GivenAddress& row, std::ostream* out) { *out << row.name; }

class SendToGiven : public Send, public ::testing::WithParamInterface<GivenAddress> {};

TEST_P(SendToGiven, TheAddressAloneGoesOut) {
    for (const char* option : {"--to", "--cc", "--bcc", "--from"}) {
        const sandbox::Server server(onSmtpPort());
        const Outcome run =
            vtmail({"send", "--to", "a@x", option, GetParam().given, "--body", "b"});
        ASSERT_EQ(run.exitCode, 0) << run.err;
        const std::string address = "<" + std::string(GetParam().sent) + ">";
        const std::string command = option == std::string("--from") ? "MAIL FROM:" : "RCPT TO:";
        EXPECT_THAT(server.transcript(),
                    Contains(Field(&sandbox::Line::text, StartsWith(command + address))));
        const bool isInHeader = option != std::string("--bcc");
        const std::string data = server.messages().back().data;
        EXPECT_EQ(data.find(address) != std::string::npos, isInHeader) << option;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Addresses, SendToGiven,
    ::testing::Values(GivenAddress{"Name", "Juan <juan@x.org>", "juan@x.org"},
                      GivenAddress{"NameOfWords", "Juan de la Cruz <juan@x.org>", "juan@x.org"},
                      GivenAddress{"QuotedName", "\"Cruz, J. <x>\" <juan@x.org>", "juan@x.org"},
                      GivenAddress{"NameOfAnyScript", "Zoë 承認 <juan@x.org>", "juan@x.org"},
                      GivenAddress{"BracketsAlone", "<juan@x.org>", "juan@x.org"},
                      GivenAddress{"BlanksAround", "  juan@x.org ", "juan@x.org"},
                      GivenAddress{"Bare", "o'hara+lot=7@mail-1.x.org",
                                   "o'hara+lot=7@mail-1.x.org"},
                      GivenAddress{"UserOfTheServer", "postmaster", "postmaster"},
                      GivenAddress{"QuotedLocalPart", "\"j >@\"@x", "\"j >@\"@x"},
                      GivenAddress{"AddressLiteral", "juan@[IPv6:::1]", "juan@[IPv6:::1]"}),
    [](const auto& row) { return row.param.name; });

class SendToNobody : public Send, public ::testing::WithParamInterface<const char*> {};

TEST_P(SendToNobody, WhatCannotBeAnAddressIsRefused) {
    for (const std::string option : {"--to", "--cc", "--bcc", "--from"}) {
        const Outcome run = vtmail({"send", "--to", "a@x", option, GetParam(), "--body", "b"});
        EXPECT_EQ(run.exitCode, EX_DATAERR);
        EXPECT_THAT(run.err, StartsWith("vtmail: " + option + " " + GetParam() +
                                        " is no mail address; give one such as "));
        EXPECT_EQ(run.err.find('\n'), run.err.size() - 1);
    }
}

INSTANTIATE_TEST_SUITE_P(Addresses, SendToNobody,
                         ::testing::Values("a b", "a b@x", "Juan <juan@x", "juan@x>", "Juan juan@x",
                                           "<Juan <juan@x>>", "ju>an@x", "@x", "juan@", "juan@x@y",
                                           "juan@x y", "a@x, b@x", "Juan <a@x>, Ines <b@x>",
                                           "Staff: a@x;", "<@a:b@x>", "juan@x (Juan)", "\"a@x",
                                           "\"a\"b@x", "\"a\"", "<>", "a@[::1", "a@[]", "a@[x]]",
                                           " ", "Juan <\"a b\"@x>", "Juan <>"));

TEST_F(Send, ASenderInTheSettingsIsABareAddress) {
    folder().setOctets("SMTPHost = x\nReplyTo = Zoë <me@x>\nSendActive = 1\n");
    expectFailure(oneMail, EX_CONFIG, "the setting ReplyTo Zoë <me@x> is no mail address");
}

TEST_F(Send, WithoutASubjectThereIsNoSubjectField) {
    const sandbox::Server server(onSmtpPort());
    EXPECT_EQ(vtmail(oneMail).exitCode, 0);
    EXPECT_EQ(vtmail({"send", "--to", "a@x", "--subject", "", "--body", "hello\n"}).exitCode, 0);
    ASSERT_THAT(server.messages(), SizeIs(2));
    for (const sandbox::Message& message : server.messages())
        EXPECT_THAT(message.data, AllOf(Not(HasSubstr("Subject")), HasSubstr("\r\nFrom: ")));
}

TEST_F(Send, AnEmptyValueBehindAnEqualsSignIsNotTheNextArgument) {
    const sandbox::Server server(onSmtpPort());
    const Outcome run = vtmail({"send", "--body=", "--to", "a@x"});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    ASSERT_THAT(server.messages(), SizeIs(1));
    EXPECT_THAT(server.messages()[0].data, EndsWith("To: <a@x>\r\n\r\n"));
}

TEST_F(Send, WhatIsMeantForAClosedStderrDoesNotReachTheServer) {
    const sandbox::Server server(onSmtpPort());
    const Outcome run =
        vtmail({"send", "--trace", "--to", "a@x", "--body", "x"}, {}, [] { close(STDERR_FILENO); });
    EXPECT_EQ(run.exitCode, 0);
    for (const sandbox::Line& line : server.transcript())
        EXPECT_THAT(line.text, Not(HasSubstr("vtinetlib.dll")));
}

TEST_F(Send, TraceShowsTheProtocolLog) {
    const sandbox::Server server(onSmtpPort());
    const Outcome run = vtmail({"send", "--to", "a@x", "--body", "x", "--trace"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.err, HasSubstr("socketbuf (vtinetlib.dll): connect succeeded\n"
                                   "smtpclient (vtinetlib.dll): SMTP<-220 "));
    EXPECT_THAT(run.err, HasSubstr("smtpclient (vtinetlib.dll): SMTP->RCPT TO:<a@x>\n"));
}

// ---- what would be sent

TEST_F(Send, DryRunPrintsTheMessageAndConnectsToNobody) {
    folder().setOctets("ReplyTo = me@x\nCharset = ISO-8859-1\n");
    const Outcome run = vtmail({"send", "--dry-run", "--to", "a@x", "--cc", "c@x", "--bcc", "d@x",
                                "--subject", "S", "--body", "Größe\n"});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_THAT(run.out, StartsWith("Mime-Version: 1.0\r\n"));
    EXPECT_THAT(run.out, HasSubstr("Content-Type: text/plain; charset=ISO-8859-1\r\n"));
    EXPECT_THAT(run.out, EndsWith("Subject: S\r\nFrom: <me@x>\r\nTo: <a@x>\r\nCc: <c@x>\r\n\r\n"
                                  "Gr\xF6\xDF"
                                  "e\r\n"));
}

// ---- what is not sent at all

TEST_F(Send, SwitchedOffIsSaid) {
    folder().setOctets("SMTPHost = x\nReplyTo = me@x\nSendActive = 0\n");
    expectFailure(oneMail, EX_CONFIG, "switched off, nothing was sent");
}

TEST_F(Send, MissingSettingsAreNamed) {
    folder().setOctets("ReplyTo = me@x\nSendActive = 1\n");
    expectFailure(oneMail, EX_CONFIG, "vtmail settings set SMTPHost");
    folder().setOctets("SMTPHost = x\nSendActive = 1\n");
    expectFailure(oneMail, EX_CONFIG, "vtmail settings set ReplyTo");
}

TEST_F(Send, SettingsThatNobodyUnderstandsAreNamed) {
    for (const char* octets :
         {"SendActive = 1\nSMTPHost = \"x", "rubbish\n", "SMTPHost\xFF = x\n"}) {
        folder().setOctets(octets);
        expectFailure(oneMail, EX_CONFIG, folder().file().string());
    }
}

TEST_F(Send, SettingsThatMayNotBeReadAreNamed) {
    std::filesystem::permissions(folder().file(), std::filesystem::perms(0));
    const Outcome run = vtmail(oneMail, {}, becomeOrdinaryUser);
    EXPECT_EQ(run.exitCode, EX_CONFIG);
    EXPECT_THAT(run.err, HasSubstr(folder().file().string()));
}

TEST_F(Send, AnUnknownCharsetIsNamed) {
    folder().setOctets("SMTPHost = x\nReplyTo = me@x\nSendActive = 1\nCharset = klingon\n");
    expectFailure(oneMail, EX_CONFIG, "klingon");
}

struct BadArguments {
    const char* name;
    std::vector<std::string> arguments;
    int exitCode;
    const char* words;
};

void PrintTo(const BadArguments& row, std::ostream* out) { *out << row.name; }

class SendNothing : public Send, public ::testing::WithParamInterface<BadArguments> {};

TEST_P(SendNothing, WhereArgumentsCannotBeSent) {
    const sandbox::Server server(onSmtpPort());
    std::vector<std::string> arguments = {"send"};
    arguments.insert(arguments.end(), GetParam().arguments.begin(), GetParam().arguments.end());
    expectFailure(arguments, GetParam().exitCode, GetParam().words);
    EXPECT_THAT(server.transcript(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Arguments, SendNothing,
    ::testing::Values(
        BadArguments{"NoRecipient", {"--body", "x"}, EX_USAGE, "no recipient"},
        BadArguments{"TwoBodies",
                     {"--to", "a@x", "--body", "x", "--file", "y"},
                     EX_USAGE,
                     "--body excludes --file"},
        BadArguments{"LineEndInTo",
                     {"--to", "a@x\r\nDATA", "--body", "x"},
                     EX_DATAERR,
                     "--to a@x\\x0D\\x0ADATA"},
        BadArguments{"UmlautInCc", {"--cc", "ä@x", "--body", "x"}, EX_DATAERR, "--cc ä@x"},
        BadArguments{"OctetInCc", {"--cc", "\xFC@x", "--body", "x"}, EX_DATAERR, "no mail address"},
        BadArguments{"LineEndInBcc", {"--bcc", "a@x\r", "--body", "x"}, EX_DATAERR, "--bcc a@x"},
        BadArguments{"EmptyBcc", {"--bcc", "", "--body", "x"}, EX_DATAERR, "--bcc is empty"},
        BadArguments{"SecondTo", {"--to", "a@x", "--to", "\n", "--body", "x"}, EX_DATAERR, "\\x0A"},
        BadArguments{"LineEndInFrom",
                     {"--to", "a@x", "--from", "a\n@x", "--body", "x"},
                     EX_DATAERR,
                     "--from a\\x0A@x"},
        BadArguments{"EmptyFrom",
                     {"--to", "a@x", "--from", "", "--body", "x"},
                     EX_DATAERR,
                     "--from is empty"},
        BadArguments{"OctetInSubject",
                     {"--to", "a@x", "--subject", "\xFC", "--body", "x"},
                     EX_DATAERR,
                     "--subject is not UTF-8"},
        BadArguments{
            "OctetInBody", {"--to", "a@x", "--body", "\xFC"}, EX_DATAERR, "--body is not UTF-8"},
        BadArguments{"EmptyFile", {"--to", "a@x", "--file", ""}, EX_NOINPUT, "cannot open"},
        BadArguments{"MissingFile",
                     {"--to", "a@x", "--file", "/nowhere\x1B"},
                     EX_NOINPUT,
                     "/nowhere\\x1B: No such file"},
        BadArguments{"Folder", {"--to", "a@x", "--file", "/"}, EX_NOINPUT, "/: Is a directory"}),
    [](const auto& row) { return row.param.name; });

TEST_F(Send, ASenderInTheSettingsThatCannotBeSentIsNamed) {
    folder().setOctets("SMTPHost = x\nReplyTo = ä@x\nSendActive = 1\n");
    expectFailure(oneMail, EX_CONFIG, "the setting ReplyTo ä@x");
}

TEST_F(Send, AFileThatIsNotUtf8IsNamed) {
    const std::string file = (folder().path() / "text").string();
    std::ofstream(file) << "\xFC";
    expectFailure({"send", "--to", "a@x", "--file", file}, EX_DATAERR, file + " is not UTF-8");
}

TEST_F(Send, StandardInputThatIsNotUtf8IsNamed) {
    const Outcome run = vtmail({"send", "--to", "a@x"}, "\xFC");
    EXPECT_EQ(run.exitCode, EX_DATAERR);
    EXPECT_THAT(run.err, HasSubstr("standard input is not UTF-8"));
}

TEST_F(Send, StandardInputThatCannotBeReadIsNamed) {
    const Outcome run = vtmail({"send", "--to", "a@x"}, {}, [] { close(STDIN_FILENO); });
    EXPECT_EQ(run.exitCode, EX_NOINPUT);
    EXPECT_THAT(run.err, HasSubstr("standard input: Bad file descriptor"));
}

#ifndef __SANITIZE_ADDRESS__  // which needs more addresses than the limit leaves
TEST_F(Send, AMailThatTakesMoreMemoryThanThereIsIsAnErrorInOneLine) {
    const Outcome run = vtmail({"send", "--to", "a@x"}, std::string(64 << 20, 'x'), [] {
        const rlimit addresses = {128 << 20, 128 << 20};
        setrlimit(RLIMIT_AS, &addresses);
    });
    EXPECT_EQ(run.exitCode, EX_OSERR);
    EXPECT_EQ(run.err, "vtmail: there is not enough memory for this mail\n");
}
#endif

// ---- at a terminal

TEST_F(Send, AsksForTheTextAtATerminal) {
    const Terminal terminal;
    terminal.type("typed\n\x04");
    const Outcome run = vtmail({"send", "--to", "a@x", "--dry-run"}, {},
                               [&] { dup2(terminal.descriptor(), STDIN_FILENO); });
    EXPECT_EQ(run.err, "vtmail: type the text; Ctrl-D ends it\n");
    EXPECT_THAT(run.out, EndsWith("\r\n\r\ntyped\r\n"));
}

TEST_F(Send, DryRunSendsNoEscapeSequencesToATerminal) {
    const Terminal terminal;
    const Outcome run = vtmail({"send", "--to", "a@x", "--dry-run", "--body", "\x1B[2Jhello"}, {},
                               [&] { dup2(terminal.descriptor(), STDOUT_FILENO); });
    EXPECT_EQ(run.exitCode, 0) << run.err;
    const std::string screen = terminal.screenUpTo("hello");
    EXPECT_THAT(screen, AllOf(HasSubstr("To: <a@x>"), HasSubstr("\\x1B[2Jhello")));
    EXPECT_THAT(screen, Not(HasSubstr("\x1B")));
}

}  // namespace
