// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <optional>

#include "inet/transferstream.utf16.h"
#include "tests/unit/transferstream/test_buffers.h"

using namespace std::string_literals;

namespace {

std::string decode(const std::string& text, std::size_t block = 0, std::size_t piece = 1) {
    PiecewiseSource source(text, piece);
    base64buf filter(&source, /*encodedWord=*/false);
    return readBlocks(filter, block);
}

// The decoder in its plainest form. A NUL counts as "A", as a digit of value 64 does after the
// shifts and masks.
std::string decodeSlowly(const std::string& text) {
    std::vector<unsigned> digits;
    for (const char octet : text.substr(0, text.find('='))) {
        if (octet == '\0') digits.push_back(0);
        const std::size_t value = base64Alphabet.find(octet);
        if (value != std::string::npos) digits.push_back(static_cast<unsigned>(value));
    }
    std::string octets;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 4) {
        const auto digit = [&](std::size_t k) { return i + k < digits.size() ? digits[i + k] : 0; };
        const unsigned bits = digit(0) << 18 | digit(1) << 12 | digit(2) << 6 | digit(3);
        const std::size_t count = std::min<std::size_t>(digits.size() - i, 4) - 1;
        for (std::size_t k = 0; k < count; ++k) octets += static_cast<char>(bits >> (16 - 8 * k));
    }
    return octets;
}

struct Row {
    const char* name;
    std::string input;
    std::string expected;
};

const Row rows[] = {
    {"one group", "YWJj", "abc"},
    {"line end within a group", "YW\r\nJj", "abc"},
    {"one octet, padded", "YQ==", "a"},
    {"two octets, padded", "YWI=", "ab"},
    {"all behind = is skipped", "YQ==YWJj", "a"},
    {"also behind a single =", "YWI=YWJj", "ab"},
    {"= in front of everything", "=YWJj", ""},
    {"= behind one digit", "Y=WJj", ""},
    {"= behind three digits", "YWJ=j", "ab"},
    {"cut off behind one digit", "Y", ""},
    {"cut off behind two digits", "YQ", "a"},
    {"cut off behind three digits", "YWI", "ab"},
    {"a fifth digit alone yields nothing", "YWJjY", "abc"},
    {"empty", "", ""},
    {"no digit at all", "-_!*\r\n \t", ""},
    {"strange octets are skipped", " Y\x80-W_\xFFJ*j!", "abc"},
    {"digits of the header alphabet are no digits", "!*-_YWJj", "abc"},
    {"surplus bits are dropped", "YR==", "a"},
    {"the octet of 255", "/w==", "\xFF"},
    {"all digits", base64Alphabet,
     "\x00\x10\x83\x10\x51\x87\x20\x92\x8B\x30\xD3\x8F\x41\x14\x93\x51\x55\x97"
     "\x61\x96\x9B\x71\xD7\x9F\x82\x18\xA3\x92\x59\xA7\xA2\x9A\xAB\xB2\xDB\xAF"
     "\xC3\x1C\xB3\xD3\x5D\xB7\xE3\x9E\xBB\xF3\xDF\xBF"s},
};

TEST(Base64Read, DigitsPaddingAndStrangeOctets) {
    for (const Row& row : rows) EXPECT_EQ(decode(row.input), row.expected) << row.name;
}

TEST(Base64Read, EverySplitOfSourceAndRead) {
    for (const Row& row : rows)
        for (const std::size_t block : blockSizes)
            for (const std::size_t piece : {1U, 2U, 3U, 16U, 1024U})
                EXPECT_EQ(decode(row.input, block, piece), row.expected)
                    << row.name << " block " << block << " piece " << piece;
}

TEST(Base64Read, EncodedWordFlagIsIgnored) {
    for (const Row& row : rows) {
        PiecewiseSource source(row.input);
        base64buf filter(&source, /*encodedWord=*/true);
        EXPECT_EQ(readBlocks(filter, 0), row.expected) << row.name;
    }
}

TEST(Base64Read, NulActsAsTheDigitAInAllPositions) {
    const std::string withA[] = {"AWJj", "YAJj", "YWAj", "YWJA", "AAAA"};
    for (const std::string& text : withA) {
        std::string withNul = text;
        std::replace(withNul.begin(), withNul.end(), 'A', '\0');
        EXPECT_EQ(decode(withNul), decode(text)) << text;
        EXPECT_EQ(decode(withNul).size(), 3U) << text;
    }
}

TEST(Base64Read, GetUnitOfNulIsSixtyFour) {
    PiecewiseSource source("\0A"s);
    base64buf filter(&source, /*encodedWord=*/false);
    EXPECT_EQ(filter.getUnit(), 64);
    EXPECT_EQ(filter.getUnit(), 0);
    EXPECT_EQ(filter.getUnit(), -1);
}

TEST(Base64Read, NulBehindTheEndIsSkipped) { EXPECT_EQ(decode("YQ==\0\0\0\0"s), "a"); }

TEST(Base64Read, GetUnitGivesEveryDigitThenTheEnd) {
    PiecewiseSource source("\r\n " + base64Alphabet + "-_");
    base64buf filter(&source, /*encodedWord=*/false);
    for (int value = 0; value < 64; ++value) EXPECT_EQ(filter.getUnit(), value);
    EXPECT_EQ(filter.getUnit(), -1);
    EXPECT_EQ(filter.getUnit(), -1);
}

TEST(Base64Read, GetUnitDropsAllBehindTheEqualsSign) {
    PiecewiseSource source("Y=WJj");
    base64buf filter(&source, /*encodedWord=*/false);
    EXPECT_EQ(filter.getUnit(), 24);
    EXPECT_EQ(source.rest(), "=WJj");
    EXPECT_EQ(filter.getUnit(), -1);
    EXPECT_EQ(source.rest(), "");
}

TEST(Base64Read, RestOfTheSourceIsReadAndDropped) {
    PiecewiseSource source("YQ==\r\nmore YWJj text");
    base64buf filter(&source, /*encodedWord=*/false);
    EXPECT_EQ(filter.sbumpc(), asInt('a'));
    EXPECT_EQ(source.rest(), "");
    EXPECT_EQ(filter.sbumpc(), endOfFile);
}

TEST(Base64Read, FourDigitsAreTakenAtATime) {
    PiecewiseSource source("YWJjZGVm");
    base64buf filter(&source, /*encodedWord=*/false);
    EXPECT_EQ(filter.sgetc(), asInt('a'));
    EXPECT_EQ(source.rest(), "ZGVm");
    for (const char octet : {'a', 'b', 'c'}) EXPECT_EQ(filter.sbumpc(), asInt(octet));
    EXPECT_EQ(source.rest(), "ZGVm");
    EXPECT_EQ(filter.sgetc(), asInt('d'));
    EXPECT_EQ(source.rest(), "");
}

TEST(Base64Read, FourDigitsAreTakenEvenIfTheFirstIsMissing) {
    // A group that lacks its second digit still reads to the end.
    PiecewiseSource source("Y=    ");
    base64buf filter(&source, /*encodedWord=*/false);
    EXPECT_EQ(filter.sgetc(), endOfFile);
    EXPECT_EQ(source.rest(), "");
}

TEST(Base64Read, GroupGoesOnBehindAPauseWithAllFourDigits) {
    // The pause stands for the second digit, W and J for the others.
    PausingSource source("Y|WJYWJj");
    base64buf filter(&source, /*encodedWord=*/false);
    EXPECT_EQ(filter.sbumpc(), endOfFile);
    EXPECT_EQ(readBlocks(filter, 0), "abc");
}

TEST(Base64Read, PeekTakesNothing) {
    PiecewiseSource source("YWL/");
    base64buf filter(&source, /*encodedWord=*/false);
    for (const int expected : {0x61, 0x62, 0xFF}) {
        EXPECT_EQ(filter.sgetc(), expected);
        EXPECT_EQ(filter.sgetc(), expected);
        EXPECT_EQ(filter.sbumpc(), expected);
    }
    EXPECT_EQ(filter.sgetc(), endOfFile);
    EXPECT_EQ(filter.sbumpc(), endOfFile);
    EXPECT_EQ(filter.sgetc(), endOfFile);
}

TEST(Base64Read, NothingIsReadBeforeTheFirstRequest) {
    PiecewiseSource source("YWJj");
    const base64buf filter(&source, /*encodedWord=*/false);
    EXPECT_EQ(source.rest(), "YWJj");
}

TEST(Base64Read, RandomTextsAgainstThePlainDecoder) {
    std::mt19937 random(12);
    for (std::size_t round = 0; round < 2000; ++round) {
        const std::string& letters = round % 2 == 0 ? base64Alphabet + "\r\n" : allOctets();
        const std::string text = randomText(random, letters, random() % 200);
        EXPECT_EQ(decode(text, blockSizes[round % blockSizes.size()]), decodeSlowly(text))
            << testing::PrintToString(text);
    }
}

TEST(Base64Read, MixedPeeksAndTakesAgree) {
    std::mt19937 random(13);
    for (int round = 0; round < 500; ++round) {
        const std::string text = randomText(random, base64Alphabet + "\r\n ", random() % 100);
        PiecewiseSource source(text);
        base64buf filter(&source, /*encodedWord=*/false);
        for (const char expected : decodeSlowly(text)) {
            if (random() % 2 == 0) {
                EXPECT_EQ(filter.sgetc(), asInt(expected));
            }
            EXPECT_EQ(filter.sbumpc(), asInt(expected));
        }
        EXPECT_EQ(filter.sgetc(), endOfFile);
    }
}

}  // namespace
