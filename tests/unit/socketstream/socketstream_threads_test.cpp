// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cerrno>
#include <thread>
#include <vector>

#include "inet/socketstream.utf16.h"
#include "sandbox/scripted_peer.h"
#include "tests/support/captured_reports.h"
#include "tests/support/wide_text.h"

namespace {

TEST(SocketThreads, haveAnErrorNumberEach) {
    errno = ENETDOWN;
    int other = -1;
    std::thread([&] {
        errno = EIO;
        other = WSAGetLastError();
    }).join();
    EXPECT_EQ(other, EIO);
    EXPECT_EQ(WSAGetLastError(), ENETDOWN);
}

TEST(SocketThreads, useStreamsOfTheirOwnAtTheSameTime) {
    constexpr int count = 4;
    const CapturedReports reports;
    sandbox::ScriptedPeer peer(std::vector<sandbox::Dialogue>(
        count, {sandbox::expectLine("hello"), sandbox::say("250 ok\r\n"), sandbox::close()}));
    std::vector<std::string> lines(count);
    std::vector<std::thread> threads;
    for (std::string& line : lines)
        threads.emplace_back([&] {
            socketstream stream;
            stream.open(u"127.0.0.1", wide(std::to_string(peer.port())).GetBuffer());
            stream.setTimeout(30);
            stream << "hello\r\n" << std::flush;
            socketgetline(stream, line);
            stream.close();
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(peer.finish(), "");
    EXPECT_EQ(lines, std::vector<std::string>(count, "250 ok\r"));
    EXPECT_EQ(reports.texts("socketbuf (vtinetlib.dll)").size(), 2U * count);
}

}  // namespace
