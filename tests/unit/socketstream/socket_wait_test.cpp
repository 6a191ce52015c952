// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <limits>
#include <optional>

#include "tests/unit/socketstream/connection.h"
#include "tests/unit/socketstream/system_calls.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// A connected buffer whose waits are seen, and answered with `result`.
struct SeenWait {
    SeenWait() {
        calls.socket = [this](int family, int type, int protocol) {
            return descriptor = real::socket(family, type, protocol);
        };
        calls.select = [this](int askedCount, fd_set* read, fd_set* write, fd_set* exception,
                              timeval* askedLimit) {
            count = askedCount;
            forRead = read != nullptr && FD_ISSET(descriptor, read);
            forWrite = write != nullptr && FD_ISSET(descriptor, write);
            forException = exception != nullptr && FD_ISSET(descriptor, exception);
            limit = askedLimit ? std::optional(*askedLimit) : std::nullopt;
            return result < 0 ? failingWith(-result) : result;
        };
        buffer.open(u"127.0.0.1", portOf(peer).GetBuffer());
        reports.emplace();
    }

    /// To another peer.
    void reopen() {
        buffer.close();
        buffer.open(u"127.0.0.1", portOf(secondPeer).GetBuffer());
    }
    bool isBlocking() const { return (fcntl(descriptor, F_GETFL) & O_NONBLOCK) == 0; }
    /// In microseconds; none without a limit.
    std::optional<long> microseconds() const {
        if (!limit) return {};
        return limit->tv_sec * 1000000 + limit->tv_usec;
    }

    SystemCalls calls;
    sandbox::ScriptedPeer peer{{sandbox::silence()}};
    sandbox::ScriptedPeer secondPeer{{sandbox::silence()}};
    socketbuf buffer;
    std::optional<CapturedReports> reports;  // those after the connection
    int result = 1;                          // a negative one fails with this errno
    int descriptor = -1;
    int count = 0;
    bool forRead = false;
    bool forWrite = false;
    bool forException = false;
    std::optional<timeval> limit;
};

TEST(SocketWait, looksForInputAndForExceptions) {
    SeenWait seen;
    EXPECT_TRUE(seen.buffer.wait_readwrite(true));
    EXPECT_EQ(seen.count, seen.descriptor + 1);
    EXPECT_TRUE(seen.forRead);
    EXPECT_FALSE(seen.forWrite);
    EXPECT_TRUE(seen.forException);
}

TEST(SocketWait, looksForRoomAndForExceptions) {
    SeenWait seen;
    EXPECT_TRUE(seen.buffer.wait_readwrite(false));
    EXPECT_EQ(seen.count, seen.descriptor + 1);
    EXPECT_FALSE(seen.forRead);
    EXPECT_TRUE(seen.forWrite);
    EXPECT_TRUE(seen.forException);
}

TEST(SocketWait, hasNoLimitUnlessOneIsSet) {
    SeenWait seen;
    seen.buffer.wait_readwrite(true);
    EXPECT_EQ(seen.microseconds(), std::nullopt);
    EXPECT_TRUE(seen.isBlocking());
}

TEST(SocketWait, of2AndAHalfSecondsCountsTheFraction) {
    SeenWait seen;
    seen.buffer.setTimeout(2.5);
    EXPECT_FALSE(seen.isBlocking());
    seen.buffer.wait_readwrite(true);
    ASSERT_TRUE(seen.limit);
    EXPECT_EQ(seen.limit->tv_sec, 2);
    EXPECT_EQ(seen.limit->tv_usec, 500000);
}

TEST(SocketWait, isCutToWholeMicroseconds) {
    SeenWait seen;
    seen.buffer.setTimeout(0.0000019);
    seen.buffer.wait_readwrite(false);
    EXPECT_EQ(seen.microseconds(), 1);
}

TEST(SocketWait, withoutEndIsAVeryLongOne) {
    SeenWait seen;
    seen.buffer.setTimeout(std::numeric_limits<double>::infinity());
    EXPECT_TRUE(seen.buffer.wait_readwrite(true));
    ASSERT_TRUE(seen.limit);
    EXPECT_GE(seen.limit->tv_sec, 1000000000);
}

TEST(SocketWait, ofZeroSecondsMakesTheSocketBlockAgain) {
    SeenWait seen;
    seen.buffer.setTimeout(5);
    seen.buffer.setTimeout(0);
    EXPECT_TRUE(seen.isBlocking());
    seen.buffer.wait_readwrite(true);
    EXPECT_EQ(seen.microseconds(), std::nullopt);
}

TEST(SocketWait, outlivesTheConnection) {
    SeenWait seen;
    seen.buffer.setTimeout(7);
    seen.reopen();
    EXPECT_TRUE(seen.isBlocking());
    seen.buffer.wait_readwrite(true);
    EXPECT_EQ(seen.microseconds(), 7000000);
}

TEST(SocketWait, ofAnEarlierConnectionHoldsUpNoWrite) {
    SeenWait seen;
    seen.buffer.setTimeout(7);
    seen.reopen();
    seen.result = 0;
    const std::string octets(3000, 'x');
    EXPECT_EQ(seen.buffer.sputn(octets.data(), 3000), 3000);
    EXPECT_EQ(seen.buffer.pubsync(), 0);
    EXPECT_EQ(seen.count, 0) << "of a select";
}

TEST(SocketWait, endsInATimeout) {
    SeenWait seen;
    seen.result = 0;
    EXPECT_FALSE(seen.buffer.wait_readwrite(true));
    EXPECT_THAT(socketReports(*seen.reports), ElementsAre("select timed out"));
}

TEST(SocketWait, isOverWhenOnlyAnExceptionShows) {
    SeenWait seen;
    seen.calls.select = [](int, fd_set* read, fd_set*, fd_set*, timeval*) {
        FD_ZERO(read);
        return 1;
    };
    EXPECT_TRUE(seen.buffer.wait_readwrite(true));
    EXPECT_THAT(socketReports(*seen.reports), IsEmpty());
}

TEST(SocketWait, thatFailsIsAnError) {
    SeenWait seen;
    seen.result = -EINTR;
    EXPECT_EQ(codeThrownBy([&] { seen.buffer.wait_readwrite(true); }), EINTR);
    EXPECT_THAT(socketReports(*seen.reports), ElementsAre("select() failed (4)"));
}

class SocketWaitOfNoTime : public testing::TestWithParam<double> {};

TEST_P(SocketWaitOfNoTime, isRefusedBySelect) {
    Connection connection({sandbox::silence()});
    const CapturedReports reports;
    connection.buffer.setTimeout(GetParam());
    EXPECT_EQ(codeThrownBy([&] { connection.buffer.wait_readwrite(true); }), EINVAL);
    EXPECT_THAT(socketReports(reports), ElementsAre("select() failed (22)"));
}

INSTANTIATE_TEST_SUITE_P(NegativeOrNoNumber, SocketWaitOfNoTime,
                         testing::Values(-1.0, -0.5, -std::numeric_limits<double>::infinity(),
                                         std::numeric_limits<double>::quiet_NaN()));

TEST(SocketWait, ofANegativeTimeIsSetWithoutAnError) {
    SeenWait seen;
    seen.buffer.setTimeout(-1);
    EXPECT_FALSE(seen.isBlocking());
    EXPECT_THAT(socketReports(*seen.reports), IsEmpty());
}

TEST(SocketWait, onAClosedBufferIsAnError) {
    const CapturedReports reports;
    socketbuf buffer;
    EXPECT_EQ(codeThrownBy([&] { buffer.wait_readwrite(true); }), EBADF);
    EXPECT_THAT(socketReports(reports), ElementsAre("select() failed (9)"));
}

TEST(SocketTimeout, thatCannotBeSetIsAnError) {
    SeenWait seen;
    seen.calls.ioctl = [](int, unsigned long request, int* value) {
        return request == FIONBIO && *value == 1 ? failingWith(EIO) : 0;
    };
    EXPECT_EQ(codeThrownBy([&] { seen.buffer.setTimeout(300); }), EIO);
    EXPECT_THAT(socketReports(*seen.reports), ElementsAre("ioctl(FIONBIO,1) failed (5)"));
}

TEST(SocketTimeout, thatCannotBeTakenBackIsAnError) {
    SeenWait seen;
    seen.calls.ioctl = [](int, unsigned long request, int* value) {
        return request == FIONBIO && *value == 0 ? failingWith(EIO) : 0;
    };
    EXPECT_EQ(codeThrownBy([&] { seen.buffer.setTimeout(0); }), EIO);
    EXPECT_THAT(socketReports(*seen.reports), ElementsAre("ioctl(FIONBIO,0) failed (5)"));
}

TEST(SocketTimeout, ofAClosedBufferIsAnError) {
    socketbuf buffer;
    EXPECT_EQ(codeThrownBy([&] { buffer.setTimeout(300); }), EBADF);
}

}  // namespace
