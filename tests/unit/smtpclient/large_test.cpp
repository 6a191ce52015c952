// SPDX-License-Identifier: Apache-2.0
// Sizes that only work when the cost grows no faster than the size; ctest's time limit judges.
#include <gtest/gtest.h>

#include <sstream>

#include "tests/unit/smtpclient/session.h"

namespace {

TEST(LargeReply, of100000LinesIsRead) {
    constexpr int count = 100'000;
    std::string octets;
    std::string text;
    for (int i = 0; i < count; ++i) {
        octets += "250-line " + std::to_string(i) + "\r\n";
        text += "line " + std::to_string(i) + "\n";
    }
    OpenSession session({sandbox::expectLine("HELP"), sandbox::say(octets + "250 end\r\n")});
    session.client.sendCommand("HELP");
    EXPECT_EQ(session.client.getReplyCode(), "250");
    EXPECT_TRUE(session.client.getReplyText() == text + "end");
}

TEST(LargeReply, toEhloOf100000LinesIsStored) {
    constexpr int count = 100'000;
    std::string octets = "250-hi\r\n";
    for (int i = 0; i < count; ++i) octets += "250-X" + std::to_string(i) + "\r\n";
    Session session({sandbox::say("220 hi\r\n"), sandbox::expectLine("EHLO localhost"),
                     sandbox::say(octets + "250 end\r\n"), sandbox::silence()});
    EXPECT_TRUE(session.open());
    EXPECT_EQ(session.client.getExtensions().size(), std::size_t{count});
    EXPECT_TRUE(session.client.isExtensionSupported(u"X99999"));
}

TEST(LargeReply, ofOneLongLineIsRead) {
    const std::string text(10'000'000, 'x');
    OpenSession session({sandbox::expectLine("HELP"), sandbox::say("214 " + text + "\r\n")});
    session.client.sendCommand("HELP");
    EXPECT_TRUE(session.client.getReplyText() == text);
}

TEST(LargeEnvelope, of100000RecipientsIsSent) {
    constexpr int count = 100'000;
    sandbox::Dialogue dialogue = sandbox::parseDialogue("C: MAIL FROM:<from@here>\nS: 250 ok\n");
    std::vector<std::string> recipients;
    for (int i = 0; i < count; ++i) {
        recipients.push_back("user" + std::to_string(i) + "@x");
        dialogue.push_back(sandbox::expectLine("RCPT TO:<" + recipients.back() + ">"));
        dialogue.push_back(sandbox::say("250 ok\r\n"));
    }
    for (const sandbox::Move& move :
         sandbox::parseDialogue("C: DATA\nS: 354 go on\nC: .\nS: 250 taken\nsilence\n"))
        dialogue.push_back(move);
    OpenSession session(std::move(dialogue));
    EXPECT_EQ(session.deliver(recipients, ""), unsigned{count});
    EXPECT_EQ(session.peer.finish(), "");
}

/// Many copies of a piece, read one after the other without ever being held as a whole.
class RepeatedPiece : public std::streambuf {
  public:
    RepeatedPiece(std::string piece, int count) : piece_(std::move(piece)), left_(count) {}

  protected:
    int_type underflow() override {
        if (left_ == 0) return traits_type::eof();
        --left_;
        setg(piece_.data(), piece_.data(), piece_.data() + piece_.size());
        return traits_type::to_int_type(*gptr());
    }

  private:
    std::string piece_;
    int left_;
};

TEST(LargeMessage, of64MebioctetsIsSent) {
    constexpr int count = 1024;
    std::string piece;
    std::string onTheWire;
    while (piece.size() < std::size_t{64} * 1024) {
        piece += ".a line that begins with a dot and stands in the middle of many\r\n";
        onTheWire += "..a line that begins with a dot and stands in the middle of many\r\n";
    }
    sandbox::Dialogue dialogue = sandbox::parseDialogue(
        "C: MAIL FROM:<from@here>\nS: 250 ok\nC: RCPT TO:<a@b>\nS: 250 ok\nC: DATA\n"
        "S: 354 go on\n");
    dialogue.insert(dialogue.end(), count, sandbox::expectData(onTheWire));
    for (const sandbox::Move& move : sandbox::parseDialogue("C: .\nS: 250 taken\nsilence\n"))
        dialogue.push_back(move);
    OpenSession session(std::move(dialogue));
    RepeatedPiece octets(piece, count);
    std::istream message(&octets);
    EXPECT_EQ(session.client.deliver(u"from@here", hostArray({"a@b"}), message), 1U);
    EXPECT_EQ(session.peer.finish(), "");
}

}  // namespace
