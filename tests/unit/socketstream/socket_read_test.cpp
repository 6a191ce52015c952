// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <iterator>
#include <sstream>

#include "tests/unit/socketstream/connection.h"
#include "tests/unit/socketstream/system_calls.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr int endOfFile = std::char_traits<char>::eof();

TEST(SocketRead, takes1024OctetsAtATime) {
    SystemCalls calls;
    std::vector<std::size_t> asked;
    calls.recv = [&](int descriptor, void* octets, std::size_t length, int flags) {
        asked.push_back(length);
        return real::recv(descriptor, octets, length, flags | MSG_WAITALL);
    };
    Connection connection({sandbox::say(std::string(2000, 'x')), sandbox::close()});
    EXPECT_THAT(asked, IsEmpty());
    EXPECT_EQ(connection.buffer.sgetc(), 'x');
    EXPECT_EQ(connection.buffer.unread(), std::string(1024, 'x'));
    const std::string rest(std::istreambuf_iterator<char>(&connection.buffer), {});
    EXPECT_EQ(rest.size(), 2000U);
    EXPECT_THAT(asked, ElementsAre(1024U, 1024U, 1024U));
}

TEST(SocketRead, leavesWhatHasNotBeenReadInItsPlace) {
    Connection connection({sandbox::say("ab"), sandbox::close()});
    EXPECT_EQ(connection.buffer.sgetc(), 'a');
    EXPECT_EQ(connection.buffer.underflow(), 'a');
    EXPECT_EQ(connection.buffer.sbumpc(), 'a');
    EXPECT_EQ(connection.buffer.sbumpc(), 'b');
}

TEST(SocketRead, givesEveryOctet) {
    Connection connection({sandbox::say(std::string("\xFF\0\x80", 3)), sandbox::close()});
    EXPECT_EQ(connection.buffer.sbumpc(), 0xFF);
    EXPECT_EQ(connection.buffer.sbumpc(), 0);
    EXPECT_EQ(connection.buffer.sbumpc(), 0x80);
    EXPECT_EQ(connection.buffer.sbumpc(), endOfFile);
}

TEST(SocketRead, fromAPeerThatHasClosedIsTheEnd) {
    Connection connection({sandbox::close()});
    const CapturedReports reports;
    EXPECT_EQ(connection.buffer.sgetc(), endOfFile);
    EXPECT_EQ(connection.buffer.sgetc(), endOfFile);
    EXPECT_THAT(socketReports(reports), IsEmpty());
}

TEST(SocketRead, waitsForWhatIsNotThereYet) {
    SystemCalls calls;
    int recvs = 0;
    calls.recv = [&](int descriptor, void* octets, std::size_t length, int flags) {
        if (++recvs == 1) return ssize_t{failingWith(EAGAIN)};
        return real::recv(descriptor, octets, length, flags);
    };
    int waits = 0;
    calls.select = [&](int count, fd_set* read, fd_set* write, fd_set* exception, timeval* limit) {
        if (read) ++waits;
        return real::select(count, read, write, exception, limit);
    };
    Connection connection({sandbox::say("x"), sandbox::close()});
    connection.buffer.setTimeout(10);
    EXPECT_EQ(connection.buffer.sgetc(), 'x');
    EXPECT_GE(waits, 1);
}

TEST(SocketRead, fromASilentPeerTimesOut) {
    Connection connection({sandbox::silence()});
    const CapturedReports reports;
    connection.buffer.setTimeout(0.01);
    EXPECT_EQ(connection.buffer.sgetc(), endOfFile);
    EXPECT_THAT(socketReports(reports), ElementsAre("select timed out"));
}

TEST(SocketRead, ofAnOrdinaryConnectionWaitsBlocking) {
    SystemCalls calls;
    calls.select = [](int, fd_set*, fd_set*, fd_set*, timeval*) { return failingWith(EINVAL); };
    Connection connection({sandbox::expectData("go"), sandbox::say("x")});
    connection.buffer.sputn("go", 2);
    EXPECT_EQ(connection.buffer.pubsync(), 0);
    EXPECT_EQ(connection.buffer.sgetc(), 'x');
}

TEST(SocketRead, thatFailsIsAnError) {
    SystemCalls calls;
    calls.recv = [](int, void*, std::size_t, int) { return ssize_t{failingWith(EIO)}; };
    Connection connection({sandbox::silence()});
    const CapturedReports reports;
    EXPECT_EQ(codeThrownBy([&] { connection.buffer.sgetc(); }), EIO);
    EXPECT_THAT(socketReports(reports), ElementsAre("recv() failed (5)"));
}

TEST(SocketRead, fromAPeerThatTearsTheConnectionDownIsAnError) {
    Connection connection({sandbox::expectLine("go"), sandbox::reset()});
    const CapturedReports reports;
    connection.buffer.sputn("go\r\n", 4);
    connection.buffer.pubsync();
    EXPECT_EQ(codeThrownBy([&] { connection.buffer.sgetc(); }), ECONNRESET);
    EXPECT_THAT(socketReports(reports), ElementsAre("recv() failed (104)"));
}

TEST(SocketRead, leavesPendingOutputAlone) {
    Connection connection({sandbox::say("question"), sandbox::expectData("answer")});
    connection.buffer.sputn("answer", 6);
    EXPECT_EQ(connection.buffer.sgetc(), 'q');
    EXPECT_EQ(connection.buffer.pending(), "answer");
    EXPECT_EQ(connection.buffer.pubsync(), 0);
    EXPECT_EQ(connection.buffer.unread(), "question");
    connection.buffer.close();
    EXPECT_EQ(connection.peer.finish(), "");
}

TEST(SocketLine, keepsItsCarriageReturn) {
    std::istringstream in("250 OK\r\nrest");
    std::string line = "old";
    EXPECT_EQ(&socketgetline(in, line), &in);
    EXPECT_EQ(line, "250 OK\r");
    EXPECT_EQ(in.get(), 'r');
}

TEST(SocketLine, mayBeEmpty) {
    std::istringstream in("\n\r\n");
    std::string line = "old";
    EXPECT_TRUE(socketgetline(in, line).good());
    EXPECT_EQ(line, "");
    EXPECT_TRUE(socketgetline(in, line).good());
    EXPECT_EQ(line, "\r");
}

TEST(SocketLine, withoutItsLineFeedReachesTheEnd) {
    std::istringstream in("250 OK");
    std::string line;
    EXPECT_TRUE(socketgetline(in, line).eof());
    EXPECT_EQ(line, "250 OK");
}

TEST(SocketLine, isReadAcrossBuffers) {
    const std::string text(5000, 'x');
    sandbox::ScriptedPeer peer({sandbox::say(text + "\r\n"), sandbox::close()});
    socketstream stream;
    stream.open(u"127.0.0.1", portOf(peer).GetBuffer());
    std::string line;
    EXPECT_TRUE(socketgetline(stream, line).good());
    EXPECT_EQ(line, text + "\r");
}

}  // namespace
