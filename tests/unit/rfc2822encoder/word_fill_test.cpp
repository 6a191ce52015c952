// SPDX-License-Identifier: Apache-2.0
// bi_len: how much of a text fits into one encoded word.
#include <gtest/gtest.h>

#include <random>

#include "tests/support/wide_text.h"
#include "tests/unit/rfc2822encoder/encoder_fixtures.h"

using namespace std::string_literals;

namespace {

struct Fill {
    int lo;
    int hi;
    std::string chunk;
    bool operator==(const Fill&) const = default;
};

void PrintTo(const Fill& fill, std::ostream* out) {
    *out << fill.lo << ".." << fill.hi << ' ' << testing::PrintToString(fill.chunk);
}

Fill filled(Fill fill, const Zeb_String& text) {
    bi_len(&fill.lo, &fill.hi, text, fill.chunk);
    return fill;
}

// The halving fill, with every conversion made.
void fillSlowly(Fill& fill, const Zeb_String& text) {
    if (fill.lo == fill.hi) return;
    const int mid = fill.lo + (fill.hi - fill.lo) / 2;
    const std::string piece = utf8(text.Mid(fill.lo, mid - fill.lo + 1));
    if (fill.chunk.length() + piece.length() < 46) {
        fill.chunk += piece;
        fill.lo = mid + 1;
        if (fill.chunk.length() == 45) return;
    } else {
        fill.hi = mid;
    }
    fillSlowly(fill, text);
}

const std::string replacement = "\xEF\xBF\xBD";
const std::u16string pair = u"\xD83D\xDE00";

std::u16string pairs(int count) {
    std::u16string text;
    for (int i = 0; i < count; ++i) text += pair;
    return text;
}

TEST(WordFill, EmptyRangeTakesNothing) {
    EXPECT_EQ(filled({0, 0, ""}, u"abc"), (Fill{0, 0, ""}));
    EXPECT_EQ(filled({2, 2, "x"}, u"abc"), (Fill{2, 2, "x"}));
}

TEST(WordFill, NeverTakesTheUnitAtTheUpperBoundEvenWhenItFits) {
    EXPECT_EQ(filled({0, 1, ""}, u"ab"), (Fill{1, 1, "a"}));
    EXPECT_EQ(filled({0, 9, ""}, u"0123456789"), (Fill{9, 9, "012345678"}));
}

TEST(WordFill, StartsAtTheLowerBound) {
    EXPECT_EQ(filled({2, 4, ""}, u"abcde"), (Fill{4, 4, "cd"}));
}

TEST(WordFill, AppendsToWhatTheChunkHolds) {
    EXPECT_EQ(filled({0, 2, "xyz"}, u"abc"), (Fill{2, 2, "xyzab"}));
}

TEST(WordFill, StopsAtFortyFiveOctetsWithoutNarrowingFurther) {
    EXPECT_EQ(filled({0, 59, ""}, Zeb_String(u'a', 60)), (Fill{45, 59, std::string(45, 'a')}));
}

TEST(WordFill, NarrowsTheUpperBoundToTheUnitThatDoesNotFit) {
    const Fill fill = filled({0, 59, ""}, Zeb_String(0xE9, 60));
    EXPECT_EQ(fill, (Fill{22, 22, repeated("\xC3\xA9", 22)}));
}

TEST(WordFill, FullChunkTakesNothing) {
    for (const std::size_t length : {45U, 46U, 100U}) {
        const std::string full(length, 'x');
        EXPECT_EQ(filled({3, 9, full}, u"0123456789"), (Fill{3, 3, full}));
    }
}

TEST(WordFill, ChunkWithRoomForOneOctet) {
    const std::string chunk(44, 'x');
    EXPECT_EQ(filled({3, 9, chunk}, u"0123456789").chunk, chunk + "3");
    EXPECT_EQ(filled({0, 5, chunk}, Zeb_String(0xE9, 6)), (Fill{0, 0, chunk}));
}

TEST(WordFill, CutsASurrogatePairWithinAWord) {
    EXPECT_EQ(filled({0, 3, ""}, units(u"a" + pair + u"b")),
              (Fill{3, 3, "a" + replacement + replacement}));
}

TEST(WordFill, TwentyFourPairsTakeTwentyOneUnits) {
    const Fill fill = filled({0, 47, ""}, units(pairs(24)));
    EXPECT_EQ(fill.lo, 21);
    EXPECT_EQ(fill.chunk.size(), 43U);
}

TEST(WordFill, PairOfOnePieceStaysWhole) {
    // Halves of 4, 2 and 1 units: the first four are taken together.
    EXPECT_EQ(filled({0, 7, ""}, units(pairs(4))).chunk.substr(0, 8),
              repeated("\xF0\x9F\x98\x80", 2));
}

TEST(WordFill, NulIsAUnitLikeAnyOther) {
    EXPECT_EQ(filled({0, 3, ""}, units(u"a\0b\0"s)), (Fill{3, 3, "a\0b"s}));
}

const std::vector<std::u16string> kinds = {
    u"a", u"a\xE9", u"\x20AC", u"a\xE9\x20AC", u"a\xD83D\xDE00", u"\xD83D\xDE00\xE9\x20AC",
};

std::u16string randomUnits(std::mt19937& random, const std::u16string& from, std::size_t length) {
    std::u16string text;
    while (text.size() < length) text += from[random() % from.size()];
    return text;
}

TEST(WordFill, AllBoundsOfShortTexts) {
    std::mt19937 random(111);
    for (const std::u16string& kind : kinds)
        for (std::size_t length = 1; length < 60; length += 7) {
            const Zeb_String text = units(randomUnits(random, kind, length));
            for (int lo = 0; lo <= text.GetLength(); ++lo)
                for (int hi = lo; hi <= text.GetLength() + 2; ++hi) {
                    Fill expected{lo, hi, ""};
                    fillSlowly(expected, text);
                    ASSERT_EQ(filled({lo, hi, ""}, text), expected) << lo << ' ' << hi;
                }
        }
}

TEST(WordFill, BoundsBeforeTheTextAndBehindIt) {
    const Zeb_String text = units(u"a" + pair + u"\xE9" + pair);
    for (int lo = -9; lo < 9; ++lo)
        for (int hi = lo; hi < 12; ++hi) {
            Fill expected{lo, hi, "x"};
            fillSlowly(expected, text);
            ASSERT_EQ(filled({lo, hi, "x"}, text), expected) << lo << ' ' << hi;
        }
}

TEST(WordFill, RandomTextsAndChunks) {
    std::mt19937 random(112);
    for (int round = 0; round < 3000; ++round) {
        const std::u16string& kind = kinds[random() % kinds.size()];
        const Zeb_String text = units(randomUnits(random, kind, 1 + random() % 700));
        const int lo = static_cast<int>(random() % static_cast<unsigned>(text.GetLength()));
        const int hi = lo + static_cast<int>(random() % static_cast<unsigned>(text.GetLength()));
        const std::string chunk(random() % 4 == 0 ? random() % 50 : 0, 'x');
        Fill expected{lo, hi, chunk};
        fillSlowly(expected, text);
        ASSERT_EQ(filled({lo, hi, chunk}, text), expected) << round;
    }
}

TEST(WordFill, WithoutSurrogatesTheFillIsTheLongestThatFits) {
    std::mt19937 random(113);
    for (int round = 0; round < 500; ++round) {
        const Zeb_String text = units(randomUnits(random, u"ab\xE9\x20AC", 60));
        const Fill fill = filled({0, 59, ""}, text);
        EXPECT_EQ(fill.chunk, utf8(text.Left(fill.lo)));
        EXPECT_LE(fill.chunk.size(), 45U);
        EXPECT_GT(utf8(text.Left(fill.lo + 1)).size(), 45U);
    }
}

}  // namespace
