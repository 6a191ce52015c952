// SPDX-License-Identifier: Apache-2.0
// Parameters of a MIME header that stand for themselves.
#include <gtest/gtest.h>

#include "tests/support/wide_text.h"
#include "tests/unit/rfc2822decoder/header_model.h"

using namespace std::string_literals;

namespace {

/// The parameters of the value "x/y; " + `text`.
std::string parameters(const std::string& text) {
    const std::string whole = dump(MIMEHeaderValue("x/y; " + text));
    return whole.size() > 5 ? whole.substr(5) : "";
}

TEST(MimeParameters, NameIsFoundWithoutRegardToCase) {
    const MIMEHeaderValue value("text/plain; charset=us-ascii"s);
    EXPECT_EQ(value.getParameter(u"charset", u"x"), u"us-ascii");
    EXPECT_EQ(value.getParameter(u"CHARSET", u"x"), u"us-ascii");
}

TEST(MimeParameters, DefaultOfAMissingOne) {
    const MIMEHeaderValue value("text/plain; charset="s);
    EXPECT_EQ(value.getParameter(u"charset", u"x"), u"x");
    EXPECT_EQ(value.getParameter(u"", u"x"), u"x");
}

TEST(MimeParameters, EmptyValueIsNotMissing) { EXPECT_EQ(parameterOf("a=\"\"", u"a"), u""); }

TEST(MimeParameters, LastOccurrenceWins) {
    EXPECT_EQ(dump(MIMEHeaderValue("text/plain; charset=us-ascii; charset=utf-8"s)),
              "text/plain; charset=\"utf-8\"");
}

TEST(MimeParameters, FirstSpellingOfANameStays) { EXPECT_EQ(parameters("Ab=1; aB=2"), "Ab=\"2\""); }

TEST(MimeParameters, MissingSeparatorEndsTheText) {
    EXPECT_EQ(dump(MIMEHeaderValue("text/plain charset=us-ascii"s)), "text/plain");
    EXPECT_EQ(parameters("a=b c=d; e=f"), "a=\"b\"");
}

TEST(MimeParameters, CommentEndsTheText) {
    EXPECT_EQ(dump(MIMEHeaderValue("text/plain; charset=us-ascii (comment); format=flowed"s)),
              "text/plain; charset=\"us-ascii\"");
}

TEST(MimeParameters, QuotedValueIsUnescapedAndDecoded) {
    EXPECT_EQ(parameters("a=\"b\\\"\\c\""), "a=\"b\"c\"");
    EXPECT_EQ(parameters("a=\"=?UTF-8?Q?=C3=A9?=\""), "a=\"<00E9>\"");
}

TEST(MimeParameters, BlankQuotedValueIsEmpty) { EXPECT_EQ(parameters("a=\"  \""), "a=\"\""); }

TEST(MimeParameters, UnquotedEncodedWordEndsTheText) {
    EXPECT_EQ(parameters("a=b; c==?UTF-8?Q?d?=; e=f"), "a=\"b\"");
}

TEST(MimeParameters, PercentSignsAreText) { EXPECT_EQ(parameters("a=b%20c''d"), "a=\"b%20c''d\""); }

TEST(MimeParameters, TrailingSeparatorKeepsThem) { EXPECT_EQ(parameters("a=b;"), "a=\"b\""); }

TEST(MimeParameters, EmptyParameterEndsTheText) { EXPECT_EQ(parameters("a=b;; c=d"), "a=\"b\""); }

TEST(MimeParameters, NameIsAnAtom) {
    for (const char* fault : {"\"c\"=d", "=d", "/c=d", "(c) c=d", "\xE9=d", "[=d"})
        EXPECT_EQ(parameters("a=b; "s + fault + "; e=f"), "a=\"b\"") << fault;
}

TEST(MimeParameters, EqualsSignIsNeeded) {
    for (const char* fault : {"c", "c d", "c \"d\"", "c:d", "c; d"})
        EXPECT_EQ(parameters("a=b; "s + fault + "; e=f"), "a=\"b\"") << fault;
}

TEST(MimeParameters, ValueIsAWord) {
    for (const char* fault : {"c=", "c==", "c=;", "c=(d)", "c=/d", "c=\xE9", "c=\"d"})
        EXPECT_EQ(parameters("a=b; "s + fault + "; e=f"), "a=\"b\"") << fault;
}

TEST(MimeParameters, ValueEndsAtASpecial) {
    EXPECT_EQ(parameters("a=b/c; d=e"), "a=\"b\"");
    EXPECT_EQ(parameters("a=b?; d=e"), "a=\"b\"");
    EXPECT_EQ(parameters("a=b=c; d=e"), "a=\"b\"");
    EXPECT_EQ(parameters("a=b\xE9; d=e"), "a=\"b\"");
}

TEST(MimeParameters, QuotedStringBehindAValueEndsTheText) {
    EXPECT_EQ(parameters("a=b \"c\"; d=e"), "a=\"b\"");
}

TEST(MimeParameters, UnterminatedTextBehindAValueKeepsIt) {
    EXPECT_EQ(parameters("a=b \"c"), "a=\"b\"");
    EXPECT_EQ(parameters("a=b (c"), "a=\"b\"");
}

TEST(MimeParameters, ExtendedOneIsDecoded) {
    EXPECT_EQ(dump(MIMEHeaderValue("application/x; title*=us-ascii'en-us'This%20is%20it"s)),
              "application/x; title=\"This is it\"");
}

TEST(MimeParameters, ExtendedOneMayBeQuoted) {
    EXPECT_EQ(parameters("a*=\"UTF-8''%C3%A9\""), "a=\"<00E9>\"");
}

TEST(MimeParameters, ExtendedOneThatIsMalformedIsKeptAsItIs) {
    EXPECT_EQ(parameters("a*=utf-8''%c3"), "a=\"utf-8''%c3\"");
    EXPECT_EQ(parameters("a*=b"), "a=\"b\"");
}

TEST(MimeParameters, ExtendedAndPlainOneShareTheirName) {
    EXPECT_EQ(parameters("a*=''x; a=y"), "a=\"y\"");
    EXPECT_EQ(parameters("a=y; A*=''x"), "a=\"x\"");
}

TEST(MimeParameters, AsteriskAloneIsAnExtendedOneWithoutName) {
    EXPECT_EQ(parameters("*=''%41"), "=\"A\"");
}

TEST(MimeParameters, AsTheModelOnAllShortTexts) {
    for (const std::string& text : allTexts("a;= *1", 6))
        ASSERT_EQ(dump(MIMEHeaderValue("v;" + text)), modelValue("v;" + text)) << text;
}

TEST(MimeParameters, AsTheModelOnRandomPieces) {
    const std::vector<std::string> parts = {
        "a", "b",  "*",   "*0",  "*1", "*2*",        "=", ";", "; ", " ",    "\"",   "x",
        "'", "''", "%41", "%4a", "%",  "us-ascii''", "(", ")", "/",  "\xE9", "=x; ", "=''%20"};
    for (const std::string& text : randomTexts(631, parts, 16, 20000))
        ASSERT_EQ(dump(MIMEHeaderValue("v/w; a" + text)), modelValue("v/w; a" + text)) << text;
}

TEST(MimeParameters, AsTheModelOnRandomParameters) {
    const std::vector<std::string> parts = {"; a=x",
                                            "; a*0=x",
                                            "; a*1=y",
                                            " a*2*=%41",
                                            "; a*0*=us-ascii'en'%41",
                                            "; b*=''%20",
                                            "; a*1=\"p q%\"",
                                            "; a**=x",
                                            "; a*-1=n",
                                            "; a*99999999999=m",
                                            " b*+1=z",
                                            "; b*0=''",
                                            "; a*3*=%c3",
                                            " ;=q",
                                            "; B*2*=\"\t\"",
                                            "; a*2147483648*=u''%41",
                                            "; c*x=1",
                                            "; c*1*2=3",
                                            "; b*0*=utf-8''%C3%A9",
                                            "; =",
                                            "(c)",
                                            " "};
    for (const std::string& text : randomTexts(632, parts, 7, 20000))
        ASSERT_EQ(dump(MIMEHeaderValue("v/w" + text)), modelValue("v/w" + text)) << text;
}

}  // namespace
