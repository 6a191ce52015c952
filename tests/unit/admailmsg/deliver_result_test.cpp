// SPDX-License-Identifier: Apache-2.0
// What a delivery says of itself when not all goes well.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <new>

#include "tests/support/captured_reports.h"
#include "tests/support/wide_text.h"
#include "tests/unit/admailmsg/site.h"
#include "tests/unit/socketstream/connection.h"
#include "tests/unit/socketstream/system_calls.h"

using sandbox::Reply;
using sandbox::Service;
using sandbox::Step;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

namespace {

struct DeliveryResult : testing::Test {
    DeliveryResult() {
        mail.AddTo(u"to@x");
        mail.AddCc(u"cc@x");
        mail.AddBcc(u"bcc@x");
        mail.SetBody(u"hello\n");
    }

    std::vector<std::string> recipientsOf(std::size_t message) const {
        return server.messages().at(message).recipients;
    }

    Site site;
    sandbox::Server server{onSmtpPort()};
    AdMailMsg mail;
};

TEST_F(DeliveryResult, is1WhenEverybodyGotTheMail) {
    EXPECT_EQ(mail.Deliver(), 1);
    EXPECT_THAT(server.messages(), SizeIs(2));
}

TEST_F(DeliveryResult, is0WhenARecipientIsRefusedAndTheOthersGetTheMail) {
    server.on(Service::Smtp, Step::Rcpt, Reply::say("550 no\r\n"), {.argument = "<cc@x"});
    EXPECT_EQ(mail.Deliver(), 0);
    ASSERT_THAT(server.messages(), SizeIs(2));
    EXPECT_THAT(recipientsOf(0), ElementsAre("to@x"));
    EXPECT_THAT(recipientsOf(1), ElementsAre("bcc@x"));
    EXPECT_EQ(commands(server).back(), "QUIT");
}

TEST_F(DeliveryResult, is0WhenABlindRecipientIsRefused) {
    server.on(Service::Smtp, Step::Rcpt, Reply::say("550 no\r\n"), {.argument = "bcc@x"});
    EXPECT_EQ(mail.Deliver(), 0);
    EXPECT_THAT(server.messages(), SizeIs(1));
}

TEST_F(DeliveryResult, is0WhenTheFirstTransactionFailsAndTheSecondIsMade) {
    server.on(Service::Smtp, Step::EndOfData, Reply::say("554 no\r\n"), {.occurrence = 1});
    EXPECT_EQ(mail.Deliver(), 0);
    ASSERT_THAT(server.messages(), SizeIs(1));
    EXPECT_THAT(recipientsOf(0), ElementsAre("bcc@x"));
}

TEST_F(DeliveryResult, is0WhenTheSecondTransactionFails) {
    server.on(Service::Smtp, Step::Mail, Reply::say("451 later\r\n"), {.occurrence = 2});
    EXPECT_EQ(mail.Deliver(), 0);
    EXPECT_THAT(server.messages(), SizeIs(1));
}

TEST_F(DeliveryResult, is0ForAServerThatRefusesItsGreeting) {
    server.on(Service::Smtp, Step::Greeting, Reply::say("554 no\r\n"));
    EXPECT_EQ(mail.Deliver(), 0);
    EXPECT_THAT(commands(server), ElementsAre("QUIT"));
}

TEST_F(DeliveryResult, is0WhenARecipientCannotBeSentTo) {
    mail.AddTo(u"a@x>\r\nRCPT TO:<evil@x");
    EXPECT_EQ(mail.Deliver(), 0);
    ASSERT_THAT(server.messages(), SizeIs(2));
    EXPECT_THAT(recipientsOf(0), ElementsAre("to@x", "cc@x"));
    EXPECT_EQ(server.messages()[0].data.find("evil"), std::string::npos);
}

TEST_F(DeliveryResult, is0WhenTheSenderCannotBeSent) {
    mail.SetOverrideFrom(u"a@x>\r\nRCPT TO:<evil@x");
    EXPECT_EQ(mail.Deliver(), 0);
    EXPECT_THAT(commands(server), ElementsAre("EHLO localhost", "QUIT"));
}

TEST_F(DeliveryResult, is1AgainAfterAFailure) {
    server.on(Service::Smtp, Step::Mail, Reply::close(), {.occurrence = 1});
    EXPECT_EQ(mail.Deliver(), 0);
    EXPECT_EQ(mail.Deliver(), 1);
    EXPECT_THAT(server.messages(), SizeIs(2));
}

TEST_F(DeliveryResult, is0WhenTheMessageCannotBeSent) {
    mail.SetBody(Zeb_String('x', 10'000));
    SystemCalls calls;
    calls.send = [](int descriptor, const void* octets, std::size_t length, int flags) {
        return length < 1024 ? real::send(descriptor, octets, length, flags)
                             : ssize_t{failingWith(EPIPE)};
    };
    const std::size_t descriptors = openDescriptors();
    EXPECT_EQ(mail.Deliver(), 0);
    EXPECT_LE(openDescriptors(), descriptors + 1);  // the server's side may still be open
    EXPECT_THAT(server.messages(), IsEmpty());
}

TEST_F(DeliveryResult, is0WhenTheLibraryRunsOutOfMemory) {
    AdDiagnostic::SetReporter([](const Zeb_String&, const Zeb_String&) { throw std::bad_alloc(); });
    AdDiagnostic::Enable(11, true);
    EXPECT_EQ(mail.Deliver(), 0);
    AdDiagnostic::Enable(11, false);
    AdDiagnostic::SetReporter({});
}

TEST_F(DeliveryResult, isNoneWhenTheHostThrows) {
    AdDiagnostic::SetReporter([](const Zeb_String&, const Zeb_String& message) {
        if (message == u"SMTP->DATA") throw Zeb_Range_Error("the host's own");
    });
    AdDiagnostic::Enable(11, true);
    EXPECT_THROW(mail.Deliver(), Zeb_Range_Error);
    AdDiagnostic::Enable(11, false);
    AdDiagnostic::SetReporter({});
    EXPECT_EQ(mail.Deliver(), 1);
}

/// A site without a server.
struct DeliveryToNobody : testing::Test {
    DeliveryToNobody() { mail.AddTo(u"to@x"); }

    Site site;
    AdMailMsg mail;
    CapturedReports reports;
};

TEST_F(DeliveryToNobody, fails) {
    EXPECT_EQ(mail.Deliver(), 0);
    EXPECT_THAT(socketReports(reports), ElementsAre("connect() failed (111)"));
}

TEST_F(DeliveryToNobody, failsForAnUnknownHost) {
    Site::set(u"SMTPHost", "no such host");
    EXPECT_EQ(mail.Deliver(), 0);
    EXPECT_THAT(socketReports(reports),
                ElementsAre(StartsWith("getaddrinfo(no such host,smtp) failed (")));
}

TEST_F(DeliveryToNobody, failsWithoutAHost) {
    Site::set(u"SMTPHost", "");
    EXPECT_EQ(mail.Deliver(), 0);
    EXPECT_THAT(socketReports(reports), ElementsAre(StartsWith("getaddrinfo(,smtp) failed (")));
}

TEST_F(DeliveryToNobody, succeedsWhenSwitchedOff) {
    mail.SetSendActive(0);
    EXPECT_EQ(mail.Deliver(), 1);
    EXPECT_THAT(reports.all(), IsEmpty());
}

}  // namespace
