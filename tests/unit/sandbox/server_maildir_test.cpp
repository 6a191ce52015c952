// SPDX-License-Identifier: Apache-2.0
// A Maildir that the server fills and serves.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "tests/unit/host/child_process.h"
#include "tests/unit/sandbox/file_limit.h"
#include "tests/unit/sandbox/mail_clients.h"
#include "tests/unit/sandbox/temporary_folder.h"

using sandbox::Server;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;
namespace fs = std::filesystem;

namespace {

void makeMaildirAt(const fs::path& folder) {
    for (const char* part : {"tmp", "new", "cur"}) fs::create_directories(folder / part);
}

class ServerMaildir : public testing::Test {
  protected:
    void makeMaildir() const { makeMaildirAt(maildir_); }

    std::vector<std::string> names(const char* part) const { return namesIn(maildir_ / part); }

    TemporaryFolder root_;
    const fs::path maildir_ = root_.path() / "mail" / "in";  // does not exist yet
};

TEST_F(ServerMaildir, isMadeAtOnceForItsOwnerAlone) {
    const Server server({.maildir = maildir_ / ""});
    EXPECT_THAT(namesIn(maildir_), ElementsAre("cur", "new", "tmp"));
    for (const char* part : {"", "tmp", "new", "cur"})
        EXPECT_EQ(fs::status(maildir_ / part).permissions(), fs::perms::owner_all) << part;
}

TEST_F(ServerMaildir, getsAFileForEachMessageInNew) {
    const Server server({.maildir = maildir_});
    SmtpClient client(server);
    EXPECT_EQ(client.sendMessage("..one\r\n"), "250");
    EXPECT_EQ(client.sendMessage("two\r\n"), "250");
    ASSERT_THAT(names("new"), SizeIs(2));
    EXPECT_EQ(contentOf(maildir_ / "new" / names("new")[0]), ".one\n");
    EXPECT_EQ(contentOf(maildir_ / "new" / names("new")[1]), "two\n");
    EXPECT_THAT(names("tmp"), IsEmpty());
    EXPECT_THAT(names("cur"), IsEmpty());
}

TEST_F(ServerMaildir, getsLinesThatEndWithLineFeedsAndAllOtherOctets) {
    const Server server({.maildir = maildir_});
    const std::string data("a\rb\r\r\n\0\xFF\n\r\n", 11);
    EXPECT_EQ(SmtpClient(server).sendMessage(data), "250");
    EXPECT_EQ(contentOf(maildir_ / "new" / names("new").at(0)),
              std::string("a\rb\r\n\0\xFF\n\n", 9));
    EXPECT_THAT(server.mailbox(), ElementsAre(data));
}

TEST_F(ServerMaildir, givesNamesOfTimeProcessAndHost) {
    const Server server({.maildir = maildir_});
    EXPECT_EQ(SmtpClient(server).sendMessage("one\r\n"), "250");
    EXPECT_THAT(names("new").at(0),
                MatchesRegex("[0-9]+\\.M[0-9]{6}P" + std::to_string(getpid()) + "Q1\\.[^:/]+"));
}

TEST_F(ServerMaildir, isServedByPop3InTheOrderOfItsNames) {
    makeMaildir();
    writeFile(maildir_ / "cur" / "1000000002.b:2,S", "two\n\nwith text\n");
    writeFile(maildir_ / "new" / "1000000003.c", "three\r\nended as on the wire\r\n");
    writeFile(maildir_ / "new" / "1000000001.a", "one\n");
    const Server server({.maildir = maildir_});
    Pop3Client client(server);
    EXPECT_EQ(client.lines("UIDL"), "1 1000000001.a\r\n2 1000000002.b\r\n3 1000000003.c\r\n.\r\n");
    EXPECT_EQ(client.lines("RETR 2"), "two\r\n\r\nwith text\r\n.\r\n");
    EXPECT_EQ(client.lines("RETR 3"), "three\r\nended as on the wire\r\n.\r\n");
}

TEST_F(ServerMaildir, servesAMailThatIsInNewAndCurOnce) {
    makeMaildir();
    writeFile(maildir_ / "new" / "1000000001.a", "one\n");
    writeFile(maildir_ / "cur" / "1000000001.a:2,S", "one\n");
    const Server server({.maildir = maildir_});
    EXPECT_THAT(server.mailbox(), ElementsAre("one\r\n"));
}

TEST_F(ServerMaildir, leavesOutWhatIsNoMail) {
    makeMaildir();
    writeFile(maildir_ / "tmp" / "1000000001.a", "half");
    writeFile(maildir_ / "new" / ".hidden", "hidden");
    fs::create_directory(maildir_ / "new" / "folder");
    ASSERT_EQ(mkfifo((maildir_ / "cur" / "pipe").c_str(), 0600), 0);
    const Server server({.maildir = maildir_});
    EXPECT_THAT(server.mailbox(), IsEmpty());
}

TEST_F(ServerMaildir, keepsTheIdsOfItsMailsForTheNextServer) {
    std::string ids;
    {
        const Server server({.maildir = maildir_});
        EXPECT_EQ(SmtpClient(server).sendMessage("one\r\n"), "250");
        ids = Pop3Client(server).lines("UIDL");
    }
    const Server next({.maildir = maildir_});
    Pop3Client client(next);
    EXPECT_EQ(client.lines("UIDL"), ids);
    EXPECT_EQ(client.lines("RETR 1"), "one\r\n.\r\n");
}

TEST_F(ServerMaildir, givesAnotherIdToANameThatIsNone) {
    makeMaildir();
    writeFile(maildir_ / "new" / std::string(71, 'x'), "one\n");
    writeFile(maildir_ / "new" / "with blank", "two\n");
    const Server server({.maildir = maildir_});
    EXPECT_THAT(Pop3Client(server).lines("UIDL"),
                MatchesRegex("1 [0-9.]+\r\n2 [0-9.]+\r\n\\.\r\n"));
}

TEST_F(ServerMaildir, keepsTheFilesOfMessagesThatPop3Deletes) {
    makeMaildir();
    writeFile(maildir_ / "cur" / "1000000001.a:2,", "one\n");
    const Server server({.maildir = maildir_});
    Pop3Client client(server);
    EXPECT_TRUE(client.takes("DELE 1"));
    EXPECT_TRUE(client.takes("QUIT"));
    EXPECT_THAT(server.mailbox(), IsEmpty());
    EXPECT_THAT(names("cur"), ElementsAre("1000000001.a:2,"));
}

TEST_F(ServerMaildir, hasNoPartOfAMessageThatItCannotWrite) {
    const Server server({.maildir = maildir_});
    SmtpClient client(server);
    const FileLimit limit(1000);
    EXPECT_EQ(client.sendMessage(std::string(2000, 'x') + "\r\n"), "451");
    EXPECT_THAT(names("new"), IsEmpty());
    EXPECT_THAT(names("tmp"), IsEmpty());
    EXPECT_THAT(server.mailbox(), IsEmpty());
}

TEST_F(ServerMaildir, mustBePossible) {
    writeFile(root_.path() / "mail", "a file");
    EXPECT_THAT(
        [&] { const Server server({.maildir = maildir_}); },
        testing::ThrowsMessage<fs::filesystem_error>(HasSubstr((root_.path() / "mail").string())));
}

/// What an ordinary user is told, whose Maildir has a file that only others may read.
std::string complaintOfUnreadableFile() {
    becomeOrdinaryUser();
    const TemporaryFolder root;
    makeMaildirAt(root.path());
    writeFile(root.path() / "new" / "1000000002.a", "one\n");
    fs::permissions(root.path() / "new" / "1000000002.a", fs::perms::none);
    try {
        const Server server({.maildir = root.path()});
    } catch (const fs::filesystem_error& error) {
        return error.what();
    }
    return "";
}

TEST(UnreadableMaildir, namesTheFileThatItCannotRead) {
    EXPECT_THAT(inChild(complaintOfUnreadableFile),
                AllOf(HasSubstr("cannot read"), HasSubstr("1000000002.a")));
}

}  // namespace
