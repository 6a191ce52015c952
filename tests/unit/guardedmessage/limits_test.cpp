// SPDX-License-Identifier: Apache-2.0
// The limits of guarded decoding: what is left out, and that it is said.
#include <gtest/gtest.h>

#include <cstdint>
#include <sstream>

#include "tests/unit/entitydecoder/entity_fixtures.h"
#include "tests/unit/guardedmessage/guarded_fixtures.h"

namespace {

using Bodies = std::vector<std::string>;

std::string multipart(const std::string& boundary, const std::string& parts) {
    return "Content-Type: multipart/mixed; boundary=" + boundary + "\n\n" + parts + "\n--" +
           boundary + "--\n";
}

// Two parts on the second level, one on the third.
const std::string twoLevels =
    crlf(multipart("outer", "--outer\n\none\n--outer\n" +
                                multipart("inner", "--inner\n\ndeep\n--inner\n\ndeeper")));

const std::string threeParts = crlf(multipart("b", "--b\n\none\n--b\n\ntwo\n--b\n\nthree"));

/// Owns what `text` gives under the limits, until the test is over.
struct Decoded {
    Decoded(const std::string& text, const MIMELimits& limits) : in(text), message(in, limits) {}

    MIMEDecoder& entity() const { return *message.getMessage().getMessageEntity(); }
    Defects defects() const { return shown(message.getDefects()); }

    std::istringstream in;
    GuardedMessage message;
};

TEST(DepthLimit, IsNotFeltByWhatReachesIt) {
    EXPECT_EQ(Decoded(twoLevels, {.depth = 3}).defects(), Defects{});
}

TEST(DepthLimit, LeavesADeeperMultipartAsABinaryEntity) {
    const Decoded decoded(twoLevels, {.depth = 2});
    EXPECT_EQ(decoded.defects(),
              Defects{defect("tooDeep", "1.2", twoLevels.find("--inner\r\n") + ahead("outer"))});
    ASSERT_EQ(partsOf(decoded.entity()).size(), 2U);
    MIMEDecoder& left = *partsOf(decoded.entity())[1];
    EXPECT_TRUE(left.isBinary());
    EXPECT_EQ(bodyOf(left), crlf("--inner\n\ndeep\n--inner\n\ndeeper\n--inner--\n"));
}

TEST(DepthLimit, LeavesADeeperMessageAsABinaryEntity) {
    const std::string text = "Content-Type: message/rfc822\n\nSubject: a\n\nbody";
    const Decoded decoded(text, {.depth = 1});
    EXPECT_EQ(decoded.defects(), Defects{defect("tooDeep", "1", text.find("Subject"))});
    EXPECT_EQ(bodyOf(decoded.entity()), "Subject: a\n\nbody");
    EXPECT_EQ(Decoded(text, {.depth = 2}).defects(), Defects{});
}

TEST(DepthLimit, DecodesTheTransferEncodingOfWhatItLeaves) {
    const Decoded decoded("Content-Type: message/rfc822\nContent-Transfer-Encoding: base64\n\nQUJD",
                          {.depth = 1});
    EXPECT_EQ(bodyOf(decoded.entity()), "ABC");
}

TEST(DepthLimit, DoesNotStopTheOuterMultipart) {
    const Decoded decoded(
        crlf(multipart("b", "--b\n" + multipart("in", "--in\n\nx") + "--b\n\nlast")), {.depth = 2});
    ASSERT_EQ(partsOf(decoded.entity()).size(), 2U);
    EXPECT_EQ(bodyOf(*partsOf(decoded.entity())[1]), "last");
}

TEST(DepthLimit, OfNoneLeavesEvenTheMessagesOwnEntity) {
    const Decoded decoded(threeParts, {.depth = 0});
    EXPECT_TRUE(decoded.entity().isBinary());
}

TEST(EntityLimit, IsNotFeltByWhatReachesIt) {
    // The multipart is one of them.
    EXPECT_EQ(Decoded(threeParts, {.entities = 4}).defects(), Defects{});
}

TEST(EntityLimit, DropsTheFurtherParts) {
    const Decoded decoded(threeParts, {.entities = 3});
    EXPECT_EQ(partBodies(decoded.entity()), (Bodies{"one", "two"}));
    EXPECT_EQ(decoded.defects(),
              Defects{defect("tooManyEntities", "1", threeParts.find("\r\nthree"))});
}

TEST(EntityLimit, IsNotedOnce) {
    const Decoded decoded(twoLevels, {.entities = 3});
    EXPECT_EQ(decoded.message.getDefectCount(), 1U);
    EXPECT_EQ(decoded.defects(), Defects{defect("tooManyEntities", "1.2",
                                                twoLevels.find("\r\ndeep\r\n") + ahead("outer"))});
    EXPECT_EQ(partsOf(decoded.entity()).size(), 2U);
    EXPECT_TRUE(partsOf(*partsOf(decoded.entity())[1]).empty());
}

TEST(EntityLimit, DropsTheFurtherPartsOfTheOuterMultipartToo) {
    const Decoded decoded(
        crlf(multipart("b", "--b\n" + multipart("in", "--in\n\nx\n--in\n\ny") + "--b\n\nlast")),
        {.entities = 3});
    ASSERT_EQ(partsOf(decoded.entity()).size(), 1U);
    EXPECT_EQ(partBodies(*partsOf(decoded.entity())[0]), Bodies{"x"});
    EXPECT_EQ(decoded.message.getDefectCount(), 1U);
}

TEST(EntityLimit, CountsEmbeddedMessagesAndWhatIsInThem) {
    const std::string text =
        crlf(multipart("b", "--b\nContent-Type: message/rfc822\n\nA: b\n\nx\n--b\n\ntwo"));
    EXPECT_EQ(Decoded(text, {.entities = 4}).defects(), Defects{});
    const Decoded decoded(text, {.entities = 3});
    EXPECT_EQ(partsOf(decoded.entity()).size(), 1U);
    EXPECT_EQ(decoded.defects(), Defects{defect("tooManyEntities", "1", text.find("\r\ntwo"))});
}

TEST(EntityLimit, LeavesAMessageWithoutRoomForItsEntityAsItIs) {
    const std::string text = crlf(multipart("b", "--b\nContent-Type: message/rfc822\n\nA: b\n\nx"));
    const Decoded decoded(text, {.entities = 2});
    ASSERT_EQ(partsOf(decoded.entity()).size(), 1U);
    EXPECT_TRUE(partsOf(decoded.entity())[0]->isBinary());
    EXPECT_EQ(partBodies(decoded.entity()), Bodies{"A: b\r\n\r\nx"});
    EXPECT_EQ(decoded.message.getDefectCount(), 1U);
}

TEST(EntityLimit, HoldsForMessagesInMessages) {
    std::string text;
    for (int i = 0; i < 50; ++i) text += "Content-Type: message/rfc822\n\n";
    const Decoded decoded(text, {.entities = 3});
    EXPECT_EQ(decoded.message.getDefects().at(0).kind, MIMEDefect::Kind::TooManyEntities);
    MIMEDecoder* inner = decoded.entity().getMessageDecoder()->getMessageEntity();
    inner = inner->getMessageDecoder()->getMessageEntity();
    EXPECT_TRUE(inner->isBinary());
}

TEST(HeaderLimit, IsNotFeltByWhatReachesIt) {
    const std::string text = "A: b\nC: d\n\nbody";
    EXPECT_EQ(Decoded(text, {.headerSize = text.find("body")}).defects(), Defects{});
}

TEST(HeaderLimit, DropsTheRestOfTheBlock) {
    const std::string text = "A: b\nC: def\nE: f\n\nbody\n\nmore";
    const Decoded decoded(text, {.headerSize = text.find("ef")});
    EXPECT_EQ(decoded.entity().getRawHeader(u"A"), "b");
    EXPECT_EQ(decoded.entity().getRawHeader(u"C"), "d");
    EXPECT_EQ(decoded.entity().getRawHeader(u"E"), "");
    EXPECT_EQ(bodyOf(decoded.entity()), "body\n\nmore");
    EXPECT_EQ(decoded.defects(), Defects{defect("headerTooLarge", "1", text.find("body"))});
}

TEST(HeaderLimit, FindsTheEndOfTheBlockWhereverItCuts) {
    const std::string text = "A: b\r\nC: d\r\n e\r\n \t\r\nbody";
    for (std::size_t limit = 0; limit < text.find("\r\n \t"); ++limit) {
        const Decoded decoded(text, {.headerSize = limit});
        EXPECT_EQ(bodyOf(decoded.entity()), "body") << limit;
        EXPECT_EQ(decoded.defects().back(), defect("headerTooLarge", "1", text.find("body")))
            << limit;
    }
}

TEST(HeaderLimit, IsNotFeltWhereOnlyBlanksLieBeyondIt) {
    const std::string text = "A: b \t\r\n\r\nbody";
    for (std::size_t limit = text.find(" \t"); limit < text.find("body"); ++limit)
        EXPECT_EQ(Decoded(text, {.headerSize = limit}).defects(), Defects{}) << limit;
    EXPECT_EQ(Decoded("A: b\n", {.headerSize = 5}).defects(), Defects{});
}

TEST(HeaderLimit, IsFeltWhereALineOfBlanksBeyondItWouldDropAField) {
    const Decoded decoded("A: b\n \nbody", {.headerSize = 5});
    EXPECT_EQ(decoded.defects(), (Defects{"headerTooLarge in 1 at 7"}));
}

TEST(HeaderLimit, HoldsForEachPart) {
    const std::string text =
        crlf(multipart("b",
                       "--b\nX-Long: abcdefghijklmnopqrstuvwxyz abcdefghijklmnopqrstuvwxyz\n\none"
                       "\n--b\nA: b\n\ntwo"));
    const Decoded decoded(text, {.headerSize = 50});
    EXPECT_EQ(partBodies(decoded.entity()), (Bodies{"one", "two"}));
    EXPECT_EQ(decoded.defects(),
              Defects{defect("headerTooLarge", "1.1", text.find("one") + ahead("b"))});
    EXPECT_EQ(partsOf(decoded.entity())[1]->getRawHeader(u"A"), "b");
}

TEST(HeaderLimit, EndsABlockWithoutABlankLineWithTheMessage) {
    const std::string text = "A: b\nC: d\nE: f";
    const Decoded decoded(text, {.headerSize = 7});
    EXPECT_EQ(bodyOf(decoded.entity()), "");
    EXPECT_EQ(decoded.defects().back(), defect("headerTooLarge", "1", text.size()));
}

TEST(DefectLimit, KeepsTheFirstAndCountsAll) {
    const std::string text = "a\nb\nc\nd\n\nbody";
    const Decoded decoded(text, {.defects = 2});
    EXPECT_EQ(decoded.defects(),
              (Defects{defect("lineWithoutColon", "1", 2), defect("lineWithoutColon", "1", 4)}));
    EXPECT_EQ(decoded.message.getDefectCount(), 4U);
}

TEST(DefectLimit, MayBeNone) {
    const Decoded decoded("a\nb\n\n", {.defects = 0});
    EXPECT_EQ(decoded.defects(), Defects{});
    EXPECT_EQ(decoded.message.getDefectCount(), 2U);
}

/// A header of so many fields of distinct names, each as short as it can be.
std::string tinyFields(std::size_t count) {
    std::string header;
    for (std::size_t number = 0; number < count; ++number)
        header += std::to_string(number) + ":x\n";
    return header;
}

TEST(OverheadLimit, IsNotFeltByPartsOfOneLine) {
    const Decoded decoded(
        multipart("b", repeated("--b\nContent-Type: text/plain; charset=utf-8\n\nA text of a line, "
                                "not a long one.\n",
                                19'999)),
        {});
    EXPECT_EQ(decoded.defects(), Defects{});
    EXPECT_EQ(partsOf(decoded.entity()).size(), 19'999U);
}

TEST(OverheadLimit, IsNotFeltByFieldsAndListsOfUsualLength) {
    std::string text;
    for (int number = 0; number < 10'000; ++number)
        text += "X-Name-" + std::to_string(number) + ": a value\n";
    text += "To: " + repeated("Jane Doe <jane@example.org>,\n ", 10'000) + "a@b\n";
    text += "Content-Type: text/plain" + repeated("; a*1=\"b=c\"", 500) + "\n\nbody";
    const Decoded decoded(text, {});
    EXPECT_EQ(decoded.defects(), Defects{});
    EXPECT_EQ(decoded.message.getMessage().getTo().size(), 10'001U);
}

TEST(OverheadLimit, DropsPartsThatAreAlmostEmpty) {
    const std::string text = multipart("b", repeated("--b\n\n", 10'000));
    const Decoded decoded(text, {});
    EXPECT_GT(partsOf(decoded.entity()).size(), 2'000U);
    EXPECT_LT(partsOf(decoded.entity()).size(), 4'000U);
    ASSERT_EQ(decoded.message.getDefectCount(), 1U);
    EXPECT_EQ(decoded.message.getDefects()[0].kind, MIMEDefect::Kind::TooManyEntities);
    EXPECT_EQ(partsOf(Decoded(text, {.overhead = 4 << 20}).entity()).size(), 10'000U);
}

TEST(OverheadLimit, DropsTheRestOfABlockOfTinyFields) {
    const std::string text = tinyFields(10'000) + "\nbody";
    const Decoded decoded(text, {});
    EXPECT_GT(decoded.entity().getHeaders().size(), 4'000U);
    EXPECT_LT(decoded.entity().getHeaders().size(), 6'000U);
    EXPECT_EQ(bodyOf(decoded.entity()), "body");
    EXPECT_EQ(decoded.defects(), Defects{defect("headerTooLarge", "1", text.find("body"))});
    EXPECT_EQ(Decoded(text, {.overhead = 4 << 20}).defects(), Defects{});
}

TEST(OverheadLimit, IsSharedByAllBlocks) {
    const std::string half = "--b\n" + tinyFields(4'000) + "\none\n";
    const Decoded decoded(multipart("b", half + half), {});
    ASSERT_EQ(partsOf(decoded.entity()).size(), 2U);
    EXPECT_EQ(partsOf(decoded.entity())[0]->getHeaders().size(), 4'000U);
    EXPECT_LT(partsOf(decoded.entity())[1]->getHeaders().size(), 4'000U);
    EXPECT_EQ(decoded.message.getDefectCount(), 1U);
}

TEST(OverheadLimit, CutsAListOfTinyAddressesAndGoesOnBehindIt) {
    const std::string text = "To: " + repeated("a@b,", 20'000) + "c@d\nSubject: e\n\nbody";
    const Decoded decoded(text, {});
    const std::size_t count = decoded.message.getMessage().getTo().size();
    EXPECT_GT(count, 5'000U);
    EXPECT_LT(count, 12'000U);
    EXPECT_EQ(decoded.entity().getRawHeader(u"To"), repeated("a@b,", count - 1) + "a@b");
    EXPECT_EQ(decoded.entity().getRawHeader(u"Subject"), "e");
    EXPECT_EQ(decoded.defects(), Defects{defect("headerTooLarge", "1", text.find("Subject"))});
}

TEST(OverheadLimit, CutsAListInManyFields) {
    const Decoded decoded(repeated("To: " + repeated("a@b,", 5'000) + "\n", 10) + "\n", {});
    const std::size_t count = decoded.message.getMessage().getTo().size();
    EXPECT_GT(count, 5'000U);
    EXPECT_LT(count, 30'000U);
}

TEST(OverheadLimit, CutsAListWhoseCommasSeemQuotedByTheFieldBefore) {
    const Decoded decoded("To: \"\nTo: " + repeated("\",a@b,\"", 50'000) + "\n\n", {});
    EXPECT_EQ(decoded.message.getDefects().at(0).kind, MIMEDefect::Kind::HeaderTooLarge);
}

TEST(OverheadLimit, CutsAValueOfTinyParameters) {
    std::string text = "Content-Type: text/plain";
    for (int number = 0; number < 5'000; ++number) text += ";" + std::to_string(number) + "=a";
    const Decoded decoded(text + "\n\nbody", {});
    const std::size_t count =
        decoded.entity().getMIMEHeader(u"Content-Type", "").getParameters().size();
    EXPECT_GT(count, 1'000U);
    EXPECT_LT(count, 3'000U);
    EXPECT_TRUE(decoded.entity().isText());
    EXPECT_EQ(decoded.message.getDefects().at(0).kind, MIMEDefect::Kind::HeaderTooLarge);
}

TEST(OverheadLimit, CutsAValueBehindAWholeSection) {
    std::string text = "Content-Type: text/plain";
    for (int number = 0; number < 5'000; ++number) text += "; a*" + std::to_string(number) + "=x";
    const Decoded decoded(text + "\n\nbody", {});
    const MIMEHeaderValue type = decoded.entity().getMIMEHeader(u"Content-Type", "");
    EXPECT_GT(type.getParameter(u"a", u"").GetLength(), 1'000);
}

TEST(OverheadLimit, MayBeNone) {
    EXPECT_EQ(Decoded(tinyFields(20'000) + "\nbody", {.overhead = SIZE_MAX}).defects(), Defects{});
}

TEST(OverheadLimit, DoesNotCountWhatIsQuoted) {
    const Decoded decoded("To: \"" + repeated(",", 50'000) + "\" <a@b>\n\n", {});
    EXPECT_EQ(decoded.defects(), Defects{});
}

TEST(Limits, HaveDefaultsThatOrdinaryMailDoesNotReach) {
    const MIMELimits limits;
    EXPECT_GE(limits.depth, 50U);
    EXPECT_GE(limits.entities, 10'000U);
    EXPECT_GE(limits.headerSize, 256U << 10);
    EXPECT_GE(limits.defects, 100U);
    EXPECT_GE(limits.overhead, 256U << 10);
}

}  // namespace
