// SPDX-License-Identifier: Apache-2.0
// The limits of guarded decoding: what is left out, and that it is said.
#include <gtest/gtest.h>

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
const std::string nested =
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
    EXPECT_EQ(Decoded(nested, {.depth = 3}).defects(), Defects{});
}

TEST(DepthLimit, LeavesADeeperMultipartAsABinaryEntity) {
    const Decoded decoded(nested, {.depth = 2});
    EXPECT_EQ(decoded.defects(),
              Defects{defect("tooDeep", "1.2", nested.find("--inner\r\n") + ahead("outer"))});
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
    const Decoded decoded(nested, {.entities = 3});
    EXPECT_EQ(decoded.message.getDefectCount(), 1U);
    EXPECT_EQ(decoded.defects(), Defects{defect("tooManyEntities", "1.2",
                                                nested.find("\r\ndeep\r\n") + ahead("outer"))});
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
    const std::string text = "A: b\r\n \t\r\nbody";
    for (std::size_t limit = text.find("\r\n"); limit < text.find("body"); ++limit)
        EXPECT_EQ(Decoded(text, {.headerSize = limit}).defects(), Defects{}) << limit;
    EXPECT_EQ(Decoded("A: b\n", {.headerSize = 5}).defects(), Defects{});
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

TEST(Limits, HaveDefaultsThatOrdinaryMailDoesNotReach) {
    const MIMELimits limits;
    EXPECT_GE(limits.depth, 50U);
    EXPECT_GE(limits.entities, 10'000U);
    EXPECT_GE(limits.headerSize, 256U << 10);
    EXPECT_GE(limits.defects, 100U);
}

}  // namespace
