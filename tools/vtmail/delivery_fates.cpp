// SPDX-License-Identifier: Apache-2.0
// What became of each recipient of a delivery.
#include <utility>

#include "tools/vtmail/delivery_log.h"

class DeliveryLog::Fates {
  public:
    explicit Fates(const std::string& fault) : fault_(fault) {}

    void take(const Exchange& exchange) {
        const std::string& command = exchange.command;
        if (!command.empty()) endMessage();
        if (command.starts_with("MAIL FROM:")) {
            transactions_.emplace_back();
        } else if (command.starts_with("RCPT TO:")) {
            transactions_.back().push_back(recipient(exchange));
        } else if (command == "DATA") {
            isMessageSent_ = !exchange.isRefused();
            if (!exchange.code().empty() && !isMessageSent_) settle(Kind::Refused, exchange);
        } else if (command.empty() && isMessageSent_) {
            isMessageSent_ = false;
            settle(afterMessage(exchange), exchange);
        }
    }

    /// To be called when no more is to come: a message without a reply was lost. When it could not
    /// be sent whole nobody got it.
    void endMessage() {
        if (std::exchange(isMessageSent_, false) && !fault_.starts_with("send("))
            settle(Kind::Unknown, {});
    }

    std::vector<std::vector<RecipientFate>> transactions() && { return std::move(transactions_); }

  private:
    using Kind = RecipientFate::Kind;

    static RecipientFate recipient(const Exchange& exchange) {
        const Kind kind = exchange.code().empty() ? Kind::NotSent
                          : exchange.isRefused()  ? Kind::Refused
                                                  : Kind::Accepted;
        return {kind, {exchange.code(), exchange.words()}};
    }

    static Kind afterMessage(const Exchange& exchange) {
        if (exchange.code().empty()) return Kind::Unknown;
        return exchange.isRefused() ? Kind::Refused : Kind::Taken;
    }

    /// For all who were accepted.
    void settle(Kind kind, const Exchange& exchange) {
        const RecipientFate settled{kind, {exchange.code(), exchange.words()}};
        for (RecipientFate& fate : transactions_.back())
            if (fate.kind == Kind::Accepted) fate = settled;
    }

    std::string fault_;
    std::vector<std::vector<RecipientFate>> transactions_;
    bool isMessageSent_ = false;  // and not answered yet
};

std::vector<std::vector<RecipientFate>> DeliveryLog::fates() const {
    Fates fates(lastFault_);
    for (const Exchange& exchange : exchanges_) fates.take(exchange);
    fates.endMessage();
    return std::move(fates).transactions();
}
