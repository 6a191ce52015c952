// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "tests/support/wide_text.h"
#include "tests/unit/rfc2822decoder/header_model.h"

using namespace std::string_literals;

namespace {

std::string address(const std::string& text, Blanks blanks = Blanks::Skipped) {
    return dump(tokensOf(text, LexerMode::Address, blanks));
}

std::string mime(const std::string& text, Blanks blanks = Blanks::Skipped) {
    return dump(tokensOf(text, LexerMode::Mime, blanks));
}

TEST(Lexer, TakesALiteralAndANumber) {
    RFC2822Lexer lexer("a/b", 0);
    Zeb_String token;
    EXPECT_EQ(lexer.nextToken(token, false), 4U);
    EXPECT_EQ(token, u"a/b");
}

TEST(Lexer, TakesATextInBraces) {
    RFC2822Lexer lexer({"a/b"}, true);
    Zeb_String token;
    EXPECT_EQ(lexer.nextToken(token, false), 4U);
    EXPECT_EQ(token, u"a");
}

TEST(Lexer, EmptyTextIsAtItsEnd) { EXPECT_EQ(address(""), "end"); }

TEST(Lexer, EndIsReturnedAgainAndAgain) {
    RFC2822Lexer lexer("a", false);
    Zeb_String token;
    EXPECT_EQ(lexer.nextToken(token, true), 4U);
    for (int i = 0; i < 3; ++i) {
        token = u"left over";
        EXPECT_EQ(lexer.nextToken(token, i == 1), 5U);
        EXPECT_EQ(token, u"");
    }
}

TEST(Lexer, TextIsCopied) {
    std::string text = "a b";
    RFC2822Lexer lexer(text, false);
    text = "xyz";
    Zeb_String token;
    lexer.nextToken(token, true);
    EXPECT_EQ(token, u"a");
}

TEST(Lexer, KindsHaveTheirNumbers) {
    const std::vector<Token> tokens =
        tokensOf(" (c)@\"q\"a\"", LexerMode::Address, Blanks::Returned);
    std::vector<unsigned> kinds;
    for (const Token& token : tokens) kinds.push_back(token.kind);
    EXPECT_EQ(kinds, (std::vector<unsigned>{0, 1, 2, 3, 4, 6, 5}));
}

TEST(Lexer, BlanksAreOneToken) {
    EXPECT_EQ(address("  a", Blanks::Returned), "blank \"  \" | atom \"a\" | end");
    EXPECT_EQ(address(" \t\r\n", Blanks::Returned), "blank \" <0009><000D><000A>\" | end");
}

TEST(Lexer, BlanksAreSkipped) {
    EXPECT_EQ(address(" \t\r\na\r\n b "), "atom \"a\" | atom \"b\" | end");
}

TEST(Lexer, VerticalTabIsNoBlank) {
    EXPECT_EQ(address("\v\f"), "special \"<000B>\" | special \"<000C>\" | end");
}

TEST(Lexer, SkippedCommentLeavesItsClosingParenthesis) {
    EXPECT_EQ(address("a (x (y)) b"), "atom \"a\" | special \")\" | atom \"b\" | end");
    EXPECT_EQ(mime("a (x (y)) b"), "atom \"a\" | special \")\" | atom \"b\" | end");
}

TEST(Lexer, CommentIsReturnedWhenBlanksAre) {
    EXPECT_EQ(address("a (x (y)) b", Blanks::Returned),
              "atom \"a\" | blank \" \" | comment \"x y\" | blank \" \" | atom \"b\" | end");
}

TEST(Lexer, NestedParenthesesAreDropped) {
    EXPECT_EQ(address("(a (b) c)", Blanks::Returned), "comment \"a b c\" | end");
    EXPECT_EQ(address("((()))", Blanks::Returned), "comment \"\" | end");
}

TEST(Lexer, EscapesInAComment) {
    EXPECT_EQ(address("(a\\)b\\(c\\\\d\\e)", Blanks::Returned), "comment \"a)b(c\\de\" | end");
    EXPECT_EQ(address("(a\\)b) c"), "special \")\" | atom \"c\" | end");
}

TEST(Lexer, QuotesInACommentAreText) {
    EXPECT_EQ(address("(a\")\"", Blanks::Returned), "comment \"a\"\" | error | end");
}

TEST(Lexer, EncodedWordsInACommentAreDecoded) {
    EXPECT_EQ(address("(=?UTF-8?Q?=C3=A9?=)", Blanks::Returned), "comment \"<00E9>\" | end");
}

TEST(Lexer, BlankCommentIsEmpty) {
    EXPECT_EQ(address("( \t)", Blanks::Returned), "comment \"\" | end");
}

TEST(Lexer, LoneClosingParenthesisIsASpecial) {
    EXPECT_EQ(address(")", Blanks::Returned), "special \")\" | end");
}

TEST(Lexer, SwitchingBetweenSkippingAndReturning) {
    RFC2822Lexer lexer("(a) (b)", false);
    Zeb_String token;
    EXPECT_EQ(lexer.nextToken(token, true), 2U);
    EXPECT_EQ(token, u")");
    EXPECT_EQ(lexer.nextToken(token, false), 0U);
    EXPECT_EQ(lexer.nextToken(token, false), 1U);
    EXPECT_EQ(token, u"b");
}

TEST(Lexer, QuotedStringWithAnEscapedQuote) {
    EXPECT_EQ(address("\"a\\\"b\""), "quoted \"a\"b\" | end");
}

TEST(Lexer, QuotedStringResolvesEveryEscape) {
    EXPECT_EQ(address("\"\\a\\\\\\\r\\\n\""), "quoted \"a\\<000D><000A>\" | end");
}

TEST(Lexer, QuotedStringKeepsLineEndsAndBlanks) {
    EXPECT_EQ(address("\" a\r\n b \""), "quoted \" a<000D><000A> b \" | end");
}

TEST(Lexer, QuotedStringKeepsNuls) { EXPECT_EQ(address("\"a\0b\""s), "quoted \"a<0000>b\" | end"); }

TEST(Lexer, EmptyQuotedString) { EXPECT_EQ(address("\"\""), "quoted \"\" | end"); }

TEST(Lexer, BlankQuotedStringIsEmpty) {
    EXPECT_EQ(address("\" \t\r\n\"a"), "quoted \"\" | atom \"a\" | end");
}

TEST(Lexer, ParenthesesInAQuotedStringAreText) {
    EXPECT_EQ(address("\"(\" \")\""), "quoted \"(\" | quoted \")\" | end");
}

TEST(Lexer, EightBitTextInAQuotedStringIsText) {
    EXPECT_EQ(address("\"\xC3\xA9\""), "quoted \"<00E9>\" | end");
    EXPECT_EQ(address("\"\xE9\""), "quoted \"<00E9>\" | end");
}

TEST(Lexer, QuotedStringIsDecodedBehindItsEscapes) {
    EXPECT_EQ(mime("\"=\\?UTF-8?Q?a?=\""), "quoted \"a\" | end");
}

TEST(Lexer, UnterminatedQuotedString) {
    for (const Blanks blanks : {Blanks::Returned, Blanks::Skipped})
        for (const char* text : {"\"abc", "\"", "\"abc\\", "\"abc\\\"", "\"(abc)"})
            EXPECT_EQ(address(text, blanks), "error | end") << text;
}

TEST(Lexer, UnterminatedComment) {
    for (const Blanks blanks : {Blanks::Returned, Blanks::Skipped})
        for (const char* text : {"(abc", "(", "(abc\\", "(abc\\)", "((abc)", "(\"abc\""})
            EXPECT_EQ(address(text, blanks), "error | end") << text;
}

TEST(Lexer, NothingIsReadBehindAnError) {
    EXPECT_EQ(address("a \"b c @ d"), "atom \"a\" | error | end");
    EXPECT_EQ(address("a (b c @ d"), "atom \"a\" | error | end");
}

TEST(Lexer, SlashIsASpecialInMimeModeOnly) {
    EXPECT_EQ(address("text/plain"), "atom \"text/plain\" | end");
    EXPECT_EQ(mime("text/plain"), "atom \"text\" | special \"/\" | atom \"plain\" | end");
}

TEST(Lexer, EqualsSignAndQuestionMarkAreSpecialsInMimeModeOnly) {
    EXPECT_EQ(address("name=value?"), "atom \"name=value?\" | end");
    EXPECT_EQ(mime("name=value?"),
              "atom \"name\" | special \"=\" | atom \"value\" | special \"?\" | end");
}

TEST(Lexer, SpecialsOfBothModes) {
    for (const char special : ")<>@,;:\\[]"s) {
        const std::string expected = "atom \"a\" | special \""s + special + "\" | atom \"b\" | end";
        EXPECT_EQ(address("a"s + special + 'b'), expected);
        EXPECT_EQ(mime("a"s + special + 'b'), expected);
    }
}

TEST(Lexer, PeriodIsPartOfAnAtom) {
    EXPECT_EQ(address("j.doe a.b.c ."), "atom \"j.doe\" | atom \"a.b.c\" | atom \".\" | end");
    EXPECT_EQ(mime("a.b"), "atom \"a.b\" | end");
}

TEST(Lexer, EscapeOutsideQuotesIsASpecial) {
    EXPECT_EQ(address("\\a"), "special \"\\\" | atom \"a\" | end");
}

TEST(Lexer, EncodedWordIsOneAtomInAddressMode) {
    EXPECT_EQ(address("=?ISO-8859-1?Q?a=E9?="), "atom \"a<00E9>\" | end");
}

TEST(Lexer, EncodedWordIsCutUpInMimeMode) {
    EXPECT_EQ(mime("=?U?Q?a?="),
              "special \"=\" | special \"?\" | atom \"U\" | special \"?\" | atom \"Q\" | "
              "special \"?\" | atom \"a\" | special \"?\" | special \"=\" | end");
}

TEST(Lexer, QuotedEncodedWordIsDecodedInMimeMode) {
    EXPECT_EQ(mime("\"=?UTF-8?Q?a?=\""), "quoted \"a\" | end");
}

TEST(Lexer, AtomMayBeDecodedToNothing) { EXPECT_EQ(address("=?UTF-8?Q?\?="), "atom \"\" | end"); }

TEST(Lexer, HighOctetIsASignExtendedSpecial) {
    EXPECT_EQ(address("\xE9"), "special \"<FFE9>\" | end");
    EXPECT_EQ(mime("a\xC3\xA9z"),
              "atom \"a\" | special \"<FFC3>\" | special \"<FFA9>\" | atom \"z\" | end");
    EXPECT_EQ(address("\x80\xFF"), "special \"<FF80>\" | special \"<FFFF>\" | end");
}

TEST(Lexer, ControlOctetIsASpecial) {
    EXPECT_EQ(address("a\x01\x7F"s + "b"),
              "atom \"a\" | special \"<0001>\" | special \"<007F>\" | atom \"b\" | end");
}

TEST(Lexer, NulIsASpecial) {
    EXPECT_EQ(address("a\0b"s), "atom \"a\" | special \"<0000>\" | atom \"b\" | end");
}

TEST(Lexer, EveryOctetBehindAnAtomLetter) {
    for (int octet = 0; octet < 256; ++octet) {
        const std::string text = "a"s + static_cast<char>(octet) + "b";
        for (const LexerMode mode : {LexerMode::Address, LexerMode::Mime})
            for (const Blanks blanks : {Blanks::Returned, Blanks::Skipped})
                EXPECT_EQ(dump(tokensOf(text, mode, blanks)), dump(modelTokens(text, mode, blanks)))
                    << octet;
    }
}

void expectAsTheModel(LexerMode mode, Blanks blanks) {
    const std::vector<std::string> parts = {
        "a", "b.c", " ", "\r\n ", "(", ")",    "\"",   "\\",   "@",   ",",
        "/", "=",   "?", "[",     ";", "\x01", "\x7F", "\xE9", "\0"s, "=?l1?Q?=E9?="};
    std::vector<std::string> texts = allTexts("a ()\"\\@=\xE9", 4);
    for (const std::string& text : randomTexts(616, parts, 20, 10000)) texts.push_back(text);
    for (const std::string& text : texts)
        ASSERT_EQ(dump(tokensOf(text, mode, blanks)), dump(modelTokens(text, mode, blanks)))
            << text;
}

TEST(Lexer, AsTheModelInAddressModeReturningBlanks) {
    expectAsTheModel(LexerMode::Address, Blanks::Returned);
}

TEST(Lexer, AsTheModelInAddressModeSkippingBlanks) {
    expectAsTheModel(LexerMode::Address, Blanks::Skipped);
}

TEST(Lexer, AsTheModelInMimeModeReturningBlanks) {
    expectAsTheModel(LexerMode::Mime, Blanks::Returned);
}

TEST(Lexer, AsTheModelInMimeModeSkippingBlanks) {
    expectAsTheModel(LexerMode::Mime, Blanks::Skipped);
}

}  // namespace
