// SPDX-License-Identifier: Apache-2.0
// vtmail fetch: what it stores, deletes and shows.
#include <gmock/gmock.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sysexits.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

#include "tests/unit/host/child_process.h"
#include "tests/unit/vtmail/fetch_fixture.h"
#include "tests/unit/vtmail/json_schema.h"
#include "tests/unit/vtmail/terminal.h"

namespace {

using sandbox::Reply;
using sandbox::Service;
using sandbox::Step;
using ::testing::AllOf;
using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::Pair;
using ::testing::SizeIs;
using ::testing::StartsWith;

namespace fs = std::filesystem;

// ---- what is stored

TEST_F(Fetch, StoresEachMessageAsAFileInAFolder) {
    const Outcome run = vtmail(intoFolder());
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_THAT(run.err, IsEmpty());
    EXPECT_THAT(stored(), ElementsAre(Pair("message-0001.eml", firstFile),
                                      Pair("message-0002.eml", secondFile)));
    EXPECT_THAT(server_.mailbox(), SizeIs(2));
}

TEST_F(Fetch, GoesOnFromTheHighestNumber) {
    fs::create_directory(folder());
    std::ofstream(folder() / "message-0007.eml") << "old";
    EXPECT_EQ(vtmail(intoFolder()).exitCode, 0);
    EXPECT_THAT(stored(),
                ElementsAre(Pair("message-0007.eml", "old"), Pair("message-0008.eml", firstFile),
                            Pair("message-0009.eml", secondFile)));
}

TEST_F(Fetch, StoresIntoTheNewFolderOfAMaildir) {
    const Outcome run = vtmail(withHost({"--maildir", (folder() / "deep").string()}));
    EXPECT_EQ(run.exitCode, 0) << run.err;
    const std::map<std::string, std::string> files = filesIn(folder() / "deep" / "new");
    ASSERT_THAT(files, SizeIs(2));
    std::vector<std::string> texts;
    for (const auto& [name, text] : files) {
        EXPECT_THAT(name, MatchesRegex("[0-9]+\\.M[0-9]+P[0-9]+Q[0-9]+\\.[^:/]+"));
        texts.push_back(text);
    }
    EXPECT_THAT(texts, ::testing::UnorderedElementsAre(firstFile, secondFile));
    EXPECT_TRUE(fs::is_empty(folder() / "deep" / "tmp"));
    EXPECT_TRUE(fs::is_empty(folder() / "deep" / "cur"));
}

TEST_F(Fetch, EachMessageInAMaildirHasANameOfItsOwn) {
    for (int round = 1; round <= 3; ++round)
        EXPECT_EQ(vtmail(withHost({"--maildir", folder().string()})).exitCode, 0);
    EXPECT_THAT(filesIn(folder() / "new"), SizeIs(6));
}

TEST_F(Fetch, NobodyElseMayReadTheMail) {
    EXPECT_EQ(vtmail(intoFolder()).exitCode, 0);
    EXPECT_EQ(fs::status(folder()).permissions(), fs::perms::owner_all);
    EXPECT_EQ(fs::status(folder() / "message-0001.eml").permissions(),
              fs::perms::owner_read | fs::perms::owner_write);
}

struct Text {
    const char* name;
    std::string sent;
    std::string stored;
};

void PrintTo(const Text& row, std::ostream* out) { *out << row.name; }

class FetchedText : public Fetch, public ::testing::WithParamInterface<Text> {};

TEST_P(FetchedText, HasLinesWithoutTrailingBlanks) {
    server_.addMessage(GetParam().sent);
    EXPECT_EQ(vtmail(intoFolder()).exitCode, 0);
    EXPECT_EQ(stored()["message-0003.eml"], GetParam().stored);
}

INSTANTIATE_TEST_SUITE_P(Lines, FetchedText,
                         ::testing::Values(Text{"Blanks", "a \t\r\n b\r\n", "a\n b\n"},
                                           Text{"BlankLines", "a\r\n\r\n  \t\r\nb\r\n",
                                                "a\n\n\nb\n"},
                                           Text{"BlankLineAtTheEnd", "a\r\n\r\n", "a\n\n"},
                                           Text{"Dots", ".\r\n..a\r\n.b\r\n", ".\n..a\n.b\n"},
                                           Text{"Octets", std::string("\xFF\x00\xE9\r\n", 5),
                                                std::string("\xFF\x00\xE9\n", 4)},
                                           Text{"ALongLine", std::string(200000, 'x') + "\r\n",
                                                std::string(200000, 'x') + "\n"}),
                         [](const auto& row) { return row.param.name; });

TEST_F(Fetch, AnEmptyMailboxIsNoFailure) {
    on(Step::Stat, Reply::say("+OK 0 0\r\n"));
    const Outcome run = vtmail(intoFolder());
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.out, "no messages\n");
}

TEST_F(Fetch, AManyMessagesLongMailboxIsStoredWhole) {
    for (int i = 0; i < 200; ++i) server_.addMessage(first);
    EXPECT_EQ(vtmail(intoFolder({"--quiet"})).exitCode, 0);
    EXPECT_THAT(stored(), SizeIs(202));
}

// ---- what is deleted

TEST_F(Fetch, DeletesWhatIsStored) {
    const Outcome run = vtmail(intoFolder({"--delete"}));
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_THAT(stored(), SizeIs(2));
    EXPECT_THAT(server_.mailbox(), IsEmpty());
}

/// A shell lets what it starts in the background ignore some.
void listenToEndSignals() {
    for (const int each : {SIGHUP, SIGINT, SIGTERM}) signal(each, SIG_DFL);
}

/// Looks, once, at what there is when a command reaches the server.
class Watch {
  public:
    void at(const std::string& command, std::function<void()> look) {
        const std::scoped_lock lock(mutex_);
        command_ = command;
        look_ = std::move(look);
    }
    void take(const sandbox::Line& line) {
        const std::scoped_lock lock(mutex_);
        if (!look_ || line.text != command_) return;
        look_();
        look_ = {};
    }

  private:
    std::mutex mutex_;
    std::string command_;
    std::function<void()> look_;
};

class FetchWatched : public Fetch {
  protected:
    FetchWatched() : FetchWatched(std::make_shared<Watch>()) {}

    std::shared_ptr<Watch> watch_;

  private:
    explicit FetchWatched(const std::shared_ptr<Watch>& watch)
        : Fetch(observed(watch)), watch_(watch) {}

    static sandbox::ServerOptions observed(const std::shared_ptr<Watch>& watch) {
        sandbox::ServerOptions options = guarded();
        options.observer = [watch](const sandbox::Line& line) { watch->take(line); };
        return options;
    }
};

TEST_F(FetchWatched, DeletesAMessageOnlyOnceItsFileIsThere) {
    std::string text;
    watch_->at("DELE 2", [&] { text = stored()["message-0002.eml"]; });
    EXPECT_EQ(vtmail(intoFolder({"--delete"})).exitCode, 0);
    EXPECT_EQ(text, secondFile);
}

TEST_F(FetchWatched, AMessageThatIsComingHasNoFinalName) {
    std::map<std::string, std::string> files;
    watch_->at("RETR 1", [&] { files = stored(); });
    EXPECT_EQ(vtmail(intoFolder()).exitCode, 0);
    EXPECT_THAT(files, ElementsAre(Pair(StartsWith(".vtmail-"), "")));
}

TEST_F(FetchWatched, AFileThatAppearsMeanwhileIsNotReplaced) {
    watch_->at("RETR 1", [&] { std::ofstream(folder() / "message-0001.eml") << "other"; });
    EXPECT_EQ(vtmail(intoFolder()).exitCode, 0);
    EXPECT_THAT(stored(),
                ElementsAre(Pair("message-0001.eml", "other"), Pair("message-0002.eml", firstFile),
                            Pair("message-0003.eml", secondFile)));
}

TEST_F(FetchWatched, ASignalThatEndsItLeavesNoPartialFile) {
    on(Step::Retr, Reply::usual().cutAfter(30).thenFallSilent());
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        std::promise<void> asked;
        watch_->at("RETR 1", [&] { asked.set_value(); });
        const pid_t program =
            start(intoFolder(), STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO, listenToEndSignals);
        ASSERT_EQ(asked.get_future().wait_for(std::chrono::seconds(20)), std::future_status::ready);
        kill(program, signal);
        EXPECT_EQ(exitCodeOf(program), -signal);
        EXPECT_THAT(stored(), IsEmpty());
    }
}

TEST_F(Fetch, ARefusedDeletionIsSaid) {
    on(Step::Dele, Reply::say("-ERR locked\r\n"), {.argument = "1"});
    expectFailure(vtmail(intoFolder({"--delete"})), EX_UNAVAILABLE,
                  "refused to delete message 1 (locked)");
    EXPECT_THAT(stored(), SizeIs(2));
    EXPECT_THAT(server_.mailbox(), ElementsAre(first));
}

TEST_F(Fetch, ADeletionThatTheServerDoesNotConfirmIsSaid) {
    on(Step::Quit, Reply::say("-ERR not all\r\n"));
    expectFailure(vtmail(intoFolder({"--delete"})), EX_UNAVAILABLE,
                  "refused QUIT (not all); 2 messages stored, which may not be deleted");
}

TEST_F(Fetch, AServerThatOnlyFailsToSayGoodbyeIsNoFailure) {
    on(Step::Quit, Reply::close());
    EXPECT_EQ(vtmail(intoFolder()).exitCode, 0);
}

// ---- the password

TEST_F(Fetch, TakesThePasswordFromAFile) {
    const ScopedEnvironment none("VTMAIL_PASSWORD", std::nullopt);
    for (const char* octets : {"secret", "secret\n", "secret\r\n", "secret\nmore\n"}) {
        const Outcome run = vtmail(intoFolder({"--password-file", passwordFile(octets)}));
        EXPECT_EQ(run.exitCode, 0) << octets << run.err;
    }
}

TEST_F(Fetch, RefusesAPasswordFileThatOthersMayRead) {
    for (const mode_t mode : {0640U, 0604U})
        expectFailure(vtmail(intoFolder({"--password-file", passwordFile("secret", mode)})),
                      EX_NOPERM, "may be read by others; chmod 600 ");
    EXPECT_THAT(server_.transcript(), IsEmpty());
}

TEST_F(Fetch, AMissingPasswordFileIsNamed) {
    for (const char* file : {"/nowhere\x1B", ""})
        expectFailure(vtmail(intoFolder({"--password-file", file})), EX_NOINPUT, "No such file");
}

TEST_F(Fetch, APasswordThatCannotBeSentIsRefusedAndNotShown) {
    for (const char* octets : {"k\xC3\xB6nig\n", "ab\rcd\n", "\n"}) {
        const Outcome run = vtmail(intoFolder({"--password-file", passwordFile(octets)}));
        expectFailure(run, EX_DATAERR, "the password ");
        EXPECT_THAT(run.err, AllOf(Not(HasSubstr("nig")), Not(HasSubstr("cd"))));
    }
    EXPECT_THAT(server_.transcript(), IsEmpty());
}

TEST_F(Fetch, WithoutATerminalAPasswordHasToBeGiven) {
    const ScopedEnvironment none("VTMAIL_PASSWORD", std::nullopt);
    expectFailure(vtmail(intoFolder(), {}, [] { setsid(); }), EX_USAGE,
                  "--password-file FILE or set VTMAIL_PASSWORD");
}

TEST_F(Fetch, AWrongPasswordIsSaidInTheWordsOfTheServer) {
    const ScopedEnvironment wrong("VTMAIL_PASSWORD", "guess");
    expectFailure(vtmail(intoFolder()), EX_NOPERM, "refused user ines (wrong name or password)");
    EXPECT_THAT(stored(), IsEmpty());
}

TEST_F(Fetch, AMailboxInUseIsARefusalForNow) {
    on(Step::Pass, Reply::say("-ERR [IN-USE] locked\r\n"));
    expectFailure(vtmail(intoFolder()), EX_TEMPFAIL, "refused PASS ([IN-USE] locked)");
}

/// A program that asks at a terminal of its own.
class FetchAsking : public Fetch {
  protected:
    pid_t startAtTerminal() const {
        return start(intoFolder({"--quiet"}), STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO, [this] {
            listenToEndSignals();
            setsid();
            ioctl(terminal_.descriptor(), TIOCSCTTY, 0);
        });
    }
    bool echoes() const {
        termios state = {};
        EXPECT_EQ(tcgetattr(terminal_.descriptor(), &state), 0);
        return (state.c_lflag & ECHO) != 0;
    }

    ScopedEnvironment none_{"VTMAIL_PASSWORD", std::nullopt};
    Terminal terminal_;
};

TEST_F(FetchAsking, AsksForThePasswordAndDoesNotShowIt) {
    const pid_t program = startAtTerminal();
    const std::string prompt = "Password of ines at " + privateAddress() + ": ";
    EXPECT_EQ(terminal_.screenUpTo(prompt), prompt);
    EXPECT_FALSE(echoes());
    terminal_.type("secret\n");
    EXPECT_EQ(terminal_.screenUpTo("\n"), "\r\n");
    EXPECT_EQ(exitCodeOf(program), 0);
    EXPECT_TRUE(echoes());
    EXPECT_THAT(stored(), SizeIs(2));
}

TEST_F(FetchAsking, ShowsWhatIsTypedAgainWhenASignalEndsIt) {
    for (const int signal : {SIGINT, SIGTERM}) {
        const pid_t program = startAtTerminal();
        terminal_.screenUpTo(": ");
        EXPECT_FALSE(echoes());
        kill(program, signal);
        EXPECT_EQ(exitCodeOf(program), -signal);
        EXPECT_TRUE(echoes());
    }
}

TEST_F(FetchAsking, AsksAgainAfterItWasStopped) {
    const pid_t program = startAtTerminal();
    terminal_.screenUpTo(": ");
    kill(program, SIGTSTP);  // which stops nothing here, where no shell could let it go on
    EXPECT_THAT(terminal_.screenUpTo(": "), StartsWith("\r\nPassword of ines"));
    terminal_.type("secret\n");
    EXPECT_EQ(exitCodeOf(program), 0);
}

TEST_F(FetchAsking, NothingTypedIsNoPassword) {
    const pid_t program = startAtTerminal();
    terminal_.screenUpTo(": ");
    terminal_.type("\x04");
    EXPECT_EQ(exitCodeOf(program), EX_DATAERR);
}

// ---- what is shown

TEST_F(Fetch, TellsEachMessageInALine) {
    const Outcome run = vtmail(intoFolder());
    const std::string file = (folder() / "message-000").string();
    EXPECT_EQ(run.out, "message 1 of 2: 20 octets, " + file + "1.eml\n" +
                           "message 2 of 2: 20 octets, " + file + "2.eml\n" +
                           "2 of 2 messages, 40 octets\n");
}

TEST_F(Fetch, QuietTellsNothing) { EXPECT_THAT(vtmail(intoFolder({"--quiet"})).out, IsEmpty()); }

/// Runs with the terminal as standard output and stderr.
Outcome runAt(const Terminal& terminal, const std::vector<std::string>& arguments) {
    return vtmail(arguments, {}, [&] {
        dup2(terminal.descriptor(), STDOUT_FILENO);
        dup2(terminal.descriptor(), STDERR_FILENO);
    });
}

TEST_F(Fetch, RewritesOneLineAtATerminal) {
    const Terminal terminal;
    EXPECT_EQ(runAt(terminal, intoFolder()).exitCode, 0);
    const std::string screen = terminal.screenUpTo("40 octets\r\n");
    EXPECT_THAT(screen, StartsWith("\rmessage 1 of 2, "));
    EXPECT_THAT(screen, AnyOf(HasSubstr("B/s\x1B[K"), HasSubstr("octets/s\x1B[K")));
    EXPECT_THAT(screen, EndsWith("\r\x1B[K2 of 2 messages, 40 octets\r\n"));
}

TEST_F(Fetch, TakesTheLineAwayBeforeItComplains) {
    on(Step::Retr, Reply::usual().cutAfter(30));
    const ScopedEnvironment noColour("NO_COLOR", "1");
    const Terminal terminal;
    runAt(terminal, intoFolder());
    EXPECT_THAT(terminal.screenUpTo("stored\r\n"), HasSubstr("/s\x1B[K\r\x1B[Kvtmail: "));
}

TEST_F(Fetch, TheLineFitsTheTerminal) {
    const Terminal terminal;
    const winsize size = {24, 12, 0, 0};
    ASSERT_EQ(ioctl(terminal.descriptor(), TIOCSWINSZ, &size), 0);
    runAt(terminal, intoFolder());
    EXPECT_THAT(terminal.screenUpTo("octets\r\n"), StartsWith("\rmessage 1 o\x1B[K"));
}

TEST_F(Fetch, TheRewrittenLineIsNotInWhatAProgramReads) {
    const std::vector<std::string> ways[] = {{}, {"--json"}};
    for (const std::vector<std::string>& options : ways) {
        const Terminal terminal;
        const Outcome run =
            vtmail(intoFolder(options), {}, [&] { dup2(terminal.descriptor(), STDERR_FILENO); });
        EXPECT_THAT(run.out, AllOf(HasSubstr("message"), Not(HasSubstr("\x1B"))));
        EXPECT_THAT(terminal.screenUpTo("\r\x1B[K"), StartsWith("\rmessage 1 of 2, "));
    }
}

TEST_F(Fetch, WithJsonATerminalShowsNothingElse) {
    const Terminal terminal;
    runAt(terminal, intoFolder({"--json"}));
    EXPECT_THAT(terminal.screenUpTo("\"end\""), StartsWith("{\"event\":\"stored\""));
}

TEST_F(Fetch, TraceMasksThePassword) {
    const Outcome run = vtmail(intoFolder({"--trace"}));
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.err, HasSubstr("pop3client (vtinetlib.dll): POP3->USER ines\n"));
    EXPECT_THAT(run.err, HasSubstr("pop3client (vtinetlib.dll): POP3->PASS ********\n"));
    EXPECT_THAT(run.err, Not(HasSubstr("secret")));
}

TEST_F(Fetch, AServerThatRepeatsThePasswordDoesNotShowIt) {
    on(Step::Pass, Reply::say("-ERR no command PASS secret, secret\r\n"));
    const Outcome run = vtmail(intoFolder({"--trace"}));
    EXPECT_THAT(run.err, HasSubstr("(no command PASS ********, ********)"));
    EXPECT_THAT(run.err, Not(HasSubstr("secret")));
}

TEST_F(Fetch, APasswordThatIsRepeatedAMillionTimesIsMaskedInProportion) {
    std::string words;
    for (int i = 0; i < 1'000'000; ++i) words += " secret";
    on(Step::Pass, Reply::say("-ERR" + words + "\r\n"));
    const Outcome run = vtmail(intoFolder());
    EXPECT_THAT(run.err, HasSubstr("(******** ********"));
    EXPECT_THAT(run.err, Not(HasSubstr("secret")));
}

constexpr char mayGoOn[] = "message 1 may go on behind the lone dot";

TEST_F(Fetch, NothingIsDeletedWhereAMessageEndsBetweenBareLineFeeds) {
    on(Step::Retr, Reply::say("+OK\r\nhello\n.\n"));  // the rest is on its way
    expectFailure(vtmail(intoFolder({"--delete"})), EX_PROTOCOL, mayGoOn);
    EXPECT_THAT(server_.mailbox(), SizeIs(2));
}

TEST_F(Fetch, NothingIsDeletedWhereAMessageGoesOnBehindItsEnd) {
    on(Step::Retr, Reply::say("+OK\r\nhello\r\n.\r\n+OK deleted\r\n"));
    expectFailure(vtmail(intoFolder({"--delete"})), EX_PROTOCOL, mayGoOn);
    EXPECT_THAT(server_.mailbox(), SizeIs(2));
}

TEST_F(Fetch, NothingIsFetchedBehindAMessageThatGoesOnBehindItsEnd) {
    on(Step::Retr, Reply::say("+OK\r\nhello\n.\n+OK\nof the sender\n.\n"));
    expectFailure(vtmail(intoFolder()), EX_PROTOCOL, mayGoOn);
    EXPECT_THAT(stored(), SizeIs(1));
}

TEST_F(Fetch, TheLastMessageMayNotGoOnBehindItsEndEither) {
    on(Step::Retr, Reply::say("+OK\r\nhello\n.\nworld\r\n.\r\n"));
    expectFailure(vtmail(intoFolder({"--limit", "1"})), EX_PROTOCOL, mayGoOn);
    EXPECT_THAT(stored(), ElementsAre(Pair("message-0001.eml", "hello\n")));
}

TEST_F(Fetch, TraceShowsThePasswordWhenAskedTo) {
    EXPECT_THAT(vtmail(intoFolder({"--trace", "--trace-password"})).err,
                HasSubstr("POP3->PASS secret\n"));
    expectFailure(vtmail(intoFolder({"--trace-password"})), EX_USAGE, "--trace");
}

TEST_F(Fetch, NoEscapeSequenceOfTheServerReachesTheTerminal) {
    on(Step::Retr, Reply::say("-ERR \x1B]0;x\x07\r\n"));
    const Outcome run = vtmail(intoFolder({"--trace"}));
    EXPECT_THAT(run.err, AllOf(HasSubstr("refused message 1 (\\x1B]0;x\\x07)"),
                               HasSubstr("POP3<--ERR \\x1B]0;x\\x07\n"), Not(HasSubstr("\x1B"))));
}

// ---- what is shown to programs

/// The lines of `out`, each held against the schema.
std::vector<std::string> eventsIn(const std::string& out) {
    std::vector<std::string> lines;
    std::istringstream in(out);
    for (std::string line; std::getline(in, line); lines.push_back(line))
        EXPECT_EQ(differencesFromSchema("fetchEvent", line), "");
    return lines;
}

std::string storedEvent(int n, const fs::path& file) {
    return R"({"event":"stored","file":")" + file.string() + R"(","message":)" + std::to_string(n) +
           R"(,"octets":20})";
}

TEST_F(Fetch, EachStepIsAnEvent) {
    const Outcome run = vtmail(intoFolder({"--json", "--delete"}));
    EXPECT_THAT(eventsIn(run.out),
                ElementsAre(storedEvent(1, folder() / "message-0001.eml"),
                            storedEvent(2, folder() / "message-0002.eml"),
                            R"({"deleted":2,"event":"end","messages":2,"octets":40,"stored":2})"));
}

TEST_F(Fetch, ARefusalIsAnEventAndTheFailureIsInTheLast) {
    on(Step::Retr, Reply::say("-ERR broken\r\n"), {.argument = "1"});
    on(Step::Dele, Reply::say("-ERR \x1B no\r\n"), {.argument = "2"});
    const Outcome run = vtmail(intoFolder({"--json", "--delete"}));
    EXPECT_EQ(run.exitCode, EX_UNAVAILABLE);
    EXPECT_THAT(
        eventsIn(run.out),
        ElementsAre(R"({"event":"refused","message":1,"words":"broken"})",
                    storedEvent(2, folder() / "message-0001.eml"),
                    R"({"event":"notDeleted","message":2,"words":"\\x1B no"})",
                    AllOf(StartsWith(R"({"deleted":0,"event":"end","failure":{"exitCode":69,)"),
                          HasSubstr("refused message 1 (broken); to delete message 2 "))));
}

TEST_F(Fetch, WhatIsNotConfirmedIsNotDeleted) {
    on(Step::Quit, Reply::close());
    EXPECT_THAT(eventsIn(vtmail(intoFolder({"--json", "--delete"})).out).back(),
                AllOf(StartsWith(R"({"deleted":0,"event":"end","failure":{"exitCode":75,)"),
                      EndsWith(R"("messages":2,"octets":40,"stored":2})")));
}

TEST_F(Fetch, AFailureBeforeAnyMessageIsTheOnlyEvent) {
    server_.on(Service::Pop3, Step::Greeting, Reply::close());
    EXPECT_THAT(eventsIn(vtmail(intoFolder({"--json"})).out),
                ElementsAre(AllOf(StartsWith(R"({"deleted":0,"event":"end","failure":)"),
                                  EndsWith(R"("messages":0,"octets":0,"stored":0})"))));
}

// ---- disks

TEST_F(Fetch, AFullDiskKeepsWhatCameAndDeletesNothing) {
    server_.addMessage("Subject: big\r\n\r\n" + std::string(300000, 'x') + "\r\n");
    const Outcome run = vtmail(intoFolder({"--delete"}), {}, limitedTo(1000));
    expectFailure(run, EX_IOERR,
                  ": File too large; message 3 of 3 is not complete; 2 messages are stored, "
                  "nothing is deleted at the server");
    EXPECT_THAT(stored(), ElementsAre(Pair("message-0001.eml", firstFile),
                                      Pair("message-0002.eml", secondFile)));
    EXPECT_THAT(server_.mailbox(), SizeIs(3));
    EXPECT_FALSE(hasSent("DELE 3"));
}

TEST_F(Fetch, AFullDiskEndsTheReadingAtOnce) {
    server_.addMessage("Subject: big\r\n\r\n" + std::string(300000, 'x') + "\r\n\r\n");
    on(Step::Retr, Reply::usual().cutAfter(300038).thenFallSilent(), {.argument = "3"});
    const Outcome run = vtmail(intoFolder({"--timeout", "2"}), {}, limitedTo(1000));
    expectFailure(run, EX_IOERR, ": File too large; message 3 of 3 is not complete");
}

TEST_F(Fetch, AFullDiskAtTheLastOctetsIsNoticedToo) {
    const Outcome run = vtmail(intoFolder({"--delete", "--quiet"}), {}, limitedTo(19));
    EXPECT_EQ(run.exitCode, EX_IOERR);
    EXPECT_THAT(stored(), IsEmpty());
    EXPECT_THAT(server_.mailbox(), SizeIs(2));
}

/// As on a system where a system call fails in this way.
std::function<void()> failing(unsigned int systemCall, unsigned int error) {
    return [systemCall, error] {
        sock_filter steps[] = {
            BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, systemCall, 0, 1),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | error),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        };
        const sock_fprog program = {4, steps};
        if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
            prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0)
            _exit(126);
    };
}

TEST_F(Fetch, AFileThatCannotBeSyncedIsNotStored) {
    fs::create_directory(folder());
    expectFailure(vtmail(intoFolder({"--delete"}), {}, failing(SYS_fsync, EIO)), EX_IOERR,
                  ": Input/output error; message 1 of 2 is not complete; 0 messages are stored, "
                  "nothing is deleted at the server");
    EXPECT_THAT(stored(), IsEmpty());
    EXPECT_THAT(server_.mailbox(), SizeIs(2));
    EXPECT_FALSE(hasSent("DELE 1"));
}

TEST_F(FetchWatched, NothingIsReplacedWhereTheFileSystemKnowsOnlyLinks) {
    for (const unsigned error : {unsigned{EINVAL}, unsigned{ENOSYS}}) {
        fs::remove_all(folder());
        watch_->at("RETR 1", [&] { std::ofstream(folder() / "message-0001.eml") << "other"; });
        const Outcome run = vtmail(intoFolder(), {}, failing(SYS_renameat2, error));
        EXPECT_EQ(run.exitCode, 0) << run.err;
        EXPECT_THAT(stored(), ElementsAre(Pair("message-0001.eml", "other"),
                                          Pair("message-0002.eml", firstFile),
                                          Pair("message-0003.eml", secondFile)));
    }
}

TEST_F(Fetch, AFolderThatCannotBeMadeIsNamed) {
    std::ofstream(folder()) << "a file";
    expectFailure(vtmail(intoFolder()), EX_CANTCREAT,
                  "cannot make the folder " + folder().string());
    expectFailure(vtmail(withHost({"--maildir", folder().string()})), EX_CANTCREAT,
                  "cannot make the folder " + (folder() / "tmp").string());
    EXPECT_THAT(server_.transcript(), IsEmpty());
}

TEST_F(Fetch, AFolderThatMayNotBeWrittenIsNamed) {
    fs::create_directory(folder());
    fs::permissions(folder(),
                    fs::perms::owner_read | fs::perms::others_read | fs::perms::others_exec);
    expectFailure(vtmail(intoFolder({"--delete"}), {}, becomeOrdinaryUser), EX_CANTCREAT,
                  ": Permission denied; message 1 of 2 is not complete");
    EXPECT_THAT(server_.mailbox(), SizeIs(2));
}

}  // namespace
