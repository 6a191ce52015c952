// SPDX-License-Identifier: Apache-2.0
// A server inside the process that takes all that it gets, SMTP or POP3, and remembers it.
#pragma once

#include <string>
#include <vector>

#include "tests/unit/socketstream/system_calls.h"

/// While it lives, connections of the calling thread end here, at once and without a socket's help.
class WillingServer {
  public:
    WillingServer();

    /// The lines that came since the last call, as a server reads them, up to CR LF: commands, with
    /// "!" before one that has no end or holds an octet that may end lines elsewhere; and those of
    /// messages, with two blanks before them.
    std::vector<std::string> takeLines();
    /// The last message, as it was sent, end-of-data line included.
    const std::string& message() const { return message_; }

    SystemCalls calls;

  private:
    ssize_t take(const void* octets, std::size_t length);
    ssize_t give(void* octets, std::size_t length);
    void readLine(const std::string& line);

    std::string port_;
    std::string toSay_;
    std::string unread_;
    bool takesMessage_ = false;
    std::string message_;
    std::vector<std::string> lines_;
};
