// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <optional>

#include "tests/unit/socketstream/connection.h"
#include "tests/unit/socketstream/system_calls.h"

using testing::AnyOf;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::Truly;

namespace {

constexpr int refused = std::char_traits<char>::eof();

/// Answers each send in turn; a negative answer is an errno. Those beyond the script succeed.
struct ScriptedSend {
    explicit ScriptedSend(std::vector<int> script) : answers(std::move(script)) {
        calls.send = [this](int, const void* octets, std::size_t length, int askedFlags) {
            sent.emplace_back(static_cast<const char*>(octets), length);
            flags.push_back(askedFlags);
            const auto all = static_cast<ssize_t>(length);
            if (sent.size() > answers.size()) return all;
            const int answer = answers[sent.size() - 1];
            return ssize_t{answer < 0 ? failingWith(-answer) : answer};
        };
        buffer.open(u"127.0.0.1", portOf(peer).GetBuffer());
        reports.emplace();
    }

    void write(const std::string& octets) {
        buffer.sputn(octets.data(), static_cast<std::streamsize>(octets.size()));
    }

    SystemCalls calls;
    sandbox::ScriptedPeer peer{{sandbox::silence()}};
    OpenSocketbuf buffer;
    std::optional<CapturedReports> reports;  // those after the connection
    std::vector<int> answers;
    std::vector<std::string> sent;
    std::vector<int> flags;
};

std::string counting(std::size_t length) {
    std::string octets(length, '\0');
    std::generate(octets.begin(), octets.end(), [n = 0]() mutable { return "abcdefg"[n++ % 7]; });
    return octets;
}

TEST(SocketWrite, goesOutInBlocksOf1024Octets) {
    ScriptedSend scripted({});
    const std::string octets = counting(3000);
    scripted.write(octets);
    EXPECT_EQ(scripted.buffer.pubsync(), 0);
    EXPECT_THAT(scripted.sent, ElementsAre(octets.substr(0, 1024), octets.substr(1024, 1024),
                                           octets.substr(2048)));
}

TEST(SocketWrite, raisesNoSignal) {
    ScriptedSend scripted({});
    scripted.write(counting(2000));
    scripted.buffer.pubsync();
    EXPECT_THAT(scripted.flags, Each(Truly([](int flags) { return (flags & MSG_NOSIGNAL) != 0; })));
}

TEST(SocketWrite, saysOfAllBlocksButTheLastThatMoreFollows) {
    ScriptedSend scripted({});
    scripted.write(counting(3000));
    scripted.buffer.pubsync();
    constexpr int more = MSG_NOSIGNAL | MSG_MORE;
    EXPECT_THAT(scripted.flags, ElementsAre(more, more, MSG_NOSIGNAL));
}

TEST(SocketWrite, ofWholeBlocksOnlyDoesNotSayOfTheLastThatMoreFollows) {
    ScriptedSend scripted({});
    scripted.write(counting(2048));
    scripted.buffer.pubsync();
    EXPECT_THAT(scripted.flags, ElementsAre(MSG_NOSIGNAL | MSG_MORE, MSG_NOSIGNAL));
}

TEST(SocketWrite, allocatesItsBufferWithTheFirstOctet) {
    ScriptedSend scripted({});
    EXPECT_EQ(scripted.buffer.putCapacity(), 0U);
    EXPECT_EQ(scripted.buffer.sputc('x'), 'x');
    EXPECT_EQ(scripted.buffer.putCapacity(), 1024U);
    EXPECT_EQ(scripted.buffer.pending(), "x");
    EXPECT_THAT(scripted.sent, IsEmpty());
}

TEST(SocketWrite, arrives) {
    const std::string octets = counting(100'000) + '\0' + '\xFF';
    Connection connection({sandbox::expectData(octets)});
    connection.buffer.sputn(octets.data(), static_cast<std::streamsize>(octets.size()));
    EXPECT_EQ(connection.buffer.pubsync(), 0);
    connection.buffer.close();
    EXPECT_EQ(connection.peer.finish(), "");
}

TEST(SocketWrite, ofEndOfFileDoesNothing) {
    ScriptedSend scripted({});
    scripted.write("pending");
    EXPECT_EQ(scripted.buffer.overflow(refused), 0);
    EXPECT_EQ(scripted.buffer.pending(), "pending");
    EXPECT_THAT(scripted.sent, IsEmpty());
}

TEST(SocketWrite, thatOverflowsSendsWhatIsPending) {
    ScriptedSend scripted({});
    scripted.write("pending");
    EXPECT_EQ(scripted.buffer.overflow('\xFF' & 0xFF), 0xFF);
    EXPECT_THAT(scripted.sent, ElementsAre("pending"));
    EXPECT_EQ(scripted.buffer.pending(), "\xFF");
}

TEST(SocketWrite, ofNothingSendsNothing) {
    ScriptedSend scripted({});
    EXPECT_TRUE(scripted.buffer.send_output(true));
    scripted.write("x");
    EXPECT_EQ(scripted.buffer.sync(), 0);
    EXPECT_EQ(scripted.buffer.sync(), 0);
    EXPECT_THAT(scripted.sent, ElementsAre("x"));
    EXPECT_EQ(socketbuf().pubsync(), 0);
}

TEST(SocketWrite, ignoresTheArgumentOfItsFlush) {
    ScriptedSend scripted({});
    scripted.write("x");
    EXPECT_TRUE(scripted.buffer.send_output(false));
    scripted.write("y");
    EXPECT_TRUE(scripted.buffer.send_output(true));
    EXPECT_THAT(scripted.sent, ElementsAre("x", "y"));
}

TEST(SocketWrite, thatWouldBlockWaitsAndTriesTheSameAgain) {
    ScriptedSend scripted({-EAGAIN, -EAGAIN});
    int waits = 0;
    scripted.calls.select = [&](int, fd_set*, fd_set* write, fd_set*, timeval*) {
        if (write) ++waits;
        return 1;
    };
    scripted.write("hello");
    EXPECT_EQ(scripted.buffer.pubsync(), 0);
    EXPECT_THAT(scripted.sent, ElementsAre("hello", "hello", "hello"));
    EXPECT_EQ(waits, 2);
    EXPECT_THAT(socketReports(*scripted.reports), IsEmpty());
}

TEST(SocketWrite, thatTimesOutKeepsItsOctets) {
    ScriptedSend scripted({-EAGAIN});
    scripted.calls.select = [](int, fd_set*, fd_set*, fd_set*, timeval*) { return 0; };
    scripted.write("hello");
    EXPECT_EQ(scripted.buffer.sync(), -1);
    EXPECT_THAT(socketReports(*scripted.reports), ElementsAre("select timed out"));
    EXPECT_EQ(scripted.buffer.pending(), "hello");
    scripted.calls.select = real::select;
    EXPECT_EQ(scripted.buffer.sync(), 0);
    EXPECT_THAT(scripted.sent, ElementsAre("hello", "hello"));
}

TEST(SocketWrite, thatTimesOutTakesNoFurtherOctet) {
    ScriptedSend scripted({-EAGAIN});
    scripted.calls.select = [](int, fd_set*, fd_set*, fd_set*, timeval*) { return 0; };
    scripted.write(counting(1024));
    EXPECT_EQ(scripted.buffer.sputc('x'), refused);
    EXPECT_EQ(scripted.buffer.pending(), counting(1024));
}

TEST(SocketWrite, thatFailsIsAnError) {
    ScriptedSend scripted({-EPIPE});
    scripted.write("hello");
    EXPECT_EQ(codeThrownBy([&] { scripted.buffer.pubsync(); }), EPIPE);
    EXPECT_THAT(socketReports(*scripted.reports), ElementsAre("send(5) failed (32)"));
}

TEST(SocketWrite, thatIsShortIsAnErrorWithTheCountForItsCode) {
    ScriptedSend scripted({3});
    scripted.write("hello");
    EXPECT_EQ(codeThrownBy([&] { scripted.buffer.pubsync(); }), 3);
    EXPECT_THAT(socketReports(*scripted.reports), ElementsAre("send(5) failed (3)"));
    EXPECT_THAT(scripted.sent, ElementsAre("hello"));
}

TEST(SocketWrite, ofNoOctetIsAShortOne) {
    ScriptedSend scripted({0});
    scripted.write("hello");
    EXPECT_EQ(codeThrownBy([&] { scripted.buffer.pubsync(); }), 0);
    EXPECT_THAT(socketReports(*scripted.reports), ElementsAre("send(5) failed (0)"));
}

TEST(SocketWrite, toAPeerThatDoesNotReadTimesOut) {
    UnreadConnection connection;
    const CapturedReports reports;
    connection.buffer.setTimeout(0.05);
    const std::string block = counting(1024);
    std::streamsize written = 0;
    std::streamsize taken = 0;
    do {
        taken = connection.buffer.sputn(block.data(), 1024);
        written += taken;
    } while (taken == 1024 && written < 1'000'000'000);
    EXPECT_LT(written, 1'000'000'000);
    EXPECT_THAT(socketReports(reports), ElementsAre("select timed out"));
}

/// What a socket whose system buffer is about this large reports when it is written to and nobody
/// reads.
std::vector<std::string> reportsOfFilling(int systemBuffer) {
    SystemCalls calls;
    calls.setsockopt = [&](int descriptor, int level, int option, const void* on, socklen_t size) {
        real::setsockopt(descriptor, SOL_SOCKET, SO_SNDBUF, &systemBuffer, sizeof systemBuffer);
        return real::setsockopt(descriptor, level, option, on, size);
    };
    UnreadConnection connection;
    const CapturedReports reports;
    connection.buffer.setTimeout(0.02);
    const std::string block = counting(1024);
    for (int i = 0; i < 100'000; ++i)
        if (connection.buffer.sputn(block.data(), 1024) < 1024) break;
    return socketReports(reports);
}

TEST(SocketWrite, isNeverCutShortWhateverTheSystemsBufferHolds) {
    for (const int systemBuffer : {1, 5'000, 16'384, 30'000, 87'040, 200'000, 1'000'000})
        EXPECT_THAT(reportsOfFilling(systemBuffer), ElementsAre("select timed out"))
            << systemBuffer;
}

TEST(SocketWrite, looksForRoomLessOftenThanItSendsWhereThereIsMuch) {
    ScriptedSend scripted({});
    int looks = 0;
    scripted.calls.select = [&](int, fd_set*, fd_set* write, fd_set*, timeval*) {
        if (write) ++looks;
        return 1;
    };
    scripted.buffer.setTimeout(60);
    scripted.write(counting(std::size_t{1024} * 200));
    scripted.buffer.pubsync();
    EXPECT_THAT(scripted.sent, SizeIs(200));
    EXPECT_GE(looks, 1);
    EXPECT_LE(looks, 100);
}

TEST(SocketWrite, looksForRoomAgainAfterBlockingSends) {
    ScriptedSend scripted({});
    std::vector<std::size_t> looks;  // how many sends were made before each
    scripted.calls.select = [&](int, fd_set*, fd_set*, fd_set*, timeval*) {
        looks.push_back(scripted.sent.size());
        return 1;
    };
    for (const double timeout : {60.0, 0.0, 60.0}) {
        scripted.buffer.setTimeout(timeout);
        scripted.write("x");
        scripted.buffer.pubsync();
    }
    EXPECT_THAT(looks, ElementsAre(0U, 2U));
}

TEST(SocketWrite, ofMoreThanTheSystemBuffersArrivesWhole) {
    const std::string piece = counting(std::size_t{64} * 1024);
    constexpr int pieces = 320;
    sandbox::Dialogue dialogue(pieces, sandbox::expectData(piece));
    dialogue.push_back(sandbox::say("!"));
    Connection connection(std::move(dialogue));
    connection.buffer.setTimeout(60);
    const auto length = static_cast<std::streamsize>(piece.size());
    for (int i = 0; i < pieces; ++i)
        ASSERT_EQ(connection.buffer.sputn(piece.data(), length), length);
    EXPECT_EQ(connection.buffer.pubsync(), 0);
    EXPECT_EQ(connection.buffer.sgetc(), '!');
    connection.buffer.close();
    EXPECT_EQ(connection.peer.finish(), "");
}

/// The code of the error that writing ends in.
int writeUntilError(socketbuf& buffer) {
    return codeThrownBy([&] {
        while (buffer.sputc('x') != refused) buffer.pubsync();
    });
}

TEST(SocketWrite, toAPeerThatHasGoneIsAnErrorAndNoSignal) {
    Connection connection({sandbox::reset()});
    const CapturedReports reports;
    EXPECT_THAT(writeUntilError(connection.buffer), AnyOf(EPIPE, ECONNRESET));
    EXPECT_THAT(socketReports(reports),
                ElementsAre(AnyOf("send(1) failed (32)", "send(1) failed (104)")));
    EXPECT_EQ(writeUntilError(connection.buffer), EPIPE);
}

}  // namespace
