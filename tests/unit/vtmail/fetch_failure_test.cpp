// SPDX-License-Identifier: Apache-2.0
// vtmail fetch: refusals, lost connections and arguments.
#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sysexits.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "tests/unit/vtmail/fetch_fixture.h"

namespace {

using sandbox::Reply;
using sandbox::Step;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::SizeIs;
using ::testing::StartsWith;

// ---- refusals

TEST_F(Fetch, ARefusedMessageIsNamedAndTheOthersCome) {
    server_.addMessage(first);
    on(Step::Retr, Reply::say("-ERR broken\r\n"), {.argument = "2"});
    const Outcome run = vtmail(intoFolder({"--delete"}));
    expectFailure(run, EX_UNAVAILABLE, "refused message 2 (broken)");
    EXPECT_THAT(run.out, EndsWith("2 of 3 messages, 40 octets\n"));
    EXPECT_THAT(stored(), ElementsAre(Pair("message-0001.eml", firstFile),
                                      Pair("message-0002.eml", firstFile)));
    EXPECT_THAT(server_.mailbox(), ElementsAre(second));
}

TEST_F(Fetch, ALostConnectionDoesNotHideARefusal) {
    on(Step::Retr, Reply::say("-ERR broken\r\n"), {.argument = "1"});
    on(Step::Retr, Reply::close(), {.argument = "2"});
    expectFailure(vtmail(intoFolder()), EX_TEMPFAIL,
                  "message 2 of 2 is not complete; 0 messages are stored; "
                  "refused message 1 (broken)");
}

TEST_F(Fetch, AMissingGoodbyeDoesNotHideARefusal) {
    on(Step::Retr, Reply::say("-ERR broken\r\n"), {.argument = "1"});
    on(Step::Quit, Reply::close());
    expectFailure(vtmail(intoFolder({"--delete"})), EX_TEMPFAIL,
                  "may not be deleted at the server; refused message 1 (broken)");
    expectFailure(vtmail(intoFolder()), EX_UNAVAILABLE, "refused message 1 (broken)");
}

TEST_F(Fetch, ManyRefusalsStillMakeALine) {
    on(Step::Stat, Reply::say("+OK 30 9999\r\n"));
    on(Step::Retr, Reply::say("-ERR no\r\n"));
    expectFailure(vtmail(intoFolder()), EX_UNAVAILABLE, "message 10 (no); and 20 more");
}

struct Refusal {
    Step step;
    const char* reply;
    int exitCode;
    const char* words;
};

void PrintTo(const Refusal& row, std::ostream* out) { *out << row.reply << row.words; }

class FetchRefused : public Fetch, public ::testing::WithParamInterface<Refusal> {};

TEST_P(FetchRefused, NamesTheStepAndTheWords) {
    on(GetParam().step, Reply::say(GetParam().reply));
    expectFailure(vtmail(intoFolder({"--delete"})), GetParam().exitCode, GetParam().words);
    EXPECT_THAT(stored(), IsEmpty());
    EXPECT_THAT(server_.mailbox(), SizeIs(2));
}

INSTANTIATE_TEST_SUITE_P(
    AtEachStep, FetchRefused,
    ::testing::Values(
        Refusal{Step::Greeting, "-ERR go away\r\n", EX_UNAVAILABLE,
                "refused the greeting (go away)"},
        Refusal{Step::Greeting, "-ERR [SYS/TEMP] later\r\n", EX_TEMPFAIL, "([SYS/TEMP] later)"},
        Refusal{Step::Greeting, "220 mail\r\n", EX_PROTOCOL, "no valid reply to the greeting: 220"},
        Refusal{Step::User, "-ERR who\r\n", EX_NOPERM, "refused user ines (who)"},
        Refusal{Step::User, "what\r\n", EX_PROTOCOL, "no valid reply to USER ines: what"},
        Refusal{Step::Pass, "+ok\r\n", EX_PROTOCOL, "no valid reply to PASS: +ok"},
        Refusal{Step::Stat, "-ERR busy\r\n", EX_UNAVAILABLE, "refused STAT (busy)"},
        Refusal{Step::Stat, "+OK\r\n", EX_PROTOCOL, "no valid reply to STAT: +OK"},
        Refusal{Step::Stat, "+OK 2\r\n", EX_PROTOCOL, "no valid reply to STAT: +OK 2"},
        Refusal{Step::Stat, "+OK -2 5\r\n", EX_PROTOCOL, "no valid reply to STAT: +OK -2 5"},
        Refusal{Step::Retr, "what\r\n", EX_PROTOCOL, "no valid reply to RETR 1: what"}));

// ---- lost connections

struct Loss {
    const char* name;
    Step step;
    Reply reply;
    const char* words;
};

void PrintTo(const Loss& row, std::ostream* out) { *out << row.name; }

class FetchLost : public Fetch, public ::testing::WithParamInterface<Loss> {};

/// Only the second of each step is hit, where there is one.
TEST_P(FetchLost, KeepsWhatCameAndDeletesNothing) {
    const Loss& row = GetParam();
    on(row.step, row.reply, {.argument = row.step == Step::Retr ? "2" : ""});
    const Outcome run = vtmail(intoFolder({"--delete", "--timeout", "1"}));
    expectFailure(run, EX_TEMPFAIL, row.words);
    EXPECT_THAT(server_.mailbox(), SizeIs(2));
    if (row.step != Step::Retr) return;
    EXPECT_THAT(run.err, HasSubstr("; message 2 of 2 is not complete; 1 message is stored, "
                                   "nothing is deleted at the server\n"));
    EXPECT_THAT(stored(), ElementsAre(Pair("message-0001.eml", firstFile)));
}

INSTANTIATE_TEST_SUITE_P(
    Connection, FetchLost,
    ::testing::Values(
        Loss{"ClosedAtGreeting", Step::Greeting, Reply::close(),
             "at the greeting, the server closed"},
        Loss{"ClosedAtPass", Step::Pass, Reply::close(), "at PASS, the server closed"},
        Loss{"ClosedAtStat", Step::Stat, Reply::close(), "at STAT, the server closed"},
        Loss{"ResetAtStat", Step::Stat, Reply::reset(), "at STAT, the connection was lost: "},
        Loss{"ClosedAtRetr", Step::Retr, Reply::close(), "at RETR 2, the server closed"},
        Loss{"CutInAMessage", Step::Retr, Reply::usual().cutAfter(30),
             "at RETR 2, the server closed"},
        Loss{"ResetInAMessage", Step::Retr, Reply::usual().cutAfter(30).thenReset(),
             "at RETR 2, the connection was lost: "},
        Loss{"ClosedAtDele", Step::Dele, Reply::close(), "1 message is stored, nothing is deleted"},
        Loss{"SilentAtGreeting", Step::Greeting, Reply::silence(),
             "at the greeting, the server was silent for 1 s; --timeout gives it longer"},
        Loss{"SilentAtUser", Step::User, Reply::silence(), "at USER ines, the server was silent"},
        Loss{"SilentAtPass", Step::Pass, Reply::silence(), "at PASS, the server was silent"},
        Loss{"SilentAtStat", Step::Stat, Reply::silence(), "at STAT, the server was silent"},
        Loss{"SilentAtRetr", Step::Retr, Reply::silence(), "at RETR 2, the server was silent"},
        Loss{"SilentInAMessage", Step::Retr, Reply::usual().cutAfter(30).thenFallSilent(),
             "at RETR 2, the server was silent"},
        Loss{"SilentAtDele", Step::Dele, Reply::silence(), "at DELE 1, the server was silent"}),
    [](const auto& row) { return row.param.name; });

TEST_F(Fetch, SilenceInsteadOfAGoodbyeEndsToo) {
    on(Step::Quit, Reply::silence());
    EXPECT_EQ(vtmail(intoFolder({"--timeout", "1"})).exitCode, 0);
    expectFailure(vtmail(intoFolder({"--timeout", "1", "--delete"})), EX_TEMPFAIL,
                  "at QUIT, the server was silent for 1 s");
}

TEST_F(Fetch, EachStepHasTheWholeTime) {
    for (const Step step : {Step::User, Step::Pass})
        on(step, Reply::usual().after(std::chrono::seconds(2)));
    EXPECT_EQ(vtmail(intoFolder({"--timeout", "3"})).exitCode, 0);
}

/// Says these octets to its one client, a second before each, whatever the client says.
class SlowServer {
  public:
    explicit SlowServer(std::vector<std::string> octets) {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        inet_pton(AF_INET, privateAddress().c_str(), &address.sin_addr);
        socklen_t length = sizeof address;
        auto* generic = reinterpret_cast<sockaddr*>(&address);
        EXPECT_EQ(bind(listener_, generic, length), 0);
        EXPECT_EQ(listen(listener_, 1), 0);
        EXPECT_EQ(getsockname(listener_, generic, &length), 0);
        port_ = std::to_string(ntohs(address.sin_port));
        thread_ = std::thread([this, all = std::move(octets)] { talk(all); });
    }
    ~SlowServer() {
        shutdown(listener_, SHUT_RDWR);
        thread_.join();
        close(listener_);
    }
    SlowServer(const SlowServer&) = delete;
    SlowServer& operator=(const SlowServer&) = delete;

    const std::string& port() const { return port_; }

  private:
    void talk(const std::vector<std::string>& all) const {
        const int client = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        for (const std::string& octets : all) {
            std::this_thread::sleep_for(std::chrono::seconds(1));
            send(client, octets.data(), octets.size(), MSG_NOSIGNAL);
        }
        char said[512];
        while (recv(client, said, sizeof said, 0) > 0) continue;
        close(client);
    }

    int listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    std::string port_;
    std::thread thread_;
};

TEST_F(Fetch, EachLineOfAMessageHasTheWholeTime) {
    const SlowServer server(
        {"+OK\r\n+OK\r\n+OK\r\n+OK 1 9\r\n+OK\r\n", "a\r\n", "b\r\n", "c\r\n.\r\n", "+OK\r\n"});
    const Outcome run = vtmail({"fetch", "--host", privateAddress(), "--port", server.port(),
                                "--user", "ines", "--folder", folder().string(), "--timeout", "3"});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_THAT(stored(), ElementsAre(Pair("message-0001.eml", "a\nb\nc\n")));
}

TEST_F(Fetch, AServerThatIsNotThereIsSaid) {
    expectFailure(vtmail({"fetch", "--host", privateAddress(), "--user", "ines", "--folder",
                          folder().string()}),
                  EX_TEMPFAIL, ", port pop3: Connection refused");
}

TEST_F(Fetch, AnUnknownHostIsNamed) {
    const Outcome run = vtmail({"fetch", "--host", "nowhere\x1B.invalid", "--user", "ines",
                                "--folder", folder().string()});
    EXPECT_TRUE(run.exitCode == EX_NOHOST || run.exitCode == EX_TEMPFAIL) << run.exitCode;
    EXPECT_THAT(run.err,
                StartsWith("vtmail: no address for the mail server nowhere\\x1B.invalid: "));
}

TEST_F(Fetch, UsesThePortOfTheService) {
    sandbox::ServerOptions options = guarded();
    options.pop3Port = 110;
    const sandbox::Server server(std::move(options));
    const Outcome run = vtmail(
        {"fetch", "--host", privateAddress(), "--user", "ines", "--folder", folder().string()});
    EXPECT_EQ(run.out, "no messages\n") << run.err;
}

// ---- arguments

TEST_F(Fetch, ArgumentsThatMakeNoSenseAreNamed) {
    const std::vector<std::string> base = {"fetch", "--user", "ines", "--host", "x"};
    const auto with = [&](const std::vector<std::string>& more) {
        std::vector<std::string> all = base;
        all.insert(all.end(), more.begin(), more.end());
        return vtmail(all);
    };
    expectFailure(with({}), EX_USAGE, "give --maildir DIR, --folder DIR or --mbox FILE");
    expectFailure(with({"--maildir", "a", "--folder", "b"}), EX_USAGE, "excludes");
    expectFailure(with({"--folder", "a", "--timeout", "0"}), EX_USAGE, "--timeout");
    expectFailure(with({"--folder", "a", "--password", "x"}), EX_USAGE, "--password;");
    for (const char* port : {"", "0", "65536", "99999999999"})
        expectFailure(with({"--folder", "a", "--port", port}), EX_USAGE, "is no port");
    expectFailure(vtmail({"fetch", "--host", "x", "--folder", "a"}), EX_USAGE,
                  "--user is required");
    for (const char* user : {"", "in\nes", "in\xC3\xA9s"})
        expectFailure(vtmail({"fetch", "--host", "x", "--folder", "a", "--user", user}), EX_DATAERR,
                      "cannot be sent");
}

}  // namespace
