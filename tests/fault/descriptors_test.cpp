// SPDX-License-Identifier: Apache-2.0
// A process that has no descriptors left, and one that makes many connections.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include "inet/smtpclient.utf16.h"
#include "tests/support/captured_reports.h"
#include "tests/support/private_network.h"
#include "tests/support/wide_text.h"
#include "tests/unit/admailmsg/site.h"
#include "tests/unit/socketstream/connection.h"
#include "tests/unit/socketstream/system_calls.h"

using testing::ElementsAre;
using testing::SizeIs;

namespace {

/// Holds all descriptors that the process may still open.
class NoDescriptors {
  public:
    NoDescriptors() {
        for (int taken = open("/dev/null", O_RDONLY); taken != -1; taken = dup(taken))
            taken_.push_back(taken);
    }
    ~NoDescriptors() {
        for (const int taken : taken_) close(taken);
    }
    NoDescriptors(const NoDescriptors&) = delete;
    NoDescriptors& operator=(const NoDescriptors&) = delete;

  private:
    std::vector<int> taken_;
};

/// Lets the calling thread have no socket. The descriptors are back behind each failure: what
/// looks for faults in this program needs some itself.
struct NoSockets {
    NoSockets() {
        calls.socket = [](int family, int type, int protocol) {
            const NoDescriptors none;
            return real::socket(family, type, protocol);
        };
    }
    SystemCalls calls;
};

TEST(WithoutDescriptors, aClientSaysWhyItCannotConnect) {
    const CapturedReports reports;
    SMTPClient client;
    {
        const NoSockets none;
        EXPECT_EQ(codeThrownBy([&] { client.open(wide(privateAddress()), u"25"); }), EMFILE);
    }
    EXPECT_THAT(socketReports(reports), ElementsAre("socket() failed (24)"));
    const sandbox::Server server(onSmtpPort());
    EXPECT_TRUE(client.open(wide(privateAddress()), u"25"));
    client.close();
}

TEST(WithoutDescriptors, aDeliveryFailsAtItsSocket) {
    const Site site;
    AdMailMsg mail;
    mail.AddTo(u"a@x");
    {
        const NoSockets none;
        EXPECT_EQ(mail.Deliver(), 0);
    }
    const sandbox::Server server(onSmtpPort());
    EXPECT_EQ(mail.Deliver(), 1);
}

TEST(Deliveries, leakNoDescriptors) {
    const Site site;
    AdMailMsg mail;
    mail.AddTo(u"a@x");
    mail.AddBcc(u"b@x");
    mail.SetBody(u"hello\n");
    const std::size_t descriptors = openDescriptors();
    {
        const sandbox::Server server(onSmtpPort());
        for (int i = 0; i < 50; ++i) EXPECT_EQ(mail.Deliver(), 1);
        EXPECT_THAT(server.messages(), SizeIs(100));
    }
    EXPECT_EQ(openDescriptors(), descriptors);
}

}  // namespace
