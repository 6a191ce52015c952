// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>

#include "tests/unit/socketstream/connection.h"
#include "tests/unit/socketstream/system_calls.h"

using testing::ElementsAre;

namespace {

/// A stream whose host refuses all connections.
struct RefusedStream {
    RefusedStream() {
        calls.connect = [](int, const sockaddr*, socklen_t) { return failingWith(ECONNREFUSED); };
    }
    void open() { stream.open(u"127.0.0.1", u"25"); }

    SystemCalls calls;
    socketstream stream;
};

TEST(SocketStream, isBadUntilItIsOpen) {
    socketstream stream;
    EXPECT_EQ(stream.rdstate(), std::ios::badbit);
    EXPECT_FALSE(stream.is_open());
    std::string line;
    EXPECT_FALSE(socketgetline(stream, line));
}

TEST(SocketStream, readsAndWritesThroughItsOwnBuffer) {
    socketstream stream;
    EXPECT_EQ(static_cast<std::ios&>(stream).rdbuf(), stream.rdbuf());
}

TEST(SocketStream, isGoodWhenItIsOpen) {
    sandbox::ScriptedPeer peer({sandbox::say("220 hi\r\n"), sandbox::expectLine("QUIT")});
    socketstream stream;
    stream.open(u"127.0.0.1", portOf(peer).GetBuffer());
    EXPECT_TRUE(stream.good());
    EXPECT_TRUE(stream.is_open());
    std::string line;
    EXPECT_TRUE(socketgetline(stream, line).good());
    EXPECT_EQ(line, "220 hi\r");
    stream << "QUIT\r\n" << std::flush;
    stream.close();
    EXPECT_EQ(peer.finish(), "");
}

TEST(SocketStream, isOpenedByLiteralsToo) {
    RefusedStream refused;
    refused.calls.connect = [](int, const sockaddr*, socklen_t) { return 0; };
    refused.stream.open(u"127.0.0.1", u"smtp");
    EXPECT_TRUE(refused.stream.is_open());
}

TEST(SocketStream, failsWhenItCannotOpen) {
    RefusedStream refused;
    refused.open();
    EXPECT_TRUE(refused.stream.rdstate() & std::ios::failbit);
    EXPECT_FALSE(refused.stream.is_open());
}

TEST(SocketStream, throwsOnRequestWhenItCannotOpen) {
    RefusedStream refused;
    refused.stream.exceptions(std::ios::failbit);
    EXPECT_EQ(codeThrownBy([&] { refused.open(); }), ECONNREFUSED);
}

TEST(SocketStream, throwsForTheFailStateOnly) {
    RefusedStream refused;
    refused.stream.clear(std::ios::failbit);
    refused.stream.exceptions(std::ios::badbit);
    refused.open();
    EXPECT_EQ(refused.stream.rdstate(), std::ios::failbit);
}

TEST(SocketStream, isGoodAgainWhenOpenedAfterAFailure) {
    RefusedStream refused;
    refused.open();
    sandbox::ScriptedPeer peer({sandbox::silence()});
    refused.calls.connect = real::connect;
    refused.stream.open(u"127.0.0.1", portOf(peer).GetBuffer());
    EXPECT_TRUE(refused.stream.good());
}

TEST(SocketStream, startsAfreshWhenOpenedAgain) {
    sandbox::ScriptedPeer first({sandbox::say("220 old\r\nleft over"), sandbox::silence()});
    socketstream stream;
    stream.open(u"127.0.0.1", portOf(first).GetBuffer());
    std::string line;
    socketgetline(stream, line);
    stream << "unsent";
    stream.close();
    sandbox::ScriptedPeer second({sandbox::say("220 new\r\n"), sandbox::expectLine("sent")});
    stream.open(u"127.0.0.1", portOf(second).GetBuffer());
    EXPECT_TRUE(socketgetline(stream, line).good());
    EXPECT_EQ(line, "220 new\r");
    stream << "sent\r\n" << std::flush;
    stream.close();
    EXPECT_EQ(second.finish(), "");
}

TEST(SocketStream, failsWhenItsTimeoutCannotBeSet) {
    RefusedStream refused;
    refused.calls.connect = [](int, const sockaddr*, socklen_t) { return 0; };
    refused.calls.ioctl = [](int, unsigned long, int*) { return failingWith(EIO); };
    refused.open();
    refused.stream.setTimeout(300);
    EXPECT_EQ(refused.stream.rdstate(), std::ios::failbit);
}

TEST(SocketStream, throwsOnRequestWhenItsTimeoutCannotBeSet) {
    RefusedStream refused;
    refused.stream.exceptions(std::ios::failbit);
    EXPECT_EQ(codeThrownBy([&] { refused.stream.setTimeout(300); }), EBADF);
}

TEST(SocketStream, forwardsItsTimeout) {
    sandbox::ScriptedPeer peer({sandbox::silence()});
    socketstream stream;
    stream.open(u"127.0.0.1", portOf(peer).GetBuffer());
    stream.setTimeout(0.01);
    const CapturedReports reports;
    std::string line;
    EXPECT_FALSE(socketgetline(stream, line));
    EXPECT_TRUE(stream.eof());
    EXPECT_THAT(socketReports(reports), ElementsAre("select timed out"));
}

TEST(SocketStream, isBadAfterClosing) {
    sandbox::ScriptedPeer peer({sandbox::say("220 hi\r\n"), sandbox::silence()});
    socketstream stream;
    stream.open(u"127.0.0.1", portOf(peer).GetBuffer());
    stream.close();
    EXPECT_EQ(stream.rdstate(), std::ios::badbit);
    EXPECT_FALSE(stream.is_open());
    std::string line;
    EXPECT_FALSE(socketgetline(stream, line));
    stream.close();
    EXPECT_TRUE(stream.bad());
}

TEST(SocketStream, absorbsASendThatFails) {
    sandbox::ScriptedPeer peer({sandbox::say("220 hi\r\n"), sandbox::silence()});
    SystemCalls calls;
    calls.send = [](int, const void*, std::size_t, int) { return ssize_t{failingWith(EPIPE)}; };
    socketstream stream;
    stream.open(u"127.0.0.1", portOf(peer).GetBuffer());
    stream << "QUIT\r\n" << std::flush;
    EXPECT_TRUE(stream.bad());
    std::string line;
    EXPECT_FALSE(socketgetline(stream, line));
}

TEST(SocketStream, absorbsAReceptionThatFails) {
    sandbox::ScriptedPeer peer({sandbox::silence()});
    SystemCalls calls;
    calls.recv = [](int, void*, std::size_t, int) { return ssize_t{failingWith(EIO)}; };
    socketstream stream;
    stream.open(u"127.0.0.1", portOf(peer).GetBuffer());
    std::string line;
    EXPECT_TRUE(socketgetline(stream, line).bad());
}

TEST(SocketStream, isBadWhenAFlushTimesOut) {
    sandbox::ScriptedPeer peer({sandbox::silence()});
    SystemCalls calls;
    calls.send = [](int, const void*, std::size_t, int) { return ssize_t{failingWith(EAGAIN)}; };
    calls.select = [](int, fd_set*, fd_set*, fd_set*, timeval*) { return 0; };
    socketstream stream;
    stream.open(u"127.0.0.1", portOf(peer).GetBuffer());
    stream << "QUIT\r\n";
    EXPECT_TRUE(stream.good());
    stream.flush();
    EXPECT_EQ(stream.rdstate(), std::ios::badbit);
}

}  // namespace
