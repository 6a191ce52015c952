// SPDX-License-Identifier: Apache-2.0
// The page's HTTP: who is answered, with which fields, and how long.
#include "tools/vtmail/page_server.h"

#include <gmock/gmock.h>

#include <atomic>
#include <list>
#include <new>
#include <string>
#include <system_error>

#include "tests/unit/sandbox/client.h"

namespace {

using namespace std::chrono_literals;
using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

constexpr int mostConnections = 16;
const char* const policy =
    "Content-Security-Policy: default-src 'none'; style-src 'self'; base-uri 'none'; "
    "form-action 'none'; frame-ancestors 'none'";

page::Reply echo(const std::string& path) { return {200, "text/plain", "path " + path}; }

class PageServer : public ::testing::Test {
  protected:
    std::uint16_t port() const { return server_.port(); }
    /// The whole response to a request line with these further lines.
    std::string ask(const std::string& line, const std::string& fields) const {
        Client client(port());
        client.send(line + "\r\n" + fields + "\r\n");
        return client.rest();
    }
    std::string askOf(const std::string& host) const {
        return ask("GET / HTTP/1.1", "Host: " + host + "\r\n");
    }
    std::string get(const std::string& path) const {
        return ask("GET " + path + " HTTP/1.1", "Host: localhost\r\n");
    }

    std::atomic<int> calls_ = 0;
    std::function<page::Reply(const std::string&)> handler_ = echo;

  private:
    const page::Server server_{"127.0.0.1", 0, [this](const std::string& path) {
                                   ++calls_;
                                   return handler_(path);
                               }};
};

TEST_F(PageServer, AnswersWithWhatTheHandlerGives) {
    EXPECT_THAT(
        get("/a/b"),
        AllOf(StartsWith("HTTP/1.1 200 OK\r\n"), HasSubstr("\r\nContent-Type: text/plain\r\n"),
              HasSubstr("\r\nContent-Length: 9\r\n"), EndsWith("\r\n\r\npath /a/b")));
}

TEST_F(PageServer, EveryAnswerIsSafeToOpen) {
    const std::string tooLong = "Host: localhost\r\nX: " + std::string(9000, 'x') + "\r\n";
    const std::pair<std::string, std::string> rows[] = {
        {"200", get("/")},
        {"403", askOf("x.example")},
        {"405", ask("DELETE / HTTP/1.1", "Host: localhost\r\n")},
        {"431", ask("GET / HTTP/1.1", tooLong)},
    };
    for (const auto& [status, answer] : rows) {
        EXPECT_THAT(answer, StartsWith("HTTP/1.1 " + status + " "));
        for (const char* field :
             {policy, "X-Content-Type-Options: nosniff", "Referrer-Policy: no-referrer",
              "Cache-Control: no-store", "Cross-Origin-Resource-Policy: same-origin"})
            EXPECT_THAT(answer, HasSubstr(std::string("\r\n") + field + "\r\n")) << status;
        EXPECT_THAT(answer, Not(HasSubstr("Access-Control"))) << status;
    }
    EXPECT_EQ(calls_, 1);
}

TEST_F(PageServer, HeadGivesTheFieldsAlone) {
    const std::string answer = ask("HEAD /a HTTP/1.1", "Host: localhost\r\n");
    EXPECT_THAT(answer, AllOf(StartsWith("HTTP/1.1 200 OK\r\n"),
                              HasSubstr("\r\nContent-Length: 7\r\n"), EndsWith("\r\n\r\n")));
}

TEST_F(PageServer, OtherMethodsAreRefused) {
    for (const char* method : {"POST", "PUT", "DELETE", "OPTIONS", "PATCH", "XYZZY", "get"})
        EXPECT_THAT(ask(std::string(method) + " / HTTP/1.1",
                        "Host: localhost\r\nContent-Length: 3\r\n\r\nabc"),
                    AllOf(StartsWith("HTTP/1.1 405 "), HasSubstr("\r\nAllow: GET, HEAD\r\n")));
    EXPECT_EQ(calls_, 0);
}

TEST_F(PageServer, OnlyThisMachineIsAValidHost) {
    for (const char* host : {"evil.example", "127.0.0.1.evil.example", "localhost.evil.example",
                             "xlocalhost", "", "127.0.0.2", "192.0.2.1", "[::1]", "[", "[]",
                             "0.0.0.0", "localhost@evil.example", "evil.example:80"})
        EXPECT_THAT(askOf(host), StartsWith("HTTP/1.1 403 ")) << host;
    EXPECT_EQ(calls_, 0);
    for (const char* host : {"localhost", "localhost:8080", "127.0.0.1:1", "127.0.0.1"})
        EXPECT_THAT(askOf(host), StartsWith("HTTP/1.1 200 ")) << host;
}

TEST_F(PageServer, WithoutAHostThereIsNoPage) {
    EXPECT_THAT(ask("GET / HTTP/1.0", ""), StartsWith("HTTP/1.1 403 "));
    EXPECT_THAT(ask("GET / HTTP/1.1", ""), Not(HasSubstr("200 OK")));
    EXPECT_EQ(calls_, 0);
}

TEST_F(PageServer, WhatIsNoHttpIsRefused) {
    for (const char* line : {"", "GET", "GET /", "\x16\x03\x01", "EHLO me", "GET / HTTP/9.9"})
        EXPECT_THAT(ask(line, "Host: localhost\r\n"), Not(HasSubstr("path /"))) << line;
    EXPECT_THAT(get("/"), StartsWith("HTTP/1.1 200 "));
}

TEST_F(PageServer, ARequestOfAnySizeIsRefused) {
    Client client(port());
    client.send("GET / HTTP/1.1\r\nHost: localhost\r\nX: " + std::string(100'000, 'x'));
    EXPECT_THAT(client.line(), StartsWith("HTTP/1.1 431 "));
    EXPECT_EQ(calls_, 0);
}

TEST_F(PageServer, AFileIsStoredUnderItsName) {
    handler_ = [](const std::string&) { return page::fileReply("a \"b\"; ü.txt", "<script>"); };
    EXPECT_THAT(get("/"), AllOf(HasSubstr("\r\nContent-Type: application/octet-stream\r\n"),
                                HasSubstr("\r\nContent-Disposition: attachment; "
                                          "filename=\"a__b_____.txt\"; "
                                          "filename*=UTF-8''a%20%22b%22%3B%20%C3%BC.txt\r\n"),
                                EndsWith("\r\n\r\n<script>")));
}

TEST_F(PageServer, ALargeFileComesWhole) {
    const std::string octets(20'000'000, 'x');
    handler_ = [&octets](const std::string&) { return page::fileReply("x", octets); };
    EXPECT_TRUE(get("/").ends_with("\r\n\r\n" + octets));
}

TEST_F(PageServer, WithoutMemoryItSaysSo) {
    handler_ = [](const std::string&) -> page::Reply { throw std::bad_alloc(); };
    EXPECT_THAT(get("/"), AllOf(StartsWith("HTTP/1.1 500 "), HasSubstr("not enough memory")));
}

TEST(PageServerLimits, AConnectionThatIsNotDoneInTimeIsClosed) {
    const page::Server server("127.0.0.1", 0, echo, 50ms);
    Client silent(server.port());
    EXPECT_EQ(silent.rest(), "");
    Client slow(server.port());
    slow.send("GET / HTTP/1.1\r\nHost: localhost\r\n");
    EXPECT_THAT(slow.rest(), Not(HasSubstr("200 OK")));
}

TEST(PageServerLimits, AnOctetNowAndThenIsNotEnough) {
    const page::Server server("127.0.0.1", 0, echo, 300ms);
    Client client(server.port());
    client.send("GET / HTTP/1.1\r\nHost: localhost\r\nX: ");
    int sent = 0;
    for (; sent < 1000 && client.isSilentFor(10); ++sent) client.send("x");
    EXPECT_LT(sent, 1000);
    EXPECT_GT(sent, 1);
}

TEST(PageServerLimits, AConnectionTooManyWaitsForItsTurn) {
    const page::Server server("127.0.0.1", 0, echo);
    std::list<Client> others;
    for (int i = 0; i < mostConnections; ++i)
        others.emplace_back(server.port()).send("GET / HTTP/1.1\r\n");
    Client client(server.port());
    client.send("GET / HTTP/1.1\r\nHost: localhost\r\n\r\n");
    EXPECT_TRUE(client.isSilentFor(100));
    others.pop_front();
    EXPECT_THAT(client.rest(), EndsWith("path /"));
}

TEST(PageServerLimits, ItEndsWithConnectionsOpen) {
    auto server = std::make_unique<page::Server>("127.0.0.1", std::uint16_t{0}, echo);
    Client client(server->port());
    client.send("GET / HTTP/1.1\r\n");
    server.reset();
    EXPECT_EQ(client.rest(), "");
}

TEST(PageServerAddress, APortThatIsTakenIsNamed) {
    const page::Server server("127.0.0.1", 0, echo);
    try {
        const page::Server second("127.0.0.1", server.port(), echo);
        FAIL();
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code(), std::errc::address_in_use);
        EXPECT_THAT(error.what(), HasSubstr("127.0.0.1:" + std::to_string(server.port())));
    }
}

TEST(PageServerAddress, WhatIsNoAddressIsAnError) {
    EXPECT_THROW(page::Server("localhost", 0, echo), std::system_error);
}

TEST(PageServerAddress, HasAUrl) {
    EXPECT_EQ(page::urlOf("127.0.0.1", 80), "http://127.0.0.1:80/");
    EXPECT_EQ(page::urlOf("::1", 8025), "http://[::1]:8025/");
    EXPECT_EQ(page::urlOf("0.0.0.0", 8025), "http://localhost:8025/");
    EXPECT_EQ(page::urlOf("::", 8025), "http://localhost:8025/");
}

}  // namespace
