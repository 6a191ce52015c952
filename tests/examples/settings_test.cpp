// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <filesystem>

#include "tests/examples/example_program.h"

namespace {

using ::testing::HasSubstr;

TEST(SettingsExample, ShowsAllOfThem) {
    const MailSite site;
    const ExampleRun run = runExample("settings", site.folder());
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.output, HasSubstr("ReplyTo = tracker@example.org\nRealName = \n"
                                      "SendActive = 1\nCharset = \n"));
}

TEST(SettingsExample, ChangesOneForGood) {
    const MailSite site;
    EXPECT_EQ(runExample("settings RealName 'Jürgen Tracker'", site.folder()).exitCode, 0);
    EXPECT_THAT(runExample("settings", site.folder()).output,
                HasSubstr("RealName = Jürgen Tracker\n"));
}

TEST(SettingsExample, SaysWhereItCannotWrite) {
    const MailSite site;
    std::filesystem::remove(site.folder() / "SendMail.conf");
    std::filesystem::create_directory(site.folder() / "SendMail.conf");
    const ExampleRun run = runExample("settings SMTPHost mail.example.org", site.folder());
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.output, "The setting could not be written to " + site.folder().string() + ".\n");
}

}  // namespace
