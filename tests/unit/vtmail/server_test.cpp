// SPDX-License-Identifier: Apache-2.0
// vtmail sandbox and vtmail demo.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sysexits.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <regex>
#include <sstream>

#include "tests/unit/vtmail/json_schema.h"
#include "tests/unit/vtmail/program.h"

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

/// A running `vtmail sandbox`; its output is read line by line.
class Sandbox {
  public:
    explicit Sandbox(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"sandbox", "--smtp-port", "0", "--pop3-port", "0"});
        int ends[2];
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        out_ = fdopen(ends[0], "r");
        process_ = start(arguments, STDIN_FILENO, ends[1], STDERR_FILENO);
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

/// Sends all of `octets` and reads until the server closes.
std::string talk(std::uint16_t port, const std::string& octets) {
    const int connection = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(connect(connection, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(send(connection, octets.data(), octets.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(octets.size()));
    std::string replies;
    char block[4096];
    for (ssize_t count = 0; (count = recv(connection, block, sizeof block, 0)) > 0;)
        replies.append(block, static_cast<std::size_t>(count));
    close(connection);
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
