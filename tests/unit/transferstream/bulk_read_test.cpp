// SPDX-License-Identifier: Apache-2.0
// Reading in blocks gives what reading octet by octet gives, and at each moment it has taken the
// same from its source: every filter and some stacks of them, whatever their source has at hand.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "inet/octetplaces.utf16.h"
#include "inet/transferstream.utf16.h"
#include "tests/support/effort.h"
#include "tests/support/sanitized.h"
#include "tests/unit/transferstream/test_buffers.h"

namespace {

/// Has at most so many octets at hand; with 0 it has no get area at all. Ends at each "|", and goes
/// on behind it.
class Source : public std::streambuf {
  public:
    Source(const std::string& octets, std::size_t atHand) : octets_(octets), atHand_(atHand) {}

    std::ptrdiff_t taken() const { return fetched() - (egptr() - gptr()); }
    /// What has been taken, and what is at hand.
    std::ptrdiff_t fetched() const { return static_cast<std::ptrdiff_t>(next_); }

  protected:
    int_type underflow() override {
        if (isAtEnd()) return traits_type::eof();
        if (atHand_ == 0) return traits_type::to_int_type(octets_[next_]);
        const std::size_t end = std::min(octets_.find('|', next_), octets_.size());
        const std::size_t count = std::min(atHand_, end - next_);
        setg(octets_.data() + next_, octets_.data() + next_, octets_.data() + next_ + count);
        next_ += count;
        return traits_type::to_int_type(*gptr());
    }
    int_type uflow() override {
        if (atHand_ > 0) return std::streambuf::uflow();
        return isAtEnd() ? traits_type::eof() : traits_type::to_int_type(octets_[next_++]);
    }

  private:
    bool isAtEnd() {
        if (next_ == octets_.size()) return true;
        if (octets_[next_] == '|') {
            ++next_;
            return true;
        }
        return false;
    }

    std::string octets_;
    const std::size_t atHand_;
    std::size_t next_ = 0;
};

/// Filters, each reading from the one before it. A letter each: b base64, q quoted-printable, h the
/// same in header mode, any other a body part with that boundary.
class Stack {
  public:
    Stack(const std::string& letters, std::streambuf* source) : top_(source) {
        for (const char letter : letters) add(letter);
    }

    std::streambuf& top() { return *top_; }
    bool takeMalformed() {
        if (auto* const base64 = dynamic_cast<base64buf*>(top_)) return base64->takeMalformed();
        auto* const quoted = dynamic_cast<quotedprintablebuf*>(top_);
        return quoted != nullptr && quoted->takeMalformed();
    }

  private:
    void add(char letter) {
        if (letter == 'b')
            filters_.push_back(std::make_unique<base64buf>(top_, /*encodedWord=*/false));
        else if (letter == 'q' || letter == 'h')
            filters_.push_back(std::make_unique<quotedprintablebuf>(top_, letter == 'h'));
        else
            filters_.push_back(
                std::make_unique<multipartboundarybuf>(top_, std::string(1, letter)));
        top_ = filters_.back().get();
    }

    std::vector<std::unique_ptr<std::streambuf>> filters_;
    std::streambuf* top_;
};

/// What one read gave, and where it left the source.
struct Read {
    std::string octets;
    std::ptrdiff_t taken = 0;
    std::ptrdiff_t fetched = 0;
    bool malformed = false;
    int putBack = endOfFile;  // the octet that can be read again
    bool operator==(const Read&) const = default;
};

void PrintTo(const Read& read, std::ostream* out) {
    *out << testing::PrintToString(read.octets) << " taken " << read.taken << " fetched "
         << read.fetched << (read.malformed ? " malformed" : "") << " put back " << read.putBack
         << '\n';
}

enum class Way { octets, blocks };

std::string readOnce(std::streambuf& buffer, std::size_t count, Way way) {
    std::string octets(count, '\0');
    std::size_t done = 0;
    if (way == Way::blocks) {
        done = static_cast<std::size_t>(
            buffer.sgetn(octets.data(), static_cast<std::streamsize>(count)));
    } else {
        for (; done < count; ++done) {
            const int octet = buffer.sbumpc();
            if (octet == endOfFile) break;
            octets[done] = static_cast<char>(octet);
        }
    }
    return octets.substr(0, done);
}

/// The last octet, when it can be put back; it is taken again.
int lastOctet(std::streambuf& buffer) {
    const int octet = buffer.sungetc();
    if (octet != endOfFile) buffer.sbumpc();
    return octet;
}

/// How a text is read.
struct Plan {
    std::string filters;
    std::size_t atHand;
    std::vector<std::size_t> blocks;  // their sizes, over and over
    bool peeks;                       // before each block
};

std::vector<Read> readAll(const std::string& text, const Plan& plan, Way way) {
    Source source(text, plan.atHand);
    Stack stack(plan.filters, &source);
    std::vector<Read> reads;
    int emptyReads = 0;
    for (std::size_t i = 0; emptyReads < 8; ++i) {
        if (plan.peeks) stack.top().sgetc();
        Read read;
        read.octets = readOnce(stack.top(), plan.blocks[i % plan.blocks.size()], way);
        read.taken = source.taken();
        read.fetched = source.fetched();
        read.malformed = stack.takeMalformed();
        read.putBack = lastOctet(stack.top());
        emptyReads = read.octets.empty() ? emptyReads + 1 : 0;
        reads.push_back(read);
    }
    return reads;
}

testing::AssertionResult readsAlike(const std::string& text, const Plan& plan) {
    const std::vector<Read> expected = readAll(text, plan, Way::octets);
    const std::vector<Read> actual = readAll(text, plan, Way::blocks);
    if (actual == expected) return testing::AssertionSuccess();
    const auto [wrong, right] =
        std::mismatch(actual.begin(), actual.end(), expected.begin(), expected.end());
    return testing::AssertionFailure()
           << "filters " << plan.filters << ", at hand " << plan.atHand << ", blocks "
           << testing::PrintToString(plan.blocks) << (plan.peeks ? ", peeks" : "") << "\n"
           << testing::PrintToString(text) << "\nread " << wrong - actual.begin() << ": "
           << (wrong == actual.end() ? "none" : testing::PrintToString(*wrong)) << "\nnot "
           << (right == expected.end() ? "none" : testing::PrintToString(*right));
}

std::size_t pick(std::mt19937& random, const std::vector<std::size_t>& from) {
    return from[random() % from.size()];
}

Plan randomPlan(std::mt19937& random, const std::string& filters) {
    const std::vector<std::size_t> sizes = {1, 2, 3, 4, 5, 31, 32, 33, 63, 64, 65, 200, 1000};
    Plan plan{filters, pick(random, {0, 1, 2, 3, 4, 33, 100, 100000}), {}, random() % 4 == 0};
    for (int i = 0; i < 3; ++i) plan.blocks.push_back(pick(random, sizes));
    return plan;
}

constexpr int textsRead = isSanitized ? 500 : 2000;

void expectAlike(const std::vector<std::string>& stacks, const std::vector<std::string>& pieces) {
    std::mt19937 random(20);
    for (int i = 0; i < (isFullEffort() ? 50 * textsRead : textsRead); ++i) {
        const std::string text = randomPieces(random, pieces);
        const Plan plan = randomPlan(random, stacks[random() % stacks.size()]);
        ASSERT_TRUE(readsAlike(text, plan));
    }
}

TEST(BulkRead, Base64) {
    expectAlike({"b", "xb", "xyb"}, {"QUJD", "+/z9", "A", "QQ", std::string(1, '\0'), "\r\n", "\n",
                                     " ", ".", "-", "=", "\x80", "|", "QUJDREVGR0hJSktMTU5P\r\n"});
}

TEST(BulkRead, QuotedPrintable) {
    expectAlike({"q", "xq", "xyq"}, {"some text", "a", "=3D", "=C3=A9", "=\r\n", "=\n", "\r\n",
                                     "\n", "=", "=3d", "=\rx", "=A", "\xFF", "_", "-", "|"});
}

TEST(BulkRead, QuotedPrintableHeader) {
    expectAlike({"h"}, {"word", "_", "=3D", "=C3=A9", "=\r\n", "=", "=3d", "\xFF", "|"});
}

TEST(BulkRead, BodyParts) {
    expectAlike({"x", "xy", "xyx", "xyz"},
                {"\r\n--x", "\n--x", "\r\n--y", "\n--z", "--", "-", "\r", "\n", "\r\n", "\n-",
                 "\r\n-", "x", "y", "a line of text\r\n", "some text", "|"});
}

TEST(BulkRead, LongBodyParts) {
    std::mt19937 random(21);
    for (int i = 0; i < 200; ++i) {
        std::string text;
        while (text.size() < 10000)
            text +=
                randomText(random, "ab-", random() % 100) + (random() % 2 ? "\r\n" : "\n-\r\n\r");
        ASSERT_TRUE(readsAlike(text, {"xyx", 100000, {1 + random() % 6000}, false}));
    }
}

TEST(BulkRead, Base64WithEveryOctetInEveryPlace) {
    const std::string digits = repeated("QUJDREVGR0hJSktMTU5P", 7);
    for (int octet = 0; octet < 256; ++octet)
        for (std::size_t at = 0; at < 80; ++at) {
            std::string text = digits;
            text[at] = static_cast<char>(octet);
            ASSERT_TRUE(readsAlike(text, {"b", 100000, {100, 7}, false}));
        }
}

std::string inLines(const std::string& text, std::size_t length, const std::string& lineEnd) {
    std::string lines;
    for (std::size_t at = 0; at < text.size(); at += length)
        lines += text.substr(at, length) + lineEnd;
    return lines;
}

TEST(BulkRead, Base64InLinesOfEveryLength) {
    std::mt19937 random(23);
    const std::string digits = randomText(random, "ABCDEFGHabcdefgh0189+/", 400);
    for (std::size_t length = 1; length < 100; ++length)
        for (const std::string lineEnd : {"\r\n", "\n", "\r", "\r\n\n", "\r\r\n", " \r\n"})
            for (const std::size_t block : {1000U, 50U, 33U}) {
                const std::string text = inLines(digits, length, lineEnd);
                ASSERT_TRUE(readsAlike(text, {"b", 100000, {block}, false}));
                ASSERT_TRUE(readsAlike(text + "QQ==\r\nQUJD", {"b", 100000, {block}, false}));
            }
}

TEST(BulkRead, QuotedPrintableAroundTheEndOfAStretch) {
    for (const std::string escape : {"=C3=A9", "=\r\n", "=\n", "=\r=", "=", "=c3"})
        for (std::size_t at = longestStretch - 8; at < longestStretch + 4; ++at) {
            std::string text(2 * longestStretch, 'a');
            text.replace(at, escape.size(), escape);
            for (const std::size_t block : {text.size(), longestStretch, longestStretch + 64})
                ASSERT_TRUE(readsAlike(text, {"q", 100000, {block}, false}));
        }
}

TEST(BulkRead, QuotedPrintableWithEveryEscape) {
    const std::string firsts = isFullEffort() ? allOctets() : "0123456789ABCDEF/:@G`af\r\n=";
    for (const char first : firsts)
        for (const char second : allOctets()) {
            std::string text = std::string(60, 'a') + "=" + std::string(200, 'b');
            text[61] = first;
            text[62] = second;
            ASSERT_TRUE(readsAlike(text, {"q", 100000, {300}, false}));
        }
}

TEST(BulkRead, Base64DigitsOfEveryValue) {
    std::mt19937 random(22);
    const std::string octets = randomText(random, allOctets(), 30000);
    Target target;
    base64buf writer(&target, /*encodedWord=*/true);
    ASSERT_EQ(writeBlocks(writer, octets, 0), octets.size());
    Source source(target.text() + std::string(50, 'A'), 100000);
    base64buf reader(&source, /*encodedWord=*/true);
    EXPECT_TRUE(readBlocks(reader, 1000).starts_with(octets.substr(0, 29997)));
}

}  // namespace
