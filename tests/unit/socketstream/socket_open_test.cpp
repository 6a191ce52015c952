// SPDX-License-Identifier: Apache-2.0
#include <arpa/inet.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <unicode/utypes.h>

#include <cerrno>
#include <cstring>

#include "tests/support/wide_text.h"
#include "tests/unit/socketstream/connection.h"
#include "tests/unit/socketstream/system_calls.h"

using testing::ElementsAre;

namespace {

/// Looks on while a buffer asks for a host, which nobody finds.
struct UnknownHost {
    UnknownHost() {
        calls.getaddrinfo = [this](const char* askedHost, const char* askedPort,
                                   const addrinfo* askedHints, addrinfo**) {
            host = askedHost;
            port = askedPort;
            hints = *askedHints;
            return EAI_NONAME;
        };
    }

    /// The code of the error that opening ends in.
    int open(const Zeb_String& wideHost, const Zeb_String& widePort) {
        return codeThrownBy([&] { buffer.open(wideHost, widePort.GetBuffer()); });
    }

    SystemCalls calls;
    std::string host;
    std::string port;
    addrinfo hints = {};
    socketbuf buffer;
};

/// Two numeric addresses whose sockets answer `errors` in turn; 0 connects to the peer.
struct TwoAddresses {
    TwoAddresses() { calls.getaddrinfo = resolvingTo({"127.0.0.1", "127.0.0.2"}); }

    /// The n-th of these calls fails as the n-th error says; 0 lets it through.
    template <typename Call>
    auto failing(Call call, std::vector<int> errors) {
        return [call, errors, at = std::size_t{0}](auto... arguments) mutable {
            const int error = errors.at(at++);
            return error == 0 ? call(arguments...) : failingWith(error);
        };
    }

    SystemCalls calls;
    CapturedReports reports;
    socketbuf buffer;
};

std::string labels(std::size_t first, std::size_t second) {
    return std::string(first, 'a') + '.' + std::string(second, 'b');
}

TEST(SocketOpen, connectsToADecimalPort) {
    sandbox::ScriptedPeer peer({sandbox::say("hello\r\n"), sandbox::close()});
    const CapturedReports reports;
    socketbuf buffer;
    EXPECT_EQ(buffer.open(u"127.0.0.1", portOf(peer).GetBuffer()), &buffer);
    EXPECT_TRUE(buffer.is_open());
    EXPECT_EQ(buffer.sgetc(), 'h');
    EXPECT_THAT(socketReports(reports), ElementsAre("connect succeeded"));
    buffer.close();
    EXPECT_EQ(peer.finish(), "");
}

class SocketService : public testing::TestWithParam<std::pair<const char16_t*, int>> {};

TEST_P(SocketService, isResolvedToItsPort) {
    SystemCalls calls;
    int port = 0;
    calls.connect = [&](int, const sockaddr* address, socklen_t) {
        sockaddr_in ipv4;
        std::memcpy(&ipv4, address, sizeof ipv4);
        port = ntohs(ipv4.sin_port);
        return failingWith(ECONNREFUSED);
    };
    socketbuf buffer;
    EXPECT_THROW(buffer.open(u"127.0.0.1", GetParam().first), socket_error);
    EXPECT_EQ(port, GetParam().second);
}

INSTANTIATE_TEST_SUITE_P(ByNameAndNumber, SocketService,
                         testing::Values(std::pair(u"smtp", 25), std::pair(u"pop3", 110),
                                         std::pair(u"2525", 2525)));

TEST(SocketOpen, asksForStreamsOfAnyFamily) {
    UnknownHost unknown;
    unknown.open(u"mail.example", u"smtp");
    EXPECT_EQ(unknown.host, "mail.example");
    EXPECT_EQ(unknown.port, "smtp");
    EXPECT_EQ(unknown.hints.ai_flags, 0);
    EXPECT_EQ(unknown.hints.ai_family, AF_UNSPEC);
    EXPECT_EQ(unknown.hints.ai_socktype, SOCK_STREAM);
    EXPECT_EQ(unknown.hints.ai_protocol, 0);
}

TEST(SocketOpen, reportsAHostThatNobodyKnows) {
    UnknownHost unknown;
    const CapturedReports reports;
    EXPECT_EQ(unknown.open(u"mail.example", u"smtp"), EAI_NONAME);
    EXPECT_THAT(socketReports(reports), ElementsAre("getaddrinfo(mail.example,smtp) failed (-2)"));
    EXPECT_FALSE(unknown.buffer.is_open());
}

TEST(SocketOpen, asksForTheAsciiFormOfAHostName) {
    UnknownHost unknown;
    const CapturedReports reports;
    unknown.open(u"b\u00fccher.example", u"smtp");
    EXPECT_EQ(unknown.host, "xn--bcher-kva.example");
    EXPECT_THAT(socketReports(reports),
                ElementsAre("getaddrinfo(b\u00fccher.example,smtp) failed (-2)"));
}

// U+1E9E has been a letter since Unicode 5.1; IDNA 2003 knows those of Unicode 3.2.
TEST(SocketOpen, takesAHostNameOfALaterUnicodeForAnUnknownOne) {
    UnknownHost unknown;
    EXPECT_EQ(unknown.open(u"\u1e9e.example", u"smtp"), U_IDNA_UNASSIGNED_ERROR);
    EXPECT_EQ(unknown.host, "");
}

TEST(SocketOpen, asksForAHostNameOf65Units) {
    UnknownHost unknown;
    unknown.open(wide(labels(32, 32)), u"smtp");
    EXPECT_EQ(unknown.host, labels(32, 32));
}

TEST(SocketOpen, takesAHostNameOf66UnitsForAnUnknownOne) {
    UnknownHost unknown;
    const CapturedReports reports;
    EXPECT_EQ(unknown.open(wide(labels(32, 33)), u"smtp"), U_BUFFER_OVERFLOW_ERROR);
    EXPECT_EQ(unknown.host, "");
    EXPECT_THAT(socketReports(reports),
                ElementsAre("getaddrinfo(" + labels(32, 33) + ",smtp) failed (15)"));
    EXPECT_FALSE(unknown.buffer.is_open());
}

TEST(SocketOpen, countsTheUnitsOfTheAsciiForm) {
    UnknownHost unknown;
    const Zeb_String name = wide(std::string(56, 'a') + ".b\u00fc");  // .xn--b-eha: 10 units
    EXPECT_EQ(unknown.open(name, u"smtp"), U_BUFFER_OVERFLOW_ERROR);
    EXPECT_EQ(unknown.open(wide(std::string(55, 'a') + ".b\u00fc"), u"smtp"), EAI_NONAME);
    EXPECT_EQ(unknown.host, std::string(55, 'a') + ".xn--b-eha");
}

TEST(SocketOpen, takesAHostNameThatIsNoTextForAnUnknownOne) {
    UnknownHost unknown;
    const CapturedReports reports;
    EXPECT_EQ(unknown.open(u"a\xD800", u"smtp"), U_INVALID_CHAR_FOUND);
    EXPECT_EQ(unknown.host, "");
    EXPECT_THAT(socketReports(reports), ElementsAre("getaddrinfo(a\uFFFD,smtp) failed (10)"));
}

TEST(SocketOpen, asksForNoHostOfSeveralLines) {
    UnknownHost unknown;
    for (const char* host : {"a\nb", "a\rb"})
        EXPECT_EQ(unknown.open(wide(host), u"smtp"), U_INVALID_CHAR_FOUND) << host;
    EXPECT_EQ(unknown.open(wide(std::string("a\0b", 3)), u"smtp"), U_INVALID_CHAR_FOUND);
    EXPECT_EQ(unknown.host, "");
}

TEST(SocketOpen, asksForNoPortThatIsNotAscii) {
    UnknownHost unknown;
    const CapturedReports reports;
    EXPECT_EQ(unknown.open(u"mail.example", u"sm\u00fcp"), U_INVALID_CHAR_FOUND);
    EXPECT_EQ(unknown.port, "");
    EXPECT_THAT(socketReports(reports),
                ElementsAre("getaddrinfo(mail.example,sm\u00fcp) failed (10)"));
}

TEST(SocketOpen, failsWithoutAHostName) {
    socketbuf buffer;
    EXPECT_THROW(buffer.open(u"", u"smtp"), socket_error);
    EXPECT_FALSE(buffer.is_open());
}

TEST(SocketOpen, triesTheSecondAddressWhenTheFirstRefuses) {
    sandbox::ScriptedPeer peer({sandbox::silence()});
    TwoAddresses two;
    two.calls.getaddrinfo = resolvingTo({"127.0.0.99", "127.0.0.1"});
    two.buffer.open(u"host", portOf(peer).GetBuffer());
    EXPECT_TRUE(two.buffer.is_open());
    EXPECT_THAT(socketReports(two.reports),
                ElementsAre("connect() failed (111)", "connect succeeded"));
}

TEST(SocketOpen, triesTheSecondAddressWhenTheFirstGetsNoSocket) {
    sandbox::ScriptedPeer peer({sandbox::silence()}, {.address = "127.0.0.2"});
    TwoAddresses two;
    two.calls.socket = two.failing(real::socket, {EAFNOSUPPORT, 0});
    two.buffer.open(u"host", portOf(peer).GetBuffer());
    EXPECT_TRUE(two.buffer.is_open());
    EXPECT_THAT(socketReports(two.reports),
                ElementsAre("socket() failed (97)", "connect succeeded"));
}

TEST(SocketOpen, failsAsTheLastAddressDoes) {
    TwoAddresses two;
    const std::size_t descriptors = openDescriptors();
    two.calls.connect = two.failing(real::connect, {ECONNREFUSED, ENETUNREACH});
    EXPECT_EQ(codeThrownBy([&] { two.buffer.open(u"host", u"25"); }), ENETUNREACH);
    EXPECT_THAT(socketReports(two.reports),
                ElementsAre("connect() failed (111)", "connect() failed (101)"));
    EXPECT_FALSE(two.buffer.is_open());
    EXPECT_EQ(openDescriptors(), descriptors);
}

TEST(SocketOpen, failsAsTheLastSocketDoes) {
    TwoAddresses two;
    two.calls.socket = two.failing(real::socket, {0, EMFILE});
    two.calls.connect = two.failing(real::connect, {ECONNREFUSED});
    EXPECT_EQ(codeThrownBy([&] { two.buffer.open(u"host", u"25"); }), EMFILE);
    EXPECT_THAT(socketReports(two.reports),
                ElementsAre("connect() failed (111)", "socket() failed (24)"));
}

TEST(SocketOpen, connectsBlocking) {
    sandbox::ScriptedPeer peer({sandbox::silence()});
    SystemCalls calls;
    int flags = O_NONBLOCK;
    calls.connect = [&](int descriptor, const sockaddr* address, socklen_t length) {
        flags = fcntl(descriptor, F_GETFL);
        return real::connect(descriptor, address, length);
    };
    socketbuf buffer;
    buffer.open(u"127.0.0.1", portOf(peer).GetBuffer());
    EXPECT_EQ(flags & O_NONBLOCK, 0);
}

TEST(SocketOpen, leavesTheBufferClosedWhenTheReportOfItFails) {
    sandbox::ScriptedPeer peer({sandbox::silence()});
    socketbuf buffer;
    AdDiagnostic::SetReporter([](const Zeb_String&, const Zeb_String&) { throw std::bad_alloc(); });
    AdDiagnostic::Enable(11, true);
    EXPECT_THROW(buffer.open(u"127.0.0.1", portOf(peer).GetBuffer()), std::bad_alloc);
    AdDiagnostic::Enable(11, false);
    AdDiagnostic::SetReporter({});
    EXPECT_FALSE(buffer.is_open());
}

TEST(SocketOpen, reportsNothingUnlessAsked) {
    std::size_t count = 0;
    AdDiagnostic::SetReporter([&](const Zeb_String&, const Zeb_String&) { ++count; });
    UnknownHost().open(u"mail.example", u"smtp");
    AdDiagnostic::SetReporter({});
    EXPECT_EQ(count, 0U);
}

}  // namespace
