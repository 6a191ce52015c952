// SPDX-License-Identifier: Apache-2.0
#include "sandbox/script.h"

#include <cmath>
#include <optional>
#include <utility>

namespace sandbox {
namespace {

bool concerns(const ScriptedReply& scripted, Service service, const Command& command) {
    return scripted.service == service && scripted.step == command.step &&
           command.argument.find(scripted.when.argument) != std::string::npos;
}

/// From 0 to just under 1; the distributions of the standard library differ between libraries.
double drawn(std::mt19937_64& random) {
    constexpr int bitsOfADouble = 53;
    return std::ldexp(static_cast<double>(random() >> (64 - bitsOfADouble)), -bitsOfADouble);
}

}  // namespace

Script::Script(std::vector<ScriptedReply> replies, std::uint64_t seed) : seed_(seed) {
    for (ScriptedReply& reply : replies) add(std::move(reply));
}

void Script::add(ScriptedReply reply) {
    const std::lock_guard lock(mutex_);
    const std::uint64_t seed = seed_ + rules_.size();
    rules_.push_back({std::move(reply), std::mt19937_64(seed)});
}

/// Counts and draws.
bool Script::applies(Rule& rule) {
    const When& when = rule.reply.when;
    ++rule.occurrences;
    return (when.occurrence == 0 || when.occurrence == rule.occurrences) &&
           drawn(rule.random) < when.probability;
}

Reply Script::replyTo(Service service, const Command& command) {
    const std::lock_guard lock(mutex_);
    std::optional<Reply> first;
    // All rules count, also behind the one that applies.
    for (Rule& rule : rules_) {
        if (!concerns(rule.reply, service, command)) continue;
        const bool isApplied = applies(rule);
        if (!first && isApplied) first = rule.reply.reply;
    }
    return first.value_or(Reply::usual());
}

}  // namespace sandbox
