// SPDX-License-Identifier: Apache-2.0
// Extended parameter values (RFC 2231, 4).
#include <gtest/gtest.h>

#include "tests/support/wide_text.h"
#include "tests/unit/rfc2822decoder/header_model.h"

namespace {

void expectKept(std::initializer_list<const char16_t*> values) {
    for (const char16_t* value : values) EXPECT_EQ(RFC2184Decode(value), value);
}

TEST(ExtendedValue, EscapesAreResolved) { EXPECT_EQ(RFC2184Decode(u"us-ascii''a%41"), u"aA"); }

TEST(ExtendedValue, LowerCaseDigitsAreRefused) {
    expectKept({u"us-ascii''%e9", u"us-ascii''%4a", u"us-ascii''%a0", u"us-ascii''%41%4f"});
}

TEST(ExtendedValue, EveryUpperCaseDigit) {
    EXPECT_EQ(RFC2184Decode(u"iso-8859-1''%01%23%45%67%89%AB%CD%EF"), u"\x01#Eg\x89\xAB\xCD\xEF");
}

TEST(ExtendedValue, WithoutQuotesItIsKept) { expectKept({u"abc", u"", u"%41"}); }

TEST(ExtendedValue, WithOneQuoteItIsKept) { expectKept({u"us-ascii'%41", u"'", u"'%41"}); }

TEST(ExtendedValue, FurtherQuotesAreText) {
    EXPECT_EQ(RFC2184Decode(u"us-ascii'en'a'b''"), u"a'b''");
}

TEST(ExtendedValue, LanguageIsIgnored) {
    EXPECT_EQ(RFC2184Decode(u"utf-8'no such \x4E00'%C3%A9"), u"\xE9");
}

TEST(ExtendedValue, EmptyTextIsEmpty) { EXPECT_EQ(RFC2184Decode(u"us-ascii''"), u""); }

TEST(ExtendedValue, EmptyCharsetIsAscii) {
    EXPECT_EQ(RFC2184Decode(u"''a%20b"), u"a b");
    expectKept({u"''%E9"});
}

TEST(ExtendedValue, UnknownCharsetIsKept) { expectKept({u"no-such''a", u"no-such''", u" ''a"}); }

TEST(ExtendedValue, OctetsThatTheCharsetDoesNotKnowKeepIt) {
    expectKept({u"us-ascii''%E9", u"utf-8''%E9", u"utf-8''a%C3"});
}

TEST(ExtendedValue, GB2312IsReadAsGBK) {
    EXPECT_EQ(RFC2184Decode(u"GB2312''%82%62"), u"\x4FE0");
    EXPECT_EQ(RFC2184Decode(u"GB2312'zh'%82b"), u"\x4FE0");
}

TEST(ExtendedValue, OnlyTheUpperCaseSpellingOfGB2312IsGBK) {
    EXPECT_EQ(RFC2184Decode(u"gb2312''%B0%A1"), u"\x554A");
    EXPECT_EQ(RFC2184Decode(u"gb2312''%82%62"),
              u"\x82"
              u"b");
}

TEST(ExtendedValue, CutOffEscapeIsKept) {
    expectKept({u"us-ascii''%", u"us-ascii''%4", u"us-ascii''a%41%"});
}

TEST(ExtendedValue, EscapeAtTheVeryEndIsComplete) {
    EXPECT_EQ(RFC2184Decode(u"us-ascii''%41"), u"A");
}

TEST(ExtendedValue, OtherCharactersInAnEscapeKeepIt) {
    expectKept({u"us-ascii''%G0", u"us-ascii''%0G", u"us-ascii''%%41", u"us-ascii''% 1",
                u"us-ascii''%4\x4E01", u"us-ascii''%+1"});
}

TEST(ExtendedValue, EveryUnitOfTheText) {
    for (int unit = 0; unit < 0x10000; ++unit) {
        if (unit == '%') continue;
        const Zeb_String one(static_cast<unsigned short>(unit), 1);
        const Zeb_String value = u"us-ascii''" + one;
        const bool isText = unit >= 0x21 && unit <= 0x7E;
        ASSERT_EQ(RFC2184Decode(value), isText ? one : value) << unit;
    }
}

TEST(ExtendedValue, UnitsAreNotNarrowed) {
    expectKept({u"us-ascii''\x141", u"us-ascii''%\x134\x131"});
}

TEST(ExtendedValue, EscapedControlCharactersAndNulsAreText) {
    EXPECT_EQ(RFC2184Decode(u"us-ascii''%00%09%0D%0A%7F"),
              Zeb_String::FromUnits(u"\0\t\r\n\x7F", 5));
}

TEST(ExtendedValue, EncodedWordsAreNotDecoded) {
    EXPECT_EQ(RFC2184Decode(u"us-ascii''=?UTF-8?Q?a?="), u"=?UTF-8?Q?a?=");
}

TEST(ExtendedValue, AsTheModelOnAllShortTexts) {
    for (const std::string& text : allTexts("'%4Ea ", 6))
        ASSERT_EQ(RFC2184Decode(wide(text)), modelExtended(wide(text))) << text;
}

TEST(ExtendedValue, AsTheModelOnRandomTexts) {
    const std::vector<std::string> parts = {
        "'",   "''",   "us-ascii", "utf-8", "l1", "GB2312", "%C3%A9",   "%4", "1",
        "%E9", "%82b", "a",        "x",     " ",  "%",      "\xC3\xA9", "%e9"};
    for (const char* charset : {"", "utf-8''", "l1''", "us-ascii'en'", "GB2312''"})
        for (const std::string& text : randomTexts(632, parts, 8, 5000))
            ASSERT_EQ(RFC2184Decode(wide(charset + text)), modelExtended(wide(charset + text)))
                << charset << text;
}

}  // namespace
