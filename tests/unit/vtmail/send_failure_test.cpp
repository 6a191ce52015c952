// SPDX-License-Identifier: Apache-2.0
// vtmail send tells why a mail did not reach everybody.
#include <gmock/gmock.h>
#include <sysexits.h>

#include "sandbox/server.h"
#include "tests/support/private_network.h"
#include "tests/unit/vtmail/program.h"

namespace {

using sandbox::Reply;
using sandbox::Service;
using sandbox::Step;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

/// Delivers to a@x, b@x and (blind) c@x.
Outcome deliver() {
    return vtmail({"send", "--to", "a@x", "--to", "b@x", "--bcc", "c@x", "--body", "hello\n"});
}

class SendFailure : public ::testing::Test {
  protected:
    SendFailure() { useHost(privateAddress()); }

    void useHost(const std::string& host) const {
        settings_.folder.setOctets("SMTPHost = " + host + "\nReplyTo = me@x\nSendActive = 1\n");
    }

    void expectReason(const Outcome& run, int exitCode, const std::string& words) const {
        EXPECT_EQ(run.exitCode, exitCode) << run.err;
        EXPECT_THAT(run.err, AllOf(StartsWith("vtmail: "), HasSubstr(words)));
        EXPECT_EQ(run.err.find('\n'), run.err.size() - 1) << run.err;
        EXPECT_THAT(run.out, IsEmpty());
    }

  private:
    TestSettings settings_;
};

sandbox::ServerOptions serverThat(Step step, const Reply& reply, const sandbox::When& when = {}) {
    sandbox::ServerOptions options;
    options.address = privateAddress();
    options.smtpPort = 25;
    options.replies.push_back({Service::Smtp, step, reply, when});
    return options;
}

// ---- no connection

TEST_F(SendFailure, AnUnknownHostIsNamed) {
    useHost("nowhere.invalid");
    const Outcome run = deliver();
    EXPECT_TRUE(run.exitCode == EX_NOHOST || run.exitCode == EX_TEMPFAIL) << run.exitCode;
    EXPECT_THAT(run.err, StartsWith("vtmail: no address for the mail server nowhere.invalid: "));
}

TEST_F(SendFailure, AHostThatIsNoNameIsNamed) {
    useHost(std::string(70, 'x') + "\xC3\xA9");
    expectReason(deliver(), EX_NOHOST, "is no host name");
}

TEST_F(SendFailure, ARefusedConnectionIsSaid) {
    expectReason(deliver(), EX_TEMPFAIL, "Connection refused");
}

// ---- refusals

struct Refusal {
    Step step;
    const char* reply;
    int exitCode;
    const char* words;
};

void PrintTo(const Refusal& row, std::ostream* out) { *out << row.words; }

class SendRefused : public SendFailure, public ::testing::WithParamInterface<Refusal> {};

TEST_P(SendRefused, NamesTheStepAndTheWords) {
    const Refusal& row = GetParam();
    const sandbox::Server server(serverThat(row.step, Reply::say(row.reply)));
    const Outcome run = deliver();
    expectReason(run, row.exitCode, row.words);
    EXPECT_THAT(run.err, HasSubstr("nobody got the mail"));
}

INSTANTIATE_TEST_SUITE_P(
    AtEachStep, SendRefused,
    ::testing::Values(
        Refusal{Step::Greeting, "554 go away\r\n", EX_UNAVAILABLE,
                "refused the greeting (554 go away)"},
        Refusal{Step::Greeting, "421 later\r\n", EX_TEMPFAIL, "refused the greeting (421 later)"},
        Refusal{Step::Mail, "550-no\r\n550 mail\r\n", EX_UNAVAILABLE,
                "refused MAIL FROM:<me@x> (550-no / 550 mail)"},
        Refusal{Step::Mail, "451 busy\r\n", EX_TEMPFAIL, "refused MAIL FROM:<me@x> (451 busy)"},
        Refusal{Step::Rcpt, "550 unknown\r\n", EX_NOUSER,
                "refused <a@x> (550 unknown); refused <b@x> (550 unknown); "},
        Refusal{Step::Rcpt, "450 greylisted\r\n", EX_TEMPFAIL, "refused <a@x> (450 greylisted)"},
        Refusal{Step::Data, "552 full\r\n", EX_UNAVAILABLE, "refused DATA (552 full)"},
        Refusal{Step::EndOfData, "554 spam\r\n", EX_UNAVAILABLE, "refused the message (554 spam)"},
        Refusal{Step::EndOfData, "452 full\r\n", EX_TEMPFAIL, "refused the message (452 full)"}));

TEST_F(SendFailure, ARefusalOfBothHellosNamesTheLast) {
    sandbox::ServerOptions options = serverThat(Step::Ehlo, Reply::say("502 what\r\n"));
    options.replies.push_back({Service::Smtp, Step::Helo, Reply::say("550 never\r\n"), {}});
    const sandbox::Server server(std::move(options));
    expectReason(deliver(), EX_UNAVAILABLE, "refused HELO localhost (550 never)");
}

TEST_F(SendFailure, OneRefusedRecipientDoesNotHideThatTheOthersGotTheMail) {
    const sandbox::Server server(
        serverThat(Step::Rcpt, Reply::say("550 unknown\r\n"), {.argument = "<b@x>"}));
    expectReason(deliver(), EX_NOUSER, "refused <b@x> (550 unknown); the others got the mail");
}

TEST_F(SendFailure, ARefusedBlindRecipientIsNamed) {
    const sandbox::Server server(
        serverThat(Step::Rcpt, Reply::say("550 unknown\r\n"), {.argument = "<c@x>"}));
    expectReason(deliver(), EX_NOUSER, "refused <c@x> (550 unknown); the others got the mail");
}

TEST_F(SendFailure, ARefusalInTheTransactionOfTheBlindRecipientsSaysSo) {
    const sandbox::Server server(
        serverThat(Step::EndOfData, Reply::say("554 spam\r\n"), {.occurrence = 2}));
    expectReason(deliver(), EX_UNAVAILABLE,
                 "refused the message for the blind recipients (554 spam); "
                 "the others got the mail");
}

// ---- lost connections and replies that are none

struct LossAt {
    Step step;
    const char* name;
};

void PrintTo(const LossAt& row, std::ostream* out) { *out << row.name; }

class SendLost : public SendFailure, public ::testing::WithParamInterface<LossAt> {};

TEST_P(SendLost, SaysAtWhichStepTheConnectionWasClosed) {
    const sandbox::Server server(serverThat(GetParam().step, Reply::close()));
    expectReason(deliver(), EX_TEMPFAIL, std::string("at ") + GetParam().name + ", ");
}

TEST_P(SendLost, SaysWhichReplyWasNone) {
    const sandbox::Server server(
        serverThat(GetParam().step, Reply::say("HTTP\x1B[2J\r\n").thenClose()));
    const Outcome run = deliver();
    expectReason(run, EX_PROTOCOL, "no valid reply to " + std::string(GetParam().name));
    EXPECT_THAT(run.err, AllOf(HasSubstr("HTTP\\x1B[2J"), Not(HasSubstr("\x1B"))));
}

INSTANTIATE_TEST_SUITE_P(
    AtEachStep, SendLost,
    ::testing::Values(LossAt{Step::Greeting, "the greeting"}, LossAt{Step::Ehlo, "EHLO localhost"},
                      LossAt{Step::Mail, "MAIL FROM:<me@x>"}, LossAt{Step::Rcpt, "RCPT TO:<a@x>"},
                      LossAt{Step::Data, "DATA"}, LossAt{Step::EndOfData, "the message"}));

TEST_F(SendFailure, AMessageWithoutAReplyMayHaveArrived) {
    const sandbox::Server server(serverThat(Step::EndOfData, Reply::close()));
    const Outcome run = deliver();
    EXPECT_THAT(run.err, AllOf(HasSubstr("the mail may have arrived all the same"),
                               Not(HasSubstr("nobody got the mail"))));
}

TEST_F(SendFailure, AReplyThatIsCutOffCountsAsALostConnection) {
    const sandbox::Server server(serverThat(Step::Mail, Reply::say("250-and").thenClose()));
    expectReason(deliver(), EX_TEMPFAIL, "at MAIL FROM:<me@x>, the server closed the connection");
}

TEST_F(SendFailure, AGarbledReplyIsNamedAsSuch) {
    const sandbox::Server server(serverThat(Step::Mail, Reply::usual().garbled()));
    expectReason(deliver(), EX_PROTOCOL, "no valid reply to MAIL FROM:<me@x>: ");
}

TEST_F(SendFailure, AConnectionThatIsResetIsSaid) {
    const sandbox::Server server(serverThat(Step::Mail, Reply::reset()));
    expectReason(deliver(), EX_TEMPFAIL, "the connection was lost: Connection reset by peer");
}

TEST_F(SendFailure, AServerThatOnlyFailsToSayGoodbyeIsNoFailure) {
    const sandbox::Server server(serverThat(Step::Quit, Reply::close()));
    EXPECT_EQ(deliver().exitCode, 0);
}

TEST_F(SendFailure, TraceShowsNoEscapeSequencesOfTheServer) {
    const sandbox::Server server(serverThat(Step::Greeting, Reply::say("220 \x1B]0;x\x07\r\n")));
    const Outcome run = vtmail({"send", "--to", "a@x", "--body", "x", "--trace"});
    EXPECT_THAT(run.err, AllOf(HasSubstr("SMTP<-220 \\x1B]0;x\\x07\n"), Not(HasSubstr("\x1B"))));
}

}  // namespace
