// SPDX-License-Identifier: Apache-2.0
// The "Q" encoding of RFC 2047.
#include <gtest/gtest.h>

#include "inet/transferstream.utf16.h"
#include "tests/unit/transferstream/test_buffers.h"

using namespace std::string_literals;

namespace {

const std::string literals = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789!*+-/";

std::string written(const std::string& octets, std::size_t block = 0) {
    Target target;
    quotedprintablebuf filter(&target, /*headerMode=*/true);
    EXPECT_EQ(writeBlocks(filter, octets, block), octets.size());
    return target.text();
}

std::string decode(const std::string& text, std::size_t block = 0) {
    PiecewiseSource source(text);
    quotedprintablebuf filter(&source, /*headerMode=*/true);
    return readBlocks(filter, block);
}

std::string encodeSlowly(const std::string& octets) {
    const std::string digits = "0123456789ABCDEF";
    std::string text;
    for (const char octet : octets) {
        const auto value = static_cast<unsigned char>(octet);
        if (octet == ' ')
            text += '_';
        else if (octet == '\0' || literals.find(octet) != std::string::npos)
            text += octet;
        else
            text += {'=', digits[value / 16], digits[value % 16]};
    }
    return text;
}

TEST(QuotedPrintableHeaderWrite, BlankIsAnUnderscore) { EXPECT_EQ(written("a b?"), "a_b=3F"); }

TEST(QuotedPrintableHeaderWrite, LiteralsAreThoseOfEncodedWords) {
    EXPECT_EQ(written(literals), literals);
}

TEST(QuotedPrintableHeaderWrite, UnderscoreAndEqualsSignAreEscaped) {
    EXPECT_EQ(written("_="), "=5F=3D");
}

TEST(QuotedPrintableHeaderWrite, NulIsALiteral) { EXPECT_EQ(written("a\0b"s), "a\0b"s); }

TEST(QuotedPrintableHeaderWrite, LineEndsAreEscapedLikeAnyOctet) {
    EXPECT_EQ(written("a\r\nb\rc\nd \r\n"), "a=0D=0Ab=0Dc=0Ad_=0D=0A");
}

TEST(QuotedPrintableHeaderWrite, EveryOctet) {
    for (const char octet : allOctets()) {
        const std::string one(1, octet);
        EXPECT_EQ(written(one), encodeSlowly(one)) << asInt(octet);
    }
}

TEST(QuotedPrintableHeaderWrite, NoResultIsTheEndOfTheFile) {
    Target target;
    quotedprintablebuf filter(&target, /*headerMode=*/true);
    for (const char octet : allOctets()) EXPECT_NE(filter.sputc(octet), endOfFile);
}

TEST(QuotedPrintableHeaderWrite, LongLineIsNeverBroken) {
    EXPECT_EQ(written(std::string(1000, 'x')), std::string(1000, 'x'));
    EXPECT_EQ(written(std::string(1000, '=')), repeated("=3D", 1000));
}

TEST(QuotedPrintableHeaderWrite, CheckSpaceDoesNothing) {
    Target target;
    quotedprintablebuf filter(&target, /*headerMode=*/true);
    filter.sputc('x');
    filter.checkSpace(1000);
    EXPECT_EQ(target.text(), "x");
}

TEST(QuotedPrintableHeaderWrite, SyncAddsASoftBreakHereToo) {
    for (const char octet : {'x', ' ', '?'}) {
        Target target;
        quotedprintablebuf filter(&target, /*headerMode=*/true);
        filter.sputc(octet);
        EXPECT_EQ(filter.pubsync(), 0);
        EXPECT_EQ(target.text(), encodeSlowly(std::string(1, octet)) + "=\r\n");
        EXPECT_EQ(filter.pubsync(), 0);
        EXPECT_EQ(target.text(), encodeSlowly(std::string(1, octet)) + "=\r\n");
        EXPECT_EQ(target.syncs(), 2);
    }
}

TEST(QuotedPrintableHeaderWrite, SyncWithNothingWrittenOnlySyncsTheTarget) {
    Target target;
    quotedprintablebuf filter(&target, /*headerMode=*/true);
    EXPECT_EQ(filter.pubsync(), 0);
    EXPECT_EQ(target.text(), "");
    EXPECT_EQ(target.syncs(), 1);
}

TEST(QuotedPrintableHeaderWrite, SyncIsZeroThoughItsOwnWriteFails) {
    for (std::size_t capacity = 1; capacity < 4; ++capacity) {
        Target target(capacity);
        target.setSyncResult(-1);
        quotedprintablebuf filter(&target, /*headerMode=*/true);
        filter.sputc('x');
        EXPECT_EQ(filter.pubsync(), 0);
        EXPECT_EQ(target.syncs(), 0);
    }
}

TEST(QuotedPrintableHeaderWrite, RandomTextsInEverySplit) {
    std::mt19937 random(31);
    for (std::size_t length = 0; length < 200; ++length) {
        const std::string text = randomText(random, allOctets(), length);
        for (const std::size_t block : blockSizes)
            EXPECT_EQ(written(text, block), encodeSlowly(text)) << length << " block " << block;
    }
}

TEST(QuotedPrintableHeaderWrite, TargetRefusesAfterAnyNumberOfOctets) {
    const std::string text = "ab c?d\r\n\xFF";
    const std::string whole = encodeSlowly(text);
    for (std::size_t capacity = 0; capacity < whole.size(); ++capacity) {
        std::size_t fitting = 0;
        while (encodeSlowly(text.substr(0, fitting + 1)).size() <= capacity) ++fitting;
        for (const std::size_t block : blockSizes) {
            Target target(capacity);
            quotedprintablebuf filter(&target, /*headerMode=*/true);
            EXPECT_EQ(writeBlocks(filter, text, block), fitting) << capacity;
            EXPECT_EQ(target.text(), whole.substr(0, capacity));
        }
    }
}

struct Row {
    const char* name;
    std::string input;
    std::string expected;
};

TEST(QuotedPrintableHeaderRead, UnderscoresEscapesAndWhatEndsTheData) {
    const Row rows[] = {
        {"underscore", "a_b", "a b"},
        {"escaped underscore", "a=5Fb", "a_b"},
        {"question mark", "a_b=3F", "a b?"},
        {"blank", "a b", "a b"},
        {"underscore is no digit", "a=_1b", "a"},
        {"underscore as the second digit", "a=1_b", "a"},
        {"soft break is a malformed escape", "a=\r\nb", "a"},
        {"so is one with a bare line feed", "a=\nb", "a"},
        {"lower-case digits", "a=3fb", "a"},
        {"line ends are data", "a\r\nb", "a\r\nb"},
        {"NUL is data", "a\0b"s, "a\0b"s},
        {"NUL is no digit", "a=\0Ab"s, "a"},
        {"high octets are data", "\xE9\xFF", "\xE9\xFF"},
    };
    for (const Row& row : rows)
        for (const std::size_t block : blockSizes)
            EXPECT_EQ(decode(row.input, block), row.expected) << row.name << " block " << block;
}

TEST(QuotedPrintableHeaderRead, ReadGoesOnBehindAMalformedEscape) {
    const Row rows[] = {
        {"soft break", "=\r\nb_c", "b c"},
        {"bare line feed takes one more octet", "=\nb_c", " c"},
        {"no digits", "=__c_", "c "},
    };
    for (const Row& row : rows) {
        PiecewiseSource source(row.input);
        quotedprintablebuf filter(&source, /*headerMode=*/true);
        EXPECT_EQ(filter.sbumpc(), endOfFile) << row.name;
        EXPECT_EQ(readBlocks(filter, 0), row.expected) << row.name;
    }
}

TEST(QuotedPrintableHeaderRead, PeekOfAnUnderscoreIsABlank) {
    PiecewiseSource source("_x");
    quotedprintablebuf filter(&source, /*headerMode=*/true);
    EXPECT_EQ(filter.sgetc(), asInt(' '));
    EXPECT_EQ(filter.sbumpc(), asInt(' '));
    EXPECT_EQ(filter.sbumpc(), asInt('x'));
}

}  // namespace
