// SPDX-License-Identifier: Apache-2.0
// What several threads may do at once. Run it under ThreadSanitizer, too.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

#include "sandbox/scripted_peer.h"
#include "tests/unit/sandbox/mail_clients.h"

using sandbox::Server;

namespace {

constexpr int threadCount = 8;
constexpr int messagesEach = 10;
constexpr int messageCount = threadCount * messagesEach;

/// Runs `work` with the numbers 0 to threadCount - 1, each in a thread of its own.
template <typename Work>
std::vector<std::jthread> startThreads(Work work) {
    std::vector<std::jthread> threads;
    for (int i = 0; i < threadCount; ++i) threads.emplace_back([work, i] { work(i); });
    return threads;
}

TEST(ServerThreads, NoMessageOfManyClientsIsLost) {
    const Server server;
    startThreads([&](int number) {
        SmtpClient client(server);
        for (int i = 0; i < messagesEach; ++i)
            EXPECT_EQ(client.sendMessage(std::to_string(number * messagesEach + i) + "\r\n"),
                      "250");
    });
    std::vector<int> numbers;
    for (const auto& message : server.messages()) numbers.push_back(std::stoi(message.data));
    std::sort(numbers.begin(), numbers.end());
    std::vector<int> expected(messageCount);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(numbers, expected);
}

TEST(ServerThreads, EveryMemberMayBeCalledWhileClientsAreServed) {
    Server server({.observer = [](const sandbox::Line&) {}});
    std::atomic<bool> isDone = false;
    std::jthread caller([&] {
        do {
            server.on(sandbox::Service::Smtp, sandbox::Step::Help, sandbox::Reply::usual());
            server.addMessage("added\r\n");
            EXPECT_LE(server.messages().size(), std::size_t{messageCount});
            EXPECT_FALSE(server.mailbox().empty());
            server.transcript();
        } while (!isDone);
    });
    startThreads([&](int) {
        SmtpClient sender(server);
        for (int i = 0; i < messagesEach; ++i) EXPECT_EQ(sender.sendMessage("text\r\n"), "250");
        EXPECT_EQ(sender.code("HELP"), "214");
        Pop3Client reader(server);
        EXPECT_TRUE(reader.takes("DELE 1"));
        EXPECT_TRUE(reader.takes("QUIT"));
    });
    isDone = true;
    caller.join();
    EXPECT_EQ(server.messages().size(), std::size_t{messageCount});
}

TEST(ServerThreads, SeveralMayWaitForMessages) {
    const Server server;
    const auto waiting = startThreads([&](int number) {
        EXPECT_TRUE(
            server.waitForMessages(static_cast<std::size_t>(number) + 1, std::chrono::seconds(60)));
    });
    SmtpClient client(server);
    for (int i = 0; i < threadCount; ++i) EXPECT_EQ(client.sendMessage("text\r\n"), "250");
}

TEST(ServerThreads, ServersMayStartAndEndInAnyThread) {
    startThreads([](int) {
        for (int i = 0; i < messagesEach; ++i) {
            const Server server;
            EXPECT_EQ(SmtpClient(server).sendMessage("text\r\n"), "250");
            EXPECT_EQ(server.messages().size(), 1U);
        }
    });
}

TEST(ServerThreads, APeerTellsWhatItReceivedWhileItPlays) {
    const std::string large(1'000'000, 'x');
    sandbox::ScriptedPeer peer({sandbox::expectData(large), sandbox::say("ok\r\n")});
    std::jthread sender([&] { EXPECT_EQ(Client(peer.port()).ask(large), "ok\r\n"); });
    for (std::size_t before = 0, looks = 0; looks < 100; ++looks) {
        const std::size_t now = peer.received().size();
        EXPECT_LE(before, now);
        before = now;
    }
    EXPECT_EQ(peer.finish(), "");
    EXPECT_TRUE(peer.received() == large);
}

}  // namespace
