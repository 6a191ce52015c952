// SPDX-License-Identifier: Apache-2.0
// Texts larger than any buffer inside a conversion, with something to be cut at every edge.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/adcharset.h"
#include "tests/support/effort.h"
#include "tests/unit/host/units.h"

namespace {

constexpr int millions = 3 * 1000 * 1000;

Zeb_String repeated(std::u16string_view pattern, int length) {
    std::u16string text;
    text.reserve(static_cast<std::size_t>(length) + pattern.size());
    while (text.size() < static_cast<std::size_t>(length)) text += pattern;
    return units(text);
}

struct Row {
    const char16_t* charset;
    std::u16string_view pattern;
};

const Row rows[] = {
    {u"US-ASCII", u"abcdefg"},
    {u"UTF-8", u"a\u00E9\u65E5\U0001F600z"},
    {u"ISO-8859-1", u"a\u00E9\u00FF"},
    {u"windows-1252", u"a\u20AC\u201C"},
    {u"Shift_JIS", u"x\u65E5\u672C\uFF71\u8868"},
    {u"GBK", u"x\u4F60\u597D"},
    {u"GB18030", u"x\U0001F600\u4F60"},
    {u"EUC-JP", u"x\u65E5\u672C"},
    {u"ISO-2022-JP", u"x\u65E5\u672C\u65E5y"},
    {u"UTF-7", u"x\u65E5\U0001F600y "},
};

TEST(LargeConversion, TextOfMillionsOfUnitsComesBackExactly) {
    for (const Row& row : rows) {
        const AdCharset charset{Zeb_String(row.charset)};
        const Zeb_String text = repeated(row.pattern, millions);
        AdMbcsString octets;
        ASSERT_TRUE(octets.cvtFromTchar(charset, text, 0)) << Printable(row.charset);
        ASSERT_GE(octets.getString().size(), static_cast<std::size_t>(millions));
        Zeb_String back;
        ASSERT_TRUE(octets.cvtToTchar(back, 0)) << Printable(row.charset);
        ASSERT_TRUE(back == text) << Printable(row.charset);
    }
}

TEST(LargeConversion, EveryCodePointComesBackThroughUtf8) {
    std::u16string all;
    for (char32_t point = 0; point <= 0x10FFFF; ++point) {
        if (point >= 0xD800 && point <= 0xDFFF) continue;
        if (point >= 0x10000) all += static_cast<char16_t>(0xD7C0 + (point >> 10));
        all += static_cast<char16_t>(point < 0x10000 ? point : 0xDC00 + (point & 0x3FF));
    }
    AdMbcsString octets;
    ASSERT_TRUE(octets.cvtFromTchar(AdCharset::getUTF8Charset(), units(all), 0));
    EXPECT_EQ(octets.getString().size(), 0x80u + 2 * 0x780u + 3 * 0xF000u + 4 * 0x100000u);
    Zeb_String back;
    ASSERT_TRUE(octets.cvtToTchar(back, 0));
    EXPECT_TRUE(back == units(all));
}

/// Lengths around the sizes that buffers have.
std::vector<int> lengthsAroundBufferSizes() {
    std::vector<int> lengths;
    for (const int size : {128, 256, 512, 1000, 1024, 2048, 4096, 8192, 16384, 32768, 65536})
        for (int delta = -4; delta <= 4; ++delta) lengths.push_back(size + delta);
    return lengths;
}

TEST(LargeConversion, ACharacterOfTwoUnitsMayStandAtAnyEdge) {
    for (const char16_t* name : {u"UTF-8", u"GB18030", u"UTF-16BE"}) {
        const AdCharset charset{Zeb_String(name)};
        for (const int length : lengthsAroundBufferSizes()) {
            const Zeb_String text = Zeb_String(u'a', length) + u"\U0001F600z";
            AdMbcsString octets;
            Zeb_String back;
            ASSERT_TRUE(octets.cvtFromTchar(charset, text, 0)) << Printable(name) << ' ' << length;
            ASSERT_TRUE(octets.cvtToTchar(back, 0)) << Printable(name) << ' ' << length;
            ASSERT_TRUE(back == text) << Printable(name) << ' ' << length;
        }
    }
}

TEST(LargeConversion, ASubstituteMayStandAtAnyEdge) {
    const AdCharset ascii = AdCharset::getASCIICharset();
    const AdCharset cyrillic(u"KOI8-R");
    for (const int length : lengthsAroundBufferSizes()) {
        const std::string before(static_cast<std::size_t>(length), 'a');
        const Zeb_String text = Zeb_String(u'a', length) + u"\U0001F600z";
        AdMbcsString octets;
        EXPECT_FALSE(octets.cvtFromTchar(ascii, text, 0)) << length;
        EXPECT_TRUE(octets.cvtFromTchar(ascii, text, 1)) << length;
        ASSERT_EQ(octets.getString(), before + "?z") << length;
        EXPECT_FALSE(octets.cvtFromTchar(cyrillic, text, 0)) << length;
        EXPECT_TRUE(octets.cvtFromTchar(cyrillic, text, 1)) << length;
        ASSERT_EQ(octets.getString().size(), before.size() + 2) << length;
        ASSERT_EQ(octets.getString().back(), 'z') << length;
    }
}

TEST(LargeConversion, MalformedOctetsMayStandAtAnyEdge) {
    struct Malformed {
        const char16_t* charset;
        std::string_view octets;
        const char16_t* text;
    };
    const Malformed malformed[] = {
        {u"UTF-8", "\xF0\x9F\x98z", u"\uFFFDz"}, {u"UTF-8", "\xF0\x9F\x98", u"\uFFFD"},
        {u"UTF-8", "\xFF\xFE", u"\uFFFD\uFFFD"}, {u"GBK", "\x81", u"\uFFFD"},
        {u"GBK", "\x81 z", u"\uFFFD z"},         {u"Shift_JIS", "\x93", u"\uFFFD"},
    };
    for (const Malformed& row : malformed) {
        const AdCharset charset{Zeb_String(row.charset)};
        for (const int length : lengthsAroundBufferSizes()) {
            std::string octets(static_cast<std::size_t>(length), 'a');
            octets += row.octets;
            const Zeb_String expected = Zeb_String(u'a', length) + row.text;
            Zeb_String text;
            EXPECT_FALSE(AdMbcsString::cvtToTchar(charset, octets.data(), octets.size(), text, 0));
            ASSERT_TRUE(text == expected) << Printable(row.charset) << ' ' << length;
            EXPECT_TRUE(AdMbcsString::cvtToTchar(charset, octets.data(), octets.size(), text, 1));
            ASSERT_TRUE(text == expected) << Printable(row.charset) << ' ' << length;
        }
    }
}

// Each unit becomes three octets, each octet one unit.
TEST(LargeConversion, MillionsOfReplacementsTakeTimeInProportion) {
    AdMbcsString octets;
    ASSERT_TRUE(octets.cvtFromTchar(AdCharset::getUTF8Charset(), Zeb_String(0xD800, millions), 1));
    EXPECT_EQ(octets.getString().size(), 3u * millions);
    const std::string malformed(millions, '\xFF');
    for (const char16_t* name : {u"UTF-8", u"EUC-JP"}) {
        Zeb_String text;
        ASSERT_TRUE(AdMbcsString::cvtToTchar(AdCharset{Zeb_String(name)}, malformed.data(),
                                             malformed.size(), text, 1));
        EXPECT_TRUE(text == Zeb_String(0xFFFD, millions)) << Printable(name);
    }
}

TEST(LargeConversion, OneOctetAtTheEndDecidesHowAMillionAreRead) {
    std::string octets;
    while (octets.size() < millions) octets += "\xC3\xA9";
    const AdCharset ascii = AdCharset::getASCIICharset();
    Zeb_String text;
    ASSERT_TRUE(AdMbcsString::cvtToTchar(ascii, octets.data(), octets.size(), text, 1));
    EXPECT_TRUE(text == Zeb_String(0xE9, millions / 2));
    octets += '\xE9';
    ASSERT_TRUE(AdMbcsString::cvtToTchar(ascii, octets.data(), octets.size(), text, 1));
    EXPECT_TRUE(text == repeated(u"\u00C3\u00A9", millions) + u"\u00E9");
}

/// ICU converts no more than 2^30 - 1 units at a time.
int moreThanAtOnce() { return (isFullEffort() ? 1 << 30 : 1 << 24) + 1; }

TEST(LargeConversion, ATextOfMoreThanIcuConvertsAtOnceIsWrittenWhole) {
    const Zeb_String text(0x43F, moreThanAtOnce());
    AdMbcsString octets;
    ASSERT_TRUE(octets.cvtFromTchar(AdCharset(u"KOI8-R"), text, 0));
    EXPECT_EQ(octets.getString().size(), static_cast<std::size_t>(moreThanAtOnce()));
    EXPECT_EQ(octets.getString().back(), '\xD0');
}

TEST(LargeConversion, OctetsOfMoreThanIcuConvertsAtOnceAreReadWhole) {
    const std::string octets(static_cast<std::size_t>(moreThanAtOnce()), 'x');
    Zeb_String text;
    ASSERT_TRUE(AdMbcsString::cvtToTchar(AdCharset(u"GBK"), octets.data(), octets.size(), text, 0));
    EXPECT_EQ(text.GetLength(), moreThanAtOnce());
    EXPECT_EQ(text[text.GetLength() - 1], u'x');
}

}  // namespace
