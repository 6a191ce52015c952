// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "inet/transferstream.utf16.h"
#include "tests/unit/transferstream/test_buffers.h"

using namespace std::string_literals;

namespace {

// The reader in its plainest form, over a text of its own.
class SlowReader {
  public:
    explicit SlowReader(std::string text) : text_(std::move(text)) {}

    int take() {
        if (endReached_) return endOfFile;
        const int octet = next();
        if (octet == endOfFile) return endOfFile;
        if (octet == '.' && atLineStart_) return takeBehindDot();
        atLineStart_ = octet == '\n';
        return octet;
    }
    int peek() {
        if (endReached_) return endOfFile;
        if (look() != '.' || !atLineStart_) return look();
        next();
        if (look() != '\r') return look();
        next();
        next();
        endReached_ = true;
        return endOfFile;
    }
    std::string rest() const { return text_.substr(pos_); }

  private:
    int takeBehindDot() {
        const int octet = next();
        if (octet == '\r') {
            next();
            endReached_ = true;
            return endOfFile;
        }
        atLineStart_ = false;
        return octet;
    }
    int look() const { return pos_ < text_.size() ? asInt(text_[pos_]) : endOfFile; }
    int next() { return pos_ < text_.size() ? asInt(text_[pos_++]) : endOfFile; }

    std::string text_;
    std::size_t pos_ = 0;
    bool atLineStart_ = true;
    bool endReached_ = false;
};

struct DotReadRow {
    const char* name;
    std::string input;
    std::string expected;
    std::string rest;
};

const DotReadRow dotReadRows[] = {
    {"stuffed dot, then the end", "..a\r\n.\r\nrest", ".a\r\n", "rest"},
    {"the end alone", ".\r\nrest", "", "rest"},
    {"a dot in mid-line", "x.y\r\n.\r\n", "x.y\r\n", ""},
    {"a dot at the end of a line", "x.\r\n.\r\n", "x.\r\n", ""},
    {"a run of dots", "....\r\n.\r\n", "...\r\n", ""},
    {"an unstuffed dot before text is dropped", ".a\r\n.\r\n", "a\r\n", ""},
    {"a line feed alone starts a line", "a\n..b\n.\r\n", "a\n.b\n", ""},
    {"a carriage return alone does not", "a\r.b\r\n.\r\n", "a\r.b\r\n", ""},
    {"a lone dot and a line feed are data", ".\na\r\n.\r\n", "\na\r\n", ""},
    {"the next line's dot is then no line start", ".\n.\r\nb", "\n.\r\nb", ""},
    {"the third octet of the end is not looked at", ".\rXrest", "", "rest"},
    {"the end at the end of the source", ".\r\n", "", ""},
    {"the end cut off behind its carriage return", "a\r\n.\r", "a\r\n", ""},
    {"the end cut off behind its dot", "a\r\n.", "a\r\n", ""},
    {"no end", "a\r\nb", "a\r\nb", ""},
    {"empty", "", "", ""},
    {"empty lines", "\r\n\r\n.\r\n", "\r\n\r\n", ""},
    {"high octets and NUL", "\xFF\0\n..\xFF\n.\r\nr"s, "\xFF\0\n.\xFF\n"s, "r"},
    {"dot before a high octet", ".\xFF\r\n.\r\n", "\xFF\r\n", ""},
};

TEST(DotStuffingRead, DotsLineStartsAndTheEndOfData) {
    for (const DotReadRow& row : dotReadRows) {
        PiecewiseSource source(row.input);
        dotstuffingbuf filter(&source);
        EXPECT_EQ(readBlocks(filter, 0), row.expected) << row.name;
        EXPECT_EQ(source.rest(), row.rest) << row.name;
    }
}

TEST(DotStuffingRead, EverySplitOfSourceAndRead) {
    for (const DotReadRow& row : dotReadRows)
        for (const std::size_t block : blockSizes)
            for (const std::size_t piece : {1U, 2U, 3U, 16U, 1024U}) {
                SCOPED_TRACE(row.name);
                PiecewiseSource source(row.input, piece);
                dotstuffingbuf filter(&source);
                EXPECT_EQ(readBlocks(filter, block), row.expected) << block << ' ' << piece;
                EXPECT_EQ(source.rest(), row.rest) << block << ' ' << piece;
            }
}

TEST(DotStuffingRead, EndIsForGood) {
    PiecewiseSource source(".\r\nmore\r\n");
    dotstuffingbuf filter(&source);
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(filter.sbumpc(), endOfFile);
        EXPECT_EQ(filter.sgetc(), endOfFile);
        char octet = 0;
        EXPECT_EQ(filter.sgetn(&octet, 1), 0);
        EXPECT_EQ(source.rest(), "more\r\n");
    }
}

TEST(DotStuffingRead, BlockReadTakesNoMoreThanItGives) {
    PiecewiseSource source("..abc\r\n", 1024);
    dotstuffingbuf filter(&source);
    char octets[3];
    EXPECT_EQ(filter.sgetn(octets, 3), 3);
    EXPECT_EQ(std::string(octets, 3), ".ab");
    EXPECT_EQ(source.rest(), "c\r\n");
}

TEST(DotStuffingRead, PauseBehindADotEndsTheLineStart) {
    PausingSource source(".|.\r\n.\r\n");
    dotstuffingbuf filter(&source);
    EXPECT_EQ(filter.sbumpc(), endOfFile);
    EXPECT_EQ(readBlocks(filter, 0), ".\r\n");
}

TEST(DotStuffingRead, PauseInsteadOfTheThirdOctetIsTheEndAllTheSame) {
    PausingSource source(".\r|more");
    dotstuffingbuf filter(&source);
    EXPECT_EQ(filter.sbumpc(), endOfFile);
    EXPECT_EQ(filter.sbumpc(), endOfFile);
}

TEST(DotStuffingRead, PeekInMidLineTakesNothing) {
    PiecewiseSource source("a.b\r\nc");
    dotstuffingbuf filter(&source);
    for (const char expected : "a.b\r\nc"s) {
        EXPECT_EQ(filter.sgetc(), asInt(expected));
        EXPECT_EQ(filter.sgetc(), asInt(expected));
        EXPECT_EQ(filter.sbumpc(), asInt(expected));
    }
    EXPECT_EQ(filter.sgetc(), endOfFile);
}

TEST(DotStuffingRead, PeekAtALineStartDropsTheDot) {
    PiecewiseSource source("..a");
    dotstuffingbuf filter(&source);
    EXPECT_EQ(filter.sgetc(), asInt('.'));
    EXPECT_EQ(source.rest(), ".a");
}

TEST(DotStuffingRead, SecondPeekAtALineStartDropsTheNextDot) {
    PiecewiseSource source("...a");
    dotstuffingbuf filter(&source);
    EXPECT_EQ(filter.sgetc(), asInt('.'));
    EXPECT_EQ(filter.sgetc(), asInt('.'));
    EXPECT_EQ(filter.sgetc(), asInt('a'));
    EXPECT_EQ(source.rest(), "a");
}

TEST(DotStuffingRead, TakeBehindAPeekAtALineStartLosesADot) {
    PiecewiseSource source("..a\r\n");
    dotstuffingbuf filter(&source);
    EXPECT_EQ(filter.sgetc(), asInt('.'));
    EXPECT_EQ(filter.sbumpc(), asInt('a'));
    EXPECT_EQ(readBlocks(filter, 0), "\r\n");
}

TEST(DotStuffingRead, TakeBehindAPeekMayTakeALineOfOneDotForTheEnd) {
    PiecewiseSource source("..\r\nrest");
    dotstuffingbuf filter(&source);
    EXPECT_EQ(filter.sgetc(), asInt('.'));
    EXPECT_EQ(filter.sbumpc(), endOfFile);
    EXPECT_EQ(source.rest(), "rest");
}

TEST(DotStuffingRead, PeekAtTheEndTakesThreeOctets) {
    for (const char* text : {".\r\nrest", ".\rXrest"}) {
        PiecewiseSource source(text);
        dotstuffingbuf filter(&source);
        EXPECT_EQ(filter.sgetc(), endOfFile);
        EXPECT_EQ(source.rest(), "rest");
        EXPECT_EQ(filter.sbumpc(), endOfFile);
        EXPECT_EQ(source.rest(), "rest");
    }
}

TEST(DotStuffingRead, PeekAtADotThatEndsTheSource) {
    PiecewiseSource source(".");
    dotstuffingbuf filter(&source);
    EXPECT_EQ(filter.sgetc(), endOfFile);
    EXPECT_EQ(source.rest(), "");
}

TEST(DotStuffingRead, PeekDoesNotMoveTheLineStart) {
    PiecewiseSource source(".a.b");
    dotstuffingbuf filter(&source);
    EXPECT_EQ(filter.sgetc(), asInt('a'));
    EXPECT_EQ(filter.sgetc(), asInt('a'));
    EXPECT_EQ(readBlocks(filter, 0), "a.b");
}

TEST(DotStuffingRead, ReadingAndWritingKeepTheirOwnLineStart) {
    PiecewiseSource source("ab");
    dotstuffingbuf reader(&source);
    EXPECT_EQ(reader.sbumpc(), asInt('a'));
    Target target;
    dotstuffingbuf filter(&target);
    EXPECT_EQ(filter.sgetc(), endOfFile);
    filter.sputc('.');
    EXPECT_EQ(target.text(), "..");
}

TEST(DotStuffingRead, RandomTextsWithPeeksAgainstThePlainReader) {
    std::mt19937 random(71);
    for (int round = 0; round < 5000; ++round) {
        const std::string text = randomText(random, "..\r\n\na\xFF", random() % 40);
        SCOPED_TRACE(testing::PrintToString(text));
        PiecewiseSource source(text, 1 + random() % 4);
        dotstuffingbuf filter(&source);
        SlowReader slow(text);
        for (std::size_t i = 0; i < text.size() + 2; ++i) {
            if (random() % 3 == 0)
                ASSERT_EQ(filter.sgetc(), slow.peek());
            else
                ASSERT_EQ(filter.sbumpc(), slow.take());
            ASSERT_EQ(source.rest(), slow.rest());
        }
    }
}

}  // namespace
