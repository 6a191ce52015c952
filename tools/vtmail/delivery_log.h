// SPDX-License-Identifier: Apache-2.0
// What the library reported during a delivery, and what it means for the user.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "tools/vtmail/failure.h"

/// A server's answer. Both are empty when there was none.
struct ServerReply {
    std::string code;   // three digits; empty when the answer was no valid reply
    std::string words;  // all of it, code included, fit to be shown
};

/// Why a mail did not reach everybody.
class DeliveryFailure : public Failure {
  public:
    DeliveryFailure(const Failure& failure, std::string phase, ServerReply reply = {})
        : Failure(failure), phase_(std::move(phase)), reply_(std::move(reply)) {}

    /// Of the first thing that went wrong: resolve, connect, greeting, ehlo, mail, rcpt, data or
    /// message. Empty when it was none of the dialogue.
    const std::string& phase() const { return phase_; }
    const ServerReply& reply() const { return reply_; }

  private:
    std::string phase_;
    ServerReply reply_;
};

/// What became of one recipient.
struct RecipientFate {
    enum class Kind {
        NotSent,   // the server has not answered for this recipient
        Accepted,  // it has accepted the recipient, but got no mail
        Taken,     // it has taken the mail
        Refused,   // it refused the recipient, or the mail
        Unknown,   // it got the mail, and nobody knows whether it took it
    };

    Kind kind = Kind::NotSent;
    ServerReply reply = {};  // that decided it
};

/// Fed with the library's reports in their order; see docs/diagnostics.md for their texts.
class DeliveryLog {
  public:
    void add(const std::string& message);

    bool isConnected() const { return isConnected_; }

    /// Why a delivery by `server` did not reach everybody.
    DeliveryFailure explain(const std::string& server) const;
    /// Why `server` did not get as far as it should, where no mail was to be sent.
    DeliveryFailure explainCheck(const std::string& server) const;

    /// The lines of the reply to EHLO behind the first one, without their codes; none when the
    /// server knows only HELO.
    std::vector<std::string> offers() const;

    /// By transaction, in the order of their RCPT commands; shorter than the list of recipients
    /// where the delivery ended before.
    std::vector<std::vector<RecipientFate>> fates() const;

  private:
    /// A command and its reply; the command is empty for the greeting and for the reply to a
    /// message.
    struct Exchange {
        std::string command;
        std::vector<std::string> reply;

        bool isComplete() const;
        std::string code() const;
        std::string words() const;
        bool isRefused() const;
    };

    class Explanation;
    class Fates;

    DeliveryFailure explain(const std::string& server, bool isMail) const;
    void addReplyLine(const std::string& line);
    DeliveryFailure explainConnecting(const std::string& server) const;
    static Failure explainResolving(const std::string& name, int status);

    std::vector<Exchange> exchanges_ = {{}};
    std::string lastFault_;  // of the socket: the report that is not about a line
    bool isConnected_ = false;
};
