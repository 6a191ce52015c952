// SPDX-License-Identifier: Apache-2.0
// An SMTP session whose octets are cut at every place, in either direction.
#include <gtest/gtest.h>

#include <sstream>

#include "inet/smtpclient.utf16.h"
#include "inet/transferstream.utf16.h"
#include "tests/cuts/scripted_server.h"
#include "tests/support/wide_text.h"

namespace {

/// All that a caller sees of a session, and the octets that went out.
struct SmtpOutcome {
    std::string calls;  // code and text behind each
    std::string wire;
    bool operator==(const SmtpOutcome&) const = default;
};

void PrintTo(const SmtpOutcome& outcome, std::ostream* out) {
    *out << outcome.calls << "\n" << outcome.wire;
}

/// A reply of several lines.
std::string longReply(const std::string& code, int lines) {
    std::string reply;
    for (int i = 0; i < lines; ++i)
        reply += code + "-line " + std::to_string(i) + " of many, with trailing blanks \t \r\n";
    return reply + code + " and the last\r\n";
}

std::vector<std::string> smtpReplies() {
    return {
        longReply("220", 9),  // greeting
        "250-mail.example\r\n250-8BITMIME\r\n250-SIZE 1000\r\n" + longReply("250", 9),
        longReply("250", 9),  // MAIL
        longReply("250", 5),  // RCPT
        longReply("550", 9),  // RCPT
        "354\r\n",            // DATA
        longReply("250", 9),  // the message
        longReply("451", 9),  // MAIL
        longReply("221", 5),  // QUIT
    };
}

/// Lines of all lengths, dots at the begin of some, no line end behind the last.
std::string longMessage() {
    std::string message;
    for (std::size_t i = 0; message.size() < 3000; ++i)
        message += std::string(i % 4, '.') + std::string(i % 71, 'x') + "\r\n";
    return message + ".\r\n..end.";
}

/// The message on the wire, a line at a time.
std::string dotStuffed(const std::string& message) {
    std::string wire;
    std::istringstream lines(message);
    for (std::string line; std::getline(lines, line);) {
        if (line.ends_with('\r')) line.pop_back();
        // Kept: every dot of a run at the begin of a line is doubled.
        const std::size_t dots = std::min(line.find_first_not_of('.'), line.size());
        wire += std::string(dots, '.') + line + "\r\n";
    }
    return wire + ".\r\n";
}

class Recorder {
  public:
    explicit Recorder(SMTPClient& client) : client_(client) {}

    template <typename Result>
    void note(const char* call, Result result) {
        calls_ << call << " " << result << ": " << client_.getReplyCode() << " "
               << client_.getReplyText() << "\n";
    }
    std::string calls() const { return calls_.str(); }

  private:
    SMTPClient& client_;
    std::ostringstream calls_;
};

SmtpOutcome runSession(ScriptedServer& server, std::istream& message) {
    SMTPClient client;
    Recorder recorder(client);
    recorder.note("open", client.open(u"127.0.0.1", u"25"));
    recorder.note("8BITMIME", client.isExtensionSupported(u"8BITMIME"));
    recorder.note("extensions", client.getExtensions().size());
    CStringArray recipients;
    recipients.Add(u"a@x");
    recipients.Add(u"Bo <b@x>");
    recorder.note("deliver", client.deliver(u"from@here", recipients, message));
    recorder.note("deliver again", client.deliver(u"from@here", recipients, message));
    client.close();
    recorder.note("close", 0);
    return {recorder.calls(), server.received()};
}

SmtpOutcome runSession(std::size_t cut, const std::string& message, bool* hasCut = nullptr) {
    ScriptedServer server(smtpReplies(), cut);
    std::istringstream in(message);
    const SmtpOutcome outcome = runSession(server, in);
    if (hasCut != nullptr) *hasCut = server.hasCut();
    return outcome;
}

std::string envelope() {
    return "EHLO localhost\r\nMAIL FROM:<from@here>\r\nRCPT TO:<a@x>\r\nRCPT TO:<b@x>\r\nDATA\r\n";
}

TEST(SmtpCuts, TheWholeSessionIsWhatTheServerSaid) {
    const SmtpOutcome whole = runSession(ScriptedServer::never, longMessage());
    EXPECT_EQ(whole.wire,
              envelope() + dotStuffed(longMessage()) + "MAIL FROM:<from@here>\r\nQUIT\r\n");
    EXPECT_NE(whole.calls.find("open 1: 250 mail.example\n"), std::string::npos);
    EXPECT_NE(whole.calls.find("8BITMIME 1"), std::string::npos);
    EXPECT_NE(whole.calls.find("deliver 1: 250 line 0"), std::string::npos);
    EXPECT_NE(whole.calls.find("deliver again 0: 451 line 0"), std::string::npos);
}

TEST(SmtpCuts, RepliesMayBeCutAnywhere) {
    const std::size_t length = ScriptedServer::lengthOf(smtpReplies());
    ASSERT_GT(length, 3000U);
    const SmtpOutcome whole = runSession(ScriptedServer::never, "a\r\n");
    for (std::size_t cut = 0; cut < length; ++cut) {
        bool hasCut = false;
        ASSERT_EQ(runSession(cut, "a\r\n", &hasCut), whole) << "cut at " << cut;
        ASSERT_TRUE(hasCut) << cut;
    }
}

/// A message that its source hands out in two pieces.
class CutSource : public std::streambuf {
  public:
    CutSource(const std::string& octets, std::size_t cut) : octets_(octets), cut_(cut) {
        char* const begin = octets_.data();
        setg(begin, begin, begin + cut);
    }

  protected:
    int_type underflow() override {
        if (gptr() == octets_.data() + octets_.size()) return traits_type::eof();
        setg(octets_.data(), octets_.data() + cut_, octets_.data() + octets_.size());
        return traits_type::to_int_type(*gptr());
    }

  private:
    std::string octets_;
    const std::size_t cut_;
};

TEST(SmtpCuts, AMessageMayComeInTwoPieces) {
    const std::string message = longMessage();
    const SmtpOutcome whole = runSession(ScriptedServer::never, message);
    for (std::size_t cut = 0; cut <= message.size(); ++cut) {
        ScriptedServer server(smtpReplies());
        CutSource source(message, cut);
        std::istream in(&source);
        ASSERT_EQ(runSession(server, in), whole) << "cut at " << cut;
    }
}

/// Where a send ends within the message: the put buffer has no more room there.
TEST(SmtpCuts, ThePutBufferMayEndAnywhereInAMessage) {
    const std::string message = longMessage();
    for (std::size_t shift = 0; shift < 1024; ++shift) {
        const std::string shifted = std::string(shift, 's') + "\r\n" + message;
        const SmtpOutcome outcome = runSession(ScriptedServer::never, shifted);
        ASSERT_TRUE(outcome.wire.starts_with(envelope() + dotStuffed(shifted))) << shift;
    }
}

TEST(SmtpCuts, AStreamMayBeWrittenInTwoPieces) {
    const std::string message = longMessage();
    for (std::size_t cut = 0; cut <= message.size(); ++cut) {
        ScriptedServer server({});
        socketstream stream;
        stream.open(u"127.0.0.1", u"25");
        dotstuffingbuf filter(stream.rdbuf());
        std::ostream out(&filter);
        out.write(message.data(), static_cast<std::streamsize>(cut));
        if (cut % 2 == 0) stream.flush();
        out << message.substr(cut);
        out.flush();
        ASSERT_EQ(server.received(), dotStuffed(message)) << "cut at " << cut;
    }
}

}  // namespace
