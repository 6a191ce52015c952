// SPDX-License-Identifier: Apache-2.0
// Hosts that are hard to find or to reach, and ones that cannot be.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>

#include <cerrno>
#include <cstring>

#include "inet/pop3client.utf16.h"
#include "inet/smtpclient.utf16.h"
#include "tests/support/captured_reports.h"
#include "tests/support/wide_text.h"
#include "tests/unit/admailmsg/site.h"
#include "tests/unit/socketstream/connection.h"
#include "tests/unit/socketstream/system_calls.h"

using testing::ElementsAreArray;

namespace {

using Texts = std::vector<std::string>;

/// What the resolver and the network do for a host; a code of 0 is a connection in the end.
struct Reach {
    const char* name;
    int resolver;           // status of getaddrinfo; 0: it knows `addresses`
    Texts addresses;        // 127.0.0.1 and ::1 are the server
    int socket;             // errno of socket; 0: it works
    std::vector<int> dead;  // errno of connect for all addresses but the server's, in turn
    int code;               // of the error
    Texts reports;
};

Texts tenAddresses(const std::string& last) {
    Texts addresses;
    for (int i = 1; i < 10; ++i) addresses.push_back("127.0.1." + std::to_string(i));
    addresses.push_back(last);
    return addresses;
}

const std::vector<int> allReasons = {ECONNREFUSED, ETIMEDOUT,  EHOSTUNREACH, ENETUNREACH, EACCES,
                                     ENETDOWN,     ECONNRESET, EPERM,        EHOSTDOWN};

Texts reportsOf(const std::vector<int>& reasons, const std::string& last) {
    Texts reports;
    for (const int reason : reasons)
        reports.push_back("connect() failed (" + std::to_string(reason) + ')');
    reports.push_back(last);
    return reports;
}

const Reach rows[] = {
    {"noSuchName", EAI_NONAME, {}, 0, {}, EAI_NONAME, {"getaddrinfo(mail.test,PORT) failed (-2)"}},
    {"tryAgain", EAI_AGAIN, {}, 0, {}, EAI_AGAIN, {"getaddrinfo(mail.test,PORT) failed (-3)"}},
    {"resolverFails", EAI_FAIL, {}, 0, {}, EAI_FAIL, {"getaddrinfo(mail.test,PORT) failed (-4)"}},
    {"noMemoryToResolve",
     EAI_MEMORY,
     {},
     0,
     {},
     EAI_MEMORY,
     {"getaddrinfo(mail.test,PORT) failed (-10)"}},
    {"refused", 0, {"127.0.0.2"}, 0, {ECONNREFUSED}, ECONNREFUSED, {"connect() failed (111)"}},
    {"neverAnswered", 0, {"127.0.0.2"}, 0, {ETIMEDOUT}, ETIMEDOUT, {"connect() failed (110)"}},
    {"noDescriptorsLeft", 0, {"127.0.0.1"}, EMFILE, {}, EMFILE, {"socket() failed (24)"}},
    {"noDescriptorsLeftAtAll", 0, {"127.0.0.1"}, ENFILE, {}, ENFILE, {"socket() failed (23)"}},
    {"nineOfTenDead", 0, tenAddresses("127.0.0.1"), 0, allReasons, 0,
     reportsOf(allReasons, "connect succeeded")},
    {"allTenDead", 0, tenAddresses("127.0.2.1"), 0, allReasons, ECONNREFUSED,
     reportsOf(allReasons, "connect() failed (111)")},
    {"ipv6Only", 0, {"::1"}, 0, {}, 0, {"connect succeeded"}},
    {"ipv6Refused", 0, {"::2"}, 0, {ENETUNREACH}, ENETUNREACH, {"connect() failed (101)"}},
    {"ipv4BehindDeadIpv6",
     0,
     {"::2", "127.0.0.1"},
     0,
     {ENETUNREACH},
     0,
     {"connect() failed (101)", "connect succeeded"}},
};

void PrintTo(const Reach& row, std::ostream* out) { *out << row.name; }

bool isServer(const sockaddr* address) {
    if (address->sa_family == AF_INET6) {
        sockaddr_in6 ipv6;
        std::memcpy(&ipv6, address, sizeof ipv6);
        return IN6_IS_ADDR_LOOPBACK(&ipv6.sin6_addr);
    }
    sockaddr_in ipv4;
    std::memcpy(&ipv4, address, sizeof ipv4);
    return ipv4.sin_addr.s_addr == htonl(INADDR_LOOPBACK);
}

/// While it lives, the calling thread's network is as a row says.
class Network {
  public:
    Network(const Reach& row, std::uint16_t port) {
        calls_.getaddrinfo = [&row, port = std::to_string(port)](
                                 const char*, const char*, const addrinfo* hints, addrinfo** list) {
            if (row.resolver != 0) return row.resolver;
            return resolvingTo(row.addresses)("", port.c_str(), hints, list);
        };
        if (row.socket != 0)
            calls_.socket = [&row](int, int, int) { return failingWith(row.socket); };
        calls_.connect = [&row, at = std::size_t{0}](int descriptor, const sockaddr* address,
                                                     socklen_t length) mutable {
            if (isServer(address)) return real::connect(descriptor, address, length);
            return failingWith(row.dead.at(at++ % row.dead.size()));
        };
    }

  private:
    SystemCalls calls_;
};

sandbox::ServerOptions atTheAddressOf(const Reach& row) {
    sandbox::ServerOptions options;
    if (!row.addresses.empty() && row.addresses.back() == "::1") options.address = "::1";
    return options;
}

class ReachingAHost : public testing::TestWithParam<Reach> {
  protected:
    void TearDown() override { EXPECT_EQ(openDescriptors(), descriptors_); }

    static Texts reports(std::uint16_t port) {
        Texts reports = GetParam().reports;
        const std::size_t at = reports.front().find("PORT");
        if (at != std::string::npos) reports.front().replace(at, 4, std::to_string(port));
        return reports;
    }

  private:
    const std::size_t descriptors_ = openDescriptors();
};

/// What opening ends in: no error is 0, and then the client is open.
template <typename Open>
int codeOf(Open open) {
    try {
        return open() ? 0 : -1000;
    } catch (const socket_error& error) {
        EXPECT_EQ(error.what(), socket_error::getMessage(error.code(), ""));
        return error.code();
    }
}

TEST_P(ReachingAHost, opensAnSmtpClientOrTellsWhyNot) {
    const sandbox::Server server(atTheAddressOf(GetParam()));
    const Zeb_String port = wide(std::to_string(server.smtpPort()));
    SMTPClient client;
    {
        const CapturedReports captured;
        const Network network(GetParam(), server.smtpPort());
        EXPECT_EQ(codeOf([&] { return client.open(u"mail.test", port.GetBuffer()); }),
                  GetParam().code);
        EXPECT_THAT(socketReports(captured), ElementsAreArray(reports(server.smtpPort())));
    }
    const Zeb_String address = wide(atTheAddressOf(GetParam()).address);
    EXPECT_EQ(client.open(address, port.GetBuffer()), GetParam().code != 0) << "is open already";
    client.close();
}

TEST_P(ReachingAHost, opensAPop3ClientOrNot) {
    const sandbox::Server server(atTheAddressOf(GetParam()));
    const Zeb_String port = wide(std::to_string(server.pop3Port()));
    POP3Client client;
    {
        const CapturedReports captured;
        const Network network(GetParam(), server.pop3Port());
        EXPECT_EQ(client.open(u"mail.test", port.GetBuffer()), GetParam().code == 0);
        EXPECT_THAT(socketReports(captured), ElementsAreArray(reports(server.pop3Port())));
    }
    const Zeb_String address = wide(atTheAddressOf(GetParam()).address);
    EXPECT_EQ(client.open(address, port.GetBuffer()), GetParam().code != 0) << "is open already";
    client.close();
}

TEST_P(ReachingAHost, deliversOrNot) {
    const Site site;
    AdMailMsg mail;
    mail.AddTo(u"a@x");
    const sandbox::Server server(atTheAddressOf(GetParam()));
    const Network network(GetParam(), server.smtpPort());
    EXPECT_EQ(mail.Deliver(), GetParam().code == 0 ? 1 : 0);
    EXPECT_EQ(server.messages().size(), GetParam().code == 0 ? 1U : 0U);
}

INSTANTIATE_TEST_SUITE_P(Table, ReachingAHost, testing::ValuesIn(rows),
                         [](const auto& row) { return row.param.name; });

}  // namespace
