// SPDX-License-Identifier: Apache-2.0
#include "sandbox/script.h"

#include <optional>
#include <utility>

namespace sandbox {
namespace {

bool concerns(const ScriptedReply& scripted, Service service, const Command& command) {
    return scripted.service == service && scripted.step == command.step &&
           command.argument.find(scripted.when.argument) != std::string::npos;
}

}  // namespace

Script::Script(std::vector<ScriptedReply> replies) {
    for (ScriptedReply& reply : replies) add(std::move(reply));
}

void Script::add(ScriptedReply reply) {
    const std::lock_guard lock(mutex_);
    rules_.push_back({std::move(reply)});
}

Reply Script::replyTo(Service service, const Command& command) {
    const std::lock_guard lock(mutex_);
    std::optional<Reply> first;
    // All rules count, also behind the one that applies.
    for (Rule& rule : rules_) {
        if (!concerns(rule.reply, service, command)) continue;
        const std::size_t wanted = rule.reply.when.occurrence;
        ++rule.occurrences;
        if (!first && (wanted == 0 || wanted == rule.occurrences)) first = rule.reply.reply;
    }
    return first.value_or(Reply::usual());
}

}  // namespace sandbox
