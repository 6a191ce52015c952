// SPDX-License-Identifier: Apache-2.0
// RFC2822Decoder: received and embedded messages, and what they say in their headers.
#include <gtest/gtest.h>

#include <memory>
#include <sstream>

#include "tests/support/wide_text.h"
#include "tests/unit/entitydecoder/entity_fixtures.h"

namespace {

using Texts = std::vector<std::string>;

std::string shown(const RFC2822Address& address) {
    return utf8(address.getName()) + " <" + utf8(address.getSMTPAddress()) + ">";
}

Texts shown(const std::vector<RFC2822Address>& addresses) {
    Texts texts;
    for (const RFC2822Address& address : addresses) texts.push_back(shown(address));
    return texts;
}

std::string senderOf(const std::string& fields) {
    const OwnedEntity message = messageOf(crlf(fields) + "\r\n");
    return shown(asMessage(*message).getSender());
}

Texts recipientsOf(const std::string& fields) {
    const OwnedEntity message = messageOf(crlf(fields) + "\r\n");
    return shown(asMessage(*message).getTo());
}

std::string subjectOf(const std::string& fields) {
    const OwnedEntity message = messageOf(crlf(fields) + "\r\n");
    return utf8(asMessage(*message).getSubject());
}

const std::string plainMessage = crlf(
    "Subject: A plain one\nFrom: Ann <ann@example.com>\nTo: bob@example.com\n"
    "Date: Fri, 21 Nov 1997 09:55:06 -0600 (CST)\n\nText.\n");

const std::string embeddedMessage = crlf(
    "Subject: outer\nContent-Type: multipart/mixed; boundary=b\n\n"
    "--b\nContent-Type: message/rfc822\nX-Part: p\n\nSubject: inner\nX-Own: o\n\ntext\n"
    "--b--\n");

TEST(Message, OfPlainTextAnswersTheHeaderQuestions) {
    const OwnedEntity owned = messageOf(plainMessage);
    const RFC2822Decoder& message = asMessage(*owned);
    EXPECT_EQ(message.getSubject(), u"A plain one");
    EXPECT_EQ(message.getDate(), u"Fri, 21 Nov 1997 09:55:06 -0600 (CST)");
    EXPECT_EQ(shown(message.getSender()), "Ann <ann@example.com>");
    EXPECT_EQ(shown(message.getTo()), Texts{" <bob@example.com>"});
}

TEST(Message, OfPlainTextHasATextEntity) {
    const OwnedEntity owned = messageOf(plainMessage);
    MIMEDecoder& entity = *asMessage(*owned).getMessageEntity();
    EXPECT_TRUE(entity.isText());
    EXPECT_EQ(textOf(entity), "Text.\r\n");
}

TEST(Message, ThatWasReceivedHasNoHeadersOfItsOwn) {
    EXPECT_TRUE(messageOf(plainMessage)->getHeaders().empty());
}

TEST(Message, OfNothingIsAnEmptyText) {
    const OwnedEntity owned = messageOf("");
    const RFC2822Decoder& message = asMessage(*owned);
    ASSERT_TRUE(message.getMessageEntity()->isText());
    EXPECT_TRUE(message.getMessageEntity()->getHeaders().empty());
    EXPECT_EQ(bodyOf(*message.getMessageEntity()), "");
    EXPECT_EQ(message.getSubject(), u"");
    EXPECT_EQ(message.getDate(), u"");
    EXPECT_EQ(shown(message.getTo()), Texts{});
    EXPECT_EQ(shown(message.getSender()), " <>");
}

TEST(Message, ThatIsNoneIsAText) {
    const OwnedEntity owned = messageOf("just some\nlines\n\nand more");
    MIMEDecoder& entity = *asMessage(*owned).getMessageEntity();
    EXPECT_TRUE(entity.getHeaders().empty());
    EXPECT_EQ(bodyOf(entity), "and more");
}

TEST(Message, OfAMultipartHasAMultipartEntity) {
    const OwnedEntity owned = messageOf(embeddedMessage);
    EXPECT_TRUE(asMessage(*owned).getMessageEntity()->isMultipart());
}

TEST(Message, ReadsItsStreamToTheEnd) {
    std::istringstream in(repeated("A: b\r\n", 1000) + "\r\n" + repeated("text\r\n", 1000));
    const OwnedEntity owned(new RFC2822Decoder(in));
    EXPECT_EQ(in.rdbuf()->sgetc(), std::char_traits<char>::eof());
}

TEST(Message, IsNotDecodedByTheEncodingOfItsOwnHeader) {
    const OwnedEntity owned = messageOf("Content-Transfer-Encoding: base64\n\nYWJj");
    EXPECT_EQ(bodyOf(*asMessage(*owned).getMessageEntity()), "abc");
}

TEST(Message, DoesNotReleaseItsEntity) {
    std::istringstream in(plainMessage);
    auto message = std::make_unique<RFC2822Decoder>(in);
    const OwnedEntity entity(message->getMessageEntity());
    message.reset();
    EXPECT_EQ(bodyOf(*entity), "Text.\r\n");
}

TEST(EmbeddedMessage, AnswersFromItsOwnHeader) {
    const OwnedEntity outer = messageOf(embeddedMessage);
    EXPECT_EQ(asMessage(*outer).getSubject(), u"outer");
    MIMEDecoder& part = *partsOf(*asMessage(*outer).getMessageEntity()).at(0);
    EXPECT_EQ(asMessage(part).getSubject(), u"inner");
    EXPECT_EQ(asMessage(part).getHeader(u"x-own"), u"o");
    EXPECT_EQ(asMessage(part).getHeader(u"X-Part"), u"");
}

TEST(EmbeddedMessage, KeepsTheHeaderOfItsPart) {
    const OwnedEntity outer = messageOf(embeddedMessage);
    const MIMEDecoder& part = *partsOf(*asMessage(*outer).getMessageEntity()).at(0);
    EXPECT_EQ(part.getRawHeader(u"X-Part"), "p");
    EXPECT_EQ(part.getRawHeader(u"X-Own"), "");
}

TEST(EmbeddedMessage, InBase64IsDecodedBeforeItsHeaderIsRead) {
    // "Subject: in\n\ntext"
    const OwnedEntity part = entityOf(
        "Content-Type: message/rfc822\nContent-Transfer-Encoding: base64\n\n"
        "U3ViamVjdDogaW4KCnRleHQ=\n");
    EXPECT_EQ(asMessage(*part).getSubject(), u"in");
    EXPECT_EQ(bodyOf(*asMessage(*part).getMessageEntity()), "text");
}

TEST(EmbeddedMessage, MayHoldAnother) {
    const OwnedEntity outer = messageOf(
        "Content-Type: message/rfc822\n\nContent-Type: message/rfc822\n\nSubject: in\n\ntext");
    MIMEDecoder& middle = *asMessage(*outer).getMessageEntity();
    MIMEDecoder& inner = *asMessage(middle).getMessageEntity();
    EXPECT_EQ(asMessage(inner).getSubject(), u"in");
    EXPECT_EQ(bodyOf(*asMessage(inner).getMessageEntity()), "text");
}

TEST(MessageHeader, IsDecoded) {
    EXPECT_EQ(subjectOf("Subject: =?UTF-8?B?Y2Fmw6k=?= =?iso-8859-1?q?=E9t=E9?= x\n"),
              "caf\xC3\xA9\xC3\xA9t\xC3\xA9 x");
}

TEST(MessageHeader, KeepsTheLineFeedOfARepeatedField) {
    EXPECT_EQ(subjectOf("Subject: a\nSubject: b\n"), "a\nb");
}

TEST(MessageHeader, IsEmptyWhenThereIsNone) { EXPECT_EQ(subjectOf("X: y\n"), ""); }

TEST(MessageHeader, IsAskedForInAnyCase) {
    const OwnedEntity message = messageOf("X-One: =?utf-8?q?a?=\n\n");
    EXPECT_EQ(asMessage(*message).getHeader(u"x-ONE"), u"a");
}

TEST(MessageSender, IsTheOneMailboxOfFrom) {
    EXPECT_EQ(senderOf("From: Ann <a@b>\n"), "Ann <a@b>");
}

TEST(MessageSender, IsThatOfSenderBeforeThatOfFrom) {
    EXPECT_EQ(senderOf("From: a@b\nSender: Sec <s@b>\n"), "Sec <s@b>");
}

TEST(MessageSender, IsEmptyWhenFromHasTwoMailboxes) {
    EXPECT_EQ(senderOf("From: a@b, c@d\n"), " <>");
}

TEST(MessageSender, IsThatOfFromWhenSenderHasTwoMailboxes) {
    EXPECT_EQ(senderOf("Sender: a@b, c@d\nFrom: e@f\n"), " <e@f>");
}

TEST(MessageSender, IsThatOfFromWhenSenderIsMalformed) {
    EXPECT_EQ(senderOf("Sender: a@\nFrom: e@f\n"), " <e@f>");
}

TEST(MessageSender, IsThatOfSenderWhenFromHasTwoMailboxes) {
    EXPECT_EQ(senderOf("From: a@b, c@d\nSender: s@t\n"), " <s@t>");
}

TEST(MessageSender, IsEmptyWithoutEither) { EXPECT_EQ(senderOf("To: a@b\n"), " <>"); }

TEST(MessageRecipients, AreEmptyWithoutTheField) {
    const OwnedEntity message = messageOf(plainMessage);
    EXPECT_EQ(shown(asMessage(*message).getCc()), Texts{});
}

TEST(MessageRecipients, AreThoseOfCc) {
    const OwnedEntity message = messageOf("Cc: a@b, =?utf-8?q?C=C3=A9?= <c@d>\n\n");
    EXPECT_EQ(shown(asMessage(*message).getCc()), (Texts{" <a@b>", "C\xC3\xA9 <c@d>"}));
}

TEST(MessageRecipients, OfTwoFieldsAreThoseOfTheFirst) {
    EXPECT_EQ(recipientsOf("To: a@b\nTo: c@d\n"), Texts{" <a@b>"});
}

TEST(MessageRecipients, OfTwoFieldsAreAllWhenTheFirstEndsWithAComma) {
    EXPECT_EQ(recipientsOf("To: a@b,\nTo: c@d\n"), (Texts{" <a@b>", " <c@d>"}));
}

TEST(MessageRecipients, AreThoseOfAnyField) {
    const OwnedEntity message = messageOf("Reply-To: a@b\n\n");
    EXPECT_EQ(shown(asMessage(*message).parseAddressHeader(u"reply-to")), Texts{" <a@b>"});
}

TEST(MessageDecoder, CanBeBuiltFromTheHeadersOfItsEntity) {
    const HeaderMap headers = {{u"Content-Type", "message/rfc822"},
                               {u"Content-Transfer-Encoding", "base64"}};
    std::istringstream in("U3ViamVjdDogaGkKCmJvZHkK");
    RFC2822Decoder decoder(headers, in);
    EXPECT_TRUE(decoder.getSubject() == u"hi");
    EXPECT_EQ(decoder.getHeaders().size(), 2U);
    delete decoder.getMessageEntity()->getTextDecoder();
}

}  // namespace
