// SPDX-License-Identifier: Apache-2.0
// What the server leaves on disk.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "tests/unit/sandbox/file_limit.h"
#include "tests/unit/sandbox/mail_clients.h"
#include "tests/unit/sandbox/temporary_folder.h"

using sandbox::Server;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
namespace fs = std::filesystem;

namespace {

class ServerFolder : public testing::Test {
  protected:
    std::vector<std::string> names() const { return namesIn(folder_); }

    TemporaryFolder folderOfTest_;
    const fs::path& root_ = folderOfTest_.path();
    const fs::path folder_ = root_ / "mail" / "in";  // does not exist yet
};

TEST_F(ServerFolder, isMadeAtOnce) {
    const Server server({.folder = folder_});
    EXPECT_THAT(names(), IsEmpty());
}

TEST_F(ServerFolder, getsAFileForEachMessageInOrder) {
    const Server server({.folder = folder_});
    SmtpClient client(server);
    EXPECT_EQ(client.sendMessage("..one\r\n"), "250");
    EXPECT_EQ(client.sendMessage(std::string("two\xFF\0\r\n", 7)), "250");
    EXPECT_THAT(names(), ElementsAre("message-0001.eml", "message-0002.eml"));
    EXPECT_EQ(contentOf(folder_ / "message-0001.eml"), ".one\r\n");
    EXPECT_EQ(contentOf(folder_ / "message-0002.eml"), std::string("two\xFF\0\r\n", 7));
}

TEST_F(ServerFolder, keepsTheFilesThatAreThere) {
    fs::create_directories(folder_);
    writeFile(folder_ / "message-0001.eml", "mine");
    const Server server({.folder = folder_});
    EXPECT_EQ(SmtpClient(server).sendMessage("new\r\n"), "250");
    EXPECT_EQ(contentOf(folder_ / "message-0001.eml"), "mine");
    EXPECT_EQ(contentOf(folder_ / "message-0002.eml"), "new\r\n");
}

TEST_F(ServerFolder, isContinuedByTheNextServer) {
    for (const char* data : {"one\r\n", "two\r\n"}) {
        const Server server({.folder = folder_});
        EXPECT_EQ(SmtpClient(server).sendMessage(data), "250");
    }
    EXPECT_EQ(contentOf(folder_ / "message-0002.eml"), "two\r\n");
}

TEST_F(ServerFolder, getsNoRefusedMessage) {
    const Server server({.folder = folder_, .limits = {.message = 5}});
    EXPECT_EQ(SmtpClient(server).sendMessage("too large\r\n"), "552");
    EXPECT_THAT(names(), IsEmpty());
}

TEST_F(ServerFolder, getsNoMessageThatWasOnlyAddedToTheMailbox) {
    Server server({.folder = folder_});
    server.addMessage("added\r\n");
    EXPECT_THAT(names(), IsEmpty());
}

TEST_F(ServerFolder, keepsTheFilesOfMessagesThatPop3Deletes) {
    const Server server({.folder = folder_});
    EXPECT_EQ(SmtpClient(server).sendMessage("one\r\n"), "250");
    Pop3Client client(server);
    EXPECT_TRUE(client.takes("DELE 1"));
    EXPECT_TRUE(client.takes("QUIT"));
    EXPECT_THAT(server.mailbox(), IsEmpty());
    EXPECT_THAT(names(), ElementsAre("message-0001.eml"));
}

TEST_F(ServerFolder, isNotServedByTheNextServer) {
    fs::create_directories(folder_);
    writeFile(folder_ / "message-0001.eml", "mine");
    const Server server({.folder = folder_});
    EXPECT_THAT(server.mailbox(), IsEmpty());
}

TEST_F(ServerFolder, refusesAMessageThatItCannotWrite) {
    const Server server({.folder = folder_});
    SmtpClient client(server);
    fs::remove_all(folder_);
    EXPECT_EQ(client.sendMessage("lost\r\n"), "451");
    EXPECT_THAT(server.messages(), IsEmpty());
    EXPECT_THAT(server.mailbox(), IsEmpty());
    fs::create_directories(folder_);
    EXPECT_EQ(client.sendMessage("kept\r\n"), "250");
    EXPECT_THAT(server.messages(), SizeIs(1));
}

TEST_F(ServerFolder, isLeftWithoutPartsOfAMessage) {
    const Server server({.folder = folder_});
    SmtpClient client(server);
    const FileLimit limit(1000);
    EXPECT_EQ(client.sendMessage(std::string(2000, 'x') + "\r\n"), "451");
    EXPECT_THAT(names(), IsEmpty());
}

TEST_F(ServerFolder, mustBePossible) {
    writeFile(root_ / "mail", "a file");
    EXPECT_THAT([&] { const Server server({.folder = folder_}); },
                testing::ThrowsMessage<std::system_error>(HasSubstr((root_ / "mail").string())));
}

}  // namespace
