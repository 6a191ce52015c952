// SPDX-License-Identifier: Apache-2.0
// Which command gets which scripted reply.
#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <random>
#include <vector>

#include "sandbox/server.h"
#include "sandbox/session.h"

namespace sandbox {

/// Any thread may call this.
class Script {
  public:
    Script(std::vector<ScriptedReply> replies, std::uint64_t seed);

    void add(ScriptedReply reply);
    /// The reply to a command that has come, which counts as an occurrence of it.
    Reply replyTo(Service service, const Command& command);

  private:
    struct Rule {
        ScriptedReply reply;
        // Each draws for itself, so that commands at other steps change nothing.
        std::mt19937_64 random;
        std::size_t occurrences = 0;
    };

    static bool applies(Rule& rule);

    std::mutex mutex_;
    const std::uint64_t seed_;
    std::vector<Rule> rules_;
};

}  // namespace sandbox
