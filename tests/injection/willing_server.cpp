// SPDX-License-Identifier: Apache-2.0
#include "tests/injection/willing_server.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace {
// A reply to either protocol.
constexpr char consent[] = "250 ok\r\n";
constexpr char popConsent[] = "+OK\r\n";
}  // namespace

WillingServer::WillingServer() {
    calls.getaddrinfo = [this](const char* /*host*/, const char* port, const addrinfo* hints,
                               addrinfo** list) {
        port_ = port;
        return real::getaddrinfo("127.0.0.1", "25", hints, list);
    };
    calls.connect = [this](int, const sockaddr*, socklen_t) {
        unread_.clear();
        toSay_ = port_ == "pop3" ? popConsent : consent;
        return 0;
    };
    calls.setsockopt = [](int, int, int, const void*, socklen_t) { return 0; };
    calls.ioctl = [](int, unsigned long, int*) { return 0; };
    calls.select = [](int, fd_set*, fd_set*, fd_set*, timeval*) { return 1; };
    calls.send = [this](int, const void* octets, std::size_t length, int) {
        return take(octets, length);
    };
    calls.recv = [this](int, void* octets, std::size_t length, int) {
        return give(octets, length);
    };
}

std::vector<std::string> WillingServer::takeLines() {
    if (!unread_.empty()) lines_.push_back("!" + std::exchange(unread_, {}));
    return std::exchange(lines_, {});
}

ssize_t WillingServer::give(void* octets, std::size_t length) {
    const std::size_t count = std::min(length, toSay_.size());
    std::copy_n(toSay_.data(), count, static_cast<char*>(octets));
    toSay_.erase(0, count);
    return static_cast<ssize_t>(count);
}

ssize_t WillingServer::take(const void* octets, std::size_t length) {
    unread_.append(static_cast<const char*>(octets), length);
    for (std::size_t end; (end = unread_.find("\r\n")) != std::string::npos;) {
        const std::string line = unread_.substr(0, end);
        unread_.erase(0, end + 2);
        readLine(line);
    }
    return static_cast<ssize_t>(length);
}

void WillingServer::readLine(const std::string& line) {
    // Kept: a lone carriage return of a body goes out as it is.
    const bool isClean =
        takesMessage_ || line.find_first_of(std::string_view("\r\n\0", 3)) == std::string::npos;
    lines_.push_back((takesMessage_ ? "  " : isClean ? "" : "!") + line);
    if (takesMessage_) message_ += line + "\r\n";
    if (takesMessage_ && line != ".") return;
    const bool beginsMessage = !takesMessage_ && line == "DATA";
    if (beginsMessage) message_.clear();
    takesMessage_ = beginsMessage;
    toSay_ += beginsMessage ? "354 go on\r\n" : port_ == "pop3" ? popConsent : consent;
}
