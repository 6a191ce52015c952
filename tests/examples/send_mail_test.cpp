// SPDX-License-Identifier: Apache-2.0
// The programs that send, run against a server. The README shows the first one.
#include <gmock/gmock.h>

#include "tests/examples/example_program.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

TEST(SendMailExample, DeliversItsMail) {
    const MailSite site;
    const sandbox::Server server(atPrivateAddress());
    EXPECT_EQ(runExample("send_mail", site.folder()).exitCode, 0);
    ASSERT_EQ(server.messages().size(), 1U);
    const sandbox::Message message = server.messages().front();
    EXPECT_EQ(message.sender, "tracker@example.org");
    EXPECT_THAT(message.recipients, ElementsAre("ines@example.org"));
    EXPECT_THAT(message.data, HasSubstr("\r\nSubject: Lot 7 is released\r\n"));
    EXPECT_THAT(message.data, HasSubstr("\r\n\r\nEverything is fine. Schöne Grüße!\r\n"));
}

TEST(SendMailExample, SaysThatNobodyAnswers) {
    const MailSite site;
    const ExampleRun run = runExample("send_mail", site.folder());
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_THAT(run.output, HasSubstr("Not everybody has got the mail"));
}

TEST(SendWithLogExample, ShowsTheDialogue) {
    const MailSite site;
    const sandbox::Server server(atPrivateAddress());
    const ExampleRun run = runExample("send_with_log", site.folder());
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.output, HasSubstr(": SMTP->RCPT TO:<ines@example.org>\n"));
    EXPECT_THAT(run.output, HasSubstr(": SMTP<-221 "));
    ASSERT_EQ(server.messages().size(), 2U);
    EXPECT_THAT(server.messages()[0].recipients,
                ElementsAre("ines@example.org", "olga@example.org"));
    EXPECT_THAT(server.messages()[1].recipients, ElementsAre("archive@example.org"));
}

TEST(SendWithLogExample, ShowsWhyNobodyGotIt) {
    const MailSite site;
    const ExampleRun run = runExample("send_with_log", site.folder());
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_THAT(run.output, HasSubstr(": connect() failed ("));
}

}  // namespace
