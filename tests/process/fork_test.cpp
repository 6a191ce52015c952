// SPDX-License-Identifier: Apache-2.0
// A process that forks while it delivers.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <functional>
#include <istream>
#include <streambuf>

#include "inet/smtpclient.utf16.h"
#include "tests/support/private_network.h"
#include "tests/support/wide_text.h"
#include "tests/unit/admailmsg/site.h"
#include "tests/unit/socketstream/system_calls.h"

using testing::HasSubstr;
using testing::Not;

namespace {

/// A message, and something that happens when half of it has been read.
class Interlude : public std::streambuf {
  public:
    Interlude(std::string text, std::function<void()> work)
        : text_(std::move(text)), work_(std::move(work)) {
        const std::size_t half = text_.size() / 2;
        setg(text_.data(), text_.data(), text_.data() + half);
    }

  protected:
    int_type underflow() override {
        char* const end = text_.data() + text_.size();
        if (egptr() == end) return traits_type::eof();
        work_();
        setg(text_.data(), egptr(), end);
        return traits_type::to_int_type(*gptr());
    }

  private:
    std::string text_;
    std::function<void()> work_;
};

/// Large enough for much of it to be on its way at half.
std::string longMessage() {
    std::string text = "Subject: x\r\n\r\n";
    for (int i = 0; i < 1000; ++i) text += "line " + std::to_string(i) + "\r\n";
    return text;
}

/// Delivers a long message, and does `work` when half of it is sent.
void deliverAround(const std::function<void()>& work) {
    const sandbox::Server server(onSmtpPort());
    SMTPClient client;
    ASSERT_TRUE(client.open(wide(privateAddress())));
    CStringArray recipients;
    recipients.Add(u"a@x");
    Interlude buffer(longMessage(), work);
    std::istream message(&buffer);
    EXPECT_EQ(client.deliver(u"b@x", recipients, message), 1U);
    client.close();
    ASSERT_EQ(server.messages().size(), 1U);
    EXPECT_EQ(server.messages().front().data, longMessage());
}

/// The status of a child that did `work`.
int statusOfChild(const std::function<void()>& work) {
    const pid_t child = fork();
    if (child == 0) {
        work();
        _exit(0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status;
}

TEST(Fork, inTheMiddleOfADeliveryDoesNotDisturbIt) {
    int status = -1;
    deliverAround([&] { status = statusOfChild([] {}); });
    EXPECT_EQ(status, 0);
}

TEST(Fork, ofAChildThatStaysDoesNotDisturbTheDelivery) {
    int pipeEnds[2];
    ASSERT_EQ(pipe2(pipeEnds, O_CLOEXEC), 0);
    pid_t child = -1;
    deliverAround([&] {
        child = fork();
        if (child != 0) return;
        char octet = 0;
        close(pipeEnds[1]);
        _exit(read(pipeEnds[0], &octet, 1) == 1 ? 0 : 1);
    });
    ASSERT_EQ(write(pipeEnds[1], "x", 1), 1);  // the delivery is over, and the child was there
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    for (const int end : pipeEnds) close(end);
}

TEST(Fork, givesAProgramThatIsStartedNoConnection) {
    int descriptor = -1;
    SystemCalls calls;
    calls.socket = [&](int family, int type, int protocol) {
        return descriptor = real::socket(family, type, protocol);
    };
    std::string seen;
    deliverAround([&] {
        const std::string file = "/proc/self/fd/" + std::to_string(descriptor);
        ASSERT_EQ(access(file.c_str(), F_OK), 0);
        FILE* const program = popen("exec ls -l /proc/self/fd", "re");
        for (int octet = fgetc(program); octet != EOF; octet = fgetc(program))
            seen += static_cast<char>(octet);
        EXPECT_EQ(pclose(program), 0);
    });
    EXPECT_THAT(seen, HasSubstr("pipe:["));
    EXPECT_THAT(seen, Not(HasSubstr(" " + std::to_string(descriptor) + " -> socket:")));
}

}  // namespace
