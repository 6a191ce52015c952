// SPDX-License-Identifier: Apache-2.0
// Large inputs. Nothing here measures time: what does not grow linearly runs into the limit that
// each test has.
#include <gtest/gtest.h>

#include <ostream>

#include "tests/support/sanitized.h"
#include "tests/support/wide_text.h"
#include "tests/unit/rfc2822encoder/encoder_fixtures.h"

namespace {

constexpr std::size_t mebibyte = std::size_t{1} << 20;
constexpr std::size_t bodySize = (isSanitized ? 8U : 64U) * mebibyte;

std::string subjectOf(const Zeb_String& value) {
    std::string out;
    EXPECT_TRUE(encodeRFC2047Unstructured(AdCharset::getUTF8Charset(), u"Subject", value, out));
    return out;
}

// Compares without printing a mebibyte.
void expectSame(const std::string& actual, const std::string& expected) {
    EXPECT_EQ(actual.size(), expected.size());
    EXPECT_TRUE(actual == expected);
}

TEST(LargeSubject, AsciiWithLineBreaks) {
    const std::string line = "some words of a line";
    const std::size_t lines = mebibyte / (line.size() + 1);
    const std::string text = repeated(line + "\n", lines) + "end";
    expectSame(subjectOf(wide(text)), "Subject: " + repeated(line + " ", lines) + "end\r\n");
}

TEST(LargeSubject, AsciiWithLineEnds) {
    const std::size_t lines = mebibyte / 8;
    const std::string text = repeated("a line\r\n", lines) + "end";
    expectSame(joined(encodedWords(subjectOf(wide(text)), "Subject")),
               repeated("a line\r ", lines) + "end");
}

TEST(LargeSubject, NonAscii) {
    const std::string text = repeated("\xC3\xA9", mebibyte / 2);
    const std::vector<std::string> words = encodedWords(subjectOf(wide(text)), "Subject");
    expectSame(joined(words), text);
    EXPECT_EQ(words.size(), (mebibyte / 2 - 1 + 21) / 22 + 1);
    EXPECT_EQ(words.back(), "\xC3\xA9");
}

TEST(LargeSubject, NonAsciiWithLineBreaks) {
    const std::size_t lines = mebibyte / 6;
    const std::string text = repeated("\xC3\xA9\xC3\xA9\n\n", lines) + "end";
    expectSame(joined(encodedWords(subjectOf(wide(text)), "Subject")),
               repeated("\xC3\xA9\xC3\xA9 ", lines) + "end");
}

TEST(LargeSubject, Pairs) {
    // A word's octets are at most 45; pairs that are cut grow from 4 octets to 6.
    const std::string out = subjectOf(wide(repeated("\xF0\x9F\x98\x80", mebibyte / 4)));
    const std::string octets = joined(encodedWords(out, "Subject"));
    const std::size_t whole = countOf("\xF0\x9F\x98\x80", octets);
    const std::size_t halves = countOf("\xEF\xBF\xBD", octets);
    EXPECT_EQ(2 * whole + halves, mebibyte / 2);
    EXPECT_EQ(4 * whole + 3 * halves, octets.size());
}

TEST(LargeSubject, LineFeedsAlone) {
    EXPECT_EQ(subjectOf(Zeb_String(u'\n', mebibyte)), "Subject: =?UTF-8?B?Cg==?= \r\n");
}

TEST(LargeSubject, LineFeedsBetweenTwoLetters) {
    EXPECT_EQ(subjectOf(u"a" + Zeb_String(u'\n', mebibyte) + u"b"), "Subject: a b\r\n");
}

TEST(LargeSubject, ThroughTheMessage) {
    RFC2822Encoder encoder;
    encoder.setSubject(Zeb_String(0x20AC, mebibyte / 3));
    EXPECT_EQ(countOf(subjectOf(Zeb_String(0x20AC, mebibyte / 3)) + "From: \r\n", message(encoder)),
              1U);
}

TEST(LargeFill, CostsNoMoreInALongTextThanInAShortOne) {
    // Halves that cannot fit are not converted: each of these calls would take 8 Mi units.
    const Zeb_String text(0x20AC, 16 * mebibyte);
    for (int round = 0; round < 20000; ++round) {
        int lo = round;
        int hi = text.GetLength() - 1;
        std::string chunk;
        bi_len(&lo, &hi, text, chunk);
        ASSERT_EQ(lo, round + 15);
        ASSERT_EQ(chunk.size(), 45U);
    }
}

TEST(LargeRecipients, HundredThousandInTo) {
    RFC2822Encoder encoder;
    constexpr int count = 100000;
    for (int i = 0; i < count; ++i) {
        Zeb_String address;
        address.Format(u"user%06d@example.org", i);
        ASSERT_TRUE(encoder.addTo(address, i % 2 == 0 ? u"" : u"Some \xE9"));
    }
    const std::string header = headerOf(message(encoder));
    EXPECT_EQ(countOf("@example.org>", header), static_cast<std::size_t>(count));
    EXPECT_EQ(countOf("=?UTF-8?B?U29tZSDDqQ==?= <user", header), count / 2U);
    EXPECT_EQ(countOf("To: ", header), 1U);
    std::size_t longest = 0;
    for (std::size_t pos = 0; pos < header.size();) {
        const std::size_t end = header.find("\r\n", pos);
        longest = std::max(longest, end - pos);
        pos = end + 2;
    }
    EXPECT_LE(longest, 73U);
}

// Keeps the first octets, counts and sums up all.
class CountingTarget : public std::streambuf {
  public:
    std::size_t bodyLength() const { return count_ - start_.find("\r\n\r\n") - 4; }
    const std::string& start() const { return start_; }
    std::size_t lineFeeds() const { return lineFeeds_; }

  protected:
    int_type overflow(int_type ch) override {
        take(traits_type::to_char_type(ch));
        return traits_type::not_eof(ch);
    }
    std::streamsize xsputn(const char* octets, std::streamsize count) override {
        for (std::streamsize i = 0; i < count; ++i) take(octets[i]);
        return count;
    }

  private:
    void take(char octet) {
        ++count_;
        if (octet == '\n') ++lineFeeds_;
        if (start_.size() < 1024) start_ += octet;
    }

    std::string start_;
    std::size_t count_ = 0;
    std::size_t lineFeeds_ = 0;
};

// A body of about 64 MiB of UTF-8: `line` repeated.
Zeb_String largeBody(const std::string& line, std::size_t& lines) {
    lines = bodySize / line.size();
    return wide(repeated(line, lines));
}

struct Written {
    std::string encoding;
    std::size_t length;
    std::size_t lineFeeds;
};

Written writtenBody(const Zeb_String& body, bool eightBit) {
    RFC2822Encoder encoder;
    encoder.setBody(body);
    CountingTarget target;
    std::ostream out(&target);
    encoder.getData(eightBit, out);
    EXPECT_TRUE(out.good());
    return {fieldOf(target.start(), "Content-Transfer-Encoding"), target.bodyLength(),
            target.lineFeeds() - countOf("\n", headerOf(target.start())) - 1};
}

TEST(LargeBody, Ascii) {
    const std::string line = "a line of plain text\n";
    std::size_t lines = 0;
    const Written body = writtenBody(largeBody(line, lines), /*eightBit=*/false);
    EXPECT_EQ(body.encoding, "7bit");
    EXPECT_EQ(body.length, lines * (line.size() + 1));
    EXPECT_EQ(body.lineFeeds, lines);
}

TEST(LargeBody, LineFeedsAlone) {
    const Written body = writtenBody(Zeb_String(u'\n', bodySize), /*eightBit=*/false);
    EXPECT_EQ(body.encoding, "7bit");
    EXPECT_EQ(body.length, 2 * bodySize);
    EXPECT_EQ(body.lineFeeds, bodySize);
}

TEST(LargeBody, Base64) {
    const std::string line = "\xC3\xA9\xC3\xA9\xC3\xA9\n";
    std::size_t lines = 0;
    const Written body = writtenBody(largeBody(line, lines), /*eightBit=*/false);
    const std::size_t octets = lines * (line.size() + 1);
    const std::size_t encodedLines = (octets + 56) / 57;
    EXPECT_EQ(body.encoding, "base64");
    EXPECT_EQ(body.length, (octets + 2) / 3 * 4 + 2 * encodedLines);
    EXPECT_EQ(body.lineFeeds, encodedLines);
}

TEST(LargeBody, QuotedPrintable) {
    const std::string line = "a line of plain text, almost \xC3\xA9\n";
    std::size_t lines = 0;
    const Written body = writtenBody(largeBody(line, lines), /*eightBit=*/false);
    EXPECT_EQ(body.encoding, "quoted-printable");
    EXPECT_EQ(body.length, lines * (line.size() + 5));
    EXPECT_EQ(body.lineFeeds, lines);
}

TEST(LargeBody, EightBit) {
    const std::string line = "J\xC3\xB6rg\r\n";
    std::size_t lines = 0;
    const Written body = writtenBody(largeBody(line, lines), /*eightBit=*/true);
    EXPECT_EQ(body.encoding, "8bit");
    EXPECT_EQ(body.length, lines * line.size());
}

}  // namespace
