// SPDX-License-Identifier: Apache-2.0
#include "sandbox/store.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

namespace sandbox {
namespace {

/// Clients remember ids beyond the life of a server.
std::string newIdPrefix() {
    return std::to_string(std::chrono::system_clock::now().time_since_epoch().count()) + '.';
}

/// RFC 1939 7.
bool isUniqueIdListing(const std::string& name) {
    return !name.empty() && name.size() <= 70 &&
           std::all_of(name.begin(), name.end(),
                       [](char octet) { return octet >= '!' && octet <= '~'; });
}

}  // namespace

Store::Store(const std::optional<std::filesystem::path>& folder,
             const std::optional<std::filesystem::path>& maildir)
    : idPrefix_(newIdPrefix()) {
    if (folder) folder_.emplace(*folder);
    if (!maildir) return;
    maildir_.emplace(*maildir);
    for (Maildir::Mail& mail : maildir_->mails())
        addToMailbox(std::make_shared<const Message>(Message{{}, {}, std::move(mail.data)}),
                     mail.name);
}

void Store::receive(Message message) {
    if (folder_) folder_->write(message.data);
    const std::string name = maildir_ ? maildir_->write(message.data) : "";
    const auto kept = std::make_shared<const Message>(std::move(message));
    {
        const std::lock_guard lock(mutex_);
        arrivals_.push_back({arrivals_.size() + 1, std::chrono::system_clock::now(), kept});
        addToMailbox(kept, name);
    }
    received_.notify_all();
}

void Store::addMail(std::string data) {
    const auto kept = std::make_shared<const Message>(Message{{}, {}, std::move(data)});
    const std::lock_guard lock(mutex_);
    addToMailbox(kept);
}

void Store::addToMailbox(std::shared_ptr<const Message> message, const std::string& name) {
    const std::string ownId = idPrefix_ + std::to_string(++mailCount_);
    mailbox_.push_back({isUniqueIdListing(name) ? name : ownId, std::move(message)});
}

std::vector<Message> Store::messages() const {
    const std::lock_guard lock(mutex_);
    std::vector<Message> copies;
    for (const Arrival& arrival : arrivals_) copies.push_back(*arrival.message);
    return copies;
}

std::vector<Arrival> Store::arrivals() const {
    const std::lock_guard lock(mutex_);
    return arrivals_;
}

bool Store::waitForMessages(std::size_t count, std::chrono::milliseconds timeout) const {
    std::unique_lock lock(mutex_);
    return received_.wait_for(lock, timeout, [&] { return arrivals_.size() >= count; });
}

std::vector<Mail> Store::mailbox() const {
    const std::lock_guard lock(mutex_);
    return mailbox_;
}

void Store::remove(const std::vector<Mail>& mails) {
    std::unordered_set<std::string> ids;
    for (const Mail& mail : mails) ids.insert(mail.id);
    const std::lock_guard lock(mutex_);
    std::erase_if(mailbox_, [&](const Mail& kept) { return ids.contains(kept.id); });
}

}  // namespace sandbox
