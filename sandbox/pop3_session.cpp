// SPDX-License-Identifier: Apache-2.0
#include "sandbox/pop3_session.h"

#include <algorithm>
#include <charconv>

#include "sandbox/dot_lines.h"

namespace sandbox {
namespace {

Answer ok(const std::string& text) { return {"+OK " + text + "\r\n"}; }
Answer error(const std::string& text) { return {"-ERR " + text + "\r\n"}; }
Answer wrongOrder() { return error("not now"); }
Answer noSuchMessage() { return error("no such message"); }

std::optional<std::size_t> numberIn(const std::string& text) {
    std::size_t number = 0;
    const char* last = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), last, number);
    return error == std::errc() && end == last ? std::optional(number) : std::nullopt;
}

Answer capabilities() { return {"+OK\r\nUSER\r\nTOP\r\nUIDL\r\nPIPELINING\r\n.\r\n"}; }

/// The header, the empty line after it, and some lines of the body.
std::string topOf(const std::string& message, std::size_t bodyLines) {
    std::size_t end = 0;
    bool isInHeader = true;
    while (end < message.size() && (isInHeader || bodyLines > 0)) {
        const std::size_t next = std::min(message.find("\r\n", end), message.size()) + 2;
        if (!isInHeader) --bodyLines;
        isInHeader = isInHeader && message.compare(end, next - end, "\r\n") != 0;
        end = next;
    }
    return message.substr(0, end);
}

}  // namespace

Answer Pop3Session::perform(const Command& command) {
    switch (command.step) {
        case Step::Greeting:
            state_ = State::Authorization;
            return ok("sandbox.localhost POP3");
        case Step::Unknown:
            return error(command.isTooLong ? "line too long" : "no command of POP3");
        case Step::Capa:
            return capabilities();
        case Step::Quit:
            return quit();
        default:
            break;
    }
    if (state_ == State::Authorization) return authorize(command);
    return state_ == State::Transaction ? transact(command) : wrongOrder();
}

Answer Pop3Session::authorize(const Command& command) {
    if (command.step == Step::User) return takeUser(command.argument);
    return command.step == Step::Pass && user_ ? takePassword(command.argument) : wrongOrder();
}

Answer Pop3Session::transact(const Command& command) {
    const auto size = [](const Entry& entry) { return std::to_string(entry.data().size()); };
    const auto id = [](const Entry& entry) { return entry.mail.id; };
    switch (command.step) {
        case Step::Stat:
            return stat();
        case Step::List:
            return list(command.argument, size);
        case Step::Uidl:
            return list(command.argument, id);
        case Step::Retr:
            return retrieve(command.argument);
        case Step::Top:
            return top(command.argument);
        case Step::Dele:
            return remove(command.argument);
        case Step::Noop:
            return ok("done nothing");
        case Step::Rset:
            return reset();
        default:
            return wrongOrder();
    }
}

Answer Pop3Session::takeUser(const std::string& name) {
    if (name.empty()) return error("no name");
    user_ = name;
    return ok("and the password");
}

Answer Pop3Session::takePassword(const std::string& password) {
    const bool isRight =
        !options_.pop3User || (*user_ == *options_.pop3User && password == options_.pop3Password);
    user_.reset();
    if (!isRight) return error("wrong name or password");
    for (const Mail& mail : store_.mailbox()) entries_.push_back({mail});
    state_ = State::Transaction;
    return ok("welcome");
}

Answer Pop3Session::stat() const {
    std::size_t count = 0;
    std::size_t size = 0;
    for (const Entry& entry : entries_) {
        if (entry.isDeleted) continue;
        ++count;
        size += entry.data().size();
    }
    return ok(std::to_string(count) + ' ' + std::to_string(size));
}

/// One line for a message, or for all: its number and its description.
template <typename Describe>
Answer Pop3Session::list(const std::string& argument, Describe describe) const {
    if (!argument.empty()) {
        const Entry* one = entry(argument);
        return one ? ok(argument + ' ' + describe(*one)) : noSuchMessage();
    }
    std::string lines;
    for (std::size_t at = 0; at < entries_.size(); ++at)
        if (!entries_[at].isDeleted)
            lines += std::to_string(at + 1) + ' ' + describe(entries_[at]) + "\r\n";
    return {"+OK\r\n" + lines + ".\r\n"};
}

Answer Pop3Session::retrieve(const std::string& argument) const {
    const Entry* one = entry(argument);
    if (!one) return noSuchMessage();
    return {ok(std::to_string(one->data().size()) + " octets").words, dotStuffed(one->data())};
}

Answer Pop3Session::top(const std::string& argument) const {
    const std::size_t space = std::min(argument.find(' '), argument.size());
    const Entry* one = entry(argument.substr(0, space));
    if (!one) return noSuchMessage();
    const auto lines = numberIn(argument.substr(std::min(space + 1, argument.size())));
    if (!lines) return error("how many lines?");
    return {ok("here it is").words, dotStuffed(topOf(one->data(), *lines))};
}

Answer Pop3Session::remove(const std::string& argument) {
    const Entry* one = entry(argument);
    if (!one) return noSuchMessage();
    entries_[static_cast<std::size_t>(one - entries_.data())].isDeleted = true;
    return ok("deleted when you quit");
}

Answer Pop3Session::reset() {
    for (Entry& entry : entries_) entry.isDeleted = false;
    return ok("nothing is deleted");
}

Answer Pop3Session::quit() {
    std::vector<Mail> deleted;
    for (const Entry& entry : entries_)
        if (entry.isDeleted) deleted.push_back(entry.mail);
    store_.remove(deleted);
    state_ = State::Over;
    return ok("bye");
}

const Pop3Session::Entry* Pop3Session::entry(const std::string& number) const {
    const std::size_t at = numberIn(number).value_or(0);
    if (at == 0 || at > entries_.size() || entries_[at - 1].isDeleted) return nullptr;
    return &entries_[at - 1];
}

}  // namespace sandbox
