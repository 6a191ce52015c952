// SPDX-License-Identifier: Apache-2.0
// Where a message comes from makes no difference: whole in memory, in pieces, or octet by octet.
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <streambuf>

#include "tests/unit/smtpclient/session.h"
#include "tests/unit/socketstream/connection.h"
#include "tests/unit/socketstream/system_calls.h"

namespace {

/// Gives a text in pieces of `size` octets; of size 0, one by one, with none ever at hand.
class Source : public std::streambuf {
  public:
    Source(std::string text, std::size_t size) : text_(std::move(text)), size_(size) {}

    std::size_t taken() const { return at_ - static_cast<std::size_t>(egptr() - gptr()); }

  protected:
    int_type underflow() override {
        if (at_ == text_.size()) return traits_type::eof();
        if (size_ == 0) return traits_type::to_int_type(text_[at_]);
        char* const first = text_.data() + at_;
        at_ = std::min(at_ + size_, text_.size());
        setg(first, first, text_.data() + at_);
        return traits_type::to_int_type(*first);
    }
    int_type uflow() override {
        if (size_ > 0) return std::streambuf::uflow();
        return at_ == text_.size() ? traits_type::eof() : traits_type::to_int_type(text_[at_++]);
    }

  private:
    std::string text_;
    std::size_t size_;
    std::size_t at_ = 0;
};

constexpr std::size_t wholeText = 1'000'000;
constexpr std::size_t sizes[] = {0, 1, 2, 3, 7, 1000, 1023, 1024, 1025, wholeText};

/// A message of several puts, with dots in all places.
std::string longMessage() {
    static constexpr const char* lines[] = {
        ".\r\n",     "..\r\n", "a.b.\r\n",   "\r\n", "text of a line\r\n",
        ".text\r\n", "\n",     "..text\r\n", "\r"};
    std::string message;
    for (std::size_t i = 0; message.size() < 5000; ++i) message += lines[i * i % std::size(lines)];
    return message;
}

/// What a delivery came to.
struct Outcome {
    std::string sent;
    unsigned accepted;
    std::size_t taken;  // octets of the message

    bool operator==(const Outcome&) const = default;
};

/// Delivers to a server that takes the first `sends` sends of 1024 octets and then no more.
Outcome deliver(Source source, std::size_t sends) {
    OpenSession session(
        "C: MAIL FROM:<from@here>\nS: 250 ok\nC: RCPT TO:<a@b>\nS: 250 ok\nC: DATA\nS: 354 go on\n"
        "S: 250 taken\nsilence\n");
    SystemCalls calls;
    Outcome outcome{};
    std::size_t blocks = 0;
    calls.send = [&](int descriptor, const void* octets, std::size_t length, int flags) {
        if (length == 1024 && ++blocks > sends) return ssize_t{failingWith(EAGAIN)};
        outcome.sent.append(static_cast<const char*>(octets), length);
        return real::send(descriptor, octets, length, flags);
    };
    calls.select = [&](int count, fd_set* read, fd_set* write, fd_set* exception, timeval* limit) {
        return blocks > sends ? 0 : real::select(count, read, write, exception, limit);
    };
    std::istream message(&source);
    outcome.accepted = session.client.deliver(u"from@here", hostArray({"a@b"}), message);
    outcome.taken = source.taken();
    return outcome;
}

TEST(MessageSource, makesNoDifference) {
    const std::string message = longMessage();
    const Outcome bytewise = deliver(Source(message, 0), wholeText);
    EXPECT_EQ(bytewise.accepted, 1U);
    EXPECT_EQ(bytewise.taken, message.size());
    for (const std::size_t size : sizes)
        EXPECT_TRUE(deliver(Source(message, size), wholeText) == bytewise) << size;
}

TEST(MessageSource, makesNoDifferenceToAShortMessage) {
    for (const std::string message :
         {"", ".", "..", "\n", ".\r\n", "a", "a\r", "a\r\n.", "a\r\n..\r\n"})
        for (const std::size_t size : sizes)
            EXPECT_TRUE(deliver(Source(message, size), wholeText) ==
                        deliver(Source(message, 0), wholeText))
                << size << ' ' << message;
}

TEST(MessageSource, makesNoDifferenceWhereTheServerTakesNoMore) {
    const std::string message = longMessage();
    for (const std::size_t sends : {0U, 1U, 3U}) {
        const Outcome bytewise = deliver(Source(message, 0), sends);
        EXPECT_EQ(bytewise.accepted, 0U);
        EXPECT_LT(bytewise.taken, message.size());
        for (const std::size_t size : sizes)
            EXPECT_TRUE(deliver(Source(message, size), sends) == bytewise) << size;
    }
}

}  // namespace
