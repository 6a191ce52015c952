// SPDX-License-Identifier: Apache-2.0
// What a body is read through, and where malformed encodings end it.
#include <gtest/gtest.h>

#include <sstream>

#include "tests/unit/entitydecoder/entity_fixtures.h"

namespace {

std::string decoded(const std::string& encoding, const std::string& body) {
    return bodyOf(*entityOf("Content-Type: image/png\nContent-Transfer-Encoding: " + encoding +
                            "\n\n" + body));
}

std::string quoted(const std::string& body) { return decoded("quoted-printable", body); }

TEST(TransferDecoding, OfBase64InAnyCase) {
    EXPECT_EQ(decoded("BASE64", "YWJj"), "abc");
    EXPECT_EQ(decoded("base64", "YWJj"), "abc");
}

TEST(TransferDecoding, OfQuotedPrintableInAnyCase) {
    EXPECT_EQ(decoded("Quoted-Printable", "a=3Db=\nc"), "a=bc");
}

TEST(TransferDecoding, WithoutTheFieldLeavesTheBody) {
    EXPECT_EQ(bodyOf(*entityOf("A: b\n\nYWJj=3D")), "YWJj=3D");
}

TEST(TransferDecoding, OfIdentitiesLeavesTheBody) {
    for (const std::string encoding : {"7bit", "8bit", "8BIT", "binary"})
        EXPECT_EQ(decoded(encoding, "YWJj=3D\xFF\r\n"), "YWJj=3D\xFF\r\n") << encoding;
}

TEST(TransferDecoding, OfAnUnknownNameLeavesTheBody) {
    EXPECT_EQ(decoded("x-uuencode", "begin 644 a\n#86)C\n`\nend\n"),
              "begin 644 a\n#86)C\n`\nend\n");
}

TEST(TransferDecoding, OfARepeatedFieldIsThatOfTheFirst) {
    EXPECT_EQ(decoded("base64\nContent-Transfer-Encoding: base64", "YWJj"), "abc");
    EXPECT_EQ(decoded("base64\nContent-Transfer-Encoding: 7bit", "YWJj"), "abc");
}

TEST(TransferDecoding, OfAQuotedNameIsNone) { EXPECT_EQ(decoded("\"base64\"", "YWJj"), "YWJj"); }

TEST(TransferDecoding, OfANameWithABlankBehindTheFieldNameIsNone) {
    EXPECT_EQ(bodyOf(*entityOf("Content-Transfer-Encoding : base64\n\nYWJj")), "YWJj");
}

TEST(TransferDecoding, IsChosenAgainByEachCall) {
    std::istringstream in("");
    MIMEBinaryDecoder plain({}, in);
    EXPECT_EQ(plain.getTransferStreambuf(), in.rdbuf());
    MIMEBinaryDecoder base64({{u"content-transfer-encoding", "base64"}}, in);
    EXPECT_NE(dynamic_cast<base64buf*>(base64.getTransferStreambuf()), nullptr);
    MIMEBinaryDecoder quotedPrintable({{u"content-transfer-encoding", "quoted-printable"}}, in);
    EXPECT_NE(dynamic_cast<quotedprintablebuf*>(quotedPrintable.getTransferStreambuf()), nullptr);
}

TEST(TransferDecoding, OfCutOffBase64GivesWhatItsDigitsHold) {
    EXPECT_EQ(decoded("base64", "YWJjZGV"), "abcde");
}

TEST(TransferDecoding, OfBase64EndsAtItsPadding) {
    EXPECT_EQ(decoded("base64", "YWI=YWJj\n"), "ab");
}

TEST(MalformedEscape, IsLeftOutAndTheBodyGoesOn) { EXPECT_EQ(quoted("ab=zzcd"), "abcd"); }

TEST(MalformedEscape, EndsABodyThatItBegins) { EXPECT_EQ(quoted("=zzabcd"), ""); }

TEST(MalformedEscape, EndsTheBodyBehindAnother) { EXPECT_EQ(quoted("ab=zz=zzcd"), "ab"); }

TEST(MalformedEscape, DoesNotEndTheBodyBehindAnotherAndAnOctet) {
    EXPECT_EQ(quoted("ab=zzc=zzd"), "abcd");
}

TEST(MalformedEscape, EndsABodyOfExactlyOneBlock) {
    const std::string block(1024, 'x');
    EXPECT_TRUE(quoted(block + "=zzcd") == block);
}

TEST(MalformedEscape, EndsABodyOfExactlyTwoBlocks) {
    const std::string blocks(2048, 'x');
    EXPECT_TRUE(quoted(blocks + "=zzcd") == blocks);
}

TEST(MalformedEscape, DoesNotEndABodyOfAlmostOneBlock) {
    EXPECT_TRUE(quoted(std::string(1023, 'x') + "=zzcd") == std::string(1023, 'x') + "cd");
    EXPECT_TRUE(quoted(std::string(1025, 'x') + "=zzcd") == std::string(1025, 'x') + "cd");
}

TEST(MalformedEscape, StartsANewBlock) {
    // Behind the escape the block of 1024 begins anew.
    const std::string block(1024, 'x');
    EXPECT_TRUE(quoted("ab=zz" + block + "=zzcd") == "ab" + block);
}

TEST(MalformedEscape, MayBeOfLowerCaseDigits) { EXPECT_EQ(quoted("a=3db=3Dc"), "ab=c"); }

TEST(MalformedEscape, AtTheEndIsLeftOut) {
    EXPECT_EQ(quoted("ab="), "ab");
    EXPECT_EQ(quoted("ab=4"), "ab");
    EXPECT_EQ(quoted("ab=zz"), "ab");
}

TEST(MalformedEscape, InAPartLeavesTheRestToBeReadAsDelimiterLineAndParts) {
    // The body ends at the second escape. "cd" counts as the rest of a delimiter line, and what
    // stands behind it up to the next delimiter as a part.
    const OwnedEntity entity =
        entityOf(crlf("Content-Type: multipart/mixed; boundary=b\n\n"
                      "--b\nContent-Transfer-Encoding: quoted-printable\n\nab=zz=zzcd\n"
                      "X: y\n\nrest\n--b\n\nlast\n--b--\n"));
    EXPECT_EQ(partBodies(*entity), (std::vector<std::string>{"ab", "rest", "last"}));
    EXPECT_EQ(partsOf(*entity)[1]->getRawHeader(u"X"), "y");
}

TEST(MalformedEscape, InAPartLosesWhatWasTakenForTheBeginningOfADelimiter) {
    // The second escape takes "z" and "\r" for its digits. The boundary reader has taken "\r\n"
    // by then; its "\n" goes with it, and "L: o" becomes the rest of the delimiter line.
    const OwnedEntity entity = entityOf(
        "Content-Type: multipart/mixed; boundary=b\n\n"
        "--b\nContent-Transfer-Encoding: quoted-printable\n\nab=zz=z\r\nL: o\nX: y\n\nrest"
        "\n--b--\n");
    EXPECT_EQ(partBodies(*entity), (std::vector<std::string>{"ab", "rest"}));
    EXPECT_EQ(partsOf(*entity)[1]->getRawHeader(u"L"), "");
    EXPECT_EQ(partsOf(*entity)[1]->getRawHeader(u"X"), "y");
}

}  // namespace
