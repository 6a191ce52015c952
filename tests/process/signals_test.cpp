// SPDX-License-Identifier: Apache-2.0
// A process in which a timer's signals arrive while mail is sent and fetched.
//
// An interrupted wait is an error. SA_RESTART does not help where the library waits with select, as
// in all of SMTP once the connection stands: the system never takes that up again. So a host with
// such signals holds them back from the threads that handle mail.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "inet/pop3client.utf16.h"
#include "tests/process/interval_timer.h"
#include "tests/support/captured_reports.h"
#include "tests/support/private_network.h"
#include "tests/support/wide_text.h"
#include "tests/unit/admailmsg/site.h"
#include "tests/unit/socketstream/connection.h"
#include "tests/unit/socketstream/system_calls.h"

using testing::Contains;
using testing::SizeIs;

namespace {

/// Greets, then leaves the client waiting.
sandbox::ScriptedPeer silentPeer(std::uint16_t port, const char* greeting) {
    sandbox::PeerOptions options;
    options.address = privateAddress();
    options.port = port;
    return sandbox::ScriptedPeer({sandbox::say(greeting), sandbox::silence()}, options);
}

int deliverOne() {
    AdMailMsg mail;
    mail.AddTo(u"a@x");
    mail.SetBody(u"hello\n");
    return mail.Deliver();
}

bool fetchOne(const sandbox::Server& server, std::string& octets) {
    POP3Client client;
    std::ostringstream out;
    if (!client.open(wide(privateAddress()), wide(std::to_string(server.pop3Port())).GetBuffer()))
        return false;
    const bool isFetched = client.auth_pass(u"joe", u"secret") && client.getMessage(1, out);
    client.close();
    octets = out.str();
    return isFetched;
}

class InterruptedDelivery : public testing::TestWithParam<int> {};

TEST_P(InterruptedDelivery, failsAndLeavesNothingBehind) {
    const Site site;
    const std::size_t descriptors = openDescriptors();
    {
        const auto silent = silentPeer(25, "220 here\r\n");
        const CapturedReports reports;
        const IntervalTimer timer(GetParam());
        EXPECT_EQ(deliverOne(), 0);
        EXPECT_THAT(socketReports(reports), Contains("select() failed (4)"));
    }
    EXPECT_EQ(openDescriptors(), descriptors);
    const sandbox::Server server(onSmtpPort());
    EXPECT_EQ(deliverOne(), 1);
}

INSTANTIATE_TEST_SUITE_P(WithAndWithoutRestart, InterruptedDelivery,
                         testing::Values(0, SA_RESTART));

TEST(InterruptedFetch, failsWithoutRestart) {
    const auto silent = silentPeer(110, "+OK here\r\n");
    POP3Client client;
    ASSERT_TRUE(client.open(wide(privateAddress())));
    const CapturedReports reports;
    const IntervalTimer timer(0);
    EXPECT_FALSE(client.auth_pass(u"joe", u"secret"));
    EXPECT_THAT(socketReports(reports), Contains("recv() failed (4)"));
}

TEST(InterruptedFetch, goesOnWithRestart) {
    sandbox::Server server;
    server.addMessage("Subject: x\r\n\r\n" + std::string(100000, 'x') + "\r\n");
    const IntervalTimer timer(SA_RESTART);
    for (int i = 0; i < 20 || IntervalTimer::count() < 20; ++i) {
        std::string octets;
        ASSERT_TRUE(fetchOne(server, octets));
        EXPECT_EQ(octets.size(), std::string("Subject: x\n\r\n").size() + 100000);
    }
}

TEST(SignalsHeldBack, doNotTouchDeliveriesAndFetches) {
    const Site site;
    const sandbox::Server server(onSmtpPort());
    const IntervalTimer timer(0);
    int sent = 0;
    for (int rounds = 0; rounds < 30; ++rounds) {
        const AlarmBlocked blocked;
        sent += deliverOne();
        std::string octets;
        EXPECT_TRUE(fetchOne(server, octets));
    }
    EXPECT_EQ(sent, 30);
    EXPECT_GT(IntervalTimer::count(), 0);
    EXPECT_THAT(server.messages(), SizeIs(30));
}

}  // namespace
