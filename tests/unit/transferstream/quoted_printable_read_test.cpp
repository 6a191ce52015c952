// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "inet/transferstream.utf16.h"
#include "tests/unit/transferstream/test_buffers.h"

using namespace std::string_literals;

namespace {

std::string decode(const std::string& text, std::size_t block = 0, std::size_t piece = 1) {
    PiecewiseSource source(text, piece);
    quotedprintablebuf filter(&source, /*headerMode=*/false);
    return readBlocks(filter, block);
}

// The decoder in its plainest form: one read, the octet or the end of the file.
class SlowDecoder {
  public:
    explicit SlowDecoder(std::string text) : text_(std::move(text)) {}

    int read() {
        for (;;) {
            const int ch = take();
            if (ch != '=') return ch;
            const int first = take();
            if (first == '\n') continue;
            const int second = take();
            if (first == '\r' && second == '\n') continue;
            const int high = digit(first);
            const int low = digit(second);
            return high < 0 || low < 0 ? endOfFile : high * 16 + low;
        }
    }
    std::string rest() const { return text_.substr(pos_); }

  private:
    int take() { return pos_ < text_.size() ? asInt(text_[pos_++]) : endOfFile; }
    static int digit(int ch) {
        if (ch >= '0' && ch <= '9') return ch - '0';
        return ch >= 'A' && ch <= 'F' ? ch - 'A' + 10 : -1;
    }

    std::string text_;
    std::size_t pos_ = 0;
};

struct QpReadRow {
    const char* name;
    std::string input;
    std::string expected;  // up to the first end of file
    std::string rest;      // what the source still holds then
};

const QpReadRow qpReadRows[] = {
    {"escape and soft break", "a=3Db=\r\nc", "a=bc", ""},
    {"lower-case digits end the data", "=3dxyz", "", "xyz"},
    {"lower-case high digit", "a=d3x", "a", "x"},
    {"soft break with a bare line feed", "a=\nb", "ab", ""},
    {"two soft breaks", "a=\r\n=\r\nb", "ab", ""},
    {"soft breaks of both kinds", "a=\n=\r\n=\nb", "ab", ""},
    {"soft break at the end", "a=\r\n", "a", ""},
    {"carriage return, then no line feed", "a=\rxb", "a", "b"},
    {"carriage return, then an escape", "a=\r=3D", "a", "3D"},
    {"carriage return, then the end", "a=\r", "a", ""},
    {"equals sign at the end", "a=", "a", ""},
    {"one digit, then the end", "a=4", "a", ""},
    {"no digits", "a=xyb", "a", "b"},
    {"second character is no digit", "a=4yb", "a", "b"},
    {"second is a line feed", "a=4\nb", "a", "b"},
    {"two equals signs", "a==3Db", "a", "Db"},
    {"NUL is no digit in front", "a=\0Ab"s, "a", "b"},
    {"NUL is no digit behind", "a=A\0b"s, "a", "b"},
    {"two NULs", "a=\0\0b"s, "a", "b"},
    {"high octets are no digits",
     "a=\xFF\xFF"
     "b",
     "a", "b"},
    {"blank behind the equals sign", "a= \r\nb", "a", "\nb"},
    {"line ends are data", "a\r\nb\nc\rd", "a\r\nb\nc\rd", ""},
    {"trailing blanks are data", "a \t\r\n", "a \t\r\n", ""},
    {"underscore is data", "a_b", "a_b", ""},
    {"NUL is data", "a\0b"s, "a\0b"s, ""},
    {"high octets are data", "\xFF\x80", "\xFF\x80", ""},
    {"escaped 255", "=FF!", "\xFF!", ""},
    {"escaped NUL", "=00!", "\0!"s, ""},
    {"escaped line end", "=0D=0A", "\r\n", ""},
    {"empty", "", "", ""},
};

TEST(QuotedPrintableRead, EscapesSoftBreaksAndWhatEndsTheData) {
    for (const QpReadRow& row : qpReadRows) {
        PiecewiseSource source(row.input);
        quotedprintablebuf filter(&source, /*headerMode=*/false);
        EXPECT_EQ(readBlocks(filter, 0), row.expected) << row.name;
        EXPECT_EQ(source.rest(), row.rest) << row.name;
    }
}

TEST(QuotedPrintableRead, EverySplitOfSourceAndRead) {
    for (const QpReadRow& row : qpReadRows)
        for (const std::size_t block : blockSizes)
            for (const std::size_t piece : {1U, 2U, 3U, 16U, 1024U})
                EXPECT_EQ(decode(row.input, block, piece), row.expected)
                    << row.name << " block " << block << " piece " << piece;
}

TEST(QuotedPrintableRead, EveryPairBehindTheEqualsSign) {
    for (const char first : allOctets())
        for (const char second : allOctets()) {
            const std::string text = {'=', first, second};
            PiecewiseSource source(text);
            quotedprintablebuf filter(&source, /*headerMode=*/false);
            SlowDecoder slow(text);
            ASSERT_EQ(filter.sbumpc(), slow.read()) << asInt(first) << ' ' << asInt(second);
            ASSERT_EQ(source.rest(), slow.rest()) << asInt(first) << ' ' << asInt(second);
        }
}

TEST(QuotedPrintableRead, PeekTakesNothingFromTheReader) {
    PiecewiseSource source("a=FF=\r\nb");
    quotedprintablebuf filter(&source, /*headerMode=*/false);
    for (const int expected : {0x61, 0xFF, 0x62}) {
        EXPECT_EQ(filter.sgetc(), expected);
        EXPECT_EQ(filter.sgetc(), expected);
        EXPECT_EQ(filter.sbumpc(), expected);
    }
    EXPECT_EQ(filter.sgetc(), endOfFile);
}

TEST(QuotedPrintableRead, PeekOnAMalformedEscapeConsumesIt) {
    PiecewiseSource source("=xyb");
    quotedprintablebuf filter(&source, /*headerMode=*/false);
    EXPECT_EQ(filter.sgetc(), endOfFile);
    EXPECT_EQ(source.rest(), "b");
    EXPECT_EQ(filter.sgetc(), asInt('b'));
    EXPECT_EQ(filter.sbumpc(), asInt('b'));
}

TEST(QuotedPrintableRead, NextReadGoesOnBehindAMalformedEscape) {
    PiecewiseSource source("a=xyb=\rzc=4");
    quotedprintablebuf filter(&source, /*headerMode=*/false);
    EXPECT_EQ(readBlocks(filter, 0), "a");
    EXPECT_EQ(readBlocks(filter, 0), "b");
    EXPECT_EQ(readBlocks(filter, 0), "c");
    EXPECT_EQ(readBlocks(filter, 0), "");
}

TEST(QuotedPrintableRead, BlockReadStopsAtEachMalformedEscape) {
    for (const std::size_t block : {16U, 1024U}) {
        PiecewiseSource source("abc=xydef=", 1024);
        quotedprintablebuf filter(&source, /*headerMode=*/false);
        std::string octets(block, '\0');
        EXPECT_EQ(filter.sgetn(octets.data(), static_cast<std::streamsize>(block)), 3);
        EXPECT_EQ(octets.substr(0, 3), "abc");
        EXPECT_EQ(source.rest(), "def=");
        EXPECT_EQ(filter.sgetn(octets.data(), static_cast<std::streamsize>(block)), 3);
        EXPECT_EQ(octets.substr(0, 3), "def");
        EXPECT_EQ(filter.sgetn(octets.data(), static_cast<std::streamsize>(block)), 0);
    }
}

TEST(QuotedPrintableRead, PauseBehindTheEqualsSignCountsAsACharacter) {
    PausingSource source("=|AB=4|C=\r|D");
    quotedprintablebuf filter(&source, /*headerMode=*/false);
    EXPECT_EQ(filter.sbumpc(), endOfFile);
    EXPECT_EQ(filter.sbumpc(), asInt('B'));
    EXPECT_EQ(filter.sbumpc(), endOfFile);
    EXPECT_EQ(filter.sbumpc(), asInt('C'));
    EXPECT_EQ(filter.sbumpc(), endOfFile);
    EXPECT_EQ(filter.sbumpc(), asInt('D'));
}

TEST(QuotedPrintableRead, OneOctetIsDecodedAtATime) {
    PiecewiseSource source("=41=42");
    quotedprintablebuf filter(&source, /*headerMode=*/false);
    EXPECT_EQ(source.rest(), "=41=42");
    EXPECT_EQ(filter.sgetc(), asInt('A'));
    EXPECT_EQ(source.rest(), "=42");
    EXPECT_EQ(filter.sbumpc(), asInt('A'));
    EXPECT_EQ(source.rest(), "=42");
}

TEST(QuotedPrintableRead, BlockReadTakesNoMoreThanItGives) {
    PiecewiseSource source("=41=42=43", 1024);
    quotedprintablebuf filter(&source, /*headerMode=*/false);
    char octets[2];
    EXPECT_EQ(filter.sgetn(octets, 2), 2);
    EXPECT_EQ(source.rest(), "=43");
}

TEST(QuotedPrintableRead, RandomTextsWithPeeksAgainstThePlainDecoder) {
    std::mt19937 random(41);
    for (int round = 0; round < 3000; ++round) {
        const std::string text = randomText(random, "==\r\n4AfX \xE9", random() % 60);
        SCOPED_TRACE(testing::PrintToString(text));
        PiecewiseSource source(text);
        quotedprintablebuf filter(&source, /*headerMode=*/false);
        SlowDecoder slow(text);
        for (std::size_t i = 0; i <= text.size(); ++i) {
            const int expected = slow.read();
            const bool peek = random() % 2 == 0;
            ASSERT_EQ(peek ? filter.sgetc() : filter.sbumpc(), expected);
            if (peek && expected != endOfFile) {
                ASSERT_EQ(filter.sbumpc(), expected);
            }
            ASSERT_EQ(source.rest(), slow.rest());
        }
    }
}

}  // namespace
