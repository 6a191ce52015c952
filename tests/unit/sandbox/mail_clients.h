// SPDX-License-Identifier: Apache-2.0
// Clients that speak to a sandbox server command by command.
#pragma once

#include <string>
#include <string_view>

#include "sandbox/server.h"
#include "tests/unit/sandbox/client.h"

/// An SMTP client that has read the greeting.
class SmtpClient : public Client {
  public:
    explicit SmtpClient(const sandbox::Server& server);

    /// The next reply, all its lines.
    std::string reply();
    /// The code of the reply to a command, which is given without its CR LF.
    std::string code(const std::string& command);
    /// Sends EHLO and an envelope with one recipient. Throws std::runtime_error when one of the
    /// commands is refused.
    void startMail();
    /// As startMail(), then DATA and these octets, to which the end line is added. Returns the
    /// code of the reply to that.
    std::string sendMessage(std::string_view octets);
};

/// A POP3 client that has read the greeting and given a name and a password.
class Pop3Client : public Client {
  public:
    explicit Pop3Client(const sandbox::Server& server);

    /// Whether the reply to a command, which is given without its CR LF, begins with +OK.
    bool takes(const std::string& command);
    /// What follows the first line of the reply to a command, with the end line. Throws
    /// std::runtime_error when the command is refused.
    std::string lines(const std::string& command);
};
