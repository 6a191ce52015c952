// SPDX-License-Identifier: Apache-2.0
// The demo's judge finds every difference, and none where there is none.
#include "tools/vtmail/demo_check.h"

#include <gmock/gmock.h>

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

const DemoMail sent = {
    .sender = "tracker@example.org",
    .senderName = "Zoë",
    .to = "ines@example.org",
    .cc = "juan@example.org",
    .bcc = "audit@example.org",
    .subject = "größer ✓",
    .body = "Grüße\n.\nEnde\n",
};

std::vector<sandbox::Message> asReceived() {
    const std::string data =
        "Mime-Version: 1.0\r\n"
        "Content-Transfer-Encoding: 8bit\r\n"
        "Subject: =?UTF-8?B?Z3LDtg==?=\r\n"
        " =?UTF-8?B?w59lciDinJM=?= \r\n"
        "From: =?UTF-8?B?Wm/Dqw==?= <tracker@example.org>\r\n"
        "To: <ines@example.org>\r\n"
        "Cc: <juan@example.org>\r\n"
        "\r\n"
        "Grüße\r\n.\r\nEnde\r\n";
    return {{sent.sender, {sent.to, sent.cc}, data}, {sent.sender, {sent.bcc}, data}};
}

/// The differences when `from` has become `to` in the first message.
std::vector<std::string> differencesWith(const std::string& from, const std::string& to) {
    std::vector<sandbox::Message> received = asReceived();
    std::string& data = received[0].data;
    data.replace(data.find(from), from.size(), to);
    return differences(sent, received);
}

TEST(DemoCheck, FindsNothingInWhatWasSent) {
    EXPECT_THAT(differences(sent, asReceived()), IsEmpty());
}

TEST(DemoCheck, FindsAMissingTransaction) {
    std::vector<sandbox::Message> received = asReceived();
    received.pop_back();
    EXPECT_THAT(differences(sent, received),
                ElementsAre("number of transactions: sent \"2\", received \"1\""));
}

TEST(DemoCheck, FindsAnotherSenderOnTheEnvelope) {
    std::vector<sandbox::Message> received = asReceived();
    received[1].sender = "eve@example.org";
    EXPECT_THAT(differences(sent, received), ElementsAre(HasSubstr("sender on the envelope")));
}

TEST(DemoCheck, FindsAMissingRecipientOnTheEnvelope) {
    std::vector<sandbox::Message> received = asReceived();
    received[0].recipients.pop_back();
    EXPECT_THAT(differences(sent, received), ElementsAre(HasSubstr("recipients on the envelope")));
}

TEST(DemoCheck, FindsABlindRecipientInTheFirstTransaction) {
    std::vector<sandbox::Message> received = asReceived();
    received[0].recipients.push_back(sent.bcc);
    EXPECT_THAT(differences(sent, received), ElementsAre(HasSubstr("recipients on the envelope")));
}

TEST(DemoCheck, FindsABlindRecipientInTheHeader) {
    EXPECT_THAT(differencesWith("\r\n\r\n", "\r\nBcc: <audit@example.org>\r\n\r\n"),
                ElementsAre("the blind recipient audit@example.org stands in the header"));
}

TEST(DemoCheck, FindsAnotherField) {
    EXPECT_THAT(differencesWith("w59lciDinJM=", "w59lciDinJQ="), ElementsAre(HasSubstr("Subject")));
    EXPECT_THAT(differencesWith("Wm/Dqw==", "Wm/Dq===="), ElementsAre(HasSubstr("From")));
    EXPECT_THAT(differencesWith("To: <ines", "To: <nora"), ElementsAre(HasSubstr("To")));
    EXPECT_THAT(differencesWith("Cc: <juan", "Cc: <nora"), ElementsAre(HasSubstr("Cc")));
    EXPECT_THAT(differencesWith("8bit", "7bit"), ElementsAre(HasSubstr("transfer encoding")));
}

TEST(DemoCheck, FindsATextThatLostALine) {
    EXPECT_THAT(differencesWith(".\r\n", ""), ElementsAre(HasSubstr("text: sent")));
}

TEST(DemoCheck, FindsAMessageWithoutABody) {
    std::vector<sandbox::Message> received = asReceived();
    received[0].data.erase(received[0].data.find("\r\n\r\n") + 2);
    EXPECT_THAT(differences(sent, received), ElementsAre(HasSubstr("text: sent")));
}

}  // namespace
