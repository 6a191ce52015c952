// SPDX-License-Identifier: Apache-2.0
// The SMTP server's side of a dialogue (RFC 5321, 1870, 6152).
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "sandbox/dot_lines.h"
#include "sandbox/server.h"
#include "sandbox/session.h"
#include "sandbox/smtp_path.h"
#include "sandbox/store.h"

namespace sandbox {

/// Options and store are not owned.
class SmtpSession : public Session {
  public:
    SmtpSession(const ServerOptions& options, Store& store) : options_(options), store_(store) {}

    Answer perform(const Command& command) override;
    void refuse(const Command& command) override;
    bool takesData() const override { return reader_ && !reader_->isAtEnd(); }
    std::size_t takeData(std::string_view octets) override { return reader_->take(octets); }
    bool isOver() const override { return state_ == State::Over; }

  private:
    // What has been seen last. Refused: the greeting said that there is no service here.
    enum class State { Refused, Connected, Hello, Mail, Recipients, Over };

    std::string reply(const Command& command);
    std::string greet(const Command& command);
    std::string startMail(const std::string& argument);
    std::string addRecipient(const std::string& argument);
    std::string startData(const std::string& argument);
    std::string endData();
    std::string keep();
    std::string quit(const std::string& argument);
    std::string reset(const std::string& argument);
    void forgetMail();

    std::string parameterError(const SmtpParameter& parameter) const;
    std::string sizeError(const std::string& value) const;
    bool hasExtension(std::string_view keyword) const;

    const ServerOptions& options_;
    Store& store_;
    State state_ = State::Refused;
    bool isExtended_ = false;  // greeted with EHLO
    Message message_;          // the envelope so far
    std::optional<MessageReader> reader_;
};

}  // namespace sandbox
