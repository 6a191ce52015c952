// SPDX-License-Identifier: Apache-2.0
// What a delivery sends.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/wide_text.h"
#include "tests/unit/admailmsg/site.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

namespace {

/// A site whose server takes every mail.
struct Delivery : testing::Test {
    Site site;
    sandbox::Server server{onSmtpPort()};
    AdMailMsg mail;
};

CStringArray addresses(std::initializer_list<const char16_t*> texts) {
    CStringArray array;
    for (const char16_t* text : texts) array.Add(text);
    return array;
}

TEST_F(Delivery, sendsOneMailToAllRecipientsOfTheHeader) {
    mail.AddTo(u"a@x");
    mail.AddCc(u"b@x");
    mail.SetSubject(u"greetings");
    mail.SetBody(u"hello\n");
    EXPECT_EQ(mail.Deliver(), 1);
    EXPECT_THAT(commands(server), ElementsAre("EHLO localhost", "MAIL FROM:<joe@here>",
                                              "RCPT TO:<a@x>", "RCPT TO:<b@x>", "DATA", "QUIT"));
    ASSERT_THAT(server.messages(), SizeIs(1));
    const sandbox::Message message = server.messages()[0];
    EXPECT_THAT(header(message), HasSubstr("From: \"Joe\" <joe@here>\r\n"));
    EXPECT_THAT(header(message), HasSubstr("Subject: greetings\r\n"));
    EXPECT_THAT(header(message), HasSubstr("To: <a@x>\r\n"));
    EXPECT_THAT(header(message), HasSubstr("Cc: <b@x>\r\n"));
    EXPECT_EQ(body(message), "hello\r\n");
}

TEST_F(Delivery, sendsToBlindRecipientsInATransactionOfTheirOwn) {
    mail.AddTo(u"a@x");
    mail.AddBcc(u"secret1@x");
    mail.AddBcc(u"secret2@x");
    mail.SetBody(u"hello\n");
    EXPECT_EQ(mail.Deliver(), 1);
    EXPECT_THAT(commands(server),
                ElementsAre("EHLO localhost", "MAIL FROM:<joe@here>", "RCPT TO:<a@x>", "DATA",
                            "MAIL FROM:<joe@here>", "RCPT TO:<secret1@x>", "RCPT TO:<secret2@x>",
                            "DATA", "QUIT"));
    ASSERT_THAT(server.messages(), SizeIs(2));
    EXPECT_EQ(server.messages()[0].data, server.messages()[1].data);
    EXPECT_THAT(server.messages()[1].data, Not(HasSubstr("secret")));
    EXPECT_THAT(server.messages()[1].data, Not(HasSubstr("Bcc")));
}

TEST_F(Delivery, toBlindRecipientsOnlyNamesNobody) {
    mail.AddBcc(u"secret@x");
    mail.SetBody(u"hello\n");
    EXPECT_EQ(mail.Deliver(), 1);
    EXPECT_THAT(commands(server), ElementsAre("EHLO localhost", "MAIL FROM:<joe@here>",
                                              "RCPT TO:<secret@x>", "DATA", "QUIT"));
    ASSERT_THAT(server.messages(), SizeIs(1));
    EXPECT_THAT(server.messages()[0].data, Not(HasSubstr("secret")));
    EXPECT_THAT(server.messages()[0].data, Not(HasSubstr("\r\nTo:")));
    EXPECT_THAT(server.messages()[0].data, Not(HasSubstr("\r\nCc:")));
}

TEST_F(Delivery, takesRecipientsByTheArray) {
    mail.AddTo(addresses({u"a@x", u"b@x"}));
    mail.AddCc(addresses({u"c@x", u"d@x"}));
    mail.AddBcc(addresses({u"e@x", u"f@x"}));
    mail.AddTo(CStringArray());
    EXPECT_EQ(mail.Deliver(), 1);
    ASSERT_THAT(server.messages(), SizeIs(2));
    EXPECT_THAT(server.messages()[0].recipients, ElementsAre("a@x", "b@x", "c@x", "d@x"));
    EXPECT_THAT(server.messages()[1].recipients, ElementsAre("e@x", "f@x"));
}

TEST_F(Delivery, keepsTheOrderInWhichRecipientsWereAdded) {
    mail.AddCc(u"c@x");
    mail.AddTo(u"a@x");
    mail.AddTo(u"a@x");
    EXPECT_EQ(mail.Deliver(), 1);
    ASSERT_THAT(server.messages(), SizeIs(1));
    EXPECT_THAT(server.messages()[0].recipients, ElementsAre("c@x", "a@x", "a@x"));
    EXPECT_THAT(header(server.messages()[0]), HasSubstr("To: <a@x>\r\n"));
}

TEST_F(Delivery, fromAnOverridingSenderHasNoName) {
    mail.SetOverrideFrom(u"other@there");
    mail.AddTo(u"a@x");
    mail.AddBcc(u"b@x");
    EXPECT_EQ(mail.Deliver(), 1);
    ASSERT_THAT(server.messages(), SizeIs(2));
    for (const sandbox::Message& message : server.messages()) {
        EXPECT_EQ(message.sender, "other@there");
        EXPECT_THAT(header(message), HasSubstr("From: <other@there>\r\n"));
        EXPECT_THAT(header(message), Not(HasSubstr("Joe")));
    }
}

TEST_F(Delivery, fromAnEmptyOverridingSenderIsFromTheConfiguredOne) {
    mail.SetOverrideFrom(u"other@there");
    mail.SetOverrideFrom(u"");
    mail.AddTo(u"a@x");
    EXPECT_EQ(mail.Deliver(), 1);
    ASSERT_THAT(server.messages(), SizeIs(1));
    EXPECT_EQ(server.messages()[0].sender, "joe@here");
}

TEST_F(Delivery, fromAMailboxTextSendsItsBareAddress) {
    mail.SetOverrideFrom(u"Jim <jim@x>");
    mail.AddTo(u"Ann <ann@x>");
    EXPECT_EQ(mail.Deliver(), 1);
    ASSERT_THAT(server.messages(), SizeIs(1));
    EXPECT_EQ(server.messages()[0].sender, "jim@x");
    EXPECT_THAT(server.messages()[0].recipients, ElementsAre("ann@x"));
    EXPECT_THAT(header(server.messages()[0]), HasSubstr("From: <Jim <jim@x>>\r\n"));
}

TEST_F(Delivery, readsItsSettingsEachTime) {
    mail.AddTo(u"a@x");
    EXPECT_EQ(mail.Deliver(), 1);
    Site::set(u"ReplyTo", "jim@here");
    Site::set(u"RealName", "");
    EXPECT_EQ(mail.Deliver(), 1);
    ASSERT_THAT(server.messages(), SizeIs(2));
    EXPECT_EQ(server.messages()[1].sender, "jim@here");
    EXPECT_THAT(header(server.messages()[1]), HasSubstr("From: <jim@here>\r\n"));
}

TEST_F(Delivery, canBeRepeatedOnAConnectionOfItsOwn) {
    mail.AddTo(u"a@x");
    mail.SetSubject(u"again");
    mail.SetBody(u"hello\n");
    EXPECT_EQ(mail.Deliver(), 1);
    EXPECT_EQ(mail.Deliver(), 1);
    ASSERT_THAT(server.messages(), SizeIs(2));
    EXPECT_EQ(body(server.messages()[0]), body(server.messages()[1]));
    EXPECT_THAT(commands(server), SizeIs(10));
    EXPECT_EQ(server.transcript().back().connection, 2U);
}

TEST_F(Delivery, appendsToTheBody) {
    mail.AddTo(u"a@x");
    mail.SetBody(u"dropped");
    mail.SetBody(u"one\n");
    mail.MoreBody(u"two\n");
    EXPECT_EQ(mail.Deliver(), 1);
    ASSERT_THAT(server.messages(), SizeIs(1));
    EXPECT_EQ(body(server.messages()[0]), "one\r\ntwo\r\n");
}

TEST_F(Delivery, endsAnUnendedBody) {
    mail.AddTo(u"a@x");
    mail.SetBody(u"hello\n.");
    EXPECT_EQ(mail.Deliver(), 1);
    ASSERT_THAT(server.messages(), SizeIs(1));
    EXPECT_EQ(body(server.messages()[0]), "hello\r\n.\r\n");
}

TEST_F(Delivery, ofAnEmptyMailSucceeds) {
    mail.AddTo(u"a@x");
    EXPECT_EQ(mail.Deliver(), 1);
    EXPECT_THAT(server.messages(), SizeIs(1));
}

TEST_F(Delivery, usesEightBitsWhenTheServerTakesThem) {
    mail.AddTo(u"a@x");
    mail.SetBody(wide("sch\u00f6n\n"));
    EXPECT_EQ(mail.Deliver(), 1);
    ASSERT_THAT(server.messages(), SizeIs(1));
    EXPECT_THAT(header(server.messages()[0]), HasSubstr("Content-Transfer-Encoding: 8bit\r\n"));
    EXPECT_EQ(body(server.messages()[0]), "sch\u00f6n\r\n");
}

TEST_F(Delivery, afterClearingIsThatOfANewMail) {
    mail.SetOverrideFrom(u"other@there");
    mail.AddTo(u"a@x");
    mail.AddCc(u"b@x");
    mail.AddBcc(u"c@x");
    mail.SetSubject(u"old subject");
    mail.SetBody(u"old body\n");
    mail.ClearAll();
    EXPECT_EQ(mail.Deliver(), 1);
    EXPECT_THAT(server.transcript(), IsEmpty());
    mail.AddTo(u"d@x");
    EXPECT_EQ(mail.Deliver(), 1);
    ASSERT_THAT(server.messages(), SizeIs(1));
    EXPECT_EQ(server.messages()[0].sender, "joe@here");
    EXPECT_THAT(server.messages()[0].recipients, ElementsAre("d@x"));
    EXPECT_THAT(server.messages()[0].data, Not(HasSubstr("old")));
    EXPECT_THAT(server.messages()[0].data, Not(HasSubstr("b@x")));
}

TEST_F(Delivery, usesTheCharsetThatWasSetWhenTheMailWasMade) {
    Site::set(u"Charset", "ISO-8859-1");
    AdMailMsg latin;
    Site::set(u"Charset", "");
    for (AdMailMsg* each : {&latin, &mail}) {
        each->AddTo(u"a@x");
        each->SetBody(wide("sch\u00f6n\n"));
        EXPECT_EQ(each->Deliver(), 1);
    }
    ASSERT_THAT(server.messages(), SizeIs(2));
    EXPECT_THAT(header(server.messages()[0]), HasSubstr("ISO-8859-1"));
    EXPECT_EQ(body(server.messages()[0]), "sch\xF6n\r\n");
    EXPECT_THAT(header(server.messages()[1]), HasSubstr("UTF-8"));
}

TEST_F(Delivery, usesTheCharsetThatIsSetWhenTheMailIsCleared) {
    Site::set(u"Charset", "ISO-8859-1");
    for (const char* charset : {"ISO-8859-1", ""}) {
        Site::set(u"Charset", charset);
        mail.ClearAll();
        mail.AddTo(u"a@x");
        mail.SetBody(wide("sch\u00f6n\n"));
        EXPECT_EQ(mail.Deliver(), 1);
    }
    ASSERT_THAT(server.messages(), SizeIs(2));
    EXPECT_EQ(body(server.messages()[0]), "sch\xF6n\r\n");
    EXPECT_EQ(body(server.messages()[1]), "sch\u00f6n\r\n");
}

TEST_F(Delivery, isSilentWhenSwitchedOff) {
    mail.AddTo(u"a@x");
    mail.SetSendActive(0);
    EXPECT_EQ(mail.Deliver(), 1);
    Site::set(u"SendActive", "yes");
    EXPECT_EQ(mail.Deliver(), 1);
    EXPECT_THAT(server.transcript(), IsEmpty());
}

TEST_F(Delivery, toNobodyMakesNoConnection) {
    mail.SetBody(u"hello\n");
    EXPECT_EQ(mail.Deliver(), 1);
    EXPECT_THAT(server.transcript(), IsEmpty());
}

TEST(DeliveryWithoutEightBits, encodesThem) {
    const Site site;
    sandbox::ServerOptions options = onSmtpPort();
    options.ehloLines = {"SIZE", "HELP"};
    const sandbox::Server server(std::move(options));
    AdMailMsg mail;
    mail.AddTo(u"a@x");
    mail.SetBody(wide("sch\u00f6n, said he, and went on for a while\n"));
    EXPECT_EQ(mail.Deliver(), 1);
    ASSERT_THAT(server.messages(), SizeIs(1));
    EXPECT_THAT(header(server.messages()[0]),
                HasSubstr("Content-Transfer-Encoding: quoted-printable\r\n"));
    EXPECT_THAT(body(server.messages()[0]), HasSubstr("sch=C3=B6n"));
}

}  // namespace
