// SPDX-License-Identifier: Apache-2.0
// Descriptors of any number. Those above what this process may open are stood in for: only root
// with the right to raise that limit could have them, and the library sees no more of a descriptor
// than its number.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "inet/pop3client.utf16.h"
#include "tests/support/private_network.h"
#include "tests/support/wide_text.h"
#include "tests/unit/admailmsg/site.h"
#include "tests/unit/socketstream/system_calls.h"

using testing::SizeIs;

namespace {

/// A descriptor set as large as `select` is told.
class Bits {
  public:
    Bits(fd_set* set, int descriptor)
        : word_(set == nullptr ? nullptr
                               : reinterpret_cast<unsigned long*>(set) + descriptor / wordSize),
          mask_(1UL << descriptor % wordSize) {}
    bool isSet() const { return word_ != nullptr && (*word_ & mask_) != 0; }
    void put(bool isOn) const {
        if (word_ != nullptr) *word_ = isOn ? *word_ | mask_ : *word_ & ~mask_;
    }

  private:
    static constexpr int wordSize = 8 * sizeof(unsigned long);
    unsigned long* word_;
    unsigned long mask_;
};

/// Shows the calling thread's one socket under another number, to itself and back to the system.
class Renumbered {
  public:
    explicit Renumbered(int number) : number_(number) {
        calls_.socket = [this](int family, int type, int protocol) {
            close();
            real_ = real::socket(family, type, protocol);
            return number_;
        };
        calls_.connect = [this](int given, const sockaddr* address, socklen_t length) {
            return real::connect(known(given), address, length);
        };
        calls_.setsockopt = [this](int given, int level, int option, const void* value,
                                   socklen_t length) {
            return real::setsockopt(known(given), level, option, value, length);
        };
        calls_.ioctl = [this](int given, unsigned long request, int* value) {
            return real::ioctl(known(given), request, value);
        };
        calls_.send = [this](int given, const void* octets, std::size_t length, int flags) {
            return real::send(known(given), octets, length, flags);
        };
        calls_.recv = [this](int given, void* octets, std::size_t length, int flags) {
            return real::recv(known(given), octets, length, flags);
        };
        calls_.select = [this](int count, fd_set* read, fd_set* write, fd_set* exception,
                               timeval* limit) {
            return select(count, read, write, exception, limit);
        };
    }
    ~Renumbered() { close(); }
    Renumbered(const Renumbered&) = delete;
    Renumbered& operator=(const Renumbered&) = delete;

    int waits() const { return waits_; }

  private:
    int known(int given) const { return given == number_ ? real_ : -1; }

    int select(int count, fd_set* read, fd_set* write, fd_set* exception, timeval* limit) {
        if (count != number_ + 1) return failingWith(EINVAL);
        ++waits_;
        fd_set sets[3];
        const Bits given[] = {{read, number_}, {write, number_}, {exception, number_}};
        for (int i = 0; i < 3; ++i) {
            FD_ZERO(&sets[i]);
            if (given[i].isSet()) FD_SET(real_, &sets[i]);
        }
        const int result = real::select(real_ + 1, &sets[0], &sets[1], &sets[2], limit);
        for (int i = 0; i < 3; ++i) given[i].put(result > 0 && FD_ISSET(real_, &sets[i]));
        return result;
    }

    void close() {
        if (real_ != -1) ::close(real_);
        real_ = -1;
    }

    int number_;
    int real_ = -1;
    int waits_ = 0;
    SystemCalls calls_;
};

void deliverAndFetch(const sandbox::Server& server) {
    AdMailMsg mail;
    mail.AddTo(u"a@x");
    mail.SetBody(wide(std::string(100000, 'x')));
    EXPECT_EQ(mail.Deliver(), 1);
    EXPECT_THAT(server.messages(), SizeIs(1));
    POP3Client client;
    const Zeb_String port = wide(std::to_string(server.pop3Port()));
    ASSERT_TRUE(client.open(wide(privateAddress()), port.GetBuffer()));
    EXPECT_TRUE(client.auth_pass(u"joe", u"secret"));
    std::ostringstream out;
    EXPECT_TRUE(client.getMessage(1, out));
    EXPECT_GT(out.str().size(), 100000U);
    client.close();
}

class HighDescriptor : public testing::TestWithParam<int> {};

TEST_P(HighDescriptor, carriesDeliveriesAndFetches) {
    const Site site;
    const sandbox::Server server(onSmtpPort());
    const Renumbered renumbered(GetParam());
    deliverAndFetch(server);
    EXPECT_GT(renumbered.waits(), 0);
}

INSTANTIATE_TEST_SUITE_P(UpToTheMostThatTheSystemKnows, HighDescriptor,
                         testing::Values(1023, 1024, 65535, 65536, 65537, 100000, 1048575));

/// Room for as many descriptors as this process may have, or for a million.
class AllDescriptors {
  public:
    AllDescriptors() {
        getrlimit(RLIMIT_NOFILE, &before_);
        const rlimit raised = {count(), before_.rlim_max};
        setrlimit(RLIMIT_NOFILE, &raised);
    }
    ~AllDescriptors() { setrlimit(RLIMIT_NOFILE, &before_); }
    AllDescriptors(const AllDescriptors&) = delete;
    AllDescriptors& operator=(const AllDescriptors&) = delete;

    int highest() const { return static_cast<int>(count()) - 1; }

  private:
    rlim_t count() const { return std::min<rlim_t>(before_.rlim_max, 1 << 20); }

    rlimit before_ = {};
};

TEST(HighestDescriptor, thatTheProcessMayOpenCarriesDeliveriesAndFetches) {
    const AllDescriptors all;
    RecordProperty("descriptor", all.highest());
    ASSERT_GT(all.highest(), 1024);
    const Site site;
    const sandbox::Server server(onSmtpPort());
    SystemCalls calls;
    int seen = -1;
    calls.socket = [&](int family, int type, int protocol) {
        const int lowest = real::socket(family, type, protocol);
        seen = fcntl(lowest, F_DUPFD_CLOEXEC, all.highest());
        close(lowest);
        return seen;
    };
    deliverAndFetch(server);
    EXPECT_EQ(seen, all.highest());
}

}  // namespace
