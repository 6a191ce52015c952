// SPDX-License-Identifier: Apache-2.0
#include "host/adcharset.h"

#include <gtest/gtest.h>
#include <unicode/ucnv.h>

#include <ostream>
#include <string>
#include <vector>

#include "tests/unit/host/units.h"

using namespace std::string_view_literals;

namespace {

constexpr const unsigned short* noUnits = nullptr;

struct WrittenRow {
    bool exact;
    std::string octets;
    bool operator==(const WrittenRow&) const = default;
};

struct ReadRow {
    bool exact;
    Zeb_String text;
    bool operator==(const ReadRow&) const = default;
};

[[maybe_unused]] void PrintTo(const WrittenRow& result, std::ostream* out) {
    *out << std::boolalpha << result.exact << ' ' << testing::PrintToString(result.octets);
}

[[maybe_unused]] void PrintTo(const ReadRow& result, std::ostream* out) {
    *out << std::boolalpha << result.exact << " \"" << Printable(result.text) << '"';
}

AdCharset named(const char16_t* name) { return AdCharset{Zeb_String(name)}; }

WrittenRow write(const char16_t* charset, const Zeb_String& text, AdCharset::converter_t mode) {
    AdMbcsString octets(AdCharset(), "left over", 9);
    const bool exact = octets.cvtFromTchar(named(charset), text, mode);
    return {exact, octets.getString()};
}

ReadRow read(const char16_t* charset, std::string_view octets, AdCharset::converter_t mode) {
    Zeb_String text(u"left over");
    const bool exact =
        AdMbcsString::cvtToTchar(named(charset), octets.data(), octets.size(), text, mode);
    return {exact, text};
}

// ---- texts that have a form on both sides

struct Pair {
    const char16_t* charset;
    std::u16string_view text;
    std::string_view octets;
};

const Pair exactPairs[] = {
    {u"US-ASCII", u"", ""},
    {u"US-ASCII", u"hello", "hello"},
    {u"US-ASCII", u"\x7F\x1F\t\r\n", "\x7F\x1F\t\r\n"},
    {u"US-ASCII", u"a\0b\0"sv, "a\0b\0"sv},
    {u"US-ASCII", u"\0"sv, "\0"sv},
    {u"UTF-8", u"", ""},
    {u"UTF-8", u"hello", "hello"},
    {u"UTF-8", u"\u0080\u07FF", "\xC2\x80\xDF\xBF"},
    {u"UTF-8", u"\u0800\uFFFF", "\xE0\xA0\x80\xEF\xBF\xBF"},
    {u"UTF-8", u"\uD7FF\uE000", "\xED\x9F\xBF\xEE\x80\x80"},
    {u"UTF-8", u"\U00010000\U0010FFFF", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"},
    {u"UTF-8", u"\uFEFFa\uFEFF",
     "\xEF\xBB\xBF"
     "a\xEF\xBB\xBF"},
    {u"UTF-8", u"\uFFFD", "\xEF\xBF\xBD"},
    {u"UTF-8", u"a\0\u00E9\0"sv, "a\0\xC3\xA9\0"sv},
    {u"ISO-8859-1", u"", ""},
    {u"ISO-8859-1", u"na\u00EFve \u0080\u009F\u00A0\u00FF", "na\xEFve \x80\x9F\xA0\xFF"},
    {u"ISO-8859-1", u"\0\u00E9\0"sv, "\0\xE9\0"sv},
    {u"windows-1252", u"", ""},
    {u"windows-1252", u"\u20AC \u201Chi\u201D \u00E9\0"sv, "\x80 \x93hi\x94 \xE9\0"sv},
    {u"ISO-8859-15", u"", ""},
    {u"ISO-8859-15", u"\u20AC\u0160\u0161\u017D\u017E\u0152\u0153\u0178\u00E9",
     "\xA4\xA6\xA8\xB4\xB8\xBC\xBD\xBE\xE9"},
    {u"Shift_JIS", u"", ""},
    {u"Shift_JIS", u"a\u65E5\u672C\uFF71\u8868!\0"sv, "a\x93\xFA\x96\x7B\xB1\x95\x5C!\0"sv},
    {u"GBK", u"", ""},
    {u"GBK", u"a\u4F60\u597D\u4E02\0z"sv, "a\xC4\xE3\xBA\xC3\x81\x40\0z"sv},
    {u"GB18030", u"\U0001F600", "\x94\x39\xFC\x36"},
    {u"KOI8-R", u"\u041F\u0440\u0438\u0432\u0435\u0442", "\xF0\xD2\xC9\xD7\xC5\xD4"},
    {u"EUC-JP", u"\u65E5\u672C", "\xC6\xFC\xCB\xDC"},
    {u"Big5", u"\u4F60\u597D", "\xA7\x41\xA6\x6E"},
    // Charsets with a state: it has to be back at the start in the end.
    {u"ISO-2022-JP", u"a\u65E5\u672C", "a\x1B$BF|K\\\x1B(B"},
    {u"UTF-7", u"Hi \u00E9", "Hi +AOk-"},
    {u"UTF-16BE", u"A\u00E9\0"sv, "\0A\0\xE9\0\0"sv},
};

TEST(CharsetConversion, WritesWhatHasAForm) {
    for (const Pair& pair : exactPairs) {
        const WrittenRow expected{true, std::string(pair.octets)};
        EXPECT_EQ(write(pair.charset, units(pair.text), 0), expected)
            << Printable(pair.charset) << ' ' << Printable(units(pair.text));
        EXPECT_EQ(write(pair.charset, units(pair.text), 1), expected)
            << Printable(pair.charset) << ' ' << Printable(units(pair.text));
    }
}

TEST(CharsetConversion, ReadsWhatIsWellFormed) {
    for (const Pair& pair : exactPairs) {
        const ReadRow expected{true, units(pair.text)};
        EXPECT_EQ(read(pair.charset, pair.octets, 0), expected)
            << Printable(pair.charset) << ' ' << testing::PrintToString(pair.octets);
        EXPECT_EQ(read(pair.charset, pair.octets, 1), expected)
            << Printable(pair.charset) << ' ' << testing::PrintToString(pair.octets);
    }
}

TEST(CharsetConversion, Latin1HasAUnitForEveryOctet) {
    for (int value = 0; value <= 0xFF; ++value) {
        const std::string octet(1, static_cast<char>(value));
        const Zeb_String unit(static_cast<unsigned short>(value), 1);
        EXPECT_EQ(read(u"ISO-8859-1", octet, 0), (ReadRow{true, unit})) << value;
        EXPECT_EQ(write(u"ISO-8859-1", unit, 0), (WrittenRow{true, octet})) << value;
    }
}

TEST(CharsetConversion, AsciiHasTheFirst128UnitsAndNoOther) {
    for (int value = 0; value <= 0xFFFF; ++value) {
        const Zeb_String unit(static_cast<unsigned short>(value), 1);
        const WrittenRow expected = value < 0x80
                                        ? WrittenRow{true, std::string(1, static_cast<char>(value))}
                                        : WrittenRow{false, ""};
        ASSERT_EQ(write(u"US-ASCII", unit, 0), expected) << value;
    }
}

// ---- wide text that has no form in the charset

/// ICU's, but never the control character SUB.
std::string substituteOf(const char* charset) {
    UErrorCode status = U_ZERO_ERROR;
    UConverter* converter = ucnv_open(charset, &status);
    char octets[16];
    int8_t length = sizeof octets;
    ucnv_getSubstChars(converter, octets, &length, &status);
    ucnv_close(converter);
    EXPECT_TRUE(U_SUCCESS(status)) << charset;
    const std::string substitute(octets, static_cast<std::size_t>(length));
    return substitute == "\x1A" ? "?" : substitute;
}

struct Substitution {
    const char16_t* charset;
    std::u16string_view text;
    std::string lenient;
};

std::vector<Substitution> substitutions() {
    return {
        {u"US-ASCII", u"caf\u00E9!", "caf?!"},
        {u"US-ASCII", u"\u0080", "?"},
        {u"US-ASCII", u"\u0141\u0161", "??"},
        {u"US-ASCII", u"<\U0001F600>", "<?>"},
        {u"US-ASCII", u"<\xD83D>", "<?>"},
        {u"US-ASCII", u"\0\u00E9\0"sv, std::string("\0?\0", 3)},
        {u"UTF-8", u"\xD800", "\xEF\xBF\xBD"},
        {u"UTF-8", u"\xDFFF", "\xEF\xBF\xBD"},
        {u"UTF-8", u"a\xD83D", "a\xEF\xBF\xBD"},
        {u"UTF-8",
         u"a\xDE00\xD83D"
         u"b",
         "a\xEF\xBF\xBD\xEF\xBF\xBD"
         "b"},
        {u"UTF-8", u"\xD83D\xD83D\xDE00", "\xEF\xBF\xBD\xF0\x9F\x98\x80"},
        {u"UTF-8", u"\xD83D\xDE00\xDE00", "\xF0\x9F\x98\x80\xEF\xBF\xBD"},
        {u"UTF-8", u"\xD83D\0\xDE00"sv, std::string("\xEF\xBF\xBD\0\xEF\xBF\xBD", 7)},
        {u"ISO-8859-1", u"a\u0100z", "a" + substituteOf("ISO-8859-1") + "z"},
        {u"ISO-8859-1", u"a\u20ACz", "a" + substituteOf("ISO-8859-1") + "z"},
        {u"ISO-8859-1", u"a\xD800z", "a" + substituteOf("ISO-8859-1") + "z"},
        {u"windows-1252", u"a\u65E5z", "a" + substituteOf("windows-1252") + "z"},
        {u"windows-1252", u"a\U0001F600z", "a" + substituteOf("windows-1252") + "z"},
        {u"windows-1252", u"a\xD800z", "a" + substituteOf("windows-1252") + "z"},
        {u"ISO-8859-15", u"a\u65E5z", "a" + substituteOf("ISO-8859-15") + "z"},
        {u"Shift_JIS", u"a\u0E01z", "a" + substituteOf("Shift_JIS") + "z"},
        {u"GBK", u"a\u0E01z", "a" + substituteOf("GBK") + "z"},
        {u"GBK", u"a\xD800", "a" + substituteOf("GBK")},
        // Latin-1 and invisible characters are substituted like all others.
        {u"EUC-KR", u"a\u00E9z", "a" + substituteOf("EUC-KR") + "z"},
        {u"EUC-JP", u"a\u00AD\u200Bz", "a" + substituteOf("EUC-JP") + substituteOf("EUC-JP") + "z"},
        {u"windows-1252", u"a\u200Bz", "a?z"},
        // Back to ASCII for the substitute; and EBCDIC, whose "?" is 6F.
        {u"ISO-2022-JP", u"\u65E5\u00E9z", "\x1B$BF|\x1B(B?z"},
        {u"IBM037", u"\u0E01", "\x6F"},
    };
}

TEST(CharsetConversion, StrictWritingRefusesWhatHasNoForm) {
    for (const Substitution& row : substitutions()) {
        EXPECT_EQ(write(row.charset, units(row.text), 0), (WrittenRow{false, ""}))
            << Printable(row.charset) << ' ' << Printable(units(row.text));
    }
}

TEST(CharsetConversion, LenientWritingSubstitutesWhatHasNoForm) {
    for (const Substitution& row : substitutions()) {
        EXPECT_EQ(write(row.charset, units(row.text), 1), (WrittenRow{true, row.lenient}))
            << Printable(row.charset) << ' ' << Printable(units(row.text));
    }
}

// ---- octets that are malformed in the charset

struct Malformed {
    const char16_t* charset;
    std::string_view octets;
    std::u16string_view text;
};

#define R u"\uFFFD"
const Malformed malformedRows[] = {
    // The examples of the Unicode Standard, tables 3-8 to 3-11.
    {u"UTF-8", "\xC0\xAF\xE0\x80\xBF\xF0\x81\x82\x41", R R R R R R R R u"A"},
    {u"UTF-8", "\xED\xA0\x80\xED\xBF\xBF\xED\xAF\x41", R R R R R R R R u"A"},
    {u"UTF-8", "\xF4\x91\x92\x93\xFF\x41\x80\xBF\x42", R R R R R u"A" R R u"B"},
    {u"UTF-8", "\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41", R R R R u"A"},
    {u"UTF-8", "\x80", R},
    {u"UTF-8", "\xC3", R},
    {u"UTF-8", "\xC3\x28", R u"("},
    {u"UTF-8", "\xE2\x82", R},
    {u"UTF-8",
     "\xE2\x82"
     "a",
     R u"a"},
    {u"UTF-8", "\xF0\x9F\x98", R},
    {u"UTF-8", "\xF0\x9F\x98\xF0\x9F\x98\x80", R u"\U0001F600"},
    {u"UTF-8", "\xF4\x90\x80\x80", R R R R},
    {u"UTF-8", "\xF8\x88\x80\x80\x80", R R R R R},
    {u"UTF-8", "\xFE\xFF", R R},
    {u"UTF-8", "\xC1\xBF", R R},
    {u"UTF-8", "\xE2\0\x82"sv, R u"\0"sv R},
    {u"Shift_JIS", "a\x93", u"a" R},
    {u"Shift_JIS", "\x93\x20z", R u" z"},
    {u"GBK", "a\x81", u"a" R},
    {u"GBK", "\x81 z", R u" z"},
    {u"UTF-16BE", "\0a\0"sv, u"a" R},
    // Lone surrogates, as UTF-7 can write them.
    {u"UTF-7", "a+2AA-z", u"a" R u"z"},
    {u"UTF-7", "a+3AA-z", u"a" R u"z"},
    {u"UTF-7", "+2ADYPd4A-", R u"\U0001F600"},
};
#undef R

TEST(CharsetConversion, StrictReadingRefusesMalformedOctetsAndFillsAllTheSame) {
    for (const Malformed& row : malformedRows) {
        EXPECT_EQ(read(row.charset, row.octets, 0), (ReadRow{false, units(row.text)}))
            << Printable(row.charset) << ' ' << testing::PrintToString(row.octets);
    }
}

TEST(CharsetConversion, LenientReadingReplacesEachMaximalMalformedSubpart) {
    for (const Malformed& row : malformedRows) {
        EXPECT_EQ(read(row.charset, row.octets, 1), (ReadRow{true, units(row.text)}))
            << Printable(row.charset) << ' ' << testing::PrintToString(row.octets);
    }
}

// ---- 8-bit octets under the name US-ASCII

TEST(CharsetConversion, AsciiWith8BitOctetsIsReadAsUtf8OrWindows1252) {
    const std::pair<std::string_view, std::u16string_view> rows[] = {
        {"caf\xC3\xA9", u"caf\u00E9"},
        {"\xF0\x9F\x98\x80", u"\U0001F600"},
        {"\xC2\x80", u"\u0080"},
        {"\0\xC3\xA9\0"sv, u"\0\u00E9\0"sv},
        {"caf\xE9", u"caf\u00E9"},
        {"\x80\x85\x93\x9F\xA0\xFF", u"\u20AC\u2026\u201C\u0178\u00A0\u00FF"},
        {"\x81\x8D\x8F\x90\x9D", u"\u0081\u008D\u008F\u0090\u009D"},
        {"\0\xE9\0"sv, u"\0\u00E9\0"sv},
        // One octet that is no UTF-8 decides for the whole text, wherever it stands.
        {"\xC3\xA9 \xE9", u"\u00C3\u00A9 \u00E9"},
        {"\xE9 \xC3\xA9", u"\u00E9 \u00C3\u00A9"},
        {"\xC3\xA9\xC3", u"\u00C3\u00A9\u00C3"},
        {"\xE2\x82", u"\u00E2\u201A"},
        {"\xED\xA0\x80", u"\u00ED\u00A0\u20AC"},
        {"\xC0\x80", u"\u00C0\u20AC"},
        {"\xF4\x90\x80\x80", u"\u00F4\u0090\u20AC\u20AC"},
    };
    for (const auto& [octets, text] : rows) {
        EXPECT_EQ(read(u"US-ASCII", octets, 1), (ReadRow{true, units(text)}))
            << testing::PrintToString(octets);
        EXPECT_EQ(read(u"US-ASCII", octets, 0), (ReadRow{false, units(text)}))
            << testing::PrintToString(octets);
    }
}

TEST(CharsetConversion, EveryOctetOfWindows1252IsReadUnderTheNameUsAscii) {
    const std::u16string_view from0x80 =
        u"\u20AC\u0081\u201A\u0192\u201E\u2026\u2020\u2021\u02C6\u2030\u0160\u2039\u0152\u008D"
        u"\u017D\u008F\u0090\u2018\u2019\u201C\u201D\u2022\u2013\u2014\u02DC\u2122\u0161\u203A"
        u"\u0153\u009D\u017E\u0178";
    ASSERT_EQ(0x20u, from0x80.size());
    for (unsigned value = 0x80; value <= 0xFF; ++value) {
        const char16_t unit = value < 0xA0 ? from0x80[value - 0x80] : static_cast<char16_t>(value);
        const std::string octets = {'<', static_cast<char>(value), '>'};
        const char16_t text[] = {u'<', unit, u'>'};
        EXPECT_EQ(read(u"US-ASCII", octets, 1), (ReadRow{true, units({text, 3})})) << value;
    }
}

// ---- unknown charsets

TEST(CharsetConversion, AnUnknownCharsetWritesUtf8AndSaysSo) {
    for (const AdCharset::converter_t mode : {0, 1}) {
        EXPECT_EQ(write(u"x-none", u"caf\u00E9 \U0001F600", mode),
                  (WrittenRow{false, "caf\xC3\xA9 \xF0\x9F\x98\x80"}));
        EXPECT_EQ(write(u"x-none", u"plain", mode), (WrittenRow{false, "plain"}));
        EXPECT_EQ(write(u"x-none", u"", mode), (WrittenRow{false, ""}));
    }
}

TEST(CharsetConversion, AnUnknownCharsetIsReadAsAsciiIsAndSaysSo) {
    for (const AdCharset::converter_t mode : {0, 1}) {
        EXPECT_EQ(read(u"x-none", "plain", mode), (ReadRow{false, u"plain"}));
        EXPECT_EQ(read(u"x-none", "caf\xC3\xA9", mode), (ReadRow{false, u"caf\u00E9"}));
        EXPECT_EQ(read(u"x-none", "caf\xE9\x81", mode), (ReadRow{false, u"caf\u00E9\u0081"}));
        EXPECT_EQ(read(u"x-none", "a\0b"sv, mode), (ReadRow{false, units(u"a\0b"sv)}));
        EXPECT_EQ(read(u"x-none", "", mode), (ReadRow{false, u""}));
    }
}

// ---- AdMbcsString

TEST(AdMbcsString, IsEmptyAtFirst) {
    const AdMbcsString octets;
    EXPECT_EQ(octets.getString(), "");
    EXPECT_STREQ(octets.getData(), "");
    Zeb_String text(u"left over");
    EXPECT_TRUE(octets.cvtToTchar(text));
    EXPECT_EQ(text, u"");
}

TEST(AdMbcsString, CopiesItsOctets) {
    char bytes[] = {'a', '\0', '\xE9', '!'};
    const AdMbcsString octets(AdCharset(u"ISO-8859-1"), bytes, 3);
    bytes[0] = 'z';
    EXPECT_EQ(octets.getString(), std::string("a\0\xE9", 3));
    EXPECT_EQ(octets.getData()[3], '\0');
    EXPECT_TRUE(AdMbcsString(AdCharset(), nullptr, 0).getString().empty());
}

TEST(AdMbcsString, ConvertsItsOwnTextFromItsOwnCharset) {
    Zeb_String text;
    EXPECT_TRUE(AdMbcsString(AdCharset(u"ISO-8859-15"), "\xA4", 1).cvtToTchar(text, 0));
    EXPECT_EQ(text, u"\u20AC");
    EXPECT_FALSE(AdMbcsString(AdCharset(u"UTF-8"), "\xA4", 1).cvtToTchar(text, 0));
    EXPECT_EQ(text, u"\uFFFD");
    EXPECT_TRUE(AdMbcsString(AdCharset(u"UTF-8"), "\xA4", 1).cvtToTchar(text, 1));
    EXPECT_EQ(text, u"\uFFFD");
}

TEST(AdMbcsString, TakesTheCharsetOfTheLastConversion) {
    AdMbcsString octets(AdCharset(u"UTF-8"), "x", 1);
    ASSERT_TRUE(octets.cvtFromTchar(AdCharset(u"windows-1252"), u"\u20AC"));
    EXPECT_EQ(octets.getString(), "\x80");
    Zeb_String text;
    EXPECT_TRUE(octets.cvtToTchar(text));
    EXPECT_EQ(text, u"\u20AC");
}

TEST(AdMbcsString, ModeIsStrictWhenNotGiven) {
    const unsigned short letter[] = {0xE9};
    AdMbcsString octets;
    EXPECT_FALSE(octets.cvtFromTchar(AdCharset::getASCIICharset(), u"\u00E9"));
    EXPECT_FALSE(octets.cvtFromUTF16(AdCharset::getASCIICharset(), letter, 1));
    Zeb_String text;
    EXPECT_FALSE(AdMbcsString::cvtToTchar(AdCharset::getASCIICharset(), "\xE9", 1, text));
}

TEST(AdMbcsString, CountedUnitsNeedNoTerminatorAndMayHoldNuls) {
    const unsigned short letters[] = {'a', 0, 0xE9, 'x'};
    AdMbcsString octets;
    EXPECT_TRUE(octets.cvtFromUTF16(AdCharset::getUTF8Charset(), letters, 3, 0));
    EXPECT_EQ(octets.getString(), std::string("a\0\xC3\xA9", 4));
    EXPECT_TRUE(octets.cvtFromUTF16(AdCharset::getUTF8Charset(), noUnits, 0, 0));
    EXPECT_EQ(octets.getString(), "");
    EXPECT_FALSE(octets.cvtFromUTF16(AdCharset::getASCIICharset(), letters, 3, 0));
    EXPECT_TRUE(octets.cvtFromUTF16(AdCharset::getASCIICharset(), letters, 3, 1));
    EXPECT_EQ(octets.getString(), std::string("a\0?", 3));
}

TEST(AdMbcsString, ReadsNoOctetsFromANullPointer) {
    for (const char16_t* name : {u"US-ASCII", u"UTF-8", u"ISO-8859-1", u"GBK", u"ISO-2022-JP"}) {
        Zeb_String text(u"left over");
        EXPECT_TRUE(AdMbcsString::cvtToTchar(named(name), nullptr, 0, text, 0)) << Printable(name);
        EXPECT_EQ(text, u"") << Printable(name);
    }
}

// ---- AdUTF16String

TEST(AdUTF16String, IsEmptyAtFirst) {
    const AdUTF16String text;
    EXPECT_EQ(0, text.getLength());
    EXPECT_EQ(0, text.getData()[0]);
}

TEST(AdUTF16String, KeepsWellFormedText) {
    for (const std::u16string_view row :
         {u""sv, u"host"sv, u"\u65E5\U0001F600\U0010FFFF\uFFFF"sv, u"a\0b"sv}) {
        AdUTF16String text;
        EXPECT_TRUE(text.cvtFromTchar(units(row), 0)) << Printable(units(row));
        EXPECT_EQ(static_cast<int>(row.size()), text.getLength()) << Printable(units(row));
        EXPECT_EQ(Zeb_String::FromUnits(text.getData(), row.size()), units(row));
        EXPECT_EQ(0, text.getData()[row.size()]);
    }
}

TEST(AdUTF16String, StrictConversionRefusesLoneSurrogates) {
    for (const std::u16string_view row :
         {u"\xD800"sv, u"\xDC00"sv, u"a\xD83D"sv, u"\xDE00\xD83D"sv, u"\xD83D\0\xDE00"sv}) {
        AdUTF16String text;
        ASSERT_TRUE(text.cvtFromTchar(u"left over", 0));
        EXPECT_FALSE(text.cvtFromTchar(units(row))) << Printable(units(row));
        EXPECT_EQ(0, text.getLength()) << Printable(units(row));
    }
}

TEST(AdUTF16String, LenientConversionReplacesEachLoneSurrogate) {
    const std::pair<std::u16string_view, std::u16string_view> rows[] = {
        {u"\xD800", u"\uFFFD"},
        {u"a\xD83D\xD83D\xDE00\xDE00z", u"a\uFFFD\U0001F600\uFFFDz"},
        {u"\xDE00\xD83D", u"\uFFFD\uFFFD"},
    };
    for (const auto& [input, expected] : rows) {
        AdUTF16String text;
        EXPECT_TRUE(text.cvtFromTchar(units(input), 1)) << Printable(units(input));
        EXPECT_EQ(Zeb_String(text.getData()), units(expected)) << Printable(units(input));
        EXPECT_EQ(static_cast<int>(expected.size()), text.getLength());
    }
}

}  // namespace
