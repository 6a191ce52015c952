// SPDX-License-Identifier: Apache-2.0
// The server and clients that were written by others.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "sandbox/server.h"

using sandbox::Server;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// Has the script do a task; its exit status.
int runClient(const std::string& task, std::uint16_t port) {
    const std::string command = CLIENT_COMMAND " " + task + " " + std::to_string(port);
    return std::system(command.c_str());
}

TEST(IndependentClients, fetchTheSameOctetsThatTheySent) {
    const Server server;
    EXPECT_EQ(runClient("send", server.smtpPort()), 0);
    ASSERT_EQ(server.messages().size(), 1U);
    EXPECT_THAT(server.messages()[0].recipients, ElementsAre("b@example.org", "no@example.org"));
    EXPECT_EQ(runClient("fetch", server.pop3Port()), 0);
    EXPECT_THAT(server.mailbox(), IsEmpty());
}

TEST(IndependentClients, learnThatARecipientIsRefused) {
    Server server;
    server.on(sandbox::Service::Smtp, sandbox::Step::Rcpt,
              sandbox::Reply::say("550 no such user\r\n"), {.argument = "<no@example.org>"});
    EXPECT_EQ(runClient("refused", server.smtpPort()), 0);
    ASSERT_EQ(server.messages().size(), 1U);
    EXPECT_THAT(server.messages()[0].recipients, ElementsAre("b@example.org"));
}

}  // namespace
