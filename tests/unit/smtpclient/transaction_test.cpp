// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <sstream>

#include "tests/support/wide_text.h"
#include "tests/unit/smtpclient/session.h"
#include "tests/unit/socketstream/connection.h"
#include "tests/unit/socketstream/system_calls.h"

namespace {

const std::string envelope = "C: MAIL FROM:<from@here>\nS: 250 ok\nC: RCPT TO:<a@b>\nS: 250 ok\n";
const std::string envelopeAndData = envelope + "C: DATA\nS: 354 go on\n";

/// A server that takes a message of exactly these octets.
sandbox::Dialogue taking(const std::string& octets) {
    sandbox::Dialogue dialogue = sandbox::parseDialogue(envelopeAndData);
    dialogue.push_back(sandbox::expectData(octets));
    dialogue.push_back(sandbox::say("250 taken\r\n"));
    dialogue.push_back(sandbox::silence());
    return dialogue;
}

struct Row {
    const char* name;
    std::string message;
    std::string onTheWire;
};

void PrintTo(const Row& row, std::ostream* out) { *out << row.name; }

const Row rows[] = {
    {"oneLine", "hello\r\n", "hello\r\n.\r\n"},
    {"empty", "", ".\r\n"},
    {"unendedLastLine", "a\r\nhello", "a\r\nhello\r\n.\r\n"},
    {"lineOfADot", "a\r\n.\r\nb\r\n", "a\r\n..\r\nb\r\n.\r\n"},
    {"linesThatBeginWithDots", ".a\r\n..b\r\n", "..a\r\n....b\r\n.\r\n"},
    {"unendedLastLineOfADot", "a\r\n.", "a\r\n..\r\n.\r\n"},
    {"unendedLastLineOfTwoDots", "a\r\n..", "a\r\n....\r\n.\r\n"},
    {"nothingButADot", ".", "..\r\n.\r\n"},
    {"allOctets", std::string("\0\xFF\x80\t\x7F\r\n", 7),
     std::string("\0\xFF\x80\t\x7F\r\n.\r\n", 10)},
    {"unendedCarriageReturn", "a\r", "a\r\r\n.\r\n"},
};

class Message : public testing::TestWithParam<Row> {};

TEST_P(Message, isSentInLines) {
    OpenSession session(taking(GetParam().onTheWire));
    EXPECT_EQ(session.deliver({"a@b"}, GetParam().message), 1U);
    EXPECT_EQ(session.client.getReplyText(), "taken");
    EXPECT_EQ(session.peer.finish(), "");
}

INSTANTIATE_TEST_SUITE_P(Table, Message, testing::ValuesIn(rows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(Message, isReadFromItsBufferWhateverTheStateOfItsStream) {
    OpenSession session(taking(" world\r\n.\r\n"));
    std::istringstream message("hello world\r\n");
    std::string word;
    message >> word;
    message.setstate(std::ios::failbit);
    EXPECT_EQ(session.client.deliver(u"from@here", hostArray({"a@b"}), message), 1U);
    EXPECT_EQ(message.rdstate(), std::ios::failbit);
    EXPECT_EQ(session.peer.finish(), "");
}

struct Refusal {
    const char* name;
    std::string dialogue;
    const char* code;
};

void PrintTo(const Refusal& row, std::ostream* out) { *out << row.name; }

const Refusal refusals[] = {
    {"sender", "C: MAIL FROM:<from@here>\nS: 550 no\nsilence\n", "550"},
    {"senderWithoutAReply", "C: MAIL FROM:<from@here>\nS: 250x\nsilence\n", "999"},
    {"data", envelope + "C: DATA\nS: 451 later\nsilence\n", "451"},
    {"dataTakenTooSoon", envelope + "C: DATA\nS: 250 taken\nsilence\n", "250"},
    {"message", envelopeAndData + "C: hello\nC: .\nS: 554 spam\nsilence\n", "554"},
    {"messageAskedToGoOn", envelopeAndData + "C: hello\nC: .\nS: 354 more\nsilence\n", "354"},
    {"closedInTheFinalReply", envelopeAndData + "C: hello\nC: .\nbytes 250 tak\nclose\n", "999"},
    {"closedForTheFinalReply", envelopeAndData + "C: hello\nC: .\nclose\n", "999"},
    {"resetForTheFinalReply", envelopeAndData + "C: hello\nC: .\nreset\n", "999"},
};

class RefusedTransaction : public testing::TestWithParam<Refusal> {};

TEST_P(RefusedTransaction, countsNobody) {
    OpenSession session(GetParam().dialogue);
    EXPECT_EQ(session.deliver({"a@b"}, "hello\r\n"), 0U);
    EXPECT_EQ(session.client.getReplyCode(), GetParam().code);
    EXPECT_EQ(session.peer.finish(), "");
}

INSTANTIATE_TEST_SUITE_P(Table, RefusedTransaction, testing::ValuesIn(refusals),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(Transaction, goesOnAcceptingAnyReplyOfItsClass) {
    OpenSession session(R"(
        C: MAIL FROM:<from@here>
        S: 299 ok
        C: RCPT TO:<a@b>
        S: 200 ok
        C: DATA
        S: 399-go
        S: 300 on
        C: .
        S: 2xx taken
        silence
    )");
    EXPECT_EQ(session.deliver({"a@b"}, ""), 1U);
}

TEST(Transaction, sendsTheBareAddressOfItsSender) {
    OpenSession session("C: MAIL FROM:<joe@x>\nS: 550 no\nC: MAIL FROM:<>\nS: 550 no\nsilence\n");
    std::istringstream message;
    EXPECT_EQ(session.client.deliver(u"Joe <joe@x>", hostArray({"a@b"}), message), 0U);
    EXPECT_EQ(session.client.deliver(u"", hostArray({"a@b"}), message), 0U);
    EXPECT_EQ(session.peer.finish(), "");
}

TEST(Transaction, mayFollowAnother) {
    const std::string transaction = envelopeAndData + "C: hello\nC: .\nS: 250 taken\n";
    const std::string refused = "C: MAIL FROM:<from@here>\nS: 450 later\n";
    OpenSession session(transaction + refused + transaction + "C: QUIT\nS: 221 bye\n");
    EXPECT_EQ(session.deliver({"a@b"}, "hello\r\n"), 1U);
    EXPECT_EQ(session.deliver({"a@b"}, "hello\r\n"), 0U);
    EXPECT_EQ(session.deliver({"a@b"}, "hello\r\n"), 1U);
    session.client.close();
    EXPECT_EQ(session.peer.finish(), "");
}

TEST(Transaction, onAClosedClientFails) {
    SMTPClient client;
    std::istringstream message;
    EXPECT_EQ(client.deliver(u"from@here", hostArray({"a@b"}), message), 0U);
    EXPECT_EQ(client.getReplyCode(), "999");
}

TEST(Transaction, passesOnWhyItCannotSendTheMessage) {
    OpenSession session(envelopeAndData + "silence\n");
    SystemCalls calls;
    calls.send = [](int descriptor, const void* octets, std::size_t length, int flags) {
        return length < 1024 ? real::send(descriptor, octets, length, flags)
                             : ssize_t{failingWith(EPIPE)};
    };
    EXPECT_EQ(codeThrownBy([&] { session.deliver({"a@b"}, std::string(2000, 'x')); }), EPIPE);
}

TEST(Transaction, passesOnAShortSendOfTheMessage) {
    OpenSession session(envelopeAndData + "silence\n");
    SystemCalls calls;
    calls.send = [](int descriptor, const void* octets, std::size_t length, int flags) {
        return real::send(descriptor, octets, std::min<std::size_t>(length, 1000), flags);
    };
    EXPECT_EQ(codeThrownBy([&] { session.deliver({"a@b"}, std::string(2000, 'x')); }), 1000);
}

// Open still, it would send QUIT as a line of the message, and wait for the reply to that.
TEST(Transaction, closesTheConnectionWhenTheMessageCannotBeSent) {
    OpenSession session(envelopeAndData + "silence\n");
    {
        SystemCalls calls;
        calls.send = [](int descriptor, const void* octets, std::size_t length, int flags) {
            return real::send(descriptor, octets, std::min<std::size_t>(length, 1000), flags);
        };
        EXPECT_EQ(codeThrownBy([&] { session.deliver({"a@b"}, std::string(2000, 'x')); }), 1000);
    }
    session.client.close();
    EXPECT_EQ(session.client.getReplyCode(), "999");
    EXPECT_EQ(session.peer.received().find("QUIT"), std::string::npos);
}

TEST(Transaction, countsNobodyWhenItsCommandsCannotBeSent) {
    OpenSession session("silence\n");
    SystemCalls calls;
    calls.send = [](int, const void*, std::size_t, int) { return ssize_t{failingWith(EPIPE)}; };
    EXPECT_EQ(session.deliver({"a@b"}, "hello\r\n"), 0U);
    EXPECT_EQ(session.client.getReplyCode(), "999");
}

TEST(Transaction, countsNobodyWhenItCannotWaitForTheFinalReply) {
    OpenSession session(envelopeAndData + "C: hello\nC: .\nS: 250 taken\nsilence\n");
    SystemCalls calls;
    calls.ioctl = [](int, unsigned long, int*) { return failingWith(EIO); };
    EXPECT_EQ(session.deliver({"a@b"}, "hello\r\n"), 0U);
    EXPECT_EQ(session.client.getReplyCode(), "999");
}

}  // namespace
