// SPDX-License-Identifier: Apache-2.0
// Parameters of a MIME header that come in sections (RFC 2231, 3).
#include <gtest/gtest.h>

#include "tests/support/wide_text.h"
#include "tests/unit/rfc2822decoder/header_fixtures.h"

using namespace std::string_literals;

namespace {

/// The parameters of the value "x/y; " + `text`.
std::string parameters(const std::string& text) {
    const std::string whole = dump(MIMEHeaderValue("x/y; " + text));
    return whole.size() > 5 ? whole.substr(5) : "";
}

TEST(ContinuedParameters, ExtendedSectionsAreJoinedAndDecoded) {
    EXPECT_EQ(parameters("title*0*=us-ascii'en'This%20is%20; title*1*=%2A%2A%2Afun%2A%2A%2A"),
              "title=\"This is ***fun***\"");
}

TEST(ContinuedParameters, PlainSectionsAreJoined) {
    EXPECT_EQ(parameters("name*0=\"Long \"; name*1=\"file.txt\""), "name=\"Long file.txt\"");
}

TEST(ContinuedParameters, UnterminatedCommentDropsThem) {
    EXPECT_EQ(parameters("name*0=a; name*1=b ("), "");
}

TEST(ContinuedParameters, ExtendedAndPlainSectionsMix) {
    EXPECT_EQ(parameters("a*0*=UTF-8''%C3; a*1*=%A9; a*2=\" 100%\""), "a=\"<00E9> 100%\"");
    EXPECT_EQ(parameters("a*0=\"1 % \"; a*1*=%41"), "a=\"1 % A\"");
}

TEST(ContinuedParameters, CharacterMaySpanSections) {
    EXPECT_EQ(parameters("a*0*=UTF-8''%C3; a*1*=%A9"), "a=\"<00E9>\"");
    EXPECT_EQ(parameters("a*0*=UTF-8''%C; a*1*=3%A9"), "a=\"<00E9>\"");
}

TEST(ContinuedParameters, SectionsComeInAnyOrder) {
    EXPECT_EQ(parameters("a*2=z; a*0=x; a*1=y"), "a=\"xyz\"");
}

TEST(ContinuedParameters, SectionsAreOrderedByNumberAndNotByText) {
    EXPECT_EQ(parameters("a*10=z; a*9=y; a*0=x"), "a=\"xyz\"");
}

TEST(ContinuedParameters, MissingSectionIsEmpty) {
    EXPECT_EQ(parameters("a*0=x; a*7=z"), "a=\"xz\"");
}

TEST(ContinuedParameters, RepeatedSectionReplacesTheEarlierOne) {
    EXPECT_EQ(parameters("a*0=x; a*1=y; a*0=z"), "a=\"zy\"");
    EXPECT_EQ(parameters("a*0=x; a*00=z"), "a=\"z\"");
}

TEST(ContinuedParameters, NamesShareTheirSectionsWithoutRegardToCase) {
    EXPECT_EQ(parameters("Ab*0=x; aB*1=y"), "Ab=\"xy\"");
}

TEST(ContinuedParameters, NamesHaveTheirOwnSections) {
    EXPECT_EQ(parameters("a*0=x; b*0=p; a*1=y; b*1=q"), "a=\"xy\"; b=\"pq\"");
}

TEST(ContinuedParameters, SectionsReplaceAPlainOne) {
    EXPECT_EQ(parameters("a=p; a*0=x"), "a=\"x\"");
    EXPECT_EQ(parameters("a*0=x; a=p"), "a=\"x\"");
    EXPECT_EQ(parameters("a*0=x; a*=''p"), "a=\"x\"");
}

TEST(ContinuedParameters, PlainOneIsKeptWhenSectionsAreDropped) {
    EXPECT_EQ(parameters("a=p; a*0=x;"), "a=\"p\"");
}

TEST(ContinuedParameters, SectionZeroAloneIsEnough) { EXPECT_EQ(parameters("a*0=x"), "a=\"x\""); }

TEST(ContinuedParameters, WithoutSectionZeroTheyStayUndecoded) {
    EXPECT_EQ(parameters("a*1=x"), "a=\"x\"");
    EXPECT_EQ(parameters("a*1=\"p q\""), "a=\"p%20q\"");
    EXPECT_EQ(parameters("a*1*=%41"), "a=\"%41\"");
}

TEST(ContinuedParameters, WithoutSectionZeroEscapesAreDoubled) {
    EXPECT_EQ(parameters("a*2=%20"), "a=\"%2520\"");
    EXPECT_EQ(parameters("a*2=\"% 20\""), "a=\"%25%2020\"");
}

TEST(ContinuedParameters, LaterSectionMayBringTheCharset) {
    EXPECT_EQ(parameters("a*1*=''%41"), "a=\"A\"");
}

TEST(ContinuedParameters, QuotesInAPlainSectionAreText) {
    EXPECT_EQ(parameters("a*0=\"it's 'x'\""), "a=\"it's 'x'\"");
}

TEST(ContinuedParameters, PlainSectionThatIsNoAsciiStaysInExtendedForm) {
    EXPECT_EQ(parameters("a*0=\"p\tq r\""), "a=\"''p<0009>q%20r\"");
    EXPECT_EQ(parameters("a*0=\"\xC3\xA9 %\""), "a=\"''<00E9>%20%25\"");
}

TEST(ContinuedParameters, MalformedExtendedSectionLeavesAllOfItUndecoded) {
    EXPECT_EQ(parameters("a*0*=us-ascii''%41; a*1*=%4a"), "a=\"us-ascii''%41%4a\"");
}

TEST(ContinuedParameters, ExtendedSectionZeroNeedsItsCharset) {
    EXPECT_EQ(parameters("a*0*=%41; a*1*=%42"), "a=\"%41%42\"");
}

TEST(ContinuedParameters, TrailingSeparatorDropsThem) {
    EXPECT_EQ(parameters("a*0=x; a*1=y;"), "");
    EXPECT_EQ(parameters("b=c; a*0=x; a*1=y;"), "b=\"c\"");
}

TEST(ContinuedParameters, CommentBehindTheLastOneDropsThem) {
    EXPECT_EQ(parameters("a*0=x; a*1=y (c)"), "");
}

TEST(ContinuedParameters, AnyLaterFaultDropsThem) {
    for (const char* fault : {"; b", "; b=", " \"c\"", ", b=c", "; b=c d=e", " \"c", "; b=c (d)"})
        EXPECT_EQ(parameters("a*0=x"s + fault).find("a="), std::string::npos) << fault;
}

TEST(ContinuedParameters, MissingSeparatorBehindASectionIsTolerated) {
    EXPECT_EQ(parameters("a*0=x a*1=y"), "a=\"xy\"");
    EXPECT_EQ(parameters("a*0=x a*1=y b=z"), "a=\"xy\"; b=\"z\"");
}

TEST(ContinuedParameters, MissingSeparatorIsSticky) {
    EXPECT_EQ(parameters("a*0=x b=y; c=z"), "b=\"y\"");
    EXPECT_EQ(parameters("a*0=x a*1=y; a*2=z"), "");
}

TEST(ContinuedParameters, StickyMissingSeparatorHoldsBehindSectionsOnly) {
    EXPECT_EQ(parameters("a*0=x b=y c=z"), "b=\"y\"");
}

TEST(ContinuedParameters, StickyMissingSeparatorTakesASpecialAsName) {
    EXPECT_EQ(parameters("a*0=x b=y ;=z"), ";=\"z\"; a=\"x\"; b=\"y\"");
    EXPECT_EQ(parameters("a*0=x b=y \xE9=z"), "a=\"x\"; b=\"y\"; <FFE9>=\"z\"");
}

TEST(ContinuedParameters, StickyMissingSeparatorTakesNoQuotedName) {
    EXPECT_EQ(parameters("a*0=x \"b\"=y"), "");
    EXPECT_EQ(parameters("a*0=x a*1=y \"b\"=z"), "");
}

TEST(ContinuedParameters, SectionNumberMayHaveASign) {
    EXPECT_EQ(parameters("a*0=x; a*+1=y"), "a=\"xy\"");
    EXPECT_EQ(parameters("a*-0=x"), "a=\"x\"");
}

TEST(ContinuedParameters, NegativeNumberIsNoSectionAndCutsTheName) {
    EXPECT_EQ(parameters("a*-1=\"x y%\""), "a=\"x y%\"");
    EXPECT_EQ(parameters("a*-1*=''%41"), "a=\"A\"");
    EXPECT_EQ(parameters("a*-1=x;"), "a=\"x\"");
}

TEST(ContinuedParameters, MissingNumberIsSectionZero) {
    EXPECT_EQ(parameters("a**=x"), "a=\"x\"");
    EXPECT_EQ(parameters("a**=''%41; a*1*=%42"), "a=\"AB\"");
    EXPECT_EQ(parameters("a**=''%41;"), "");
}

TEST(ContinuedParameters, LeadingZerosAreDecimal) {
    EXPECT_EQ(parameters("a*010=z; a*8=x; a*9=y; a*0=w"), "a=\"wxyz\"");
}

TEST(ContinuedParameters, WhatIsNoNumberStaysInTheName) {
    for (const char* name : {"a*x", "a*1x", "a*0x1", "a*+", "a*-", "a*1.", "a*--1", "a*1+"}) {
        EXPECT_EQ(parameters(name + "=v"s), name + "=\"v\""s);
        EXPECT_EQ(parameters(name + "*=''%41"s), name + "=\"A\""s);
    }
}

TEST(ContinuedParameters, LastAsteriskCounts) {
    EXPECT_EQ(parameters("a*1*0=x; a*1*1=y"), "a*1=\"xy\"");
    EXPECT_EQ(parameters("a*0*1*=x"), "a*0=\"x\"");
}

TEST(ContinuedParameters, NameBeforeTheAsteriskMayBeEmpty) {
    EXPECT_EQ(parameters("*0=x; *1=y"), "=\"xy\"");
    EXPECT_EQ(parameters("**=x"), "=\"x\"");
}

TEST(ContinuedParameters, NumberOfTwoToThe31AndMoreIsNoSection) {
    for (const char* number :
         {"2147483648", "4294967295", "4294967296", "4294967297", "9223372036854775808",
          "18446744073709551615", "18446744073709551616", "99999999999999999999999"})
        EXPECT_EQ(parameters("a*"s + number + "=\"x y\";"), "a=\"x y\"") << number;
}

TEST(ContinuedParameters, LargeNegativeNumberIsNoSection) {
    for (const char* number : {"-2147483648", "-4294967295", "-18446744073709551616"})
        EXPECT_EQ(parameters("a*"s + number + "=\"x y\";"), "a=\"x y\"") << number;
}

TEST(ContinuedParameters, LargestSectionNumberCostsNothing) {
    EXPECT_EQ(parameters("a*2147483647=z; a*0=x"), "a=\"xz\"");
    EXPECT_EQ(parameters("a*2147483647=%"), "a=\"%25\"");
}

TEST(ContinuedParameters, GB2312IsReadAsGBK) {
    EXPECT_EQ(parameters("a*0*=GB2312''%82; a*1*=b"), "a=\"<4FE0>\"");
}

TEST(ContinuedParameters, UnknownCharsetLeavesThemUndecoded) {
    EXPECT_EQ(parameters("a*0*=no-such'en'%41; a*1=\"b c\""), "a=\"no-such'en'%41b%20c\"");
}

}  // namespace
