// SPDX-License-Identifier: Apache-2.0
// vtmail fetch --mbox and --limit.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sysexits.h>
#include <unistd.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>

#include "sandbox/server.h"
#include "tests/support/private_network.h"
#include "tests/unit/vtmail/program.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

namespace fs = std::filesystem;

sandbox::ServerOptions inPrivate() {
    sandbox::ServerOptions options;
    options.address = privateAddress();
    return options;
}

/// Two messages, as they are in an mbox with the separators "From S".
const std::string both = "From S\nSubject: one\n\nhello\n\nFrom S\nSubject: two\n\nworld\n\n";

class FetchMbox : public ::testing::Test {
  protected:
    FetchMbox() {
        server_.addMessage("Subject: one\r\n\r\nhello\r\n");
        server_.addMessage("Subject: two\r\n\r\nworld\r\n");
    }

    fs::path mbox() const { return folder_.path() / "mbox"; }
    fs::path beside(const std::string& name) const { return folder_.path() / name; }

    Outcome fetch(const std::vector<std::string>& more = {},
                  const std::function<void()>& prepare = {}) const {
        std::vector<std::string> all = {"fetch",
                                        "--host",
                                        privateAddress(),
                                        "--port",
                                        std::to_string(server_.pop3Port()),
                                        "--user",
                                        "ines",
                                        "--mbox",
                                        mbox().string()};
        all.insert(all.end(), more.begin(), more.end());
        return vtmail(all, {}, prepare);
    }

    static std::string octetsOf(const fs::path& file) {
        std::ifstream in(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    static void setOctets(const fs::path& file, const std::string& octets) {
        std::ofstream(file, std::ios::binary) << octets;
    }

    /// The mbox, each of its new separators, which have the time in them, as "From S".
    std::string stored() const {
        const std::regex separator(
            "From MAILER-DAEMON [A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9][0-9] "
            "[0-9]{2}:[0-9]{2}:[0-9]{2} [0-9]{4}\n");
        return std::regex_replace(octetsOf(mbox()), separator, "From S\n");
    }

    ScopedEnvironment password_{"VTMAIL_PASSWORD", "secret"};
    SettingsFolder folder_;
    sandbox::Server server_{inPrivate()};
};

TEST_F(FetchMbox, AppendsEachMessageBehindASeparator) {
    const Outcome run = fetch({"--delete"});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(stored(), both);
    EXPECT_THAT(run.out, StartsWith("message 1 of 2: 20 octets, " + mbox().string() + "\n"));
    EXPECT_THAT(folder_.names(), ElementsAre("mbox"));
    EXPECT_THAT(server_.mailbox(), IsEmpty());
}

TEST_F(FetchMbox, KeepsWhatIsThereAndEndsItsLastMessage) {
    for (const char* end : {"x\n\n", "x\n", "x"}) {
        setOctets(mbox(), std::string("From a@x\n\n") + end);
        EXPECT_EQ(fetch().exitCode, 0);
        EXPECT_EQ(stored(), "From a@x\n\nx\n\n" + both) << end;
    }
}

TEST_F(FetchMbox, QuotesLinesThatLookLikeSeparators) {
    server_.addMessage(
        "A: b\r\n\r\nFrom x\r\n>From y\r\n>>From z\r\nFrom\r\nfrom x\r\n> From\r\nFro");
    EXPECT_EQ(fetch().exitCode, 0);
    EXPECT_EQ(stored(), both +
                            "From S\nA: b\n\n>From x\n>>From y\n>>>From z\nFrom\nfrom x\n"
                            "> From\nFro\n\n");
}

TEST_F(FetchMbox, NobodyElseMayReadTheMail) {
    EXPECT_EQ(fetch().exitCode, 0);
    EXPECT_EQ(fs::status(mbox()).permissions(), fs::perms(0600));
}

TEST_F(FetchMbox, PythonReadsIt) {
    server_.addMessage("Subject: three\r\n\r\nFrom x\r\n");
    EXPECT_EQ(fetch().exitCode, 0);
    const std::string program =
        "import mailbox, sys; m = mailbox.mbox(sys.argv[1]); "
        "sys.exit([x['subject'] for x in m] != ['one', 'two', 'three'])";
    EXPECT_EQ(std::system(("python3 -c \"" + program + "\" " + mbox().string()).c_str()), 0);
}

// ---- what goes wrong

/// As limitedTo, and no file can be cut: what a crash in the midst of appending leaves.
std::function<void()> crashingAt(rlim_t octets) {
    return [octets] {
        limitedTo(octets)();
        sock_filter steps[] = {
            BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_ftruncate, 0, 1),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        };
        const sock_fprog program = {4, steps};
        if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
            prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0)
            _exit(126);
    };
}

const std::string old = "From a@x\n\n" + std::string(1000, 'x') + "\n\n";

TEST_F(FetchMbox, AFullDiskLeavesTheFileAsItWas) {
    setOctets(mbox(), old);
    const Outcome run = fetch({"--delete"}, limitedTo(old.size() + 10));
    EXPECT_EQ(run.exitCode, EX_IOERR);
    EXPECT_THAT(run.err, HasSubstr("mbox: File too large; message 1 of 2 is not complete"));
    EXPECT_EQ(octetsOf(mbox()), old);
    EXPECT_THAT(folder_.names(), ElementsAre("mbox"));
    EXPECT_THAT(server_.mailbox(), SizeIs(2));
}

TEST_F(FetchMbox, AFullDiskLeavesNoLock) {
    EXPECT_EQ(fetch({}, limitedTo(3)).exitCode, EX_IOERR);
    EXPECT_THAT(folder_.names(), Not(Contains("mbox.lock")));
    EXPECT_EQ(fetch().exitCode, 0);
}

// As in a container, in which each run has the same number.
TEST_F(FetchMbox, AMessageThatACrashLeftHalfWrittenIsNotInTheWay) {
    const auto leave = [this] {
        std::ofstream(mbox().parent_path() / (".vtmail-" + std::to_string(getpid()) + "-1.tmp"));
    };
    const Outcome run = fetch({}, leave);
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(stored(), both);
}

TEST_F(FetchMbox, WhatACrashLeavesIsCutOffByTheNextOne) {
    setOctets(mbox(), old);
    EXPECT_EQ(fetch({}, crashingAt(old.size() + 10)).exitCode, -SIGSYS);
    ASSERT_EQ(octetsOf(mbox()).size(), old.size() + 10);
    const Outcome run = fetch();
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(stored(), old + both);
}

TEST_F(FetchMbox, WhatOthersAppendedAfterACrashStays) {
    setOctets(mbox(), old);
    EXPECT_EQ(fetch({}, crashingAt(old.size() + 10)).exitCode, -SIGSYS);
    std::ofstream(mbox(), std::ios::app) << "theirs\n\n";
    const std::string now = octetsOf(mbox());
    EXPECT_EQ(fetch().exitCode, 0);
    EXPECT_EQ(stored(), now + both);
}

TEST_F(FetchMbox, AJournalThatMakesNoSenseChangesNothing) {
    const std::string complete = "00000000000000000010 00000000000000000003\n";
    for (const std::string& journal : {std::string(), std::string("rubbish"), complete + "x",
                                       complete + "yyy", complete + "xxx"}) {
        setOctets(mbox(), "From a@x\n\nxxx\n\n");
        setOctets(beside(".mbox.vtmail-journal"), journal);
        EXPECT_EQ(fetch().exitCode, 0);
        EXPECT_EQ(stored(), "From a@x\n\nxxx\n\n" + both) << journal;
    }
}

TEST_F(FetchMbox, AFileThatAnotherProgramHasLockedIsLeftAlone) {
    setOctets(mbox(), old);
    setOctets(beside("mbox.lock"), "other\n");
    const Outcome run = fetch();
    EXPECT_EQ(run.exitCode, EX_TEMPFAIL);
    EXPECT_EQ(run.err,
              "vtmail: " + mbox().string() + " is locked by another program; try again later\n");
    EXPECT_EQ(octetsOf(mbox()), old);
    EXPECT_EQ(octetsOf(beside("mbox.lock")), "other\n");
}

TEST_F(FetchMbox, ALockOfOurOwnThatACrashLeftIsTaken) {
    setOctets(beside("mbox.lock"), "vtmail\n");
    EXPECT_EQ(fetch().exitCode, 0);
    EXPECT_THAT(folder_.names(), ElementsAre("mbox"));
}

TEST_F(FetchMbox, AFolderIsNoMbox) {
    fs::create_directory(mbox());
    const Outcome run = fetch();
    EXPECT_EQ(run.exitCode, EX_CANTCREAT);
    EXPECT_THAT(run.err, HasSubstr("mbox: Is a directory"));
}

// ---- --limit

TEST_F(FetchMbox, TheLimitTakesTheOldest) {
    const Outcome run = fetch({"--limit", "1", "--delete", "--quiet"});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(stored(), "From S\nSubject: one\n\nhello\n\n");
    EXPECT_THAT(server_.mailbox(), ElementsAre("Subject: two\r\n\r\nworld\r\n"));
}

TEST_F(FetchMbox, ALimitAboveTheNumberIsNone) {
    EXPECT_THAT(fetch({"--limit", "9"}).out, HasSubstr("2 of 2 messages"));
}

TEST_F(FetchMbox, ALimitThatIsNoneIsAUsageError) {
    for (const char* limit : {"0", "-1", "x", ""})
        EXPECT_EQ(fetch({"--limit", limit}).exitCode, EX_USAGE) << limit;
}

}  // namespace
