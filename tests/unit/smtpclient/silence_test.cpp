// SPDX-License-Identifier: Apache-2.0
// Servers that say nothing any more. The seconds of the client's waits are made short by the
// system's stand-in, which also remembers them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/smtpclient/session.h"
#include "tests/unit/socketstream/connection.h"
#include "tests/unit/socketstream/system_calls.h"

using testing::Each;
using testing::ElementsAre;

namespace {

/// A wait of 100 seconds takes 10 milliseconds.
struct ShortWaits {
    ShortWaits() {
        calls.select = [this](int count, fd_set* read, fd_set* write, fd_set* exception,
                              timeval* limit) {
            if (read == nullptr) return real::select(count, read, write, exception, limit);
            seconds.push_back(limit->tv_sec);
            timeval shorter = {0, limit->tv_sec * 100};
            return real::select(count, read, write, exception, &shorter);
        };
    }

    SystemCalls calls;
    std::vector<long> seconds;  // of the waits for input
};

TEST(SilentServer, isGivenUpAtTheGreeting) {
    ShortWaits waits;
    Session session("silence\n");
    const CapturedReports reports;
    EXPECT_FALSE(session.open());
    EXPECT_EQ(session.client.getReplyCode(), "999");
    EXPECT_THAT(waits.seconds, ElementsAre(300));
    EXPECT_THAT(socketReports(reports),
                ElementsAre("connect succeeded", "select timed out", "closing socket"));
}

TEST(SilentServer, isGivenUpAtAnyReplyOfTheOpening) {
    ShortWaits waits;
    Session session("S: 220 hi\nC: EHLO localhost\nbytes 250-hi\\r\\n250\nsilence\n");
    EXPECT_FALSE(session.open());
    EXPECT_EQ(session.client.getReplyText(), "");
    EXPECT_THAT(waits.seconds, Each(300));
    EXPECT_EQ(session.peer.finish(), "");
}

TEST(SilentServer, isGivenUpAtTheCommandsOfATransaction) {
    ShortWaits waits;
    OpenSession session("C: MAIL FROM:<from@here>\nsilence\n");
    EXPECT_EQ(session.deliver({"a@b"}, "hello\r\n"), 0U);
    EXPECT_EQ(session.client.getReplyCode(), "999");
    EXPECT_THAT(waits.seconds, Each(300));
}

TEST(SilentServer, hasTwiceTheTimeToTakeTheMessage) {
    ShortWaits waits;
    OpenSession session(R"(
        C: MAIL FROM:<from@here>
        S: 250 ok
        C: RCPT TO:<a@b>
        S: 250 ok
        C: DATA
        S: 354 go on
        C: hello
        C: .
        silence
    )");
    EXPECT_EQ(session.deliver({"a@b"}, "hello\r\n"), 0U);
    EXPECT_EQ(session.client.getReplyCode(), "999");
    ASSERT_FALSE(waits.seconds.empty());
    EXPECT_EQ(waits.seconds.back(), 600);
    waits.seconds.pop_back();
    EXPECT_THAT(waits.seconds, Each(300));
}

TEST(SilentServer, hasTheUsualTimeAgainAfterTheMessage) {
    ShortWaits waits;
    waits.calls.recv = [isFirst = true](int descriptor, void* octets, std::size_t length,
                                        int flags) mutable {
        isFirst = !isFirst;  // each reply has to be waited for
        return isFirst ? real::recv(descriptor, octets, length, flags)
                       : ssize_t{failingWith(EAGAIN)};
    };
    waits.calls.select = [&waits](int count, fd_set* read, fd_set* write, fd_set* exception,
                                  timeval* limit) {
        if (read != nullptr) waits.seconds.push_back(limit->tv_sec);
        return real::select(count, read, write, exception, limit);
    };
    OpenSession session(R"(
        C: MAIL FROM:<from@here>
        S: 250 ok
        C: DATA
        S: 354 go on
        C: hello
        C: .
        S: 250 taken
        C: QUIT
        S: 221 bye
    )");
    EXPECT_EQ(session.deliver({}, "hello\r\n"), 0U);
    EXPECT_EQ(session.client.getReplyCode(), "250");
    session.client.close();
    EXPECT_EQ(session.client.getReplyCode(), "221");
    EXPECT_THAT(waits.seconds, ElementsAre(300, 300, 300, 300, 600, 300));
}

TEST(SilentServer, thatTakesNoMoreOfAMessageIsGivenUp) {
    ShortWaits waits;
    OpenSession session(R"(
        C: MAIL FROM:<from@here>
        S: 250 ok
        C: DATA
        S: 354 go on
        silence
    )");
    int sends = 0;
    waits.calls.send = [&](int descriptor, const void* octets, std::size_t length, int flags) {
        if (length < 1024) return real::send(descriptor, octets, length, flags);
        ++sends;
        return ssize_t{failingWith(EAGAIN)};
    };
    waits.calls.select = [&](int count, fd_set* read, fd_set* write, fd_set* exception,
                             timeval* limit) {
        if (write != nullptr && sends > 0) return 0;
        return real::select(count, read, write, exception, limit);
    };
    const CapturedReports reports;
    EXPECT_EQ(session.deliver({}, std::string(3000, 'x')), 0U);
    EXPECT_EQ(sends, 1);
    EXPECT_THAT(socketReports(reports), ElementsAre("select timed out"));
}

}  // namespace
