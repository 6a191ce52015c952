// SPDX-License-Identifier: Apache-2.0
// The program that the README shows, run against a server.
#include <gmock/gmock.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "inet/admailmsg.utf16.h"
#include "sandbox/server.h"
#include "tests/support/private_network.h"
#include "tests/support/wide_text.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class SendMailExample : public ::testing::Test {
  protected:
    SendMailExample() {
        std::string name = (std::filesystem::temp_directory_path() / "send_mail.XXXXXX").string();
        folder_ = mkdtemp(name.data());
        setenv("VTINETLIB_SETTINGS_DIR", folder_.c_str(), 1);
        AdMailMsg settings;
        settings.setSetting(u"SMTPHost", wide(privateAddress()));
        settings.setSetting(u"ReplyTo", u"tracker@example.org");
        settings.SetSendActive(1);
    }

    ~SendMailExample() override {
        unsetenv("VTINETLIB_SETTINGS_DIR");
        std::filesystem::remove_all(folder_);
    }

    /// The exit code of the example.
    static int run() {
        std::string program = SEND_MAIL;
        char* arguments[] = {program.data(), nullptr};
        pid_t process = 0;
        int status = 0;
        EXPECT_EQ(posix_spawn(&process, SEND_MAIL, nullptr, nullptr, arguments, environ), 0);
        EXPECT_EQ(waitpid(process, &status, 0), process);
        EXPECT_TRUE(WIFEXITED(status));
        return WEXITSTATUS(status);
    }

  private:
    std::filesystem::path folder_;
};

sandbox::Server::Options atPrivateAddress() {
    sandbox::Server::Options options;
    options.address = privateAddress();
    options.smtpPort = 25;
    return options;
}

TEST_F(SendMailExample, DeliversItsMail) {
    const sandbox::Server server(atPrivateAddress());
    EXPECT_EQ(run(), 0);
    ASSERT_EQ(server.messages().size(), 1U);
    const sandbox::Message message = server.messages().front();
    EXPECT_EQ(message.sender, "tracker@example.org");
    EXPECT_THAT(message.recipients, ElementsAre("ines@example.org"));
    EXPECT_THAT(message.data, HasSubstr("\r\nSubject: Lot 7 is released\r\n"));
    EXPECT_THAT(message.data, HasSubstr("\r\n\r\nEverything is fine. Schöne Grüße!\r\n"));
}

TEST_F(SendMailExample, SaysThatNobodyAnswers) { EXPECT_EQ(run(), 1); }

}  // namespace
