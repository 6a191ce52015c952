// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "tests/support/wide_text.h"
#include "tests/unit/rfc2822encoder/encoder_fixtures.h"

using namespace std::string_literals;

namespace {

const AdCharset& utf8Charset = AdCharset::getUTF8Charset();

std::string word(const std::string& octets) { return "=?UTF-8?B?" + slowBase64(octets) + "?="; }

// A single word, as the subject.
std::string oneWord(const std::string& octets) { return "Subject: " + word(octets) + " \r\n"; }

struct Row {
    const char* name;
    Zeb_String value;
    std::string expected;
};

TEST(UnstructuredField, PlainValuesAreWrittenAsTheyStand) {
    const Row rows[] = {
        {"words", u"Hello world", "Subject: Hello world\r\n"},
        {"blanks around", u" a ", "Subject:  a \r\n"},
        {"one letter", u"a", "Subject: a\r\n"},
        {"all printable ends", u" ~", "Subject:  ~\r\n"},
        {"looks like an encoded word", u"=?UTF-8?B?YQ==?=", "Subject: =?UTF-8?B?YQ==?=\r\n"},
        {"looks like a field", u"To: x", "Subject: To: x\r\n"},
    };
    for (const Row& row : rows) EXPECT_EQ(field(row.value), row.expected) << row.name;
}

TEST(UnstructuredField, PlainValueIsNeverFolded) {
    EXPECT_EQ(field(Zeb_String(u'x', 5000)), "Subject: " + std::string(5000, 'x') + "\r\n");
}

TEST(UnstructuredField, EmptyValueHasNoLineEnd) {
    EXPECT_EQ(field(u""), "Subject: ");
    EXPECT_EQ(field(u"", u"X"), "X: ");
}

TEST(UnstructuredField, LineBreaksInsideBecomeBlanks) {
    const Row rows[] = {
        {"line feed", u"Line1\nLine2", "Subject: Line1 Line2\r\n"},
        {"two line feeds", u"a\n\nb", "Subject: a b\r\n"},
        {"many line feeds", u"a\n\n\n\n\nb", "Subject: a b\r\n"},
        {"line feed in front", u"\nb", "Subject:  b\r\n"},
        {"two line feeds in front", u"\n\nb", "Subject:  b\r\n"},
        {"line feed and blank", u"a\n b", "Subject: a  b\r\n"},
        {"several breaks", u"a\nb\n\nc\n\n\nd", "Subject: a b c d\r\n"},
    };
    for (const Row& row : rows) EXPECT_EQ(field(row.value), row.expected) << row.name;
}

TEST(UnstructuredField, CarriageReturnsStayAndAreEncoded) {
    const Row rows[] = {
        {"line end", u"a\r\nb", oneWord("a\r b")},
        {"two line ends", u"a\r\n\r\nb", oneWord("a\r \r b")},
        {"carriage return alone", u"a\rb", oneWord("a\rb")},
        {"line end at the end", u"a\r\n", oneWord("a\r\n")},
        {"line end alone", u"\r\n", oneWord("\r\n")},
    };
    for (const Row& row : rows) EXPECT_EQ(field(row.value), row.expected) << row.name;
}

TEST(UnstructuredField, LineFeedAtTheEndStaysAndIsEncoded) {
    const Row rows[] = {
        {"one", u"a\n", oneWord("a\n")},
        {"three become one", u"a\n\n\n", oneWord("a\n")},
        {"one alone", u"\n", oneWord("\n")},
        {"many alone", u"\n\n\n\n", oneWord("\n")},
        {"inside and at the end", u"a\n\nb\n\n", oneWord("a b\n")},
    };
    for (const Row& row : rows) EXPECT_EQ(field(row.value), row.expected) << row.name;
}

TEST(UnstructuredField, EncodedWhenOneOctetIsAControlOrHigh) {
    const Row rows[] = {
        {"tab", u"a\tb", oneWord("a\tb")},
        {"DEL", u"a\x7F", oneWord("a\x7F")},
        {"unit separator", u"a\x1F", oneWord("a\x1F")},
        {"NUL is kept", units(u"a\0b"s), oneWord("a\0b"s)},
        {"first beyond ASCII", u"\x80", oneWord("\xC2\x80")},
        {"Latin", u"J\xF6rg", oneWord("J\xC3\xB6rg")},
        {"a pair in a short value", u"\xD83D\xDE00", oneWord("\xF0\x9F\x98\x80")},
        {"a lone surrogate", u"a\xD83D", oneWord("a\xEF\xBF\xBD")},
        {"surrogates swapped", u"\xDE00\xD83D", oneWord("\xEF\xBF\xBD\xEF\xBF\xBD")},
    };
    for (const Row& row : rows) EXPECT_EQ(field(row.value), row.expected) << row.name;
}

TEST(UnstructuredField, ShortOneReadsAsOneWordAndABlank) {
    EXPECT_EQ(field(u"\xE9"), "Subject: =?UTF-8?B?w6k=?= \r\n");
}

TEST(UnstructuredField, EveryUnitOfOneOctet) {
    for (char16_t unit = 0; unit < 0x100; ++unit) {
        const Zeb_String value(unit, 1);
        const bool isPlain = unit >= 32 && unit < 127;
        const std::string expected =
            isPlain ? "Subject: " + utf8(value) + "\r\n" : oneWord(utf8(value));
        EXPECT_EQ(field(value), expected) << static_cast<int>(unit);
    }
}

TEST(UnstructuredField, FortyFiveOctetsAreOneWordWithTheLastUnit) {
    EXPECT_EQ(field(Zeb_String(0xE9, 22) + u"a"), oneWord(repeated("\xC3\xA9", 22) + "a"));
    EXPECT_EQ(field(Zeb_String(0x20AC, 15)), oneWord(repeated("\xE2\x82\xAC", 15)));
}

TEST(UnstructuredField, FortySixOctetsAreSplitAndTheLastUnitStandsAlone) {
    EXPECT_EQ(field(Zeb_String(0xE9, 23)),
              "Subject: " + word(repeated("\xC3\xA9", 22)) + "\r\n " + word("\xC3\xA9") + " \r\n");
    EXPECT_EQ(field(Zeb_String(u'a', 44) + u"\xE9"),
              "Subject: " + word(std::string(44, 'a')) + "\r\n " + word("\xC3\xA9") + " \r\n");
    EXPECT_EQ(field(Zeb_String(u'a', 45) + u"\t"),
              "Subject: " + word(std::string(45, 'a')) + "\r\n " + word("\t") + " \r\n");
}

TEST(UnstructuredField, LengthIsThatBehindTheUnfolding) {
    // 46 octets with two line feeds in a row, 45 without.
    const Zeb_String value = Zeb_String(0xE9, 21) + u"a\n\nb";
    EXPECT_EQ(utf8(value).size(), 46U);
    EXPECT_EQ(field(value), oneWord(repeated("\xC3\xA9", 21) + "a b"));
}

TEST(UnstructuredField, FirstLineOfASplitSubjectIsEightyOneLong) {
    const std::string out = field(Zeb_String(0x20AC, 40));
    EXPECT_EQ(out.find("\r\n"), 81U);
    EXPECT_EQ(out.find("\r\n", 83), 83U + 73U);
    EXPECT_EQ(encodedWords(out, "Subject"),
              (std::vector<std::string>{repeated("\xE2\x82\xAC", 15), repeated("\xE2\x82\xAC", 15),
                                        repeated("\xE2\x82\xAC", 9), "\xE2\x82\xAC"}));
}

TEST(UnstructuredField, PairAtTheEndOfALongValueIsCut) {
    EXPECT_EQ(encodedWords(field(Zeb_String(u'a', 45) + u"\xD83D\xDE00"), "Subject"),
              (std::vector<std::string>{std::string(45, 'a'), "\xEF\xBF\xBD", "\xEF\xBF\xBD"}));
}

TEST(UnstructuredField, CharsetIsAcceptedAndNotUsed) {
    for (const char16_t* name : {u"ISO-8859-1", u"US-ASCII", u"KOI8-R", u"no-such-charset"}) {
        std::string out;
        EXPECT_TRUE(encodeRFC2047Unstructured(AdCharset(name), u"Subject", u"\xE9", out));
        EXPECT_EQ(out, oneWord("\xC3\xA9"));
    }
}

TEST(UnstructuredField, NameWithoutAFormOnOneAsciiLineIsRefused) {
    const Zeb_String names[] = {u"X-\xE9", u"X\rY", u"X\nY", u"X\r\nTo: y", units(u"X\0"s), u"\n"};
    for (const Zeb_String& name : names) {
        std::string out = "as it was";
        EXPECT_FALSE(encodeRFC2047Unstructured(utf8Charset, name, u"value", out));
        EXPECT_EQ(out, "as it was");
        EXPECT_FALSE(encodeRFC2047Unstructured(utf8Charset, name, u"", out));
        EXPECT_EQ(out, "as it was");
    }
}

TEST(UnstructuredField, OtherNamesAreWrittenAsTheyAre) {
    EXPECT_EQ(field(u"v", u"X-Any Name"), "X-Any Name: v\r\n");
    EXPECT_EQ(field(u"v", u""), ": v\r\n");
}

// The words of a long value, by the halving fill with every conversion made.
std::string longestSlowly(const Zeb_String& text, int& lo, int hi) {
    std::string chunk;
    while (lo != hi && chunk.size() != 45) {
        const int mid = (lo + hi) / 2;
        const std::string piece = utf8(text.Mid(lo, mid - lo + 1));
        if (chunk.size() + piece.size() > 45) {
            hi = mid;
            continue;
        }
        chunk += piece;
        lo = mid + 1;
    }
    return chunk;
}

std::string unfoldSlowly(std::string text) {
    for (std::size_t pos; (pos = text.find('\n')) != std::string::npos && pos + 1 < text.size();) {
        if (text[pos + 1] == '\n')
            text.erase(pos + 1, 1);
        else
            text[pos] = ' ';
    }
    return text;
}

std::string fieldSlowly(const Zeb_String& value) {
    if (value.IsEmpty()) return "Subject: ";
    const Zeb_String text = wide(unfoldSlowly(utf8(value)));
    const std::string octets = utf8(text);
    const auto isPrintable = [](char octet) { return octet >= ' ' && octet <= '~'; };
    const bool isPlain = std::all_of(octets.begin(), octets.end(), isPrintable);
    if (isPlain) return "Subject: " + octets + "\r\n";
    if (octets.size() <= 45) return oneWord(octets);
    std::string out = "Subject: ";
    const int last = text.GetLength() - 1;
    for (int lo = 0; lo < last;) out += word(longestSlowly(text, lo, last)) + "\r\n ";
    return out + word(utf8(text.Mid(last, 1))) + " \r\n";
}

TEST(UnstructuredField, RandomValuesAgainstThePlainEncoder) {
    const std::u16string kinds[] = {
        u"abc de\n",     u"a\n\r\xE9",        u"\xE9\x20AC",
        u"\xD83D\xDE00", u"ab\xD83D\xDE00\n", u"\n\n\nx\xE9",
    };
    std::mt19937 random(121);
    for (std::size_t round = 0; round < 3000; ++round) {
        const std::u16string& kind = kinds[round % std::size(kinds)];
        std::u16string text;
        for (std::size_t length = random() % 150; length > 0; --length)
            text += kind[random() % kind.size()];
        ASSERT_EQ(field(units(text)), fieldSlowly(units(text))) << round;
    }
}

TEST(UnstructuredField, RandomLongValuesReadBack) {
    std::mt19937 random(122);
    const std::u16string kind = u"abc \xE9\x20AC";
    for (std::size_t length = 50; length < 3000; length += 37) {
        std::u16string text = u"\xE9";
        while (text.size() < length) text += kind[random() % kind.size()];
        EXPECT_EQ(joined(encodedWords(field(units(text)), "Subject")), utf8(units(text)));
    }
}

TEST(UnstructuredField, NoValueMakesASecondField) {
    std::mt19937 random(123);
    const std::u16string kind = u"a:\r\n\n\xE9";
    for (int round = 0; round < 2000; ++round) {
        std::u16string text = u"x";
        for (std::size_t length = random() % 80; length > 0; --length)
            text += kind[random() % kind.size()];
        const std::string out = field(units(text));
        EXPECT_EQ(countOf("\r\n", out), countOf("\r\n ", out) + 1) << testing::PrintToString(out);
        EXPECT_EQ(countOf("\n", out), countOf("\r\n", out)) << testing::PrintToString(out);
    }
}

}  // namespace
