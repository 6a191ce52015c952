// SPDX-License-Identifier: Apache-2.0
// One small example for each rule of headers and messages, octet for octet. The other files of
// this folder go through all combinations.
#include <gtest/gtest.h>

#include "tests/support/wide_text.h"
#include "tests/unit/rfc2822encoder/encoder_fixtures.h"

using namespace std::string_literals;

namespace {

std::string mailbox(const Zeb_String& name) {
    std::string out;
    EXPECT_TRUE(encodeRecip(AdCharset::getUTF8Charset(), u"a@b", name, out));
    return out;
}

std::string messageWith(const Zeb_String& body) {
    RFC2822Encoder encoder;
    encoder.setBody(body);
    return message(encoder);
}

std::string encodingOf(const Zeb_String& body) {
    return fieldOf(messageWith(body), "Content-Transfer-Encoding");
}

TEST(HeaderExample, PlainSubject) { EXPECT_EQ(field(u"Hello world"), "Subject: Hello world\r\n"); }

TEST(HeaderExample, LineFeedIsABlank) {
    EXPECT_EQ(field(u"Line1\nLine2"), "Subject: Line1 Line2\r\n");
}

TEST(HeaderExample, TwoLineFeedsAreOneBlank) { EXPECT_EQ(field(u"a\n\nb"), "Subject: a b\r\n"); }

TEST(HeaderExample, LineEndKeepsItsCarriageReturn) {
    // The word holds "a", CR, a blank, "b".
    EXPECT_EQ(field(u"a\r\nb"), "Subject: =?UTF-8?B?YQ0gYg==?= \r\n");
}

TEST(HeaderExample, LineFeedAtTheEndIsEncoded) {
    EXPECT_EQ(field(u"a\n"), "Subject: =?UTF-8?B?YQo=?= \r\n");
}

TEST(HeaderExample, LineFeedsAtTheEndAreOne) { EXPECT_EQ(field(u"a\n\n\n"), field(u"a\n")); }

TEST(HeaderExample, TabIsEncoded) { EXPECT_EQ(field(u"a\tb"), "Subject: =?UTF-8?B?YQli?= \r\n"); }

TEST(HeaderExample, PlainTextThatLooksEncodedStaysAsItIs) {
    EXPECT_EQ(field(u"=?UTF-8?B?YQ==?="), "Subject: =?UTF-8?B?YQ==?=\r\n");
}

TEST(HeaderExample, EmptyValueOfAnyFieldHasNoLineEnd) { EXPECT_EQ(field(u"", u"X"), "X: "); }

TEST(HeaderExample, FortyFiveOctetsAreOneWord) {
    EXPECT_EQ(field(Zeb_String(0x20AC, 15)),
              "Subject: =?UTF-8?B?" + slowBase64(repeated("\xE2\x82\xAC", 15)) + "?= \r\n");
}

TEST(HeaderExample, FortySixOctetsAreTwoWords) {
    EXPECT_EQ(
        field(Zeb_String(u'a', 44) + u"\xE9"),
        "Subject: =?UTF-8?B?" + slowBase64(std::string(44, 'a')) + "?=\r\n =?UTF-8?B?w6k=?= \r\n");
}

TEST(HeaderExample, LoneSurrogateIsTheReplacementCharacter) {
    EXPECT_EQ(field(u"\xD83D"), "Subject: =?UTF-8?B?77+9?= \r\n");
}

TEST(HeaderExample, Base64OfNothing) { EXPECT_EQ(encode2047B(""), ""); }
TEST(HeaderExample, Base64OfOneOctet) { EXPECT_EQ(encode2047B("a"), "YQ=="); }
TEST(HeaderExample, Base64OfTwoOctets) { EXPECT_EQ(encode2047B("ab"), "YWI="); }
TEST(HeaderExample, Base64OfThreeOctets) { EXPECT_EQ(encode2047B("abc"), "YWJj"); }

TEST(HeaderExample, HalvesOfAPairWithinAWord) {
    int lo = 0;
    int hi = 3;
    std::string chunk;
    bi_len(&lo, &hi, u"a\xD83D\xDE00z", chunk);
    EXPECT_EQ(chunk, "a\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST(HeaderExample, DoubleQuotesInAName) {
    EXPECT_EQ(mailbox(u"Joe \"X\" Y"), "\"Joe \\\"X\\\" Y\" <a@b>");
}

TEST(HeaderExample, NoNameNoBlank) { EXPECT_EQ(mailbox(u""), "<a@b>"); }

TEST(HeaderExample, NameIsOneWordOfAnyLength) {
    EXPECT_EQ(mailbox(Zeb_String(0xE9, 300)),
              "=?UTF-8?B?" + slowBase64(repeated("\xC3\xA9", 300)) + "?= <a@b>");
}

TEST(HeaderExample, NoRecipientsNoLine) { EXPECT_EQ(handleRecip("To: ", {}), ""); }

TEST(HeaderExample, TwoRecipientsOnOneLine) {
    EXPECT_EQ(handleRecip("To: ", {"a", "b"}), "To: a, b\r\n");
}

TEST(MessageExample, LineFeedIsSentAsALineEnd) {
    EXPECT_EQ(bodyOf(messageWith(u"a\nb")), "a\r\nb");
}

TEST(MessageExample, LineEndIsUnchanged) { EXPECT_EQ(bodyOf(messageWith(u"a\r\nb")), "a\r\nb"); }

TEST(MessageExample, AsciiIsSevenBit) { EXPECT_EQ(encodingOf(u"Hello =\t\n"), "7bit"); }

TEST(MessageExample, MostlyNonAsciiIsBase64OfSeventySix) {
    const std::string body = bodyOf(messageWith(Zeb_String(0xE9, 100)));
    EXPECT_EQ(body.find("\r\n"), 76U);
    EXPECT_EQ(body.find("\r\n", 78), 78U + 76U);
}

TEST(MessageExample, AControlOctetInTextIsQuotedPrintable) {
    EXPECT_EQ(encodingOf(u"hello \x01 world"), "quoted-printable");
}

TEST(MessageExample, ADeleteAloneIsBase64) { EXPECT_EQ(encodingOf(u"\x7F"), "base64"); }

TEST(MessageExample, ThreeControlsAreBase64) { EXPECT_EQ(encodingOf(u"\x1\x1\x1"), "base64"); }

TEST(MessageExample, AddressWithANameInItIsWrittenAsItIs) {
    RFC2822Encoder encoder;
    EXPECT_TRUE(encoder.setSender(u"Joe <j@x>", u""));
    EXPECT_EQ(fieldOf(message(encoder), "From"), "<Joe <j@x>>");
}

TEST(MessageExample, SameRecipientTwiceIsOneMailbox) {
    RFC2822Encoder encoder;
    EXPECT_TRUE(encoder.addTo(u"a@x", u"A"));
    EXPECT_TRUE(encoder.addTo(u"a@x", u"A"));
    EXPECT_EQ(fieldOf(message(encoder), "To"), "\"A\" <a@x>");
}

TEST(MessageExample, QuotedNameSortsBeforeABareMailbox) {
    RFC2822Encoder encoder;
    encoder.addTo(u"a@x", u"");
    encoder.addTo(u"z@x", u"Z");
    EXPECT_EQ(fieldOf(message(encoder), "To"), "\"Z\" <z@x>, <a@x>");
}

TEST(MessageExample, NulsInsideAreKept) {
    RFC2822Encoder encoder;
    encoder.setBody(units(u"a\0b"s));
    EXPECT_EQ(bodyOf(message(encoder, /*eightBit=*/true)), "a\0b"s);
}

}  // namespace
