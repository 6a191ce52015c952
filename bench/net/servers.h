// SPDX-License-Identifier: Apache-2.0
// SMTP and POP3 servers that take as little time as they can: what is measured is the client.
//
// Each is a process of its own on a loopback port that the system picks, serves one connection
// after the other, and ends with its owner. They believe the client: no pipelining, and no command
// but those that a delivery or a fetch needs.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

/// What a server took, in memory that it shares with the process that measures.
struct Taken {
    std::atomic<std::uint64_t> messages{0};
    std::atomic<std::uint64_t> octets{0};  // of messages, with the lone dot
    std::atomic<std::uint64_t> digest{0};  // of the last message, when `isDigesting`
    std::atomic<bool> isDigesting{false};
};

/// A server's process. Failure: std::system_error.
class Server {
  public:
    /// `serve` talks over one connection, a descriptor that it does not close, in the new process.
    explicit Server(const std::function<void(int connection, Taken& taken)>& serve);
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    std::uint16_t port() const { return port_; }
    Taken& taken() { return *taken_; }

  private:
    Taken* taken_;
    std::uint16_t port_ = 0;
    pid_t process_ = -1;
};

/// Takes every mail.
void serveSmtp(int connection, Taken& taken);

/// What a POP3 server says, made beforehand.
struct Mailbox {
    /// `mail` under each of the numbers from 1 to `count`.
    Mailbox(std::string_view mail, int count);

    std::string statReply;
    std::string listReply;
    std::string retrReply;
};

/// Gives the mails of `mailbox` to anybody.
void servePop3(int connection, const Mailbox& mailbox);

/// Takes all there is up to the end, and answers with one octet.
void serveNothing(int connection);
