// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "tests/unit/host/units.h"

using namespace std::string_view_literals;

namespace {

constexpr unsigned short hiUnits[] = {'h', 'i', 0};

// An argument is a number or wide text; 8-bit text and floating point are refused at compile time.
static_assert(!std::is_constructible_v<Format_Argument, const char*>);
static_assert(!std::is_constructible_v<Format_Argument, std::string>);
static_assert(!std::is_constructible_v<Format_Argument, double>);
static_assert(!std::is_constructible_v<Format_Argument, void*>);

template <typename... Arguments>
Zeb_String formatted(const char16_t* format, const Arguments&... arguments) {
    Zeb_String text(u"replaced");
    text.Format(format, arguments...);
    return text;
}

struct Row {
    const char* what;
    Zeb_String actual;
    Zeb_String expected;
};

void expectAll(const std::vector<Row>& rows) {
    for (const Row& row : rows) EXPECT_EQ(row.actual, row.expected) << row.what;
}

// ---- text without conversions

TEST(Format, CopiesTextWithoutConversions) {
    expectAll({
        {"plain", formatted(u"hello"), u"hello"},
        {"empty", formatted(u""), u""},
        {"null", formatted(nullptr), u""},
        {"more arguments than conversions", formatted(u"hello", 1, u"x"), u"hello"},
        {"not ASCII", formatted(u"\u00FC \u65E5 \U0001F600"), u"\u00FC \u65E5 \U0001F600"},
        {"percent", formatted(u"100%%"), u"100%"},
        {"percents in a row", formatted(u"%%%%d", 5), u"%%d"},
    });
}

TEST(Format, TakesAPointerToUnitsAsFormat) {
    const unsigned short format[] = {'<', '%', 's', '>', 0};
    Zeb_String text;
    text.Format(format, hiUnits);
    EXPECT_EQ(text, u"<hi>");
}

// ---- numbers, held against the C library

using Wide = long long;

std::string printed(const std::string& format, Wide value) {
    const int length = std::snprintf(nullptr, 0, format.c_str(), value);
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    std::snprintf(text.data(), text.size(), format.c_str(), value);
    text.pop_back();
    return text;
}

int compareWithPrintf(const std::string& flags, char conversion) {
    const Wide values[] = {0,       1,       -1,       7,        8,        42,        -42,
                           INT_MAX, INT_MIN, UINT_MAX, LONG_MAX, LONG_MIN, 123456789, 0xABCDEF};
    for (const Wide value : values) {
        const std::string format = "<%" + flags + "ll" + conversion + ">";
        Zeb_String result;
        result.Format(wide(format).GetBuffer(), value);
        EXPECT_EQ(utf8(result), printed(format, value)) << format << " of " << value;
    }
    return static_cast<int>(std::size(values));
}

TEST(Format, NumbersComeOutAsTheCLibraryPrintsThem) {
    int compared = 0;
    for (const char conversion : {'d', 'i', 'u', 'o', 'x', 'X'})
        for (const char* flags : {"", "-", "0", "+", " ", "#", "-0", "+ ", "+0", " 0", "#0", "-+#"})
            for (const char* width : {"", "1", "5", "24"})
                for (const char* precision : {"", ".", ".0", ".1", ".5", ".22"})
                    compared +=
                        compareWithPrintf(std::string(flags) + width + precision, conversion);
    EXPECT_EQ(6 * 12 * 4 * 6 * 14, compared);
}

enum class Colour : unsigned char { Red = 3 };
enum Plain { plainValue = -2 };

TEST(Format, NumbersKeepTheWidthOfTheirType) {
    expectAll({
        {"int", formatted(u"%x", -1), u"ffffffff"},
        {"int as unsigned", formatted(u"%u", -1), u"4294967295"},
        {"short", formatted(u"%d", static_cast<short>(-5)), u"-5"},
        {"short in hex, through int", formatted(u"%x", static_cast<short>(-1)), u"ffffffff"},
        {"long in hex", formatted(u"%lx", -1L), u"ffffffffffffffff"},
        {"long in octal", formatted(u"%lo", -1L), u"1777777777777777777777"},
        {"unsigned long", formatted(u"%lu", ULONG_MAX), u"18446744073709551615"},
        {"LONG_MIN", formatted(u"%ld", LONG_MIN), u"-9223372036854775808"},
        {"INT_MIN", formatted(u"%d", INT_MIN), u"-2147483648"},
        {"unsigned char", formatted(u"%d", static_cast<unsigned char>(255)), u"255"},
        {"bool", formatted(u"%d%d", true, false), u"10"},
        {"scoped enum", formatted(u"%d", Colour::Red), u"3"},
        {"plain enum", formatted(u"%d", plainValue), u"-2"},
        {"size", formatted(u"%zu", std::string("abc").size()), u"3"},
    });
}

TEST(Format, LengthModifiersChangeNothing) {
    for (const char16_t* format : {u"%hhd", u"%hd", u"%d", u"%ld", u"%lld", u"%jd", u"%zd", u"%td"})
        EXPECT_EQ(formatted(format, 70000), u"70000") << Printable(format);
    expectAll({
        {"a long without l", formatted(u"%d", LONG_MAX), u"9223372036854775807"},
        {"text with l", formatted(u"%ls", u"text"), u"text"},
        {"unit with l", formatted(u"%lc", u'x'), u"x"},
    });
}

// ---- width and precision as arguments

TEST(Format, StarTakesWidthAndPrecisionFromTheArguments) {
    expectAll({
        {"width", formatted(u"<%*d>", 5, 42), u"<   42>"},
        {"negative width is left", formatted(u"<%*d>", -5, 42), u"<42   >"},
        {"left and negative", formatted(u"<%-*d>", -5, 42), u"<42   >"},
        {"zero flag", formatted(u"<%0*d>", 5, 42), u"<00042>"},
        {"precision", formatted(u"<%.*d>", 4, 42), u"<0042>"},
        {"negative precision is none", formatted(u"<%.*d>", -4, 0), u"<0>"},
        {"negative precision keeps zeros", formatted(u"<%05.*d>", -1, 42), u"<00042>"},
        {"both", formatted(u"<%*.*d>", 6, 4, 42), u"<  0042>"},
        {"text", formatted(u"<%*.*s>", 4, 2, u"abc"), u"<  ab>"},
        {"unit", formatted(u"<%*c>", 3, u'x'), u"<  x>"},
    });
}

// ---- texts

TEST(Format, TextIsWideText) {
    expectAll({
        {"literal", formatted(u"<%s>", u"abc"), u"<abc>"},
        {"units", formatted(u"<%s>", hiUnits), u"<hi>"},
        {"string", formatted(u"<%s>", Zeb_String(u"abc")), u"<abc>"},
        {"empty", formatted(u"<%s>", u""), u"<>"},
        {"not ASCII", formatted(u"<%s>", u"\u00FC\u65E5\U0001F600"), u"<\u00FC\u65E5\U0001F600>"},
        {"lone surrogate", formatted(u"<%s>", u"\xD800"), u"<\xD800>"},
        {"percent in an argument", formatted(u"%s", u"%d%n%s"), u"%d%n%s"},
        {"width", formatted(u"<%5s>", u"abc"), u"<  abc>"},
        {"left", formatted(u"<%-5s>", u"abc"), u"<abc  >"},
        {"too wide", formatted(u"<%2s>", u"abc"), u"<abc>"},
        {"precision", formatted(u"<%.2s>", u"abc"), u"<ab>"},
        {"precision 0", formatted(u"<%.0s>", u"abc"), u"<>"},
        {"precision without number", formatted(u"<%.s>", u"abc"), u"<>"},
        {"precision beyond the end", formatted(u"<%.9s>", u"abc"), u"<abc>"},
        {"width and precision", formatted(u"<%-5.2s>", u"abc"), u"<ab   >"},
        {"width counts units", formatted(u"<%4s>", u"\U0001F600"), u"<  \U0001F600>"},
        {"up to the first NUL", formatted(u"<%s>", units(u"a\0b"sv)), u"<a>"},
    });
}

TEST(Format, NullTextIsShown) {
    const unsigned short* noUnits = nullptr;
    const char16_t* noLiteral = nullptr;
    expectAll({
        {"units", formatted(u"<%s>", noUnits), u"<(null)>"},
        {"literal", formatted(u"<%s>", noLiteral), u"<(null)>"},
        {"width", formatted(u"<%8s>", noUnits), u"<  (null)>"},
    });
}

TEST(Format, PrecisionSparesTheTerminator) {
    const char16_t open[] = {u'a', u'b', u'c'};
    EXPECT_EQ(formatted(u"<%.3s>", open), u"<abc>");
}

TEST(Format, UnitIsOneCodeUnit) {
    expectAll({
        {"char16_t", formatted(u"<%c>", u'\u65E5'), u"<\u65E5>"},
        {"unsigned short", formatted(u"<%c>", static_cast<unsigned short>(0xFFE9)), u"<\xFFE9>"},
        {"int", formatted(u"<%c>", 65), u"<A>"},
        {"width", formatted(u"<%3c>", u'x'), u"<  x>"},
        {"left", formatted(u"<%-3c>", u'x'), u"<x  >"},
        {"NUL", formatted(u"<%c>", u'\0'), units(u"<\0>"sv)},
        {"NUL with width", formatted(u"<%2c>", 0), units(u"< \0>"sv)},
    });
}

// ---- what is not known, or not there

TEST(Format, UnknownConversionsAreCopiedLiterally) {
    const char16_t* formats[] = {u"%y",  u"%n",  u"%p",  u"%f",  u"%-5.2y",  u"%",      u"a%",
                                 u"%-",  u"%5",  u"%5.", u"%l",  u"%'d",     u"%1$d",   u"% ",
                                 u"%ll", u"%#!", u"%S",  u"%\n", u"%\u00FC", u"%\x0164"};
    for (const char16_t* format : formats)
        EXPECT_EQ(formatted(format, 5), format) << Printable(format);
}

TEST(Format, AnUnknownConversionTakesNoArgument) {
    EXPECT_EQ(formatted(u"%y %d", 5), u"%y 5");
    EXPECT_EQ(formatted(u"%d %q %s", 5, u"x"), u"5 %q x");
}

TEST(Format, ConversionsWithoutArgumentAreCopiedLiterally) {
    expectAll({
        {"none", formatted(u"%d %s %c"), u"%d %s %c"},
        {"second", formatted(u"%d %d", 1), u"1 %d"},
        {"with flags", formatted(u"%-05.3lx|"), u"%-05.3lx|"},
        {"star takes the only one", formatted(u"%*d", 5), u"%*d"},
        {"star without any", formatted(u"%*.*s"), u"%*.*s"},
    });
}

TEST(Format, ConversionsWithAnUnsuitableArgumentAreCopiedLiterally) {
    expectAll({
        {"text for a number", formatted(u"<%d>", u"x"), u"<%d>"},
        {"text for hex", formatted(u"<%8x>", u"x"), u"<%8x>"},
        {"text for a unit", formatted(u"<%c>", u"x"), u"<%c>"},
        {"number for a text", formatted(u"<%s>", 5), u"<%s>"},
        {"0 for a text", formatted(u"<%s>", 0), u"<%s>"},
        {"text for a width", formatted(u"<%*d>", u"x", 5), u"<%*d>"},
    });
}

// ---- the text it is called on

TEST(Format, MayBeGivenTheTextItself) {
    Zeb_String text(u"a text longer than any small buffer");
    text.Format(u"<%s|%s>", text, text.GetBuffer());
    EXPECT_EQ(text, u"<a text longer than any small buffer|a text longer than any small buffer>");
    text = u"%d, and more than a small buffer holds";
    text.Format(text.GetBuffer(), 5);
    EXPECT_EQ(text, u"5, and more than a small buffer holds");
}

// Copying what stands there for each conversion would take minutes.
TEST(Format, TakesTimeInProportionToTheFormat) {
    Zeb_String format(u'%', 1 << 22);
    Zeb_String text;
    text.Format(format.GetBuffer());
    EXPECT_EQ(1 << 21, text.GetLength());
    const Zeb_String argument(u'x', 1 << 22);
    text.Format(u"%s", argument);
    EXPECT_EQ(text, argument);
}

}  // namespace
