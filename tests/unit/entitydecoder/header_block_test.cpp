// SPDX-License-Identifier: Apache-2.0
// MIMEDecoder::readHeaders: one header block from a stream into a map.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iterator>
#include <sstream>

#include "tests/support/wide_text.h"
#include "tests/unit/entitydecoder/entity_fixtures.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

using Fields = std::vector<std::pair<std::string, std::string>>;

Fields fieldsOf(const std::string& text) {
    Fields fields;
    for (const auto& [name, value] : headersOf(text)) fields.emplace_back(utf8(name), value);
    return fields;
}

/// What readHeaders leaves in the stream.
std::string restBehindHeaders(const std::string& text) {
    std::istringstream in(text);
    HeaderMap headers;
    MIMEDecoder::readHeaders(headers, in);
    return {std::istreambuf_iterator<char>(in.rdbuf()), {}};
}

TEST(HeaderBlock, OfNothingIsEmpty) { EXPECT_THAT(fieldsOf(""), IsEmpty()); }

TEST(HeaderBlock, EndsAtAnEmptyLine) {
    EXPECT_THAT(fieldsOf("A: b\n\nC: d\n"), ElementsAre(Pair("A", "b")));
    EXPECT_EQ(restBehindHeaders("A: b\n\nC: d\n"), "C: d\n");
}

TEST(HeaderBlock, EndsAtALineThatHoldsOnlyACarriageReturn) {
    EXPECT_THAT(fieldsOf("A: b\r\n\r\nC: d\r\n"), ElementsAre(Pair("A", "b")));
    EXPECT_EQ(restBehindHeaders("A: b\r\n\r\nC: d\r\n"), "C: d\r\n");
}

TEST(HeaderBlock, IsEmptyBehindAFirstLineOfBlanks) {
    EXPECT_THAT(fieldsOf(" \t \nA: b\n\n"), IsEmpty());
    EXPECT_EQ(restBehindHeaders(" \t \r\nA: b\n\n"), "A: b\n\n");
}

TEST(HeaderBlock, IsEmptyBehindAFirstLineThatIsEmpty) {
    EXPECT_THAT(fieldsOf("\nA: b\n\n"), IsEmpty());
    EXPECT_EQ(restBehindHeaders("\nA: b\n\n"), "A: b\n\n");
}

TEST(HeaderBlock, LosesAFieldThatALineOfBlanksContinues) {
    EXPECT_THAT(fieldsOf("X: y\nA: b\n \nbody"), ElementsAre(Pair("X", "y")));
    EXPECT_EQ(restBehindHeaders("X: y\nA: b\n \nbody"), "body");
}

TEST(HeaderBlock, LosesAFoldedFieldWhoseLastLineIsBlank) {
    EXPECT_THAT(fieldsOf("X: y\r\nA: b\r\n c\r\n\t\r\nbody"), ElementsAre(Pair("X", "y")));
}

TEST(HeaderBlock, KeepsTheBlankOfAContinuationAndAddsNone) {
    EXPECT_THAT(fieldsOf("Subject: a\r\n b\r\n\r\n"), ElementsAre(Pair("Subject", "a b")));
}

TEST(HeaderBlock, KeepsAllBlanksInFrontOfAContinuation) {
    EXPECT_THAT(fieldsOf("Subject: a\r\n  b\r\n\r\n"), ElementsAre(Pair("Subject", "a  b")));
    EXPECT_THAT(fieldsOf("Subject: a\r\n\tb\r\n\r\n"), ElementsAre(Pair("Subject", "a\tb")));
}

TEST(HeaderBlock, DropsBlanksAtTheEndOfEachLine) {
    EXPECT_THAT(fieldsOf("Subject: a \t\r\n b \r\r\n\n"), ElementsAre(Pair("Subject", "a b")));
}

TEST(HeaderBlock, KeepsBlanksWithinAValue) {
    EXPECT_THAT(fieldsOf("A: b \r c\n\n"), ElementsAre(Pair("A", "b \r c")));
}

TEST(HeaderBlock, TakesAValueThatBeginsOnTheSecondLine) {
    EXPECT_THAT(fieldsOf("A:\r\n b\r\n\r\n"), ElementsAre(Pair("A", "b")));
}

TEST(HeaderBlock, TakesANameThatGoesOnOnTheSecondLine) {
    EXPECT_THAT(fieldsOf("A\n b: c\n\n"), ElementsAre(Pair("A b", "c")));
}

TEST(HeaderBlock, TakesAFirstLineThatIsFolded) {
    EXPECT_THAT(fieldsOf(" A: b\n\n"), ElementsAre(Pair(" A", "b")));
}

TEST(HeaderBlock, HasNoEntryForAFieldWithoutAValue) {
    EXPECT_THAT(fieldsOf("X-Empty:\nA: b\n\n"), ElementsAre(Pair("A", "b")));
}

TEST(HeaderBlock, HasNoEntryForAValueOfBlanks) {
    EXPECT_THAT(fieldsOf("X-Empty: \t \r\nA: b\n\n"), ElementsAre(Pair("A", "b")));
}

TEST(HeaderBlock, LeavesTheFirstValueAloneWhenTheSecondIsEmpty) {
    EXPECT_THAT(fieldsOf("A: b\nA:\n\n"), ElementsAre(Pair("A", "b")));
}

TEST(HeaderBlock, JoinsRepeatedFieldsByALineFeed) {
    EXPECT_THAT(fieldsOf("Received: a\r\nReceived: b\r\n\r\n"),
                ElementsAre(Pair("Received", "a\nb")));
}

TEST(HeaderBlock, JoinsNamesInAnyCaseUnderTheirFirstSpelling) {
    EXPECT_THAT(fieldsOf("received: a\nX: y\nReceived: b\nRECEIVED: c\n\n"),
                ElementsAre(Pair("received", "a\nb\nc"), Pair("X", "y")));
}

TEST(HeaderBlock, KeepsABlankBeforeTheColonInTheName) {
    const HeaderMap headers = headersOf("Subject : x\n\n");
    EXPECT_EQ(headers.count(u"Subject"), 0U);
    EXPECT_EQ(headers.count(u"Subject "), 1U);
}

TEST(HeaderBlock, DropsALineWithoutAColonAndGoesOn) {
    EXPECT_THAT(fieldsOf("A: b\nno colon here\nC: d\n\n"),
                ElementsAre(Pair("A", "b"), Pair("C", "d")));
}

TEST(HeaderBlock, DropsTheContinuationOfALineWithoutAColon) {
    EXPECT_THAT(fieldsOf("nothing\n here\nA: b\n\n"), ElementsAre(Pair("A", "b")));
}

TEST(HeaderBlock, EndsANameAtTheFirstColon) {
    EXPECT_THAT(fieldsOf("A: b: c\n\n"), ElementsAre(Pair("A", "b: c")));
}

TEST(HeaderBlock, MayHaveAnEmptyName) {
    EXPECT_THAT(fieldsOf(": b\n\n"), ElementsAre(Pair("", "b")));
}

TEST(HeaderBlock, KeepsTheLastFieldWhenTheStreamEndsBehindItsLine) {
    EXPECT_THAT(fieldsOf("A: b\nC: d\n"), ElementsAre(Pair("A", "b"), Pair("C", "d")));
}

TEST(HeaderBlock, KeepsALastLineWithoutALineFeed) {
    EXPECT_THAT(fieldsOf("A: b\nC: d"), ElementsAre(Pair("A", "b"), Pair("C", "d")));
}

TEST(HeaderBlock, KeepsALastContinuationWithoutALineFeed) {
    EXPECT_THAT(fieldsOf("A: b\n c"), ElementsAre(Pair("A", "b c")));
}

TEST(HeaderBlock, OfAStreamThatHasFailedIsEmpty) {
    std::istringstream in("A: b\n\n");
    in.setstate(std::ios::failbit);
    HeaderMap headers;
    MIMEDecoder::readHeaders(headers, in);
    EXPECT_TRUE(headers.empty());
}

TEST(HeaderBlock, IsAddedToWhatTheMapHolds) {
    HeaderMap headers = headersOf("A: b\n\n");
    std::istringstream in("a: c\nD: e\n\n");
    MIMEDecoder::readHeaders(headers, in);
    EXPECT_EQ(headers.at(u"A"), "b\nc");
    EXPECT_EQ(headers.at(u"D"), "e");
}

TEST(HeaderBlock, KeepsTheOctetsOfAValue) {
    EXPECT_THAT(fieldsOf("A: \xC3\xA9 \xFF\n\n"), ElementsAre(Pair("A", "\xC3\xA9 \xFF")));
}

TEST(HeaderBlock, KeepsNulsInAValue) {
    using namespace std::string_literals;
    EXPECT_THAT(fieldsOf("A: b\0c\n\n"s), ElementsAre(Pair("A", "b\0c"s)));
}

TEST(HeaderBlock, ReadsANameOf8BitTextAsUnlabelledText) {
    EXPECT_THAT(fieldsOf("\xC3\xA9: a\n\xE9 : b\n\n"),
                ElementsAre(Pair("\xC3\xA9", "a"), Pair("\xC3\xA9 ", "b")));
}

TEST(HeaderBlock, KeepsANulInAName) {
    using namespace std::string_literals;
    EXPECT_THAT(fieldsOf("A\0B: c\n\n"s), ElementsAre(Pair("A\0B"s, "c")));
}

void expectOrdered(const std::u16string& first, const std::u16string& second) {
    const CaseInsensitiveLess less;
    const Zeb_String a(first.c_str());
    const Zeb_String b(second.c_str());
    const int order = a.CompareNoCase(b);
    EXPECT_EQ(less(a, b), order < 0) << utf8(a) << ' ' << utf8(b);
    EXPECT_EQ(less(b, a), order > 0) << utf8(a) << ' ' << utf8(b);
}

TEST(HeaderNames, AreOrderedWithoutRegardToCase) {
    const std::u16string units = u"aAbB[\xE9\xC9";
    for (std::size_t at = 0; at < 10; ++at) {
        for (const char16_t unit : units) {
            const std::u16string name = std::u16string(at, u'M') + unit + u"mnop";
            for (const char16_t other : units) {
                expectOrdered(name, std::u16string(at, u'm') + other + u"MNOP");
                expectOrdered(name, std::u16string(at, u'M') + other);
            }
            expectOrdered(name, std::u16string(at, u'm'));
        }
    }
}

}  // namespace
