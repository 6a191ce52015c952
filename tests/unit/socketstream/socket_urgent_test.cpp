// SPDX-License-Identifier: Apache-2.0
// Urgent data (RFC 6093) from a peer: they are no part of the stream, and nobody reads them.
#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>

#include "tests/support/wide_text.h"
#include "tests/unit/socketstream/connection.h"
#include "tests/unit/socketstream/system_calls.h"

using testing::ElementsAre;

namespace {

/// A buffer whose peer has sent one urgent octet, and reads nothing.
class UrgentConnection {
  public:
    UrgentConnection() {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        auto* const generic = reinterpret_cast<sockaddr*>(&address);
        socklen_t length = sizeof address;
        EXPECT_EQ(bind(listener_, generic, length), 0);
        EXPECT_EQ(listen(listener_, 1), 0);
        EXPECT_EQ(getsockname(listener_, generic, &length), 0);
        const std::string port = std::to_string(ntohs(address.sin_port));
        buffer.open(u"127.0.0.1", wide(port).GetBuffer());
        peer_ = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        EXPECT_EQ(send(peer_, "!", 1, MSG_OOB), 1);
    }
    ~UrgentConnection() {
        ::close(peer_);
        ::close(listener_);
    }
    UrgentConnection(const UrgentConnection&) = delete;
    UrgentConnection& operator=(const UrgentConnection&) = delete;

    OpenSocketbuf buffer;

  private:
    const int listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    int peer_ = -1;
};

void expectTheReadToTimeOut(OpenSocketbuf& buffer) {
    const CapturedReports reports;
    buffer.setTimeout(0.05);
    EXPECT_EQ(buffer.sgetc(), std::char_traits<char>::eof());
    EXPECT_THAT(socketReports(reports), ElementsAre("select timed out"));
}

TEST(SocketUrgent, dataEndAWait) {
    UrgentConnection connection;
    connection.buffer.setTimeout(10);
    EXPECT_TRUE(connection.buffer.wait_readwrite(true));
}

TEST(SocketUrgent, dataDoNotKeepAReadFromTimingOut) {
    UrgentConnection connection;
    expectTheReadToTimeOut(connection.buffer);
}

TEST(SocketUrgent, dataBehindAGapDoNotKeepAReadFromTimingOut) {
    SystemCalls calls;
    calls.select = [](int count, fd_set* read, fd_set* write, fd_set* exception, timeval* limit) {
        return exception != nullptr ? 1 : real::select(count, read, write, exception, limit);
    };
    Connection connection({sandbox::silence()});
    expectTheReadToTimeOut(connection.buffer);
}

TEST(SocketUrgent, dataDoNotKeepAWriteFromTimingOut) {
    UrgentConnection connection;
    const CapturedReports reports;
    connection.buffer.setTimeout(0.05);
    const std::string block(1024, 'x');
    int blocks = 0;
    while (blocks < 1'000'000 && connection.buffer.sputn(block.data(), 1024) == 1024) ++blocks;
    EXPECT_LT(blocks, 1'000'000);
    EXPECT_THAT(socketReports(reports), ElementsAre("select timed out"));
}

}  // namespace
