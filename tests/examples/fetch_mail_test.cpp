// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "tests/examples/example_program.h"

namespace {

using ::testing::HasSubstr;

sandbox::Server::Options withPassword() {
    sandbox::Server::Options options;
    options.pop3User = "ines";
    options.pop3Password = "open sesame";
    return options;
}

std::string fetchFrom(const sandbox::Server& server) {
    return "fetch_mail 127.0.0.1 " + std::to_string(server.pop3Port()) + " ines";
}

std::string content(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

TEST(FetchMailExample, WritesEachMailToAFileAndLeavesItThere) {
    const MailSite site;
    sandbox::Server server(withPassword());
    server.addMessage("Subject: one\r\n\r\nfirst\r\n");
    server.addMessage("Subject: two\r\n\r\nsecond\r\n");
    const ExampleRun run = runExample(fetchFrom(server), site.folder(), "open sesame\n");
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.output, "mail-1.eml\nmail-2.eml\n");
    EXPECT_EQ(content(site.folder() / "mail-2.eml"), "Subject: two\n\r\nsecond");
    EXPECT_EQ(server.mailbox().size(), 2U);
}

TEST(FetchMailExample, ShowsTheServersWordsForAWrongPassword) {
    const MailSite site;
    const sandbox::Server server(withPassword());
    const ExampleRun run = runExample(fetchFrom(server), site.folder(), "guess\n");
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_THAT(run.output, HasSubstr("not let in: "));
}

TEST(FetchMailExample, NeedsAPassword) {
    const MailSite site;
    EXPECT_EQ(runExample("fetch_mail 127.0.0.1 110 ines", site.folder()).exitCode, 2);
}

}  // namespace
