// SPDX-License-Identifier: Apache-2.0
// vtmail sandbox and vtmail demo.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sysexits.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <fstream>
#include <regex>
#include <sstream>

#include "tests/unit/vtmail/json_schema.h"
#include "tests/unit/vtmail/program.h"
#include "tests/unit/vtmail/terminal.h"

namespace {

using ::testing::AllOf;
using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

/// A running `vtmail sandbox`; its output is read line by line.
class Sandbox {
  public:
    explicit Sandbox(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"sandbox", "--smtp-port", "0", "--pop3-port", "0"});
        int ends[2];
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        out_ = fdopen(ends[0], "r");
        const int in = open("/dev/null", O_RDONLY | O_CLOEXEC);
        process_ = start(arguments, in, ends[1], STDERR_FILENO);
        close(in);
        close(ends[1]);
        firstLine_ = line();
    }
    ~Sandbox() {
        if (process_ != 0) end(SIGKILL);
        fclose(out_);
    }
    Sandbox(const Sandbox&) = delete;
    Sandbox& operator=(const Sandbox&) = delete;

    const std::string& firstLine() const { return firstLine_; }

    std::uint16_t port(const std::string& service) const {
        std::smatch match;
        EXPECT_TRUE(std::regex_search(firstLine_, match,
                                      std::regex(service + " on 127.0.0.1 port ([0-9]+)")));
        return static_cast<std::uint16_t>(std::stoi(match[1]));
    }

    std::string line() const {
        std::string text;
        for (int c = fgetc(out_); c != EOF && c != '\n'; c = fgetc(out_))
            text += static_cast<char>(c);
        return text;
    }

    int end(int signal) {
        kill(process_, signal);
        return exitCodeOf(std::exchange(process_, 0));
    }

  private:
    pid_t process_ = 0;
    FILE* out_ = nullptr;
    std::string firstLine_;
};

class Connection {
  public:
    explicit Connection(std::uint16_t port)
        : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    }
    ~Connection() { close(socket_); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void say(const std::string& octets) const {
        EXPECT_EQ(send(socket_, octets.data(), octets.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(octets.size()));
    }
    /// What comes next; nothing when the server has closed.
    std::string heard() const {
        char block[4096];
        const ssize_t count = recv(socket_, block, sizeof block, 0);
        return {block, static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
    }

  private:
    int socket_;
};

/// Sends all of `octets` and reads until the server closes.
std::string talk(std::uint16_t port, const std::string& octets) {
    const Connection connection(port);
    connection.say(octets);
    std::string replies;
    for (std::string more = connection.heard(); !more.empty(); more = connection.heard())
        replies += more;
    return replies;
}

const std::string oneMail =
    "EHLO me\r\nMAIL FROM:<a@x>\r\nRCPT TO:<b@x>\r\nDATA\r\nSubject: hi\r\n\r\nhello\r\n.\r\n"
    "QUIT\r\n";

TEST(SandboxCommand, SaysWhereItListens) {
    const Sandbox sandbox({});
    EXPECT_NE(sandbox.port("SMTP"), 0);
    EXPECT_NE(sandbox.port("POP3"), 0);
}

TEST(SandboxCommand, HasAPageWhereItIsAskedFor) {
    EXPECT_THAT(Sandbox({}).firstLine(), Not(HasSubstr("page")));
    const Sandbox sandbox({"--page-port", "0"});
    std::smatch match;
    ASSERT_TRUE(std::regex_search(sandbox.firstLine(), match,
                                  std::regex("page on http://127.0.0.1:([0-9]+)/;")));
    talk(sandbox.port("SMTP"), oneMail);
    EXPECT_THAT(talk(static_cast<std::uint16_t>(std::stoi(match[1])),
                     "GET /mails/1 HTTP/1.1\r\nHost: localhost\r\n\r\n"),
                AllOf(StartsWith("HTTP/1.1 200 "), HasSubstr("<title>hi</title>")));
}

TEST(SandboxCommand, ForProgramsThePortOfThePageIsANumber) {
    const Sandbox sandbox({"--json", "--page-port", "0"});
    EXPECT_THAT(sandbox.firstLine(), ContainsRegex("\"pagePort\":[1-9]"));
    EXPECT_EQ(differencesFromSchema("sandboxEvent", sandbox.firstLine()), "");
}

TEST(SandboxCommand, APagePortThatIsTakenIsNamed) {
    const Sandbox sandbox({});
    const std::string port = std::to_string(sandbox.port("SMTP"));
    const Outcome run =
        vtmail({"sandbox", "--smtp-port", "0", "--pop3-port", "0", "--page-port", port});
    EXPECT_EQ(run.exitCode, EX_UNAVAILABLE);
    EXPECT_THAT(run.err, AllOf(HasSubstr(port), HasSubstr("--page-port")));
}

TEST(SandboxCommand, KeepsWhatItGetsAndShowsTheDialogue) {
    const Sandbox sandbox({});
    EXPECT_THAT(talk(sandbox.port("SMTP"), oneMail), HasSubstr("\r\n221 "));
    EXPECT_THAT(sandbox.line(), HasSubstr("SMTP 1 S: 220 "));
    EXPECT_EQ(sandbox.line(), "SMTP 1 C: EHLO me");
    EXPECT_THAT(talk(sandbox.port("POP3"), "USER u\r\nPASS p\r\nRETR 1\r\nQUIT\r\n"),
                HasSubstr("Subject: hi\r\n\r\nhello\r\n.\r\n"));
}

TEST(SandboxCommand, ForProgramsItPrintsPortsAndDialogueAsJson) {
    const Sandbox sandbox({"--json"});
    const std::regex ready(
        R"(\{"address":"127.0.0.1","event":"ready","pop3Port":[0-9]+,"smtpPort":([0-9]+)\})");
    std::smatch match;
    ASSERT_TRUE(std::regex_match(sandbox.firstLine(), match, ready)) << sandbox.firstLine();
    EXPECT_EQ(differencesFromSchema("sandboxEvent", sandbox.firstLine()), "");
    talk(static_cast<std::uint16_t>(std::stoi(match[1])), "QUIT\r\n");
    EXPECT_THAT(sandbox.line(), HasSubstr(R"("side":"server","text":"220 )"));
    const std::string quit = sandbox.line();
    EXPECT_EQ(quit, R"({"connection":1,"event":"line","service":"smtp","side":"client",)"
                    R"("text":"QUIT"})");
    EXPECT_EQ(differencesFromSchema("sandboxEvent", quit), "");
}

TEST(SandboxCommand, StoresMailsInAFolder) {
    const SettingsFolder folder;
    const Sandbox sandbox({"--folder", (folder.path() / "mails").string()});
    talk(sandbox.port("SMTP"), oneMail);
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path() / "mails"))
        files.push_back(entry.path());
    ASSERT_THAT(files, SizeIs(1));
    EXPECT_EQ(files[0].extension(), ".eml");
    std::ostringstream octets;
    octets << std::ifstream(files[0]).rdbuf();
    EXPECT_THAT(octets.str(), HasSubstr("Subject: hi\r\n\r\nhello\r\n"));
}

TEST(SandboxCommand, RefusesTheRecipientsItIsTold) {
    const Sandbox sandbox({"--refuse", "b@x", "--refuse", "c@x"});
    EXPECT_THAT(talk(sandbox.port("SMTP"),
                     "HELO me\r\nMAIL FROM:<a@x>\r\nRCPT TO:<b@x>\r\nRCPT TO:<d@x>\r\nQUIT\r\n"),
                AllOf(HasSubstr("\r\n550 5.1.1 no such mailbox\r\n250 ")));
}

TEST(SandboxCommand, AnnouncesWhatItIsTold) {
    const Sandbox sandbox({"--ehlo", "SIZE 5", "--ehlo", "XYZZY"});
    EXPECT_THAT(talk(sandbox.port("SMTP"), "EHLO me\r\nQUIT\r\n"),
                HasSubstr("\r\n250-SIZE 5\r\n250 XYZZY\r\n"));
}

TEST(SandboxCommand, EndsWhenItIsTold) {
    for (const int signal : {SIGTERM, SIGINT}) {
        Sandbox sandbox({});
        EXPECT_EQ(sandbox.end(signal), 0) << signal;
    }
}

TEST(SandboxCommand, APortThatIsTakenIsNamed) {
    const Sandbox sandbox({});
    const std::string port = std::to_string(sandbox.port("SMTP"));
    const Outcome run = vtmail({"sandbox", "--smtp-port", port, "--pop3-port", "0"});
    EXPECT_EQ(run.exitCode, EX_UNAVAILABLE);
    EXPECT_THAT(run.err, AllOf(HasSubstr(port), HasSubstr("--smtp-port")));
    EXPECT_THAT(run.out, IsEmpty());
}

TEST(SandboxCommand, AnAddressThatIsNoneIsNamed) {
    const Outcome run = vtmail({"sandbox", "--address", "here"});
    EXPECT_EQ(run.exitCode, EX_UNAVAILABLE);
    EXPECT_THAT(run.err, AllOf(HasSubstr("here"), HasSubstr("--address")));
}

TEST(SandboxCommand, AFolderThatCannotBeMadeIsNamed) {
    const Outcome run =
        vtmail({"sandbox", "--smtp-port", "0", "--pop3-port", "0", "--folder", "/proc/none"});
    EXPECT_EQ(run.exitCode, EX_CANTCREAT);
    EXPECT_THAT(run.err, AllOf(HasSubstr("/proc/none"), HasSubstr("another --folder")));
}

TEST(SandboxCommand, EndsWhenItCannotSayWhereItListens) {
    const Outcome run = vtmail({"sandbox", "--smtp-port", "0", "--pop3-port", "0"}, {}, [] {
        dup2(open("/dev/full", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
    });
    EXPECT_EQ(run.exitCode, EX_IOERR);
}

// ---- its folder

TEST(SandboxCommand, StoresMailsInAMaildirAndServesThoseThatAreThere) {
    const SettingsFolder folder;
    const std::string maildir = (folder.path() / "mails").string();
    std::filesystem::create_directories(folder.path() / "mails/new");
    std::ofstream(folder.path() / "mails/new/1000000001.a") << "Subject: old\n";
    const Sandbox sandbox({"--maildir", maildir});
    talk(sandbox.port("SMTP"), oneMail);
    EXPECT_THAT(talk(sandbox.port("POP3"), "USER u\r\nPASS p\r\nRETR 1\r\nRETR 2\r\nQUIT\r\n"),
                AllOf(HasSubstr("Subject: old\r\n.\r\n"), HasSubstr("\r\n\r\nhello\r\n.\r\n")));
    const std::filesystem::directory_iterator files(maildir + "/new");
    EXPECT_EQ(std::distance(begin(files), end(files)), 2);
}

TEST(SandboxCommand, StoresMailsInOneWayOnly) {
    const Outcome run = vtmail({"sandbox", "--folder", "a", "--maildir", "b"});
    EXPECT_EQ(run.exitCode, EX_USAGE);
    EXPECT_THAT(run.err, AllOf(HasSubstr("--folder"), HasSubstr("--maildir")));
}

TEST(SandboxCommand, AMaildirThatCannotBeMadeIsNamed) {
    const Outcome run =
        vtmail({"sandbox", "--smtp-port", "0", "--pop3-port", "0", "--maildir", "/proc/none"});
    EXPECT_EQ(run.exitCode, EX_CANTCREAT);
    EXPECT_THAT(run.err, AllOf(HasSubstr("/proc/none"), HasSubstr("--maildir")));
}

// ---- its address

TEST(SandboxCommand, ListensToThisMachineAloneUnlessToldOtherwise) {
    const Outcome run = vtmail({"sandbox", "--address", "0.0.0.0"});
    EXPECT_EQ(run.exitCode, EX_USAGE);
    EXPECT_THAT(run.err, AllOf(HasSubstr("0.0.0.0"), HasSubstr("--allow-remote")));
    EXPECT_THAT(run.out, IsEmpty());
    const Sandbox sandbox({"--address", "0.0.0.0", "--allow-remote"});
    EXPECT_THAT(sandbox.firstLine(), HasSubstr("SMTP on 0.0.0.0 port "));
}

// ---- its limits

TEST(SandboxCommand, AnnouncesAndKeepsTheLargestSize) {
    const Sandbox sandbox({"--max-size", "20"});
    const std::string replies =
        talk(sandbox.port("SMTP"),
             "EHLO me\r\nMAIL FROM:<a@x> SIZE=21\r\nMAIL FROM:<a@x> SIZE=20\r\nRCPT TO:<b@x>\r\n"
             "DATA\r\n0123456789\r\n0123456789\r\n.\r\nQUIT\r\n");
    EXPECT_THAT(replies, AllOf(HasSubstr("\r\n250-SIZE 20\r\n"),
                               HasSubstr("\r\n552 too large\r\n250 sender taken\r\n"),
                               HasSubstr("\r\n552 too large\r\n221 ")));
}

TEST(SandboxCommand, RefusesLinesThatAreTooLongAndGoesOn) {
    const Sandbox sandbox({"--max-line", "20"});
    const std::string longer(19, 'x');
    const std::string replies =
        talk(sandbox.port("SMTP"), "NOOP " + longer + "\r\nHELO me\r\nMAIL FROM:<a@x>\r\n" +
                                       "RCPT TO:<b@x>\r\nDATA\r\n" + longer + "\r\n.\r\nQUIT\r\n");
    EXPECT_THAT(replies, AllOf(HasSubstr("500 line too long\r\n250 sandbox"),
                               HasSubstr("\r\n500 a line is too long\r\n221 ")));
}

TEST(SandboxCommand, TakesCommandsOfAThousandOctetsAndAnyLineOfAMail) {
    const Sandbox sandbox({});
    const std::string replies =
        talk(sandbox.port("SMTP"), "NOOP " + std::string(993, 'x') + "\r\nNOOP " +
                                       std::string(994, 'x') + "\r\nHELO me\r\n" +
                                       "MAIL FROM:<a@x>\r\nRCPT TO:<b@x>\r\nDATA\r\n" +
                                       std::string(5000, 'x') + "\r\n.\r\nQUIT\r\n");
    EXPECT_THAT(replies, AllOf(HasSubstr("250 done nothing\r\n500 line too long\r\n250 sandbox"),
                               HasSubstr("250 message kept")));
}

TEST(SandboxCommand, RefusesRecipientsAndConnectionsTooMany) {
    const Sandbox sandbox({"--max-recipients", "1", "--max-connections", "1"});
    EXPECT_THAT(talk(sandbox.port("SMTP"),
                     "HELO me\r\nMAIL FROM:<a@x>\r\nRCPT TO:<b@x>\r\nRCPT TO:<c@x>\r\nQUIT\r\n"),
                HasSubstr("\r\n250 recipient taken\r\n452 too many recipients\r\n221 "));
    const Connection idle(sandbox.port("SMTP"));
    EXPECT_THAT(idle.heard(), HasSubstr("220 "));
    EXPECT_EQ(talk(sandbox.port("POP3"), ""), "-ERR too many connections\r\n");
}

// ---- its faults

const std::string sixResets = "RSET\r\nRSET\r\nRSET\r\nRSET\r\nRSET\r\nRSET\r\nQUIT\r\n";

TEST(SandboxCommand, HasTheFaultsItIsTold) {
    const Sandbox sandbox({"--fault", "MAIL:451", "--fault", "POP3.QUIT:ERR:1", "--seed", "9"});
    EXPECT_THAT(sandbox.firstLine(), HasSubstr("; faults of seed 9; ends with Ctrl-C"));
    EXPECT_THAT(talk(sandbox.port("SMTP"), "HELO me\r\nMAIL FROM:<a@x>\r\nQUIT\r\n"),
                HasSubstr("\r\n451 a fault on purpose\r\n221 "));
    for (int line = 0; line < 4; ++line) sandbox.line();
    EXPECT_EQ(sandbox.line(), "SMTP 1 fault MAIL:451");
    EXPECT_EQ(sandbox.line(), "SMTP 1 S: 451 a fault on purpose");
}

TEST(SandboxCommand, TellsProgramsOfItsFaults) {
    const Sandbox sandbox({"--json", "--fault", "SMTP.GREETING:554:1", "--seed", "9"});
    EXPECT_THAT(sandbox.firstLine(), HasSubstr(R"("seed":9,)"));
    EXPECT_EQ(differencesFromSchema("sandboxEvent", sandbox.firstLine()), "");
    std::smatch port;
    ASSERT_TRUE(std::regex_search(sandbox.firstLine(), port, std::regex(R"("smtpPort":([0-9]+))")));
    talk(static_cast<std::uint16_t>(std::stoi(port[1])), "QUIT\r\n");
    const std::string fault = sandbox.line();
    EXPECT_EQ(fault, R"({"connection":1,"event":"fault","fault":"SMTP.GREETING:554:1",)"
                     R"("service":"smtp"})");
    EXPECT_EQ(differencesFromSchema("sandboxEvent", fault), "");
}

TEST(SandboxCommand, HasTheSameFaultsAgainForTheSeedItNames) {
    const std::vector<std::string> fault = {"--fault", "SMTP.RSET:450:0.5"};
    const Sandbox first(fault);
    std::smatch seed;
    ASSERT_TRUE(std::regex_search(first.firstLine(), seed, std::regex("of seed ([0-9]+);")));
    const Sandbox again({fault[0], fault[1], "--seed", seed[1]});
    for (int round = 0; round < 5; ++round)
        EXPECT_EQ(talk(first.port("SMTP"), sixResets), talk(again.port("SMTP"), sixResets));
}

TEST(SandboxCommand, IsSlowForAsLongAsItIsTold) {
    const Sandbox sandbox({"--fault", "SMTP.QUIT:slow", "--slow-by", "150"});
    const auto start = std::chrono::steady_clock::now();
    EXPECT_THAT(talk(sandbox.port("SMTP"), "QUIT\r\n"), HasSubstr("\r\n221 "));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(150));
}

TEST(SandboxCommand, ShowsOnlyFaultsWhenItIsQuiet) {
    const Sandbox sandbox({"--quiet", "--fault", "SMTP.QUIT:close"});
    talk(sandbox.port("SMTP"), "HELO me\r\nQUIT\r\n");
    EXPECT_EQ(sandbox.line(), "SMTP 1 fault SMTP.QUIT:close");
}

TEST(SandboxCommand, ExplainsAFaultThatMakesNoSense) {
    for (const char* fault : {"RCTP:550", "RCPT:no", "RCPT:550:1.5", "RCPT"}) {
        const Outcome run = vtmail({"sandbox", "--fault", fault});
        EXPECT_EQ(run.exitCode, EX_USAGE) << fault;
        EXPECT_THAT(run.err, HasSubstr(std::string("vtmail: --fault ") + fault + ": "));
        EXPECT_THAT(run.out, IsEmpty());
    }
}

TEST(SandboxCommand, TakesOnlyNumbersThatCount) {
    for (const char* option : {"--seed", "--max-size", "--max-line", "--max-recipients",
                               "--max-connections", "--slow-by"})
        for (const char* number : {"x", "-1", "1.5", "", "010", "18446744073709551616"}) {
            const Outcome run = vtmail({"sandbox", "--address", "none", option, number});
            EXPECT_EQ(run.exitCode, EX_USAGE) << option << ' ' << number;
            EXPECT_THAT(run.err, HasSubstr(option)) << number;
        }
    EXPECT_EQ(vtmail({"sandbox", "--address", "none", "--seed", "18446744073709551615"}).exitCode,
              EX_UNAVAILABLE);
}

// ---- a command run against it

Outcome run(const std::string& command, std::vector<std::string> arguments = {},
            const std::function<void()>& prepare = {}) {
    arguments.insert(arguments.begin(), {"sandbox", "--smtp-port", "0", "--pop3-port", "0"});
    arguments.insert(arguments.end(), {"--exec", command});
    return vtmail(arguments, {}, prepare);
}

TEST(SandboxExec, ExitsAsItsCommandDoes) {
    for (const int code : {0, 1, 7, 255})
        EXPECT_EQ(run("exit " + std::to_string(code)).exitCode, code);
    EXPECT_EQ(run("no-such-command-anywhere").exitCode, 127);
    EXPECT_EQ(run("").exitCode, 0);
}

TEST(SandboxExec, ExitsWith128AndTheSignalThatEndsItsCommand) {
    for (const int signal : {SIGTERM, SIGKILL, SIGPIPE})
        EXPECT_EQ(run("kill -" + std::to_string(signal) + " $$").exitCode, 128 + signal);
}

TEST(SandboxExec, LeavesStandardOutputToItsCommand) {
    const Outcome outcome = run("echo from the command");
    EXPECT_EQ(outcome.out, "from the command\n");
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("SMTP on 127.0.0.1 port "),
                                   HasSubstr("; ends with the command\n")));
    const Outcome json = run("exit 0", {"--json"});
    EXPECT_EQ(differencesFromSchema("sandboxEvent", json.err.substr(0, json.err.find('\n'))), "");
}

TEST(SandboxExec, TellsItsCommandWhereItIs) {
    const ScopedEnvironment outer("VTMAIL_SANDBOX_SMTP_PORT", "1");
    Sandbox sandbox({"--exec",
                     "echo SMTP on $VTMAIL_SANDBOX_ADDRESS port $VTMAIL_SANDBOX_SMTP_PORT, "
                     "POP3 on $VTMAIL_SANDBOX_ADDRESS port $VTMAIL_SANDBOX_POP3_PORT; "
                     "exec sleep 100"});
    EXPECT_THAT(talk(sandbox.port("SMTP"), oneMail), HasSubstr("\r\n221 "));
    EXPECT_THAT(talk(sandbox.port("POP3"), "USER u\r\nPASS p\r\nSTAT\r\nQUIT\r\n"),
                HasSubstr("+OK 1 22\r\n"));
    EXPECT_EQ(sandbox.end(SIGTERM), 128 + SIGTERM);
}

TEST(SandboxExec, TellsItsCommandTheFolderFromTheRoot) {
    const SettingsFolder folder;
    const auto enter = [&] { EXPECT_EQ(chdir(folder.path().c_str()), 0); };
    const std::string command = "echo \"[$VTMAIL_SANDBOX_FOLDER]\"";
    const std::string path = std::filesystem::canonical(folder.path()).string();
    EXPECT_EQ(run(command, {"--folder", "mails"}, enter).out, "[" + path + "/mails]\n");
    EXPECT_EQ(run(command, {"--maildir", "dir"}, enter).out, "[" + path + "/dir]\n");
    EXPECT_EQ(run(command).out, "[]\n");
}

TEST(SandboxExec, TellsItsCommandWhereThePageIs) {
    const Outcome outcome = run("echo \"[$VTMAIL_SANDBOX_PAGE]\"", {"--page-port", "0"});
    const std::string page = outcome.out.substr(1, outcome.out.find(']') - 1);
    EXPECT_THAT(page, StartsWith("http://127.0.0.1:"));
    EXPECT_THAT(outcome.err, HasSubstr(", page on " + page + "; "));
    EXPECT_EQ(run("echo \"[$VTMAIL_SANDBOX_PAGE]\"").out, "[]\n");
}

// These commands sleep in small pieces: a trap of the shell has to wait for the end of each.

TEST(SandboxExec, PassesEndSignalsOn) {
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGQUIT}) {
        Sandbox sandbox(
            {"--exec",
             "trap 'exit 3' TERM INT HUP QUIT; echo ready; while :; do sleep 0.05; done"});
        EXPECT_EQ(sandbox.firstLine(), "ready");
        EXPECT_EQ(sandbox.end(signal), 3) << signal;
    }
}

TEST(SandboxExec, PassesEndSignalsOnToAllThatItsCommandHasStarted) {
    Sandbox sandbox(
        {"--exec",
         "(trap 'echo inner; exit 0' TERM; echo ready; while :; do sleep 0.05; done); :"});
    EXPECT_EQ(sandbox.firstLine(), "ready");
    EXPECT_EQ(sandbox.end(SIGTERM), 128 + SIGTERM);
    EXPECT_EQ(sandbox.line(), "inner");
}

TEST(SandboxExec, GoesOnWhileItsCommandDoesNotMindASignal) {
    Sandbox sandbox({"--exec",
                     "trap 'echo no; seen=1' TERM; echo ready; "
                     "while [ -z \"$seen\" ]; do sleep 0.05; done; exit 5"});
    EXPECT_EQ(sandbox.firstLine(), "ready");
    EXPECT_EQ(sandbox.end(SIGTERM), 5);
    EXPECT_EQ(sandbox.line(), "no");
}

TEST(SandboxExec, StartsItsCommandWithoutTheTracesOfItsOwnWork) {
    const Outcome outcome = run("grep -E 'Sig(Blk|Ign)' /proc/self/status; ls -l /proc/$$/fd");
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("SigBlk:\t0000000000000000\n"),
                                   ContainsRegex("SigIgn:\t[0-9a-f]{8}[08]0000000\n"),
                                   Not(HasSubstr("socket:"))));
}

TEST(SandboxExec, LetsItsCommandUseTheTerminal) {
    const Terminal terminal;
    const auto takeTerminal = [] {
        setsid();
        ioctl(STDIN_FILENO, TIOCSCTTY, 0);
    };
    const std::string command =
        "trap 'echo interrupted; exit 3' INT; read line; echo got $line; while :; do sleep 0.05; "
        "done";
    const pid_t process =
        start({"sandbox", "--smtp-port", "0", "--pop3-port", "0", "--exec", command},
              terminal.descriptor(), terminal.descriptor(), terminal.descriptor(), takeTerminal);
    terminal.type("words\n");
    EXPECT_THAT(terminal.screenUpTo("got words"), HasSubstr("got words"));
    terminal.type("\x03");
    EXPECT_THAT(terminal.screenUpTo("interrupted"), HasSubstr("interrupted"));
    EXPECT_EQ(exitCodeOf(process), 3);
}

// ---- the demo

TEST(DemoCommand, ShowsSettingsDialogueOctetsAndVerdict) {
    const Outcome run = vtmail({"demo"});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    for (const char* part :
         {"SendActive = 1", "   C: RCPT TO:<audit@example.org>\n", "   C: QUIT\n",
          "   Mime-Version: 1.0\\r\\n\n",
          "Envelope, sender, recipients, subject and text are what was sent",
          "   Subject: Los 7 ist freigegeben – alle Prüfungen bestanden ✓ 承認済み\n",
          "   2 messages came back; sender, recipients, subject and text are"})
        EXPECT_THAT(run.out, HasSubstr(part));
    EXPECT_THAT(run.err, IsEmpty());
}

TEST(DemoCommand, LeavesNothingBehind) {
    const SettingsFolder folder;
    const ScopedEnvironment temporary("TMPDIR", folder.path().string());
    EXPECT_EQ(vtmail({"demo"}).exitCode, 0);
    EXPECT_THAT(folder.names(), IsEmpty());
}

TEST(DemoCommand, WithoutATemporaryFolderSaysWhatToDo) {
    const SettingsFolder folder;
    const std::filesystem::path none = folder.path() / "file";
    std::ofstream(none) << "";
    const ScopedEnvironment temporary("TMPDIR", none.string());
    const Outcome run = vtmail({"demo"});
    EXPECT_NE(run.exitCode, 0);
    EXPECT_THAT(run.err, HasSubstr("vtmail: "));
}

TEST(DemoCommand, OutputThatCannotBeWrittenIsAnError) {
    const Outcome run =
        vtmail({"demo"}, {}, [] { dup2(open("/dev/full", O_WRONLY | O_CLOEXEC), STDOUT_FILENO); });
    EXPECT_EQ(run.exitCode, EX_IOERR);
}

}  // namespace
