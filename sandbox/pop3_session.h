// SPDX-License-Identifier: Apache-2.0
// The POP3 server's side of a dialogue (RFC 1939 and 2449).
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "sandbox/server.h"
#include "sandbox/session.h"
#include "sandbox/store.h"

namespace sandbox {

/// Shows the mailbox as it was when the client gave its password. Since that does not change
/// under it, several clients may read at once; a message that two of them delete is deleted.
/// Options and store are not owned.
class Pop3Session : public Session {
  public:
    Pop3Session(const ServerOptions& options, Store& store) : options_(options), store_(store) {}

    Answer perform(const Command& command) override;
    void refuse(const Command&) override {}
    bool isOver() const override { return state_ == State::Over; }

  private:
    enum class State { Refused, Authorization, Transaction, Over };

    struct Entry {
        Mail mail;
        bool isDeleted = false;
        const std::string& data() const { return mail.message->data; }
    };

    Answer authorize(const Command& command);
    Answer transact(const Command& command);

    Answer takeUser(const std::string& name);
    Answer takePassword(const std::string& password);
    Answer stat() const;
    template <typename Describe>
    Answer list(const std::string& argument, Describe describe) const;
    Answer retrieve(const std::string& argument) const;
    Answer top(const std::string& argument) const;
    Answer remove(const std::string& argument);
    Answer reset();
    Answer quit();

    /// The message of a number, counted from 1, or null.
    const Entry* entry(const std::string& number) const;

    const ServerOptions& options_;
    Store& store_;
    State state_ = State::Refused;
    std::optional<std::string> user_;
    std::vector<Entry> entries_;
};

}  // namespace sandbox
