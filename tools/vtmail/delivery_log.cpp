// SPDX-License-Identifier: Apache-2.0
#include "tools/vtmail/delivery_log.h"

#include <netdb.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <utility>

#include "tools/vtmail/connection_fault.h"
#include "tools/vtmail/text.h"

namespace {

constexpr std::string_view sent = "SMTP->";
constexpr std::string_view received = "SMTP<-";

}  // namespace

bool DeliveryLog::Exchange::isComplete() const {
    return !reply.empty() && (reply.back().size() <= 3 || reply.back()[3] != '-');
}

/// Empty unless the reply ends as a reply does.
std::string DeliveryLog::Exchange::code() const {
    if (!isComplete()) return {};
    const std::string& line = reply.back();
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    const bool isCode = line.size() >= 3 && std::all_of(line.begin(), line.begin() + 3, isDigit);
    return isCode && (line.size() == 3 || line[3] == ' ') ? line.substr(0, 3) : std::string();
}

std::string DeliveryLog::Exchange::words() const {
    std::string all;
    for (const std::string& line : reply) all += (all.empty() ? "" : " / ") + shown(line);
    return shortened(all);
}

bool DeliveryLog::Exchange::isRefused() const {
    return !code().starts_with(command == "DATA" ? '3' : '2');
}

void DeliveryLog::add(const std::string& message) {
    if (message.starts_with(sent)) {
        exchanges_.push_back({message.substr(sent.size()), {}});
    } else if (message.starts_with(received)) {
        addReplyLine(message.substr(received.size()));
    } else if (message == "connect succeeded") {
        isConnected_ = true;
        lastFault_.clear();
    } else if (message != "closing socket") {
        lastFault_ = message;
    }
}

void DeliveryLog::addReplyLine(const std::string& line) {
    if (exchanges_.back().isComplete()) exchanges_.emplace_back();  // the reply to the message
    exchanges_.back().reply.push_back(line);
}

/// Puts together what went wrong in the transactions of a delivery.
class DeliveryLog::Explanation {
  public:
    explicit Explanation(const std::string& fault) : fault_(fault) {}

    void take(const Exchange& exchange) {
        const std::string& command = exchange.command;
        if (!command.empty()) endMessage();
        if (command.starts_with("MAIL FROM:")) beginTransaction();
        if (command.starts_with("RCPT TO:")) {
            takeRecipient(exchange);
        } else if (command.starts_with("EHLO")) {
            ehlo_ = &exchange;  // HELO follows where it is refused
        } else if (command == "QUIT" || command == "RSET") {
            // Nothing can be lost by these.
        } else if (exchange.isRefused()) {
            const bool isHelo = command.starts_with("HELO") && ehlo_ != nullptr;
            if (isHelo && ehlo_->code().empty()) takeRefusal(*ehlo_);
            takeRefusal(exchange);
        } else {
            takeConsent(command);
        }
    }

    /// To be called when no more is to come: a message without a reply was lost.
    void endMessage() {
        if (!isMessageSent_) return;
        isMessageSent_ = false;
        mayHaveArrived_ = accepted_ > 0 && !fault_.starts_with("send(");
        takeFault(named("the message"), "message");
    }

    DeliveryFailure failure(const std::string& server, bool isMail) const {
        std::string text = shown(server) + ": " + text_;
        if (text_.empty()) text += "it failed for want of memory or descriptors";
        if (!isMail) return {Failure(exitCode_, text), phase_, reply_};
        if (mayHaveArrived_) text += "; the mail may have arrived all the same";
        if (anybodyGotIt_) text += "; the others got the mail";
        if (!mayHaveArrived_ && !anybodyGotIt_) text += "; nobody got the mail";
        return {Failure(exitCode_, text), phase_, reply_};
    }

  private:
    void beginTransaction() {
        accepted_ = 0;
        ++transactions_;
    }

    void takeConsent(const std::string& command) {
        isMessageSent_ = command == "DATA";
        if (command.empty() && accepted_ > 0) anybodyGotIt_ = true;
    }

    void takeRecipient(const Exchange& exchange) {
        if (!exchange.isRefused()) {
            ++accepted_;
        } else if (exchange.code().empty()) {
            takeRefusal(exchange);
        } else {
            const std::string address = exchange.command.substr(exchange.command.find(':') + 1);
            say("refused " + shown(address) + " (" + exchange.words() + ")");
            setReason(exchange.code().starts_with('4') ? EX_TEMPFAIL : EX_NOUSER, "rcpt",
                      {exchange.code(), exchange.words()});
        }
    }

    /// The step, with its transaction where that is not the only one.
    std::string named(const std::string& step) const {
        return step + (transactions_ > 1 ? " for the blind recipients" : "");
    }

    void takeRefusal(const Exchange& exchange) {
        const bool isAfterMessage = std::exchange(isMessageSent_, false);
        if (isAfterMessage && exchange.code().empty()) mayHaveArrived_ = accepted_ > 0;
        std::string step = shown(exchange.command);
        if (step.empty()) step = isAfterMessage ? "the message" : "the greeting";
        step = named(step);
        const std::string phase = phaseOf(exchange.command, isAfterMessage);
        const ServerReply reply = {exchange.code(), exchange.words()};
        if (!exchange.isComplete()) {
            takeFault(step, phase);
        } else if (reply.code.empty()) {
            say("no valid reply to " + step + ": " + reply.words);
            setReason(EX_PROTOCOL, phase, reply);
        } else if (exchange.command != "DATA" || accepted_ > 0) {  // else the recipients were it
            say("refused " + step + " (" + reply.words + ")");
            setReason(reply.code.starts_with('4') ? EX_TEMPFAIL : EX_UNAVAILABLE, phase, reply);
        }
    }

    void takeFault(const std::string& step, const std::string& phase) {
        if (isLost_) return;
        isLost_ = true;
        say("at " + step + ", " + meaningOf(fault_));
        setReason(EX_TEMPFAIL, phase, {});
    }

    static std::string phaseOf(const std::string& command, bool isAfterMessage) {
        if (command.empty()) return isAfterMessage ? "message" : "greeting";
        std::string verb = command.substr(0, 4);
        std::transform(verb.begin(), verb.end(), verb.begin(), [](char c) {
            return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        });
        return verb == "helo" ? "ehlo" : verb;
    }

    void say(const std::string& text) { text_ += (text_.empty() ? "" : "; ") + text; }

    /// The first one counts: what follows it is often its consequence.
    void setReason(int exitCode, const std::string& phase, const ServerReply& reply) {
        if (hasReason_) return;
        hasReason_ = true;
        exitCode_ = exitCode;
        phase_ = phase;
        reply_ = reply;
    }

    std::string fault_;
    std::string text_;
    int exitCode_ = EX_TEMPFAIL;
    std::string phase_;
    ServerReply reply_;
    bool hasReason_ = false;
    bool isLost_ = false;
    bool isMessageSent_ = false;  // and not answered yet
    bool mayHaveArrived_ = false;
    bool anybodyGotIt_ = false;
    int transactions_ = 0;  // the second one is for the blind recipients
    int accepted_ = 0;      // recipients in this transaction
    const Exchange* ehlo_ = nullptr;
};

DeliveryFailure DeliveryLog::explain(const std::string& server) const {
    return explain(server, /*isMail=*/true);
}

DeliveryFailure DeliveryLog::explainCheck(const std::string& server) const {
    return explain(server, /*isMail=*/false);
}

std::vector<std::string> DeliveryLog::offers() const {
    constexpr std::size_t codeLength = 4;  // "250-"
    std::vector<std::string> lines;
    for (const Exchange& exchange : exchanges_)
        if (exchange.command.starts_with("EHLO") && exchange.code().starts_with('2'))
            for (std::size_t at = 1; at < exchange.reply.size(); ++at)
                lines.push_back(
                    exchange.reply[at].substr(std::min(codeLength, exchange.reply[at].size())));
    return lines;
}

DeliveryFailure DeliveryLog::explain(const std::string& server, bool isMail) const {
    if (!isConnected_) return explainConnecting(server);
    Explanation explanation(lastFault_);
    for (const Exchange& exchange : exchanges_) explanation.take(exchange);
    explanation.endMessage();
    return explanation.failure(server, isMail);
}

DeliveryFailure DeliveryLog::explainConnecting(const std::string& server) const {
    const int number = numberAtEnd(lastFault_);
    const std::string name = shown(server);
    if (lastFault_.starts_with("getaddrinfo(")) return {explainResolving(name, number), "resolve"};
    // Without a report it was an allocation that failed.
    return {Failure(EX_TEMPFAIL, "cannot connect to " + name + ", port of the service smtp: " +
                                     std::strerror(number != 0 ? number : ENOMEM)),
            "connect"};
}

/// `status` is the resolver's, or a positive one for a name that cannot be looked up.
Failure DeliveryLog::explainResolving(const std::string& name, int status) {
    if (status > 0)
        return {EX_NOHOST, name + " is no host name; correct it with vtmail settings set SMTPHost"};
    if (status == EAI_SERVICE)
        return {EX_OSFILE,
                "the port of the service smtp is unknown here; install the package netbase"};
    const bool isForNow = status == EAI_AGAIN || status == EAI_MEMORY || status == EAI_SYSTEM;
    return {isForNow ? EX_TEMPFAIL : EX_NOHOST, "no address for the mail server " + name + ": " +
                                                    gai_strerror(status) +
                                                    "; see vtmail settings get SMTPHost"};
}
