// SPDX-License-Identifier: Apache-2.0
// Which command gets which scripted reply.
#pragma once

#include <cstddef>
#include <mutex>
#include <vector>

#include "sandbox/server.h"
#include "sandbox/session.h"

namespace sandbox {

/// Any thread may call this.
class Script {
  public:
    explicit Script(std::vector<ScriptedReply> replies);

    void add(ScriptedReply reply);
    /// The reply to a command that has come, which counts as an occurrence of it.
    Reply replyTo(Service service, const Command& command);

  private:
    struct Rule {
        ScriptedReply reply;
        std::size_t occurrences = 0;
    };

    std::mutex mutex_;
    std::vector<Rule> rules_;
};

}  // namespace sandbox
