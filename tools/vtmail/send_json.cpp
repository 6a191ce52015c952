// SPDX-License-Identifier: Apache-2.0
#include "tools/vtmail/send_json.h"

#include <nlohmann/json.hpp>

#include "tools/vtmail/json_line.h"
#include "tools/vtmail/text.h"

namespace {

const char* nameOf(RecipientFate::Kind kind) {
    switch (kind) {
        case RecipientFate::Kind::NotSent:
            return "notSent";
        case RecipientFate::Kind::Accepted:
            return "accepted";
        case RecipientFate::Kind::Taken:
            return "taken";
        case RecipientFate::Kind::Refused:
            return "refused";
        case RecipientFate::Kind::Unknown:
            break;
    }
    return "unknown";
}

void addReply(nlohmann::json& object, const ServerReply& reply) {
    if (!reply.words.empty()) object["reply"] = {{"code", reply.code}, {"words", reply.words}};
}

/// Puts recipients and their fates together, which stand in the same order.
class Recipients {
  public:
    explicit Recipients(const DeliveryLog& log) : transactions_(log.fates()) {}

    void add(const std::vector<Zeb_String>& addresses, const char* field) {
        for (const Zeb_String& address : addresses) {
            const RecipientFate fate = next();
            nlohmann::json recipient = {
                {"address", toUtf8(address)}, {"field", field}, {"outcome", nameOf(fate.kind)}};
            addReply(recipient, fate.reply);
            all_.push_back(std::move(recipient));
        }
    }
    void beginTransaction() {
        ++transaction_;
        number_ = 0;
    }

    const nlohmann::json& all() const { return all_; }

  private:
    RecipientFate next() {
        const std::size_t number = number_++;
        if (transaction_ >= transactions_.size()) return {};
        const std::vector<RecipientFate>& fates = transactions_[transaction_];
        return number < fates.size() ? fates[number] : RecipientFate();
    }

    std::vector<std::vector<RecipientFate>> transactions_;
    std::size_t transaction_ = 0;
    std::size_t number_ = 0;  // in its transaction
    nlohmann::json all_ = nlohmann::json::array();
};

nlohmann::json failureJson(const Failure& failure) {
    nlohmann::json object = {{"exitCode", failure.exitCode()}, {"message", failure.what()}};
    if (const auto* delivery = dynamic_cast<const DeliveryFailure*>(&failure)) {
        if (!delivery->phase().empty()) object["phase"] = delivery->phase();
        addReply(object, delivery->reply());
    }
    return object;
}

}  // namespace

std::string sendJson(const OutgoingMail& mail, const DeliveryLog& log, const Failure* failure) {
    Recipients recipients(log);
    recipients.add(mail.to, "to");
    recipients.add(mail.cc, "cc");
    // The blind ones have a transaction of their own, the first one when there is no other.
    if (!mail.to.empty() || !mail.cc.empty()) recipients.beginTransaction();
    recipients.add(mail.bcc, "bcc");
    nlohmann::json all = {{"recipients", recipients.all()}};
    if (failure != nullptr) all["failure"] = failureJson(*failure);
    return jsonLine(all);
}
