// SPDX-License-Identifier: Apache-2.0
// All that a server has been given: what SMTP brought, and the mailbox that POP3 serves.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "sandbox/maildir.h"
#include "sandbox/message_folder.h"
#include "sandbox/server.h"

namespace sandbox {

/// A message in the mailbox.
struct Mail {
    std::string id;  // never given to another message; of one in a Maildir its name there
    std::shared_ptr<const Message> message;
};

/// Any thread may call this.
class Store {
  public:
    /// Throws std::system_error when it cannot make the folders, or read the Maildir.
    Store(const std::optional<std::filesystem::path>& folder,
          const std::optional<std::filesystem::path>& maildir);

    /// Keeps a message that came by SMTP. Throws std::system_error when it cannot be written to
    /// the folder; it is not kept then. For one thread at a time.
    void receive(Message message);
    /// Puts a message into the mailbox only.
    void addMail(std::string data);

    std::vector<Message> messages() const;
    std::vector<Arrival> arrivals() const;
    bool waitForMessages(std::size_t count, std::chrono::milliseconds timeout) const;

    std::vector<Mail> mailbox() const;
    /// Takes these out of the mailbox, as far as they are still there.
    void remove(const std::vector<Mail>& mails);

  private:
    /// `name` is empty or that in the Maildir.
    void addToMailbox(std::shared_ptr<const Message> message, const std::string& name = {});

    std::optional<MessageFolder> folder_;
    std::optional<Maildir> maildir_;
    const std::string idPrefix_;
    mutable std::mutex mutex_;
    mutable std::condition_variable received_;
    std::vector<Arrival> arrivals_;
    std::vector<Mail> mailbox_;
    std::size_t mailCount_ = 0;  // ever in the mailbox
};

}  // namespace sandbox
