// SPDX-License-Identifier: Apache-2.0
// Setters, copies and assignment of the message encoder.
#include <gtest/gtest.h>

#include "tests/unit/rfc2822encoder/encoder_fixtures.h"

using namespace std::string_literals;

namespace {

const std::time_t now = 1700000000;

// Addresses that have no form on one ASCII line.
const Zeb_String refused[] = {u"j\xF6rg@x", u"a@b\r\nTo: c@d", u"a\nb", u"a\rb", units(u"a\0b"s)};

TEST(EncoderFields, SenderIsReplaced) {
    RFC2822Encoder encoder;
    EXPECT_TRUE(encoder.setSender(u"a@x", u"A"));
    EXPECT_EQ(fieldOf(message(encoder), "From"), "\"A\" <a@x>");
    EXPECT_TRUE(encoder.setSender(u"b@x", u""));
    EXPECT_EQ(fieldOf(message(encoder), "From"), "<b@x>");
}

TEST(EncoderFields, FailedSenderEmptiesTheSender) {
    for (const Zeb_String& address : refused) {
        RFC2822Encoder encoder;
        encoder.setSender(u"a@x", u"A");
        EXPECT_FALSE(encoder.setSender(address, u"B"));
        EXPECT_EQ(fieldOf(message(encoder), "From"), "");
    }
}

TEST(EncoderFields, BlindRecipientIsReplaced) {
    RFC2822Encoder encoder;
    EXPECT_TRUE(encoder.setBcc(u"a@x", u"A"));
    EXPECT_TRUE(encoder.setBcc(u"b@x", u""));
    EXPECT_EQ(fieldOf(message(encoder), "Bcc"), "<b@x>");
}

TEST(EncoderFields, FailedBlindRecipientEmptiesIt) {
    for (const Zeb_String& address : refused) {
        RFC2822Encoder encoder;
        encoder.setBcc(u"a@x", u"A");
        EXPECT_FALSE(encoder.setBcc(address, u""));
        EXPECT_EQ(countOf("Bcc", message(encoder)), 0U);
    }
}

TEST(EncoderFields, RefusedRecipientIsNotAdded) {
    for (const Zeb_String& address : refused) {
        RFC2822Encoder encoder;
        EXPECT_TRUE(encoder.addTo(u"t@x", u""));
        EXPECT_TRUE(encoder.addCc(u"c@x", u""));
        EXPECT_FALSE(encoder.addTo(address, u"B"));
        EXPECT_FALSE(encoder.addCc(address, u""));
        EXPECT_EQ(fieldOf(message(encoder), "To"), "<t@x>");
        EXPECT_EQ(fieldOf(message(encoder), "Cc"), "<c@x>");
    }
}

TEST(EncoderFields, EqualMailboxesAreWrittenOnce) {
    RFC2822Encoder encoder;
    for (int round = 0; round < 2; ++round) {
        EXPECT_TRUE(encoder.addTo(u"a@x", u"A"));
        EXPECT_TRUE(encoder.addCc(u"a@x", u"A"));
    }
    EXPECT_EQ(fieldOf(message(encoder), "To"), "\"A\" <a@x>");
    EXPECT_EQ(fieldOf(message(encoder), "Cc"), "\"A\" <a@x>");
}

TEST(EncoderFields, MailboxesThatDifferInNameOrCaseAreTwo) {
    RFC2822Encoder encoder;
    encoder.addTo(u"a@x", u"A");
    encoder.addTo(u"a@x", u"");
    encoder.addTo(u"A@x", u"");
    EXPECT_EQ(fieldOf(message(encoder), "To"), "\"A\" <a@x>, <A@x>, <a@x>");
}

TEST(EncoderFields, RecipientsStandInTheOrderOfTheirEncodedText) {
    RFC2822Encoder encoder;
    encoder.addTo(u"a@x", u"");
    encoder.addTo(u"b@x", u"\xE9");
    encoder.addTo(u"d@x", u"Z");
    encoder.addTo(u"c@x", u"z");
    // A quotation mark sorts before "<", and that before "=".
    EXPECT_EQ(fieldOf(message(encoder), "To"),
              "\"Z\" <d@x>, \"z\" <c@x>, <a@x>, =?UTF-8?B?w6k=?= <b@x>");
}

TEST(EncoderFields, ExtraHeaderIsAcceptedUnlessItsNameIsRefused) {
    RFC2822Encoder encoder;
    EXPECT_TRUE(encoder.addHeader(u"X-A", u"value"));
    EXPECT_TRUE(encoder.addHeader(u"X-A", u"J\xF6rg\r\nTo: x"));
    EXPECT_TRUE(encoder.addHeader(u"X-A", u""));
    for (const Zeb_String& name : refused) EXPECT_FALSE(encoder.addHeader(name, u"value"));
}

TEST(EncoderFields, SubjectIsReplaced) {
    RFC2822Encoder encoder;
    encoder.setSubject(u"one");
    encoder.setSubject(u"two");
    EXPECT_EQ(fieldOf(message(encoder), "Subject"), "two");
}

TEST(EncoderFields, SubjectIsUtf8WhateverTheCharset) {
    RFC2822Encoder encoder;
    encoder.setCharset(AdCharset(u"ISO-8859-1"));
    encoder.setSubject(u"\xE9");
    EXPECT_EQ(fieldOf(message(encoder), "Subject"), "=?UTF-8?B?w6k=?= ");
}

TEST(EncoderFields, CharsetCountsForNamesSetLater) {
    RFC2822Encoder encoder;
    encoder.setSender(u"a@x", u"\xE9");
    encoder.addTo(u"a@x", u"\xE9");
    encoder.setCharset(AdCharset(u"ISO-8859-1"));
    encoder.addCc(u"a@x", u"\xE9");
    encoder.setBcc(u"a@x", u"\xE9");
    const std::string text = message(encoder);
    EXPECT_EQ(fieldOf(text, "From"), "=?UTF-8?B?w6k=?= <a@x>");
    EXPECT_EQ(fieldOf(text, "To"), "=?UTF-8?B?w6k=?= <a@x>");
    EXPECT_EQ(fieldOf(text, "Cc"), "=?ISO-8859-1?B?6Q==?= <a@x>");
    EXPECT_EQ(fieldOf(text, "Bcc"), "=?ISO-8859-1?B?6Q==?= <a@x>");
}

void fill(RFC2822Encoder& encoder) {
    encoder.setSender(u"s@x", u"S");
    encoder.addTo(u"t@x", u"T");
    encoder.addCc(u"c@x", u"");
    encoder.setBcc(u"b@x", u"");
    encoder.addHeader(u"X-A", u"value");
    encoder.setSubject(u"subject");
    encoder.setBody(u"\xE9");
}

TEST(EncoderFields, CopyTakesEverythingButTheCharset) {
    const FixedClock clock(now, "UTC0");
    RFC2822Encoder source;
    source.setCharset(AdCharset(u"ISO-8859-1"));
    fill(source);
    const RFC2822Encoder copy(source);
    RFC2822Encoder expected;
    fill(expected);
    EXPECT_EQ(message(copy), message(expected));
    EXPECT_EQ(fieldOf(message(copy), "Content-Type"), "text/plain; charset=UTF-8");
    EXPECT_EQ(bodyOf(message(copy, /*eightBit=*/true)), "\xC3\xA9");
}

TEST(EncoderFields, AssignedEncoderKeepsItsOwnCharset) {
    const FixedClock clock(now, "UTC0");
    RFC2822Encoder source;
    fill(source);
    RFC2822Encoder target;
    target.setCharset(AdCharset(u"ISO-8859-1"));
    target.setSender(u"old@x", u"");
    target.addTo(u"old@x", u"");
    target.setBody(u"old");
    EXPECT_EQ(&(target = source), &target);
    RFC2822Encoder expected;
    expected.setCharset(AdCharset(u"ISO-8859-1"));
    fill(expected);
    EXPECT_EQ(message(target), message(expected));
    EXPECT_EQ(fieldOf(message(target), "Content-Type"), "text/plain; charset=ISO-8859-1");
    EXPECT_EQ(bodyOf(message(target, /*eightBit=*/true)), "\xE9");
}

TEST(EncoderFields, AssignmentTakesOverEmptyFieldsToo) {
    const FixedClock clock(now, "UTC0");
    RFC2822Encoder target;
    fill(target);
    target = RFC2822Encoder();
    EXPECT_EQ(message(target), message(RFC2822Encoder()));
}

TEST(EncoderFields, AssignmentToItselfChangesNothing) {
    const FixedClock clock(now, "UTC0");
    RFC2822Encoder encoder;
    encoder.setCharset(AdCharset(u"ISO-8859-1"));
    fill(encoder);
    const std::string before = message(encoder);
    const RFC2822Encoder& same = encoder;
    encoder = same;
    EXPECT_EQ(message(encoder), before);
}

TEST(EncoderFields, CopyIsIndependent) {
    RFC2822Encoder source;
    fill(source);
    RFC2822Encoder copy(source);
    copy.addTo(u"new@x", u"");
    copy.appendBody(u"more");
    EXPECT_EQ(fieldOf(message(source), "To"), "\"T\" <t@x>");
    EXPECT_EQ(bodyOf(message(source, /*eightBit=*/true)), "\xC3\xA9");
}

}  // namespace
