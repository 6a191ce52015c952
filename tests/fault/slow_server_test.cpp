// SPDX-License-Identifier: Apache-2.0
// A server that takes its time at each step of a delivery.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/admailmsg/site.h"

using sandbox::Reply;
using sandbox::Service;
using sandbox::Step;
using testing::SizeIs;

namespace {

TEST(SlowServer, isWaitedFor) {
    const Site site;
    sandbox::ServerOptions options = onSmtpPort();
    for (const Step step : {Step::Greeting, Step::Ehlo, Step::Mail, Step::Rcpt, Step::Data,
                            Step::EndOfData, Step::Quit})
        options.replies.push_back(
            {Service::Smtp, step, Reply::usual().after(std::chrono::milliseconds(20)).oneByOne()});
    const sandbox::Server server(std::move(options));
    AdMailMsg mail;
    mail.AddTo(u"a@x");
    mail.SetBody(u"hello\n");
    EXPECT_EQ(mail.Deliver(), 1);
    EXPECT_THAT(server.messages(), SizeIs(1));
}

}  // namespace
