// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>

#include "tests/unit/rfc2822encoder/encoder_fixtures.h"

namespace {

// 5 March 2024, 07:08:09 UTC.
std::time_t morning() { return utcTime(2024, 3, 5, 7, 8, 9); }

RFC2822Encoder fullMessage() {
    RFC2822Encoder encoder;
    encoder.setBody(u"text\n");
    encoder.setBcc(u"hidden@x", u"");
    encoder.addCc(u"c@x", u"");
    encoder.addTo(u"t2@x", u"");
    encoder.addTo(u"t1@x", u"T\xF6");
    encoder.setSender(u"s@x", u"Sender");
    encoder.setSubject(u"Hello");
    return encoder;
}

TEST(MessageHeader, FieldsAndTheirOrderOctetForOctet) {
    const FixedClock clock(morning(), "UTC0");
    EXPECT_EQ(message(fullMessage()),
              "Mime-Version: 1.0\r\n"
              "X-Mailer: Vantorelle Mailer\r\n"
              "Date: 5 Mar 2024 07:08:09 +0000\r\n"
              "Content-Type: text/plain; charset=UTF-8\r\n"
              "Content-Transfer-Encoding: 7bit\r\n"
              "Subject: Hello\r\n"
              "From: \"Sender\" <s@x>\r\n"
              "To: <t2@x>, =?UTF-8?B?VMO2?= <t1@x>\r\n"
              "Cc: <c@x>\r\n"
              "Bcc: <hidden@x>\r\n"
              "\r\n"
              "text\r\n");
}

TEST(MessageHeader, EmptyMessageOctetForOctet) {
    const FixedClock clock(morning(), "UTC0");
    EXPECT_EQ(message(RFC2822Encoder()),
              "Mime-Version: 1.0\r\n"
              "X-Mailer: Vantorelle Mailer\r\n"
              "Date: 5 Mar 2024 07:08:09 +0000\r\n"
              "Content-Type: text/plain; charset=UTF-8\r\n"
              "Content-Transfer-Encoding: 7bit\r\n"
              "From: \r\n"
              "\r\n");
}

TEST(MessageHeader, FromIsWrittenWithoutASender) {
    RFC2822Encoder encoder;
    encoder.setSubject(u"s");
    EXPECT_EQ(fieldOf(message(encoder), "From"), "");
}

TEST(MessageHeader, NoRecipientsNoToAndNoCc) {
    RFC2822Encoder encoder;
    encoder.setSender(u"a@b", u"");
    const std::string header = headerOf(message(encoder));
    EXPECT_EQ(countOf("\r\nTo:", header), 0U);
    EXPECT_EQ(countOf("\r\nCc:", header), 0U);
    EXPECT_EQ(countOf("\r\nBcc:", header), 0U);
    EXPECT_EQ(countOf("\r\nSubject:", header), 0U);
}

TEST(MessageHeader, BlindRecipientStandsInTheHeader) {
    RFC2822Encoder encoder;
    encoder.setBcc(u"b@x", u"B");
    EXPECT_EQ(fieldOf(message(encoder), "Bcc"), "\"B\" <b@x>");
}

TEST(MessageHeader, EmptySubjectRunsIntoFrom) {
    RFC2822Encoder encoder;
    encoder.setSubject(u"");
    encoder.setSender(u"a@b", u"");
    EXPECT_EQ(fieldOf(message(encoder), "Subject"), "From: <a@b>");
}

TEST(MessageHeader, SubjectThatWasEmptiedIsStillWritten) {
    RFC2822Encoder encoder;
    encoder.setSubject(u"one");
    encoder.setSubject(u"");
    EXPECT_EQ(fieldOf(message(encoder), "Subject"), "From: ");
}

TEST(MessageHeader, FoldedSubjectStandsAsEncoded) {
    RFC2822Encoder encoder;
    encoder.setSubject(Zeb_String(0xE9, 23));
    std::string subject;
    encodeRFC2047Unstructured(AdCharset::getUTF8Charset(), u"Subject", Zeb_String(0xE9, 23),
                              subject);
    EXPECT_EQ(countOf("7bit\r\n" + subject + "From: \r\n", message(encoder)), 1U);
}

TEST(MessageHeader, FoldedRecipientsStandAsJoined) {
    RFC2822Encoder encoder;
    std::set<std::string> mailboxes;
    for (int i = 0; i < 30; ++i) {
        Zeb_String address;
        address.Format(u"user%02d@example.org", i);
        encoder.addTo(address, u"");
        encoder.addCc(address, u"");
        mailboxes.insert("<user" + std::string(i < 10 ? "0" : "") + std::to_string(i) +
                         "@example.org>");
    }
    EXPECT_EQ(countOf("From: \r\n" + handleRecip("To: ", mailboxes) +
                          handleRecip("Cc: ", mailboxes) + "\r\n",
                      message(encoder)),
              1U);
}

TEST(MessageHeader, ExtraHeadersAreNotWritten) {
    const FixedClock clock(morning(), "UTC0");
    RFC2822Encoder encoder;
    EXPECT_TRUE(encoder.addHeader(u"X-Extra", u"value"));
    EXPECT_EQ(message(encoder), message(RFC2822Encoder()));
}

TEST(MessageHeader, ContentTypeNamesTheCharset) {
    const struct {
        const char16_t* charset;
        const char* expected;
    } rows[] = {
        {u"utf8", "text/plain; charset=UTF-8"},
        {u"latin1", "text/plain; charset=ISO-8859-1"},
        {u"us-ascii", "text/plain; charset=US-ASCII"},
        {u"koi8-r", "text/plain; charset=KOI8-R"},
        {u"x-not-known", "text/plain; charset=x-not-known"},
    };
    for (const auto& row : rows) {
        RFC2822Encoder encoder;
        encoder.setCharset(AdCharset(row.charset));
        EXPECT_EQ(fieldOf(message(encoder), "Content-Type"), row.expected);
    }
}

TEST(MessageHeader, EveryLineEndsWithCrLf) {
    const std::string text = message(fullMessage());
    EXPECT_EQ(countOf("\n", text), countOf("\r\n", text));
    EXPECT_EQ(countOf("\r", text), countOf("\r\n", text));
}

TEST(MessageHeader, FormattingOfTheStreamPlaysNoPart) {
    const FixedClock clock(morning(), "UTC0");
    std::ostringstream out;
    out << std::setfill('#') << std::setw(60) << std::hex << std::showbase << std::left;
    fullMessage().getData(false, out);
    EXPECT_EQ(out.str(), message(fullMessage()));
}

TEST(MessageHeader, MessageIsAppendedToWhatTheStreamHolds) {
    const FixedClock clock(morning(), "UTC0");
    std::ostringstream out;
    out << "before|";
    fullMessage().getData(false, out);
    EXPECT_EQ(out.str(), "before|" + message(fullMessage()));
}

}  // namespace
