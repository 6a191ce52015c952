// SPDX-License-Identifier: Apache-2.0
#include "tests/fault/fault_server.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

namespace {

/// For each wait of the server: a client that hangs is to fail a test, not to block it.
constexpr timeval patience = {20, 0};

int listenOnLoopback() {
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
        listen(listener, 16) == 0)
        return listener;
    throw std::system_error(errno, std::generic_category(), "cannot listen");
}

std::uint16_t portOf(int listener) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin_port);
}

void prepare(int client) {
    const int on = 1;
    setsockopt(client, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    setsockopt(client, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    setsockopt(client, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
}

}  // namespace

FaultServer::FaultServer(Answers answerTo)
    : answerTo_(std::move(answerTo)),
      listener_(listenOnLoopback()),
      port_(portOf(listener_)),
      thread_([this] { run(); }) {}

FaultServer::~FaultServer() {
    isOver_ = true;
    {
        const std::lock_guard lock(mutex_);
        shutdown(listener_, SHUT_RDWR);  // wakes the thread, here and below
        if (client_ != -1) shutdown(client_, SHUT_RDWR);
    }
    thread_.join();
    close(listener_);
}

void FaultServer::run() {
    while (!isOver_) {
        const int client = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (client == -1) continue;
        prepare(client);
        {
            const std::lock_guard lock(mutex_);
            client_ = client;
        }
        if (!isOver_) serve();
        closeClient();
    }
}

void FaultServer::serve() {
    std::string unread;
    std::array<char, 4096> octets{};
    if (!answer({})) return;
    while (true) {
        const ssize_t count = recv(client_, octets.data(), octets.size(), 0);
        if (count <= 0) return;
        unread.append(octets.data(), static_cast<std::size_t>(count));
        for (std::size_t end; (end = unread.find("\r\n")) != std::string::npos;) {
            const std::string line = unread.substr(0, end);
            unread.erase(0, end + 2);
            if (!answer(line)) return;
        }
    }
}

/// False when this was the last answer to this client.
bool FaultServer::answer(std::optional<std::string_view> line) {
    const Answer given = answerTo_(line);
    send(given.first, given.first.size());
    for (std::size_t i = 0; i < given.times; ++i)
        if (!send(given.repeated, given.repeated.size())) break;  // the client has enough
    send(given.octets, given.isOneByOne ? 1 : given.octets.size());
    if (given.ending == Answer::Ending::Silence) isSilent_ = true;
    if (given.ending == Answer::Ending::Reset) {
        const linger now{1, 0};
        setsockopt(client_, SOL_SOCKET, SO_LINGER, &now, sizeof now);
    }
    return given.ending == Answer::Ending::KeepOpen || given.ending == Answer::Ending::Silence;
}

/// False when the client has gone, or does not read.
bool FaultServer::send(std::string_view octets, std::size_t segment) {
    while (!octets.empty()) {
        const std::string_view part = octets.substr(0, segment);
        const ssize_t sent = ::send(client_, part.data(), part.size(), MSG_NOSIGNAL);
        if (sent <= 0) return false;
        octets.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

void FaultServer::closeClient() {
    const std::lock_guard lock(mutex_);
    close(std::exchange(client_, -1));
}
