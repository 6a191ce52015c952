// SPDX-License-Identifier: Apache-2.0
// MIMEMultipartDecoder: parts, preamble, epilogue, delimiters.
#include <gtest/gtest.h>

#include <memory>
#include <sstream>

#include "tests/support/wide_text.h"
#include "tests/unit/entitydecoder/counted_source.h"
#include "tests/unit/entitydecoder/entity_fixtures.h"
#include "tests/unit/host/child_process.h"

namespace {

using Bodies = std::vector<std::string>;

/// A multipart with the boundary "b".
OwnedEntity multipartOf(const std::string& body) {
    return entityOf("Content-Type: multipart/mixed; boundary=b\n\n" + body);
}

Bodies bodiesOf(const std::string& body) { return partBodies(*multipartOf(body)); }

/// Empty when the plain decoders go on reading behind the end of `source`; else what they did.
std::string spinsOn(std::streambuf& source) {
    const SharedCounter readsAtEnd;
    ChildProcess child([&]() -> std::string {
        CountedSource counted(source, readsAtEnd);
        std::istream in(&counted);
        const OwnedEntity entity = entityOf(in);
        return "the constructor returned";
    });
    if (!readsAtEnd.waitUntil(1'000'000))
        return "read " + std::to_string(readsAtEnd.value()) + " times: " + child.result(1);
    child.kill();
    return "";
}

std::string spinsOn(const std::string& text) {
    std::stringbuf source(text);
    return spinsOn(source);
}

/// The same for the first part of a multipart, `text` being what follows the delimiter's line.
std::string spinsOnPart(const std::string& outerBoundary, const std::string& text) {
    std::stringbuf source(text);
    multipartboundarybuf part(&source, outerBoundary);
    return spinsOn(part);
}

TEST(Multipart, HasItsPartsInOrderWithoutPreambleAndEpilogue) {
    EXPECT_EQ(bodiesOf(crlf("preamble\n--b\n\none\n--b\nA: b\n\ntwo\nlines\n--b--\nepilogue\n")),
              (Bodies{"one", "two\r\nlines"}));
}

TEST(Multipart, MayHaveBareLineFeeds) {
    EXPECT_EQ(bodiesOf("preamble\n--b\nA: b\n\none\n--b\nA: b\n\ntwo\n--b--\nepilogue\n"),
              (Bodies{"one", "two"}));
}

TEST(Multipart, MayBeginWithItsDelimiter) {
    EXPECT_EQ(bodiesOf(crlf("--b\n\none\n--b--\n")), Bodies{"one"});
}

TEST(Multipart, KeepsThePartBehindAnEmptyLine) {
    EXPECT_EQ(bodiesOf(crlf("\n--b\n\none\n--b\n\ntwo\n--b--\n")), (Bodies{"one", "two"}));
}

// In blocks of 100 the preamble is taken, not peeked at: an empty line hides the delimiter behind.
TEST(Multipart, LosesTheFirstPartBehindAnEmptyLineWithABareLineFeed) {
    EXPECT_EQ(bodiesOf("\n--b\n\none\n--b\n\ntwo\n--b--\n"), Bodies{"two"});
}

TEST(Multipart, WithoutPartsHasNone) {
    EXPECT_EQ(bodiesOf(crlf("preamble\n--b--\nepilogue\n")), Bodies{});
}

TEST(Multipart, SkipsBlanksBehindABoundary) {
    EXPECT_EQ(bodiesOf(crlf("--b \t \n\none\n--b  \n\ntwo\n--b--\n")), (Bodies{"one", "two"}));
}

TEST(Multipart, SkipsAnyTextBehindABoundary) {
    EXPECT_EQ(bodiesOf(crlf("--b and more\n\none\n--b--\n")), Bodies{"one"});
}

TEST(Multipart, EndsAtOneHyphenBehindABoundary) {
    EXPECT_EQ(bodiesOf(crlf("--b\n\none\n--b-\n\ntwo\n--b\n\nthree\n--b--\n")), Bodies{"one"});
    EXPECT_EQ(bodiesOf(crlf("--b\n\none\n--b-and so on\n")), Bodies{"one"});
}

TEST(Multipart, EndsWithItsStreamBehindTheCloseDelimiter) {
    EXPECT_EQ(bodiesOf("--b\r\n\r\none\r\n--b-"), Bodies{"one"});
}

TEST(Multipart, MayHoldAMultipart) {
    const OwnedEntity entity =
        multipartOf(crlf("--b\nContent-Type: multipart/mixed; boundary=inner\n\n"
                         "--inner\n\none\n--inner\n\ntwo\n--inner--\n--b\n\nthree\n--b--\n"));
    ASSERT_EQ(partsOf(*entity).size(), 2U);
    EXPECT_EQ(partBodies(*partsOf(*entity)[0]), (Bodies{"one", "two"}));
    EXPECT_EQ(bodyOf(*partsOf(*entity)[1]), "three");
}

TEST(Multipart, MayHoldAMessage) {
    const OwnedEntity entity =
        multipartOf(crlf("--b\nContent-Type: message/rfc822\n\nSubject: inner\n\ntext\n--b--\n"));
    ASSERT_EQ(partsOf(*entity).size(), 1U);
    const RFC2822Decoder& message = asMessage(*partsOf(*entity)[0]);
    EXPECT_EQ(message.getSubject(), u"inner");
    EXPECT_EQ(bodyOf(*message.getMessageEntity()), "text");
}

TEST(Multipart, TakesAPartWithoutContentTypeForAsciiText) {
    const OwnedEntity entity = multipartOf(crlf("--b\n\none\n--b--\n"));
    ASSERT_EQ(partsOf(*entity).size(), 1U);
    ASSERT_TRUE(partsOf(*entity)[0]->isText());
    EXPECT_EQ(partsOf(*entity)[0]->getTextDecoder()->getCharsetName(), u"US-ASCII");
}

TEST(Multipart, TakesAPartOfADigestWithoutContentTypeForText) {
    const OwnedEntity entity =
        entityOf("Content-Type: multipart/digest; boundary=b\n\n--b\n\nSubject: a\n\n\n--b--\n");
    ASSERT_EQ(partsOf(*entity).size(), 1U);
    EXPECT_TRUE(partsOf(*entity)[0]->isText());
}

TEST(Multipart, KeepsTheFieldOfAPartWhoseEmptyLineIsTheDelimitersOwn) {
    const OwnedEntity entity = multipartOf(crlf("--b\nA: b\n\n--b--\n"));
    ASSERT_EQ(partsOf(*entity).size(), 1U);
    EXPECT_EQ(partsOf(*entity)[0]->getRawHeader(u"A"), "b");
    EXPECT_EQ(bodyOf(*partsOf(*entity)[0]), "");
}

TEST(Multipart, HasAnEmptyPartBetweenTwoDelimiters) {
    EXPECT_EQ(bodiesOf(crlf("--b\n\n--b\n\n\n--b--\n")), (Bodies{"", ""}));
}

TEST(Multipart, TakesADelimiterThatIsNoWholeLine) {
    EXPECT_EQ(bodiesOf(crlf("--b\n\none\n--bb\n\ntwo\n--b--\n")), (Bodies{"one", "two"}));
}

TEST(Multipart, LeavesADelimiterInTheMiddleOfALine) {
    EXPECT_EQ(bodiesOf(crlf("--b\n\none --b\n--c\n --b\n--b--\n")),
              Bodies{"one --b\r\n--c\r\n --b"});
}

TEST(Multipart, MayBeEncoded) {
    // "--b\n\none\n--b--\n"
    const OwnedEntity entity = entityOf(
        "Content-Type: multipart/mixed; boundary=b\nContent-Transfer-Encoding: base64\n\n"
        "LS1iCgpvbmUKLS1iLS0K");
    EXPECT_EQ(partBodies(*entity), Bodies{"one"});
}

TEST(Multipart, WithAnEmptyBoundaryIsCutAtEachLineOfTwoHyphens) {
    for (const std::string type : {"multipart/mixed", "multipart/mixed; boundary=\"\""}) {
        const OwnedEntity entity = entityOf("Content-Type: " + type +
                                            "\r\n\r\n--x\r\n\r\none\r\n--y\r\n\r\ntwo\r\n---\r\n");
        EXPECT_EQ(partBodies(*entity), (Bodies{"one", "two"})) << type;
    }
}

TEST(Multipart, WithABoundaryThatIsNoAsciiHasAnEmptyOne) {
    const OwnedEntity entity = entityOf(
        "Content-Type: multipart/mixed; boundary*=utf-8''%C3%A9\r\n\r\n--x\r\n\r\none\r\n---\r\n");
    EXPECT_EQ(partBodies(*entity), Bodies{"one"});
}

TEST(Multipart, TakesItsBoundaryFromAQuotedEncodedWord) {
    const OwnedEntity entity = entityOf(
        "Content-Type: multipart/mixed; boundary=\"=?utf-8?q?b=62?=\"\r\n\r\n"
        "--bb\r\n\r\none\r\n--bb--\r\n");
    EXPECT_EQ(partBodies(*entity), Bodies{"one"});
}

TEST(Multipart, WithABoundaryOfTwoLinesIsInMemoryWhatItIsInAStream) {
    const std::string text =
        "Content-Type: multipart/mixed; boundary=\"a\nContent-Type: b\"\n\n"  // joined by LF
        "--a\nb\n\none\n--a\n--a\nb\n\ntwo\n--a\nb--\n";
    const OwnedEntity inStream = entityOf(text);
    EXPECT_EQ(partBodies(*inStream), Bodies{"one\n--a\n--a\nb\n\ntwo"});
    const OwnedEntity inMemory = messageOf(text);
    EXPECT_EQ(dump(*asMessage(*inMemory).getMessageEntity()), dump(*inStream));
}

TEST(Multipart, DoesNotReleaseItsParts) {
    std::istringstream in("--b\r\n\r\none\r\n--b--\r\n");
    auto multipart = std::make_unique<MIMEMultipartDecoder>(
        HeaderMap{{u"Content-Type", "multipart/mixed; boundary=b"}}, in);
    const Bodies::size_type count = multipart->getParts().size();
    ASSERT_EQ(count, 1U);
    const OwnedEntity part(multipart->getParts()[0]);
    multipart.reset();
    EXPECT_EQ(bodyOf(*part), "one");
}

TEST(CutOffMultipart, SpinsOnABoundaryThatDoesNotOccur) {
    EXPECT_EQ(spinsOn("Content-Type: multipart/mixed; boundary=b\n\n--c\n\none\n--c--\n"), "");
}

TEST(CutOffMultipart, SpinsWithoutABody) {
    EXPECT_EQ(spinsOn("Content-Type: multipart/mixed; boundary=b\n\n"), "");
}

TEST(CutOffMultipart, SpinsBehindADelimiterWithoutALineFeed) {
    EXPECT_EQ(spinsOn("Content-Type: multipart/mixed; boundary=b\n\n--b"), "");
}

TEST(CutOffMultipart, SpinsWithoutACloseDelimiter) {
    EXPECT_EQ(spinsOn("Content-Type: multipart/mixed; boundary=b\n\n--b\n\none\n"), "");
}

// Looking for a hyphen behind its own delimiter the inner one takes the outer one.
TEST(CutOffMultipart, SpinsWhenTheOuterDelimiterFollowsItsOwn) {
    EXPECT_EQ(spinsOnPart("outer", crlf("Content-Type: multipart/mixed; boundary=inner\n\n"
                                        "--inner\n\none\n--inner\n--outer--\n")),
              "");
}

TEST(CutOffMultipart, SpinsWhenItsBoundaryBeginsWithTheOuterOne) {
    EXPECT_EQ(spinsOnPart("b", crlf("Content-Type: multipart/mixed; boundary=bb\n\n"
                                    "--bb\n\none\n--bb--\n--b--\n")),
              "");
}

}  // namespace
