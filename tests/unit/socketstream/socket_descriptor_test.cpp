// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>

#include "tests/unit/socketstream/connection.h"
#include "tests/unit/socketstream/system_calls.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// Gives the calling thread's sockets the lowest free descriptor from `least` on.
struct SeenDescriptor {
    /// The default is out of reach of what the threads of the peers open meanwhile.
    explicit SeenDescriptor(int least = 500) {
        calls.socket = [this, least](int family, int type, int protocol) {
            const int lowest = real::socket(family, type, protocol);
            descriptor = fcntl(lowest, F_DUPFD_CLOEXEC, least);
            if ((type & SOCK_CLOEXEC) == 0) fcntl(descriptor, F_SETFD, 0);
            ::close(lowest);
            return descriptor;
        };
    }

    SystemCalls calls;
    int descriptor = -1;
};

bool isOpenDescriptor(int descriptor) { return fcntl(descriptor, F_GETFD) != -1; }

/// Room for descriptors of 1024 and above, for the length of a test.
class ManyDescriptors {
  public:
    ManyDescriptors() {
        getrlimit(RLIMIT_NOFILE, &before_);
        rlimit raised = before_;
        raised.rlim_cur = 4096;
        if (before_.rlim_cur < raised.rlim_cur && setrlimit(RLIMIT_NOFILE, &raised) != 0)
            throw std::runtime_error("cannot have 4096 descriptors");
    }
    ~ManyDescriptors() { setrlimit(RLIMIT_NOFILE, &before_); }

  private:
    rlimit before_ = {};
};

TEST(SocketDescriptor, isClosedInEveryProgramThatIsStarted) {
    SeenDescriptor seen;
    const Connection connection({sandbox::silence()});
    EXPECT_EQ(fcntl(seen.descriptor, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
}

TEST(SocketDescriptor, sendsWithoutDelay) {
    SeenDescriptor seen;
    const Connection connection({sandbox::silence()});
    int isOn = 0;
    socklen_t length = sizeof isOn;
    ASSERT_EQ(getsockopt(seen.descriptor, IPPROTO_TCP, TCP_NODELAY, &isOn, &length), 0);
    EXPECT_NE(isOn, 0);
}

TEST(SocketDescriptor, isGoodEnoughWhenItCannotSendWithoutDelay) {
    SystemCalls calls;
    calls.setsockopt = [](int, int, int, const void*, socklen_t) {
        return failingWith(ENOPROTOOPT);
    };
    const CapturedReports reports;
    const Connection connection({sandbox::silence()});
    EXPECT_TRUE(connection.buffer.is_open());
    EXPECT_THAT(socketReports(reports), ElementsAre("connect succeeded"));
}

class LargeDescriptor : public testing::TestWithParam<int> {};

TEST_P(LargeDescriptor, isWaitedFor) {
    const ManyDescriptors many;
    const SeenDescriptor seen(GetParam());
    Connection connection({sandbox::expectLine("go"), sandbox::say("x")});
    ASSERT_GE(seen.descriptor, GetParam());
    connection.buffer.setTimeout(0.02);
    EXPECT_FALSE(connection.buffer.wait_readwrite(true));
    EXPECT_TRUE(connection.buffer.wait_readwrite(false));
    connection.buffer.setTimeout(10);
    connection.buffer.sputn("go\r\n", 4);
    EXPECT_EQ(connection.buffer.pubsync(), 0);
    EXPECT_EQ(connection.buffer.sgetc(), 'x');
}

INSTANTIATE_TEST_SUITE_P(AroundTheSizeOfAnFdSet, LargeDescriptor,
                         testing::Values(1023, 1024, 1025, 2047, 2048, 3000));

TEST(SocketDescriptor, ofNumberZeroIsWaitedFor) {
    if (fcntl(STDIN_FILENO, F_GETFD) == -1) ::open("/dev/null", O_RDONLY);
    const int input = dup(STDIN_FILENO);
    sandbox::ScriptedPeer peer({sandbox::say("x"), sandbox::silence()});
    {
        SystemCalls calls;
        calls.socket = [](int family, int type, int protocol) {
            const int lowest = real::socket(family, type, protocol);
            dup3(lowest, STDIN_FILENO, O_CLOEXEC);
            ::close(lowest);
            return STDIN_FILENO;
        };
        socketbuf buffer;
        buffer.open(u"127.0.0.1", portOf(peer).GetBuffer());
        buffer.setTimeout(10);
        EXPECT_TRUE(buffer.wait_readwrite(false));
        EXPECT_TRUE(buffer.wait_readwrite(true));
        EXPECT_EQ(buffer.sgetc(), 'x');
    }
    dup2(input, STDIN_FILENO);
    ::close(input);
}

TEST(SocketClose, isReportedOnce) {
    SeenDescriptor seen;
    Connection connection({sandbox::silence()});
    const CapturedReports reports;
    EXPECT_EQ(connection.buffer.close(), &connection.buffer);
    EXPECT_FALSE(connection.buffer.is_open());
    EXPECT_FALSE(isOpenDescriptor(seen.descriptor));
    EXPECT_EQ(connection.buffer.close(), &connection.buffer);
    EXPECT_THAT(socketReports(reports), ElementsAre("closing socket"));
}

TEST(SocketClose, ofABufferThatWasNeverOpenIsNotReported) {
    const CapturedReports reports;
    socketbuf buffer;
    EXPECT_FALSE(buffer.is_open());
    EXPECT_EQ(buffer.close(), &buffer);
    EXPECT_THAT(socketReports(reports), IsEmpty());
}

TEST(SocketClose, doesNotSendWhatIsPending) {
    Connection connection({sandbox::silence()});
    connection.buffer.sputn("pending", 7);
    connection.buffer.close();
    EXPECT_EQ(connection.peer.finish(), "");
    EXPECT_EQ(connection.peer.received(), "");
}

TEST(SocketClose, byDestructionIsNotReportedAndSendsNothing) {
    SeenDescriptor seen;
    const CapturedReports reports;
    sandbox::ScriptedPeer peer({sandbox::silence()});
    {
        socketbuf buffer;
        buffer.open(u"127.0.0.1", portOf(peer).GetBuffer());
        buffer.sputn("pending", 7);
    }
    EXPECT_FALSE(isOpenDescriptor(seen.descriptor));
    EXPECT_THAT(socketReports(reports), ElementsAre("connect succeeded"));
    EXPECT_EQ(peer.finish(), "");
    EXPECT_EQ(peer.received(), "");
}

TEST(SocketReopen, startsWithEmptyBuffers) {
    Connection connection({sandbox::say("old octets"), sandbox::silence()});
    EXPECT_EQ(connection.buffer.sgetc(), 'o');
    connection.buffer.sputn("unsent", 6);
    connection.buffer.close();
    sandbox::ScriptedPeer second({sandbox::say("new"), sandbox::expectLine("sent")});
    connection.buffer.open(u"127.0.0.1", portOf(second).GetBuffer());
    EXPECT_EQ(connection.buffer.sgetc(), 'n');
    connection.buffer.sputn("sent\r\n", 6);
    EXPECT_EQ(connection.buffer.pubsync(), 0);
    connection.buffer.close();
    EXPECT_EQ(second.finish(), "");
}

TEST(SocketReopen, ofAnOpenBufferLeaksNothing) {
    Connection connection({sandbox::silence()});
    sandbox::ScriptedPeer second({sandbox::say("new"), sandbox::silence()});
    SeenDescriptor seen;
    connection.buffer.open(u"127.0.0.1", portOf(second).GetBuffer());
    EXPECT_EQ(connection.buffer.sgetc(), 'n');
    EXPECT_EQ(connection.peer.finish(), "");
    connection.buffer.close();
    EXPECT_FALSE(isOpenDescriptor(seen.descriptor));
}

}  // namespace
