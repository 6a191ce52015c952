// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "tests/support/wide_text.h"
#include "tests/unit/smtpclient/session.h"

namespace {

/// A transaction of one accepted recipient with an empty message.
sandbox::Dialogue transactionTo(const std::string& path) {
    return sandbox::parseDialogue("C: MAIL FROM:<from@here>\nS: 250 ok\nC: RCPT TO:<" + path +
                                  ">\nS: 250 ok\nC: DATA\nS: 354 go on\nC: .\nS: 250 taken\n"
                                  "silence\n");
}

constexpr char transactionToNobody[] = R"(
    C: MAIL FROM:<from@here>
    S: 250 ok
    C: DATA
    S: 554 no recipients
    silence
)";

struct RecipientRow {
    const char* name;
    const char* recipient;
    const char* path;
};

void PrintTo(const RecipientRow& row, std::ostream* out) { *out << row.name; }

const RecipientRow recipientRows[] = {
    {"bareAddress", "joe@x", "joe@x"},
    {"nameAndAddress", "Joe <joe@x>", "joe@x"},
    {"quotedName", "\"Doe, Joe\" <joe@x>", "joe@x"},
    {"bracketThatIsNotClosed", "Joe <joe@x", "Joe <joe@x"},
    {"empty", "", ""},
    {"tab", "a\tb@x", "a\tb@x"},
};

class Recipient : public testing::TestWithParam<RecipientRow> {};

TEST_P(Recipient, isSentAsItsBareAddress) {
    OpenSession session(transactionTo(GetParam().path));
    EXPECT_EQ(session.deliver({GetParam().recipient}, ""), 1U);
    EXPECT_EQ(session.peer.finish(), "");
}

INSTANTIATE_TEST_SUITE_P(Table, Recipient, testing::ValuesIn(recipientRows),
                         [](const auto& row) { return std::string(row.param.name); });

class UnsendableAddress : public testing::TestWithParam<std::string> {};

TEST_P(UnsendableAddress, isSkippedAmongTheRecipients) {
    OpenSession session(transactionTo("good@x"));
    EXPECT_EQ(session.deliver({GetParam(), "good@x", GetParam()}, ""), 1U);
    EXPECT_EQ(session.peer.finish(), "");
}

TEST_P(UnsendableAddress, leavesNobodyWhenItIsTheOnlyOne) {
    OpenSession session(transactionToNobody);
    EXPECT_EQ(session.deliver({GetParam()}, ""), 0U);
    EXPECT_EQ(session.peer.finish(), "");
}

TEST_P(UnsendableAddress, sendsNothingAsTheSender) {
    OpenSession session("silence\n");
    const std::string text = session.client.getReplyText();
    std::istringstream message;
    EXPECT_EQ(session.client.deliver(wide(GetParam()), hostArray({"a@b"}), message), 0U);
    EXPECT_EQ(session.client.getReplyCode(), "250");
    EXPECT_EQ(session.client.getReplyText(), text);
    EXPECT_EQ(session.peer.finish(), "");
    EXPECT_EQ(session.peer.received(), "EHLO localhost\r\n");
}

INSTANTIATE_TEST_SUITE_P(Table, UnsendableAddress,
                         testing::Values("a@b>\r\nRCPT TO:<evil@x", "a@b\r", "\na@b", "a@\u00fc",
                                         "J\u00f6rg <a@b>", std::string("a\0@b", 4),
                                         "\U0001F600@b"));

TEST(Recipients, areCountedWhenTheServerAcceptsThem) {
    OpenSession session(R"(
        C: MAIL FROM:<from@here>
        S: 250 ok
        C: RCPT TO:<a@x>
        S: 250 ok
        C: RCPT TO:<b@x>
        S: 550 unknown
        C: RCPT TO:<c@x>
        S: 251 forwarded
        C: DATA
        S: 354 go on
        C: hello
        C: .
        S: 250 taken
        silence
    )");
    EXPECT_EQ(session.deliver({"a@x", "b@x", "c@x"}, "hello\r\n"), 2U);
    EXPECT_EQ(session.peer.finish(), "");
}

TEST(Recipients, thatAreAllRefusedGetADataCommandAllTheSame) {
    OpenSession session(R"(
        C: MAIL FROM:<from@here>
        S: 250 ok
        C: RCPT TO:<a@x>
        S: 550 unknown
        C: DATA
        S: 554 no valid recipients
        silence
    )");
    EXPECT_EQ(session.deliver({"a@x"}, "hello\r\n"), 0U);
    EXPECT_EQ(session.client.getReplyCode(), "554");
    EXPECT_EQ(session.peer.finish(), "");
}

TEST(Recipients, thatAreAllRefusedCountNothingWhateverTheServerTakes) {
    OpenSession session(R"(
        C: MAIL FROM:<from@here>
        S: 250 ok
        C: RCPT TO:<a@x>
        S: 550 unknown
        C: DATA
        S: 354 go on
        C: hello
        C: .
        S: 250 taken
        silence
    )");
    EXPECT_EQ(session.deliver({"a@x"}, "hello\r\n"), 0U);
    EXPECT_EQ(session.peer.finish(), "");
}

TEST(Recipients, mayBeNone) {
    OpenSession session(transactionToNobody);
    EXPECT_EQ(session.deliver({}, ""), 0U);
    EXPECT_EQ(session.peer.finish(), "");
}

TEST(Recipients, thatStandTwiceAreSentAndCountedTwice) {
    OpenSession session(R"(
        C: MAIL FROM:<from@here>
        S: 250 ok
        C: RCPT TO:<a@x>
        S: 250 ok
        C: RCPT TO:<a@x>
        S: 250 ok
        C: DATA
        S: 354 go on
        C: .
        S: 250 taken
        silence
    )");
    EXPECT_EQ(session.deliver({"a@x", "a@x"}, ""), 2U);
    EXPECT_EQ(session.peer.finish(), "");
}

}  // namespace
