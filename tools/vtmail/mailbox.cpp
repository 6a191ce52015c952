// SPDX-License-Identifier: Apache-2.0
#include "tools/vtmail/mailbox.h"

#include <netdb.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <sstream>
#include <string_view>
#include <utility>

#include "tools/vtmail/connection_fault.h"
#include "tools/vtmail/mail_diagnostics.h"
#include "tools/vtmail/text.h"

namespace {

constexpr std::string_view sent = "POP3->";
constexpr std::string_view received = "POP3<-";
constexpr std::string_view passwordSent = "POP3->PASS ";
constexpr std::string_view quitSent = "POP3->QUIT";

/// Refusals that another try may overcome (RFC 2449 and 3206).
bool isForNow(const std::string& words) {
    for (const char* code : {"[IN-USE]", "[LOGIN-DELAY]", "[SYS/TEMP]"})
        if (words.starts_with(code)) return true;
    return false;
}

/// The text without the blanks around it.
std::string trimmed(const std::string& text) {
    const std::size_t first = text.find_first_not_of(" \t\r");
    if (first == std::string::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

/// Whether a reply to STAT says that there is no message.
bool saysNone(const std::string& words) {
    std::istringstream reply(words);
    int count = -1;
    return reply >> count && count == 0;
}

}  // namespace

// ---- the library's reports

Mailbox::Reports::Reports(AdDiagnostic::Reporter reporter) {
    AdDiagnostic::SetReporter(std::move(reporter));
    AdDiagnostic::Enable(mailDiagnostics, true);
}

Mailbox::Reports::~Reports() {
    AdDiagnostic::Enable(mailDiagnostics, false);
    AdDiagnostic::SetReporter({});
}

/// The report without the password, which a server may also repeat.
std::string Mailbox::masked(std::string report) const {
    constexpr std::string_view mask = "********";
    if (report.starts_with(passwordSent)) return std::string(passwordSent).append(mask);
    if (step_ != "PASS" || !report.starts_with(received)) return report;
    std::size_t rest = received.size() + std::string_view("+OK").size();
    std::string text = report.substr(0, rest);
    for (std::size_t at = 0; (at = report.find(password_, rest)) != std::string::npos;) {
        text.append(report, rest, at - rest).append(mask);
        rest = at + password_.size();
    }
    return text.append(report, std::min(rest, report.size()));
}

void Mailbox::take(const std::string& report) {
    watchdog_.feed();
    if (report == quitSent && !isEnding_) isGivenUp_ = true;
    if (isGivenUp_) return;
    if (report.starts_with(sent)) {
        step_ = report.starts_with(passwordSent) ? "PASS" : report.substr(sent.size());
        reply_.reset();
    } else if (report.starts_with(received)) {
        reply_ = report.substr(received.size());
    } else if (report == "connect succeeded") {
        isConnected_ = true;
        lastFault_.clear();
    } else if (report != "closing socket") {
        lastFault_ = report;
    }
}

// ---- reasons

bool Mailbox::isRefused() const { return reply_ && reply_->starts_with("-ERR"); }

std::string Mailbox::words() const {
    if (!reply_) return {};
    const std::size_t prefix = reply_->starts_with("-ERR") ? 4 : reply_->starts_with("+OK") ? 3 : 0;
    return shortened(shown(trimmed(reply_->substr(prefix))));
}

std::string Mailbox::fault() const {
    if (numberAtEnd(lastFault_) != EINTR) return meaningOf(lastFault_);
    return "the server was silent for " + std::to_string(options_.timeout) +
           " s; --timeout gives it longer";
}

/// Why the last step failed.
Failure Mailbox::failure() const {
    if (!isConnected_) return connectFailure();
    const std::string server = shown(options_.host);
    if (isRefused())
        return {isForNow(words()) ? EX_TEMPFAIL : EX_UNAVAILABLE,
                server + ": refused " + shown(step_) + " (" + words() + ")"};
    if (!reply_ || (reply_->starts_with("+OK") && step_.starts_with("RETR ")))
        return {EX_TEMPFAIL, server + ": at " + shown(step_) + ", " + fault()};
    return {EX_PROTOCOL, server + ": no valid reply to " + shown(step_) + ": " +
                             shortened(shown(*reply_)) + "; is this a POP3 server?"};
}

Failure Mailbox::connectFailure() const {
    const std::string host = shown(options_.host);
    const std::string port = shown(options_.port);
    const int number = numberAtEnd(lastFault_);
    if (!lastFault_.starts_with("getaddrinfo("))
        return {EX_TEMPFAIL, "cannot connect to " + host + ", port " + port + ": " +
                                 (number == EINTR ? fault() : std::strerror(number))};
    if (number > 0) return {EX_NOHOST, host + " is no host name; correct --host"};
    if (number == EAI_SERVICE)
        return {EX_OSFILE, "the port of the service " + port +
                               " is unknown here; give a number, such as --port 110"};
    const bool isForNow = number == EAI_AGAIN || number == EAI_MEMORY || number == EAI_SYSTEM;
    return {isForNow ? EX_TEMPFAIL : EX_NOHOST, "no address for the mail server " + host + ": " +
                                                    gai_strerror(number) + "; see --host"};
}

/// The rest of message `n` would be taken for the replies to come, and what was never fetched be
/// deleted.
Failure Mailbox::outOfStep(int n) const {
    const std::string number = std::to_string(n);
    return {EX_PROTOCOL, shown(options_.host) + ": message " + number +
                             " may go on behind the lone dot that ended it; --limit " + number +
                             " without --delete fetches up to it"};
}

// ---- the dialogue

Mailbox::Mailbox(const MailboxOptions& options)
    : options_(options),
      watchdog_(options.timeout),
      reports_([this](const Zeb_String& tag, const Zeb_String& message) {
          std::string report = toUtf8(message);
          if (!options_.tracesPassword) report = masked(std::move(report));
          if (options_.traces) std::cerr << Printable(tag) << ": " << shown(report) << std::endl;
          take(report);
      }) {
    const Zeb_String port = fromUtf8(options_.port, "--port");
    if (!client_.open(fromUtf8(options_.host, "--host"), port.GetBuffer())) throw failure();
}

void Mailbox::logIn(const std::string& user, const std::string& password) {
    watchdog_.feed();
    password_ = password;
    if (client_.auth_pass(fromUtf8(user, "--user"), fromUtf8(password, "the password"))) return;
    if (!isRefused() || isForNow(words())) throw failure();
    throw Failure(EX_NOPERM, shown(options_.host) + ": refused user " + shown(user) + " (" +
                                 words() + "); correct --user or the password");
}

int Mailbox::count() {
    watchdog_.feed();
    const int count = client_.countMessages();
    // None, no reply, and a reply that is none are all the same to the client.
    const bool isReply = reply_ && reply_->starts_with("+OK");
    if (count < 0 || (count == 0 && !(isReply && saysNone(client_.getLastReply()))))
        throw isReply
            ? Failure(EX_PROTOCOL, shown(options_.host) +
                                       ": no valid reply to STAT: " + shortened(shown(*reply_)))
            : failure();
    return count;
}

bool Mailbox::retrieve(int n, std::ostream& out) {
    watchdog_.feed();
    if (client_.getMessage(n, out)) return true;
    if (isRefused()) return false;
    throw failure();
}

void Mailbox::expectNoMoreOf(int n) {
    if (client_.hasUnread()) throw outOfStep(n);
}

bool Mailbox::remove(int n) {
    watchdog_.feed();
    if (!client_.isEndCertain()) throw outOfStep(n);
    if (client_.deleteMessage(n)) return true;
    if (isRefused()) return false;
    throw failure();
}

void Mailbox::end() {
    watchdog_.feed();
    isEnding_ = true;
    client_.close();
    if (!reply_ || !reply_->starts_with("+OK")) throw failure();
}
