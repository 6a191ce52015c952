// SPDX-License-Identifier: Apache-2.0
// Large header values. Nothing here measures time: what does not grow linearly runs into the limit
// that each test has.
#include <gtest/gtest.h>

#include "tests/support/wide_text.h"
#include "tests/unit/rfc2822decoder/header_fixtures.h"

using namespace std::string_literals;

namespace {

constexpr std::size_t tenMebibytes = std::size_t{10} << 20;
constexpr std::size_t many = 100'000;
constexpr std::size_t million = 1'000'000;

// Compares without printing mebibytes.
void expectSame(const Zeb_String& actual, const Zeb_String& expected) {
    EXPECT_EQ(actual.GetLength(), expected.GetLength());
    EXPECT_TRUE(actual == expected);
}

std::size_t countOfTokens(const std::string& text, LexerMode mode, Blanks blanks) {
    return tokensOf(text, mode, blanks).size();
}

TEST(LargeEncodedWords, PlainText) {
    const std::string text(tenMebibytes, 'a');
    expectSame(decodeRFC2047Words(text), wide(text));
}

TEST(LargeEncodedWords, EightBitText) {
    const std::string text = repeated("\xC3\xA9", tenMebibytes / 2);
    expectSame(decodeRFC2047Words(text), wide(text));
}

TEST(LargeEncodedWords, OneWord) {
    expectSame(decodeRFC2047Words("=?UTF-8?Q?" + std::string(tenMebibytes, 'a') + "?="),
               Zeb_String(u'a', tenMebibytes));
    expectSame(decodeRFC2047Words("=?UTF-8?B?" + repeated("YWFh", tenMebibytes / 4) + "?="),
               Zeb_String(u'a', tenMebibytes / 4 * 3));
}

TEST(LargeEncodedWords, ManyWords) {
    expectSame(decodeRFC2047Words(repeated("=?UTF-8?Q?=C3=A9?=\r\n ", many)),
               Zeb_String(u'\xE9', many));
    expectSame(decodeRFC2047Words(repeated("=?UTF-8?B?w6k=?= ", many)), Zeb_String(u'\xE9', many));
}

TEST(LargeEncodedWords, ManyWordsOfACharsetWithAConverter) {
    expectSame(decodeRFC2047Words(repeated("=?KOI8-R?Q?=C1?= ", many)), Zeb_String(0x430, many));
}

TEST(LargeEncodedWords, ManyOpeners) {
    const std::string text = repeated("=?", million);
    expectSame(decodeRFC2047Words(text), wide(text));
}

TEST(LargeEncodedWords, ManyMalformedWords) {
    for (const char* word :
         {"=?UTF-8?Q?", "=?UTF-8?Q?=E9?=", "=?UTF-8?X?a?=", "=?x?B?YQ==?=", "?"}) {
        const std::string text = repeated(word, many);
        expectSame(decodeRFC2047Words(text), wide(text));
    }
}

TEST(LargeEncodedWords, OpenersWithoutAnEnd) {
    const std::string text = repeated("=?x", 2) + std::string(tenMebibytes, '=');
    expectSame(decodeRFC2047Words(text), wide(text));
}

TEST(LargeEncodedWords, ManyBlanksBetweenWords) {
    const std::string blanks(tenMebibytes, ' ');
    expectSame(decodeRFC2047Words("=?UTF-8?Q?a?=" + blanks + "=?UTF-8?Q?b?=" + blanks), u"ab");
}

TEST(LargeLexer, OneAtom) {
    const std::string text(tenMebibytes, 'a');
    const std::vector<Token> tokens = tokensOf(text, LexerMode::Mime, Blanks::Skipped);
    ASSERT_EQ(tokens.size(), 2U);
    expectSame(tokens[0].text, wide(text));
}

TEST(LargeLexer, OneQuotedString) {
    const std::string text = '"' + repeated("\\\"", tenMebibytes / 2) + '"';
    const std::vector<Token> tokens = tokensOf(text, LexerMode::Address, Blanks::Skipped);
    ASSERT_EQ(tokens.size(), 2U);
    expectSame(tokens[0].text, Zeb_String(u'"', tenMebibytes / 2));
}

TEST(LargeLexer, ManyBlanksAndAtoms) {
    const std::string text = repeated(" a", million);
    EXPECT_EQ(countOfTokens(text, LexerMode::Address, Blanks::Skipped), million + 1);
    EXPECT_EQ(countOfTokens(text, LexerMode::Address, Blanks::Returned), 2 * million + 1);
}

TEST(LargeLexer, ManySpecials) {
    EXPECT_EQ(countOfTokens(repeated("\xE9", million), LexerMode::Mime, Blanks::Skipped),
              million + 1);
}

TEST(LargeLexer, ManyComments) {
    EXPECT_EQ(countOfTokens(repeated("(a)", million), LexerMode::Mime, Blanks::Skipped),
              million + 1);
    EXPECT_EQ(countOfTokens(repeated("(a)", million), LexerMode::Mime, Blanks::Returned),
              million + 1);
}

TEST(LargeLexer, ManyOpenComments) {
    const std::string text(million, '(');
    for (const Blanks blanks : {Blanks::Returned, Blanks::Skipped})
        EXPECT_EQ(dump(tokensOf(text, LexerMode::Address, blanks)), "error | end");
}

TEST(LargeLexer, DeeplyNestedComment) {
    const std::string text = std::string(million, '(') + 'a' + std::string(million, ')');
    EXPECT_EQ(dump(tokensOf(text, LexerMode::Address, Blanks::Returned)), "comment \"a\" | end");
    EXPECT_EQ(dump(tokensOf(text, LexerMode::Address, Blanks::Skipped)), "special \")\" | end");
}

TEST(LargeAddress, ManyMailboxes) {
    const auto mailboxes =
        RFC2822Address::parseAddresses(repeated("=?UTF-8?Q?=C3=A9?= <a@b>,\r\n ", many));
    ASSERT_EQ(mailboxes.size(), many);
    EXPECT_EQ(dump(mailboxes.front()), "\"<00E9>\" <a@b>");
    EXPECT_EQ(dump(mailboxes.back()), "\"<00E9>\" <a@b>");
}

TEST(LargeAddress, NameOfManyWords) {
    const RFC2822Address address(repeated("a ", million) + "<b@c>");
    EXPECT_EQ(address.getSMTPAddress(), u"b@c");
    expectSame(address.getName(), wide(repeated("a ", million - 1) + "a"));
}

TEST(LargeMimeValue, LongParameter) {
    const std::string text(tenMebibytes, 'a');
    expectSame(parameterOf("a=" + text, u"a"), wide(text));
    expectSame(parameterOf("a=\"" + text + '"', u"a"), wide(text));
    expectSame(parameterOf("a*=us-ascii''" + text, u"a"), wide(text));
}

TEST(LargeMimeValue, LongName) {
    const std::string name = std::string(tenMebibytes, '*') + "x*0*";
    const MIMEHeaderValue value("x/y; " + name + "=''%41");
    ASSERT_EQ(value.getParameters().size(), 1U);
    expectSame(value.getParameters().begin()->first, wide(name.substr(0, name.size() - 3)));
}

TEST(LargeMimeValue, ManyParameters) {
    std::string text = "x/y";
    for (std::size_t i = 0; i < many; ++i)
        text += "; p" + std::to_string(i) + '=' + std::to_string(i);
    const MIMEHeaderValue value(text);
    EXPECT_EQ(value.getParameters().size(), many);
    EXPECT_EQ(value.getParameter(u"P99999", u""), u"99999");
}

TEST(LargeMimeValue, OneParameterManyTimes) {
    EXPECT_EQ(parameterOf(repeated("a=b; ", many) + "a=c", u"a"), u"c");
}

TEST(LargeMimeValue, ManySections) {
    std::string text;
    for (std::size_t i = many; i-- > 0;) text += "a*" + std::to_string(i) + "=b; ";
    expectSame(parameterOf(text + "c=d", u"a"), Zeb_String(u'b', many));
}

TEST(LargeMimeValue, ManySectionsWithoutSeparator) {
    std::string text;
    for (std::size_t i = 0; i < many; ++i) text += "a*" + std::to_string(i) + "*=''%41 ";
    const Zeb_String value = parameterOf(text, u"a");
    expectSame(value, wide(repeated("A", 1) + repeated("''A", many - 1)));
}

TEST(LargeMimeValue, LongSectionOfEscapes) {
    expectSame(parameterOf("a*0=\"" + repeated("% ", tenMebibytes / 2) + "x\"", u"a"),
               wide(repeated("% ", tenMebibytes / 2) + "x"));
    expectSame(parameterOf("a*0*=''" + repeated("%41", tenMebibytes / 3), u"a"),
               Zeb_String(u'A', tenMebibytes / 3));
}

TEST(LargeMimeValue, ManyNamesWithTheLargestSectionNumber) {
    std::string text = "x/y";
    for (std::size_t i = 0; i < many; ++i) text += "; p" + std::to_string(i) + "*2147483647=a";
    EXPECT_EQ(MIMEHeaderValue(text).getParameters().size(), many);
}

TEST(LargeMimeValue, ManyQuotesInAnExtendedValue) {
    const std::string quotes(tenMebibytes, '\'');
    expectSame(RFC2184Decode(wide(quotes)), wide(quotes.substr(2)));
}

TEST(LargeMimeValue, ManyOpenComments) {
    EXPECT_EQ(dump(MIMEHeaderValue("x/y; a=b " + std::string(million, '('))), "x/y; a=\"b\"");
}

}  // namespace
