// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/sandbox/client.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <stdexcept>
#include <utility>

namespace {
constexpr int timeLimit = 10000;  // milliseconds
}

Client::Client(std::uint16_t port, const std::string& address)
    : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in name{};
    name.sin_family = AF_INET;
    name.sin_port = htons(port);
    inet_pton(AF_INET, address.c_str(), &name.sin_addr);
    if (connect(socket_, reinterpret_cast<const sockaddr*>(&name), sizeof name) == 0) return;
    close(socket_);
    throw std::runtime_error("nobody listens on port " + std::to_string(port));
}

Client::~Client() { close(socket_); }

void Client::send(std::string_view octets) {
    while (!octets.empty()) {
        const ssize_t count = ::send(socket_, octets.data(), octets.size(), MSG_NOSIGNAL);
        if (count < 0) throw std::runtime_error("the server has closed the connection");
        octets.remove_prefix(static_cast<std::size_t>(count));
    }
}

std::string Client::ask(std::string_view octets) {
    send(octets);
    return line();
}

std::string Client::line() { return until("\r\n"); }

std::string Client::until(std::string_view end) {
    std::size_t found = std::string::npos;
    while ((found = pending_.find(end)) == std::string::npos)
        if (!receive()) return std::exchange(pending_, {});
    std::string octets = pending_.substr(0, found + end.size());
    pending_.erase(0, octets.size());
    return octets;
}

std::string Client::rest() {
    while (receive()) {
    }
    return std::exchange(pending_, {});
}

std::string Client::segment() {
    if (pending_.empty()) receive();
    return std::exchange(pending_, {});
}

bool Client::isSilentFor(int milliseconds) {
    return pending_.empty() && !waitForOctets(milliseconds);
}

void Client::endSending() { shutdown(socket_, SHUT_WR); }

bool Client::waitForOctets(int milliseconds) const {
    pollfd polled{socket_, POLLIN, 0};
    return poll(&polled, 1, milliseconds) > 0;
}

bool Client::receive() {
    if (!waitForOctets(timeLimit)) throw std::runtime_error("nothing came for ten seconds");
    std::array<char, 65536> octets;
    const ssize_t count = recv(socket_, octets.data(), octets.size(), 0);
    wasReset_ = count < 0 && errno == ECONNRESET;
    if (count <= 0) return false;
    pending_.append(octets.data(), static_cast<std::size_t>(count));
    return true;
}
