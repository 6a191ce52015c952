// SPDX-License-Identifier: Apache-2.0
#include "sandbox/smtp_session.h"

#include <algorithm>
#include <charconv>
#include <system_error>
#include <utility>

#include "sandbox/ascii.h"
#include "sandbox/escapes.h"

namespace sandbox {
namespace {

const std::string serverName = "sandbox.localhost";
const std::string wrongOrder = "503 not now";
const std::string wrongArgument = "501 wrong argument";

/// The reply of several lines: a hyphen behind the code in all but the last.
std::string manyLines(const std::string& code, const std::vector<std::string>& lines) {
    std::string reply;
    for (std::size_t at = 0; at < lines.size(); ++at) {
        if (at > 0) reply += "\r\n";
        reply += code + (at + 1 < lines.size() ? '-' : ' ') + lines[at];
    }
    return reply;
}

}  // namespace

std::vector<std::string> usualEhloLines(const Limits& limits) {
    // SIZE 0 is RFC 1870's word for no limit.
    return {"PIPELINING", "SIZE " + std::to_string(limits.message), "8BITMIME", "HELP"};
}

Answer SmtpSession::perform(const Command& command) {
    const bool isServed =
        state_ != State::Refused || command.step == Step::Greeting || command.step == Step::Quit;
    return {(isServed ? reply(command) : wrongOrder) + "\r\n"};
}

std::string SmtpSession::reply(const Command& command) {
    switch (command.step) {
        case Step::Greeting:
            state_ = State::Connected;
            return "220 " + serverName + " ESMTP";
        case Step::Ehlo:
        case Step::Helo:
            return greet(command);
        case Step::Mail:
            return startMail(command.argument);
        case Step::Rcpt:
            return addRecipient(command.argument);
        case Step::Data:
            return startData(command.argument);
        case Step::EndOfData:
            return endData();
        case Step::Rset:
            return reset(command.argument);
        case Step::Noop:
            return "250 done nothing";
        case Step::Vrfy:
            return command.argument.empty() ? wrongArgument : "252 send a message and see";
        case Step::Help:
            return "214 RFC 5321 tells it all";
        case Step::Quit:
            return quit(command.argument);
        case Step::Expn:
            return "502 there are no lists here";
        default:
            return command.isTooLong ? "500 line too long" : "500 no command of SMTP";
    }
}

void SmtpSession::refuse(const Command& command) {
    if (command.step == Step::EndOfData) forgetMail();
}

std::string SmtpSession::greet(const Command& command) {
    const std::string& name = command.argument;
    if (name.empty() || name.find(' ') != std::string::npos) return wrongArgument;
    forgetMail();
    state_ = State::Hello;
    isExtended_ = command.step == Step::Ehlo;
    if (!isExtended_) return "250 " + serverName;
    std::vector<std::string> lines = {serverName};
    lines.insert(lines.end(), options_.ehloLines.begin(), options_.ehloLines.end());
    return manyLines("250", lines);
}

std::string SmtpSession::startMail(const std::string& argument) {
    if (state_ != State::Hello) return wrongOrder;
    const auto path = parseSmtpPath("FROM:", argument);
    if (!path) return wrongArgument;
    for (const SmtpParameter& parameter : path->parameters) {
        const std::string error = parameterError(parameter);
        if (!error.empty()) return error;
    }
    message_.sender = path->mailbox;
    state_ = State::Mail;
    return "250 sender taken";
}

std::string SmtpSession::parameterError(const SmtpParameter& parameter) const {
    const std::string value = parameter.value.value_or("");
    if (parameter.keyword == "SIZE" && hasExtension("SIZE")) return sizeError(value);
    if (parameter.keyword != "BODY" || !hasExtension("8BITMIME")) return "555 unknown parameter";
    return isSameName(value, "7BIT") || isSameName(value, "8BITMIME") ? "" : wrongArgument;
}

std::string SmtpSession::sizeError(const std::string& value) const {
    std::size_t size = 0;
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), size);
    const bool isNumber = !value.empty() && std::all_of(value.begin(), value.end(), isDigit);
    if (!isNumber) return wrongArgument;
    const std::size_t limit = options_.limits.message;
    const bool isTooLarge = error != std::errc() || size > limit;
    return limit != 0 && isTooLarge ? "552 too large" : "";
}

bool SmtpSession::hasExtension(std::string_view keyword) const {
    return isExtended_ &&
           std::any_of(options_.ehloLines.begin(), options_.ehloLines.end(),
                       [&](std::string_view line) {
                           return isSameName(line.substr(0, line.find(' ')), keyword);
                       });
}

std::string SmtpSession::addRecipient(const std::string& argument) {
    if (state_ != State::Mail && state_ != State::Recipients) return wrongOrder;
    const auto path = parseSmtpPath("TO:", argument);
    if (!path || path->mailbox.empty()) return wrongArgument;
    if (!path->parameters.empty()) return "555 unknown parameter";
    const std::size_t limit = options_.limits.recipients;
    if (limit != 0 && message_.recipients.size() >= limit) return "452 too many recipients";
    message_.recipients.push_back(path->mailbox);
    state_ = State::Recipients;
    return "250 recipient taken";
}

std::string SmtpSession::startData(const std::string& argument) {
    if (state_ == State::Mail) return "554 no valid recipients";
    if (state_ != State::Recipients) return wrongOrder;
    if (!argument.empty()) return wrongArgument;
    reader_.emplace(options_.limits);
    return "354 go on, and end with a line of a single dot";
}

std::string SmtpSession::endData() {
    const std::string answer = reader_->isTooLarge()       ? "552 too large"
                               : reader_->hasTooLongLine() ? "500 a line is too long"
                                                           : keep();
    forgetMail();
    return answer;
}

std::string SmtpSession::keep() {
    message_.data = std::move(reader_->message());
    try {
        store_.receive(std::move(message_));
    } catch (const std::system_error& error) {
        return "451 " + escaped(error.what());
    }
    return "250 message kept";
}

std::string SmtpSession::quit(const std::string& argument) {
    if (!argument.empty()) return wrongArgument;
    state_ = State::Over;
    return "221 " + serverName + " bye";
}

std::string SmtpSession::reset(const std::string& argument) {
    if (!argument.empty()) return wrongArgument;
    forgetMail();
    return "250 all forgotten";
}

void SmtpSession::forgetMail() {
    reader_.reset();
    message_ = {};
    if (state_ != State::Connected) state_ = State::Hello;
}

}  // namespace sandbox
