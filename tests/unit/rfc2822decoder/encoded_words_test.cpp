// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "tests/support/wide_text.h"
#include "tests/unit/rfc2822decoder/header_model.h"

using namespace std::string_literals;

namespace {

struct Row {
    const char* name;
    std::string input;
    Zeb_String expected;
};

void expectRows(const std::vector<Row>& rows) {
    for (const Row& row : rows) EXPECT_EQ(decodeRFC2047Words(row.input), row.expected) << row.name;
}

TEST(EncodedWords, EmptyTextIsEmpty) { EXPECT_EQ(decodeRFC2047Words(""), u""); }

TEST(EncodedWords, BlankTextIsEmpty) { EXPECT_EQ(decodeRFC2047Words(" \t\r\n "), u""); }

TEST(EncodedWords, PlainTextStaysAsItIs) { EXPECT_EQ(decodeRFC2047Words("Hello"), u"Hello"); }

TEST(EncodedWords, PlainTextKeepsItsBlanks) {
    EXPECT_EQ(decodeRFC2047Words("Hello  "), u"Hello  ");
    EXPECT_EQ(decodeRFC2047Words("\t a\r\n b "), u"\t a\r\n b ");
}

TEST(EncodedWords, BlanksBetweenWordsAreDropped) {
    EXPECT_EQ(decodeRFC2047Words("=?ISO-8859-1?Q?a?= =?ISO-8859-1?Q?b?="), u"ab");
    EXPECT_EQ(decodeRFC2047Words("=?ISO-8859-1?Q?a?=\r\n\t =?ISO-8859-1?Q?b?="), u"ab");
}

TEST(EncodedWords, AdjacentWordsNeedNoBlank) {
    EXPECT_EQ(decodeRFC2047Words("=?UTF-8?Q?a?==?UTF-8?Q?b?="), u"ab");
}

TEST(EncodedWords, BlanksBetweenTextAndWordStay) {
    EXPECT_EQ(decodeRFC2047Words("x =?ISO-8859-1?Q?a_b?= y"), u"x a b y");
}

TEST(EncodedWords, TrailingBlanksAreDropped) {
    EXPECT_EQ(decodeRFC2047Words("=?ISO-8859-1?Q?a?=   "), u"a");
}

TEST(EncodedWords, LeadingBlanksAreDropped) {
    EXPECT_EQ(decodeRFC2047Words("  =?ISO-8859-1?Q?a?="), u"a");
}

TEST(EncodedWords, VerticalTabIsNoBlank) {
    EXPECT_EQ(decodeRFC2047Words("=?UTF-8?Q?a?=\v=?UTF-8?Q?b?=\f"), u"a\vb\f");
}

TEST(EncodedWords, NulIsNoBlank) {
    EXPECT_EQ(decodeRFC2047Words("=?UTF-8?Q?a?=\0"s), Zeb_String::FromUnits(u"a\0", 2));
}

TEST(EncodedWords, UnknownEncodingIsKept) {
    EXPECT_EQ(decodeRFC2047Words("=?ISO-8859-1?X?abc?="), u"=?ISO-8859-1?X?abc?=");
}

TEST(EncodedWords, EncodingIsOneLetter) {
    for (const char* text : {"=?UTF-8?QQ?a?=", "=?UTF-8??a?=", "=?UTF-8? Q?a?=", "=?UTF-8?BQ?a?="})
        EXPECT_EQ(decodeRFC2047Words(text), wide(text));
}

TEST(EncodedWords, EncodingLettersOfEitherCase) {
    expectRows({{"Q", "=?UTF-8?Q?=61?=", u"a"},
                {"q", "=?UTF-8?q?=61?=", u"a"},
                {"B", "=?UTF-8?B?YQ==?=", u"a"},
                {"b", "=?UTF-8?b?YQ==?=", u"a"}});
}

TEST(EncodedWords, QuestionMarkInTheEncodedTextMakesItNoWord) {
    EXPECT_EQ(decodeRFC2047Words("=?utf-8?q?a?b?="), u"=?utf-8?q?a?b?=");
}

TEST(EncodedWords, OpenerAloneIsKept) { EXPECT_EQ(decodeRFC2047Words("=?"), u"=?"); }

TEST(EncodedWords, UnfinishedWordIsKept) {
    const std::string word = "=?UTF-8?Q?a?=";
    for (std::size_t length = 1; length < word.size(); ++length)
        EXPECT_EQ(decodeRFC2047Words(word.substr(0, length)), wide(word.substr(0, length)));
}

TEST(EncodedWords, CloserMayNotShareTheQuestionMarkOfTheEncoding) {
    EXPECT_EQ(decodeRFC2047Words("=?UTF-8?Q?="), u"=?UTF-8?Q?=");
}

TEST(EncodedWords, EmptyEncodedTextIsAnEmptyWord) {
    EXPECT_EQ(decodeRFC2047Words("a =?UTF-8?Q?\?= b"), u"a  b");
    EXPECT_EQ(decodeRFC2047Words("=?UTF-8?B?\?="), u"");
}

TEST(EncodedWords, BlanksInsideOfAWordBelongToIt) {
    EXPECT_EQ(decodeRFC2047Words("=?UTF-8?Q?a b\r\n c?="), u"a b\r\n c");
}

TEST(EncodedWords, BlanksBeforeAMalformedWordAreDroppedToo) {
    EXPECT_EQ(decodeRFC2047Words(" =?x"), u"=?x");
}

TEST(EncodedWords, BlanksBetweenMalformedWordsAreDroppedToo) {
    EXPECT_EQ(decodeRFC2047Words("=? =?"), u"=?=?");
}

TEST(EncodedWords, WordIsFoundBehindAnOpener) {
    EXPECT_EQ(decodeRFC2047Words("=?=?UTF-8?Q?a?="), u"=?a");
}

TEST(EncodedWords, WordIsFoundInsideAMalformedOne) {
    EXPECT_EQ(decodeRFC2047Words("=?x?Q?=?UTF-8?Q?a?="), u"=?x?Q?a");
    EXPECT_EQ(decodeRFC2047Words("=?x =?UTF-8?Q?a?="), u"=?x a");
}

TEST(EncodedWords, QWordEndsAtAMalformedEscape) {
    expectRows({{"no digits", "=?utf-8?Q?ab=zzcd?=", u"ab"},
                {"lower-case digits", "=?utf-8?Q?ab=c3=a9?= x", u"ab x"},
                {"at the start", "=?utf-8?Q?=zz?=", u""},
                {"cut off", "=?utf-8?Q?ab=4?=", u"ab"},
                {"soft line break", "=?utf-8?Q?ab=\r\ncd?=", u"ab"}});
}

TEST(EncodedWords, UnderscoreIsABlankInQOnly) {
    EXPECT_EQ(decodeRFC2047Words("=?UTF-8?Q?a_b=5F?="), u"a b_");
    EXPECT_EQ(decodeRFC2047Words("=?UTF-8?B?Y_Q==?="), u"a");
}

TEST(EncodedWords, BlankThatWasEncodedIsNoGap) {
    EXPECT_EQ(decodeRFC2047Words("=?UTF-8?Q?_?= =?UTF-8?Q?_?="), u"  ");
}

TEST(EncodedWords, Base64ToleratesWhatIsNoDigit) {
    EXPECT_EQ(decodeRFC2047Words("=?UTF-8?B?Y W\r\nJ.j?="), u"abc");
    EXPECT_EQ(decodeRFC2047Words("=?UTF-8?B?YQ==YWJj?="), u"a");
    EXPECT_EQ(decodeRFC2047Words("=?UTF-8?B?YWJjZ?="), u"abc");
}

TEST(EncodedWords, GB2312IsReadAsGBK) {
    // 0x82 0x62 is in GBK only.
    EXPECT_EQ(decodeRFC2047Words("=?GB2312?B?gmI=?="), u"\x4FE0");
    EXPECT_EQ(decodeRFC2047Words("=?GB2312?Q?=82=62?="), u"\x4FE0");
}

TEST(EncodedWords, OnlyTheUpperCaseSpellingOfGB2312IsGBK) {
    EXPECT_EQ(decodeRFC2047Words("=?gb2312?B?sKE=?="), u"\x554A");
    EXPECT_EQ(decodeRFC2047Words("=?gb2312?B?gmI=?="),
              u"\x82"
              u"b");
}

TEST(EncodedWords, UnknownCharsetIsKept) {
    for (const char* text : {"=?no-such?Q?a?=", "=?no-such?Q?\?=", "=?no-such?B?YQ==?="})
        EXPECT_EQ(decodeRFC2047Words(text), wide(text));
}

TEST(EncodedWords, EmptyCharsetIsUnknown) {
    EXPECT_EQ(decodeRFC2047Words("=??Q?a?="), u"=??Q?a?=");
    EXPECT_EQ(decodeRFC2047Words("=??B?YQ==?="), u"=??B?YQ==?=");
}

TEST(EncodedWords, LanguageSuffixMakesTheCharsetUnknown) {
    EXPECT_EQ(decodeRFC2047Words("=?UTF-8*en?Q?a?="), u"=?UTF-8*en?Q?a?=");
}

TEST(EncodedWords, CharsetNameWithHighOctetsIsUnknown) {
    EXPECT_EQ(decodeRFC2047Words("=?\xE9?Q?a?="), u"=?\xE9?Q?a?=");
}

TEST(EncodedWords, OctetsThatTheCharsetDoesNotKnowKeepTheWord) {
    for (const char* text : {"=?UTF-8?Q?=E9?=", "=?UTF-8?B?6Q==?=", "=?US-ASCII?Q?=E9?="})
        EXPECT_EQ(decodeRFC2047Words(text), wide(text));
}

TEST(EncodedWords, CharacterSplitOverTwoWordsKeepsBoth) {
    EXPECT_EQ(decodeRFC2047Words("=?UTF-8?Q?=C3?= =?UTF-8?Q?=A9?="),
              u"=?UTF-8?Q?=C3?= =?UTF-8?Q?=A9?=");
}

TEST(EncodedWords, EachWordHasItsCharset) {
    EXPECT_EQ(decodeRFC2047Words("=?ISO-8859-1?Q?=E9?= =?UTF-8?Q?=C3=A9?= =?KOI8-R?Q?=C1?="),
              u"\xE9\xE9\x430");
}

TEST(EncodedWords, RawTextIsReadAsLenientAsciiPieceByPiece) {
    expectRows({{"UTF-8", "\xC3\xA9", u"\xE9"},
                {"windows-1252", "\x80\xE9", u"\x20AC\xE9"},
                {"each gap by itself", "\xC3\xA9 =?UTF-8?Q?a?= \xE9", u"\xE9 a \xE9"},
                {"all of a gap", "\xC3\xA9 \xE9", u"\xC3\xA9 \xE9"}});
}

TEST(EncodedWords, NulsStay) {
    EXPECT_EQ(decodeRFC2047Words("a\0b=?UTF-8?Q?=00?="s), Zeb_String::FromUnits(u"a\0b\0", 4));
}

TEST(EncodedWords, ResultIsNotDecodedAgain) {
    EXPECT_EQ(decodeRFC2047Words("=?UTF-8?Q?=3D=3FUTF-8=3FQ=3Fa=3F=3D?="), u"=?UTF-8?Q?a?=");
}

TEST(EncodedWords, AsTheModelOnAllShortTexts) {
    for (const std::string& text : allTexts("=? Qx", 6))
        ASSERT_EQ(decodeRFC2047Words(text), modelWords(text)) << text;
}

TEST(EncodedWords, AsTheModelOnAllEndingsOfAWord) {
    for (const std::string& text : allTexts("=?1Q \n", 5))
        ASSERT_EQ(decodeRFC2047Words("=?l1?Q?" + text), modelWords("=?l1?Q?" + text)) << text;
}

TEST(EncodedWords, AsTheModelOnRandomTexts) {
    const std::vector<std::string> parts = {"=?",          "?=",
                                            "?",           "?Q?",
                                            "?B?",         "?b?",
                                            "us-ascii",    "latin1",
                                            "=E9",         "6Q",
                                            "YWJj",        "=41",
                                            "_",           "=",
                                            " ",           "\r\n\t",
                                            "x",           "y ",
                                            "=?l1?Q?a",    "=?l1?Q?=e",
                                            "=?l1?B?YQ==", "=?GB2312?B?gm",
                                            "\xE9",        "I="};
    for (const std::string& text : randomTexts(647, parts, 12, 30000))
        ASSERT_EQ(decodeRFC2047Words(text), modelWords(text)) << text;
}

TEST(EncodedWords, EachWordIsReadInItsOwnCharset) {
    EXPECT_EQ(decodeRFC2047Words("=?UTF-8?Q?=C3=A9?= =?ISO-8859-1?Q?=C3=A9?= =?utf-8?Q?=C3=A9?="
                                 " =?utf-8?Q?=C3=A9?= =?KOI8-R?Q?=C3?="),
              u"\xE9\xC3\xA9\xE9\xE9\x446");
}

TEST(EncodedWords, AWordThatFailsLeavesTheNextOneItsCharset) {
    EXPECT_EQ(
        decodeRFC2047Words("=?UTF-8?Q?a?= =?nowhere?Q?b?= =?UTF-8?Q?=E9?= =?UTF-8?Q?=C3=A9?="),
        modelWords("=?UTF-8?Q?a?= =?nowhere?Q?b?= =?UTF-8?Q?=E9?= =?UTF-8?Q?=C3=A9?="));
}

}  // namespace
