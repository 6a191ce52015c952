// SPDX-License-Identifier: Apache-2.0
// Servers that drop, garble or fall silent, at each step of a delivery.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/admailmsg/site.h"
#include "tests/unit/socketstream/system_calls.h"

using sandbox::Reply;
using sandbox::Service;
using sandbox::Step;
using testing::SizeIs;

namespace {

struct NamedStep {
    const char* name;
    Step step;
};

void PrintTo(const NamedStep& row, std::ostream* out) { *out << row.name; }

struct Fault {
    const char* name;
    Reply reply;
};

void PrintTo(const Fault& row, std::ostream* out) { *out << row.name; }

const NamedStep steps[] = {{"greeting", Step::Greeting},   {"ehlo", Step::Ehlo},
                           {"helo", Step::Helo},           {"mail", Step::Mail},
                           {"rcpt", Step::Rcpt},           {"data", Step::Data},
                           {"endOfData", Step::EndOfData}, {"quit", Step::Quit}};

const Fault faults[] = {
    {"closes", Reply::close()},
    {"resets", Reply::reset()},
    {"fallsSilent", Reply::silence()},
    {"garbles", Reply::usual().garbled()},
    {"closesAfterACode", Reply::usual().cutAfter(3)},
    {"closesAfterALineWithoutItsLineFeed", Reply::say("250 ok\r").thenClose()},
    {"fallsSilentAfterACode", Reply::usual().cutAfter(3).thenFallSilent()},
    {"saysAnEmptyLine", Reply::say("\r\n").thenClose()},
    {"saysNoReply", Reply::say("HTTP/1.1 400 Bad Request\r\n").thenClose()},
    {"saysNothingButNuls", Reply::say(std::string(2000, '\0') + "\r\n").thenClose()},
    {"saysALineWithoutEnd", Reply::say(std::string(1'000'000, '2')).thenClose()},
    {"refuses", Reply::say("421 closing\r\n").thenClose()},
};

/// Waits of the client take a ten thousandth of their time.
struct ShortWaits {
    ShortWaits() {
        calls.select = [](int count, fd_set* read, fd_set* write, fd_set* exception,
                          timeval* limit) {
            timeval shorter = {0, limit->tv_sec * 100 + limit->tv_usec / 10000};
            return real::select(count, read, write, exception, &shorter);
        };
    }
    SystemCalls calls;
};

class ServerFault : public testing::TestWithParam<std::tuple<NamedStep, Fault>> {
  protected:
    Step step() const { return std::get<0>(GetParam()).step; }
    const Reply& reply() const { return std::get<1>(GetParam()).reply; }

    /// A server with the fault.
    sandbox::ServerOptions options() const {
        sandbox::ServerOptions options = onSmtpPort();
        options.replies.push_back({Service::Smtp, step(), reply()});
        if (step() == Step::Helo)
            options.replies.push_back({Service::Smtp, Step::Ehlo, Reply::say("502 what\r\n")});
        return options;
    }

    Site site_;
};

TEST_P(ServerFault, failsTheDeliveryAndLeavesTheMailUsable) {
    AdMailMsg mail;
    mail.AddTo(u"a@x");
    mail.SetBody(u"hello\n");
    const std::size_t descriptors = openDescriptors();
    {
        const ShortWaits waits;
        const sandbox::Server server(options());
        EXPECT_EQ(mail.Deliver(), step() == Step::Quit ? 1 : 0);
    }
    EXPECT_EQ(openDescriptors(), descriptors);
    const sandbox::Server server(onSmtpPort());
    EXPECT_EQ(mail.Deliver(), 1);
    EXPECT_THAT(server.messages(), SizeIs(1));
}

INSTANTIATE_TEST_SUITE_P(AtEachStep, ServerFault,
                         testing::Combine(testing::ValuesIn(steps), testing::ValuesIn(faults)),
                         [](const auto& row) {
                             return std::string(std::get<0>(row.param).name) + "_" +
                                    std::get<1>(row.param).name;
                         });

TEST(SlowServer, isWaitedFor) {
    const Site site;
    sandbox::ServerOptions options = onSmtpPort();
    for (const NamedStep& each : steps)
        options.replies.push_back({Service::Smtp, each.step,
                                   Reply::usual().after(std::chrono::milliseconds(20)).oneByOne()});
    const sandbox::Server server(std::move(options));
    AdMailMsg mail;
    mail.AddTo(u"a@x");
    mail.SetBody(u"hello\n");
    EXPECT_EQ(mail.Deliver(), 1);
    EXPECT_THAT(server.messages(), SizeIs(1));
}

}  // namespace
