// SPDX-License-Identifier: Apache-2.0
// What guarded decoding says about a message, and where.
#include <gtest/gtest.h>

#include <sstream>

#include "tests/unit/entitydecoder/entity_fixtures.h"
#include "tests/unit/guardedmessage/guarded_fixtures.h"

namespace {

const std::string wholeMessage = crlf(
    "Subject: whole\nContent-Type: multipart/mixed; boundary=b\n\npreamble\n"
    "--b\nContent-Type: text/plain; charset=utf-8\nContent-Transfer-Encoding: quoted-printable\n\n"
    "=C3=A9\n--b\nContent-Type: message/rfc822\n\nSubject: inner\n\ntext\n"
    "--b\nContent-Type: image/png\nContent-Transfer-Encoding: base64\n\nQUJD\n--b--\n");

/// Two parts, the second of them with this header and body.
std::string withSecondPart(const std::string& part) {
    return crlf("Content-Type: multipart/mixed; boundary=b\n\n--b\n\none\n--b\n" + part +
                "\n--b--\n");
}

TEST(Defects, OfAWholeMessageAreNone) {
    std::istringstream in(wholeMessage);
    const GuardedMessage message(in);
    EXPECT_EQ(shown(message.getDefects()), Defects{});
    EXPECT_EQ(message.getDefectCount(), 0U);
}

TEST(Defects, OfAnEmptyMessageAreNone) { EXPECT_EQ(defectsOf(""), Defects{}); }

TEST(Defects, OfIdentityEncodingsAreNone) {
    for (const std::string encoding : {"7bit", "8BIT", "Binary", "base64", "quoted-printable"})
        EXPECT_EQ(defectsOf("Content-Transfer-Encoding: " + encoding + "\n\n"), Defects{})
            << encoding;
}

TEST(Defects, TellOfALineWithoutAColon) {
    const std::string text = "A: b\nno colon\nC: d\n\nbody";
    EXPECT_EQ(defectsOf(text), Defects{defect("lineWithoutColon", "1", text.find("C: d"))});
    EXPECT_EQ(guardedDump(text), dump(*messageOf(text)));
}

TEST(Defects, TellOfALineWithoutAColonInAPart) {
    const std::string text = withSecondPart("no colon\nC: d\n\ntwo");
    EXPECT_EQ(defectsOf(text),
              Defects{defect("lineWithoutColon", "1.2", text.find("C: d") + ahead("b"))});
}

TEST(Defects, LeaveAFieldWithoutAValueOut) { EXPECT_EQ(defectsOf("A:\nB: \n\n"), Defects{}); }

TEST(Defects, TellOfAnUnknownTransferEncoding) {
    const std::string text = "Content-Transfer-Encoding: x-own\n\nbody";
    EXPECT_EQ(defectsOf(text), Defects{defect("unknownTransferEncoding", "1", text.find("body"))});
    EXPECT_EQ(guardedDump(text), dump(*messageOf(text)));
}

TEST(Defects, TellOfAMalformedEscape) {
    const std::string text = "Content-Transfer-Encoding: quoted-printable\n\nab=zzcd";
    EXPECT_EQ(defectsOf(text), Defects{defect("malformedQuotedPrintable", "1", text.find("cd"))});
}

TEST(Defects, TellOfEachMalformedEscape) {
    const std::string text = "Content-Transfer-Encoding: quoted-printable\n\n=zzab=zz=zzcd";
    EXPECT_EQ(defectsOf(text), (Defects{defect("malformedQuotedPrintable", "1", text.find("ab=zz")),
                                        defect("malformedQuotedPrintable", "1", text.find("=zzcd")),
                                        defect("malformedQuotedPrintable", "1", text.find("cd"))}));
}

TEST(Defects, TellOfAMalformedEscapeAtTheEnd) {
    for (const std::string end : {"=zz", "=4", "=\r", "=e9"}) {
        const std::string text = "Content-Transfer-Encoding: quoted-printable\n\nab" + end;
        EXPECT_EQ(defectsOf(text), Defects{defect("malformedQuotedPrintable", "1", text.size())})
            << end;
    }
}

TEST(Defects, TakeAnEqualsSignAtTheEndForASoftBreak) {
    EXPECT_EQ(defectsOf("Content-Transfer-Encoding: quoted-printable\n\nab="), Defects{});
}

TEST(Defects, TellOfBase64WithoutItsEnd) {
    for (const std::string body : {"Q", "QU", "QUI", "QUJDR", "QUJDRA", "QUJDREU", "QUJDREU\r\n"}) {
        const std::string text = "Content-Transfer-Encoding: base64\n\n" + body;
        EXPECT_EQ(defectsOf(text), Defects{defect("malformedBase64", "1", text.size())}) << body;
    }
}

TEST(Defects, LeaveWholeBase64Out) {
    for (const std::string body : {"", "\r\n", "QQ==", "QUI=\r\n", "QUJD", "QUJD\r\n\r\n"})
        EXPECT_EQ(defectsOf("Content-Transfer-Encoding: base64\n\n" + body), Defects{}) << body;
}

TEST(Defects, TellOfAnEmptyLineThatHidesTheFirstPart) {
    const std::string text =
        "Content-Type: multipart/mixed; boundary=b\n\n\n--b\n\nfirst\n--b\n\nsecond\n--b--\n";
    std::istringstream in(text);
    const GuardedMessage message(in);
    EXPECT_EQ(shown(message.getDefects()),
              Defects{defect("blankLineBeforeParts", "1", text.find("\n\nfirst"))});
    EXPECT_EQ(message.getMessage().getMessageEntity()->getMultipartDecoder()->getParts().size(),
              2U);
}

TEST(Defects, LeaveAnEmptyLineWithCarriageReturnsOut) {
    const std::string text =
        crlf("Content-Type: multipart/mixed; boundary=b\n\n\n--b\n\nfirst\n--b\n\nsecond\n--b--\n");
    EXPECT_EQ(defectsOf(text), Defects{});
}

TEST(Defects, KeepTheBeginningOfAnUnknownCharset) {
    std::istringstream in("Content-Type: text/plain; charset=" + std::string(1000, 'x') + "\n\na");
    const GuardedMessage message(in);
    const MIMETextDecoder* const text = message.getMessage().getMessageEntity()->getTextDecoder();
    EXPECT_EQ(text->getCharsetName(), Zeb_String(u'x', 128));
}

TEST(Defects, TellOfAnUnknownCharset) {
    const std::string text = "Content-Type: text/plain; charset=x-no-such\n\nbody";
    EXPECT_EQ(defectsOf(text), Defects{defect("unknownCharset", "1", text.find("body"))});
    EXPECT_EQ(guardedDump(text), dump(*messageOf(text)));
}

TEST(Defects, LeaveTheCharsetsThatAreKnownOut) {
    for (const std::string name : {"GB2312", "gb2312", "KOI8-R", "us-ascii", "ansi_x3.4-1968"})
        EXPECT_EQ(defectsOf("Content-Type: text/plain; charset=" + name + "\n\n"), Defects{})
            << name;
}

TEST(Defects, TellOfAMissingBoundary) {
    const std::string text = crlf("Content-Type: multipart/mixed\n\n--x\n\none\n---\n");
    EXPECT_EQ(defectsOf(text), Defects{defect("noBoundary", "1", text.find("--x"))});
    EXPECT_EQ(guardedDump(text), dump(*messageOf(text)));
}

TEST(Defects, TellOfABoundaryThatNeverOccurs) {
    const std::string text = crlf("Content-Type: multipart/mixed; boundary=b\n\n--c\n\none\n");
    EXPECT_EQ(defectsOf(text), Defects{defect("unclosedMultipart", "1", text.size())});
}

TEST(Defects, TellOfAMissingCloseDelimiter) {
    const std::string text = crlf("Content-Type: multipart/mixed; boundary=b\n\n--b\n\none\n");
    EXPECT_EQ(defectsOf(text), Defects{defect("unclosedMultipart", "1", text.size())});
}

TEST(Defects, TellOfAnInnerMultipartThatTheOuterOneEnds) {
    const std::string text =
        withSecondPart("Content-Type: multipart/mixed; boundary=inner\n\n--inner\n\ntext");
    EXPECT_EQ(defectsOf(text),
              Defects{defect("unclosedMultipart", "1.2", text.rfind("--b--") + 3)});
}

TEST(Defects, TellOfTwoMultipartsThatAreCutOffTogether) {
    const std::string text = crlf(
        "Content-Type: multipart/mixed; boundary=b\n\n--b\n"
        "Content-Type: multipart/mixed; boundary=inner\n\n--inner\n\ntext");
    EXPECT_EQ(defectsOf(text), (Defects{defect("unclosedMultipart", "1.1", text.size()),
                                        defect("unclosedMultipart", "1", text.size())}));
}

TEST(Defects, TellTheEntityWithinAnEmbeddedMessage) {
    const std::string text = withSecondPart(
        "Content-Type: message/rfc822\n\nContent-Type: multipart/mixed; boundary=in\n\n"
        "--in\n\nx\n--in\nContent-Type: text/plain; charset=x-no-such\n\nx\n--in--");
    std::istringstream in(text);
    const GuardedMessage message(in);
    ASSERT_EQ(message.getDefects().size(), 1U);
    EXPECT_EQ(message.getDefects()[0].entity, "1.2.1.2");
}

TEST(Defects, TellOffsetsWithinEmbeddedMessagesToABlock) {
    const std::string text =
        "Content-Type: message/rfc822\n\nno colon\nC: d\n\n" + std::string(5000, 'x');
    std::istringstream in(text);
    const GuardedMessage message(in);
    ASSERT_EQ(message.getDefects().size(), 1U);
    EXPECT_EQ(message.getDefects()[0].entity, "1.1");
    EXPECT_GE(message.getDefects()[0].offset, text.find("C: d"));
    EXPECT_LE(message.getDefects()[0].offset, text.find("C: d") + 1024);
}

TEST(Defects, TellOffsetsOfLargeMessages) {
    const std::string text =
        crlf("Content-Type: multipart/mixed; boundary=b\n\n--b\n\n" + std::string(10'000, 'x') +
             "\n--b\nContent-Type: text/plain; charset=x-no-such\n\nsecond\n--b--\n");
    EXPECT_EQ(defectsOf(text),
              Defects{defect("unknownCharset", "1.2", text.find("second") + ahead("b"))});
}

TEST(Defects, TellOffsetsOfEncodedMultipartsAsTheyWereRead) {
    // "--b\n\none\n" without a close delimiter.
    const std::string text =
        "Content-Type: multipart/mixed; boundary=b\nContent-Transfer-Encoding: base64\n\n"
        "LS1iCgpvbmUK";
    EXPECT_EQ(defectsOf(text), Defects{defect("unclosedMultipart", "1", text.size())});
}

TEST(Defects, AreDescribedWithEntityAndOffset) {
    const MIMEDefect found{MIMEDefect::Kind::UnclosedMultipart, "1.2", 57};
    EXPECT_EQ(found.describe(), "entity 1.2, octet 57: the multipart has no end");
}

TEST(Defects, AreEachDescribedInTheirOwnWords) {
    std::vector<std::string> descriptions;
    for (int kind = 0; kind <= static_cast<int>(MIMEDefect::Kind::TooManyEntities); ++kind) {
        const std::string text = MIMEDefect{static_cast<MIMEDefect::Kind>(kind), "1", 0}.describe();
        EXPECT_GT(text.size(), std::string("entity 1, octet 0: ").size());
        for (const std::string& other : descriptions) EXPECT_NE(text, other);
        descriptions.push_back(text);
    }
}

TEST(BehindADefect, TheBodyGoesOnAtTheNextOctet) {
    const std::string text = "Content-Transfer-Encoding: quoted-printable\n\n=zzab=zz=zzcd=";
    std::istringstream in(text);
    const GuardedMessage message(in);
    EXPECT_EQ(bodyOf(*message.getMessage().getMessageEntity()), "abcd");
}

TEST(BehindADefect, ThePartEndsAtItsDelimiter) {
    std::istringstream in(
        crlf("Content-Type: multipart/mixed; boundary=b\n\n--b\n"
             "Content-Transfer-Encoding: quoted-printable\n\nab=zz=zzcd\n--b\n\ntwo\n--b--\n"));
    const GuardedMessage message(in);
    EXPECT_EQ(partBodies(*message.getMessage().getMessageEntity()),
              (std::vector<std::string>{"abcd", "two"}));
}

TEST(BehindADefect, TheOuterMultipartGoesOnWhenItsDelimiterFollowsTheInnerOne) {
    const std::string text = crlf(
        "Content-Type: multipart/mixed; boundary=outer\n\n--outer\n"
        "Content-Type: multipart/mixed; boundary=inner\n\n--inner\n\none\n--inner\n"
        "--outer\n\ntwo\n--outer--\n");
    std::istringstream in(text);
    const GuardedMessage message(in);
    const auto& parts = partsOf(*message.getMessage().getMessageEntity());
    ASSERT_EQ(parts.size(), 2U);
    EXPECT_EQ(partBodies(*parts[0]), std::vector<std::string>{"one"});
    EXPECT_EQ(bodyOf(*parts[1]), "two");
    EXPECT_EQ(shown(message.getDefects()),
              Defects{defect("unclosedMultipart", "1.1", text.find("--outer\r\n\r\ntwo") + 7)});
}

TEST(BehindADefect, TheOuterMultipartGoesOnWhenAnInnerBoundaryBeginsWithItsOwn) {
    const std::string text = crlf(
        "Content-Type: multipart/mixed; boundary=b\n\n--b\n"
        "Content-Type: multipart/mixed; boundary=bb\n\n--bb\n\none\n--bb--\n--b\n\ntwo\n--b--\n");
    std::istringstream in(text);
    const GuardedMessage message(in);
    const auto& parts = partsOf(*message.getMessage().getMessageEntity());
    ASSERT_EQ(parts.size(), 4U);
    EXPECT_TRUE(partsOf(*parts[0]).empty());
    EXPECT_EQ(bodyOf(*parts[1]), "one");
    EXPECT_EQ(bodyOf(*parts[3]), "two");
    EXPECT_EQ(shown(message.getDefects()).at(0),
              defect("unclosedMultipart", "1.1", text.find("--bb\r\n") + 3));
}

}  // namespace
