// SPDX-License-Identifier: Apache-2.0
// The lines of all dialogues of a server.
#pragma once

#include <deque>
#include <functional>
#include <mutex>
#include <string_view>
#include <vector>

#include "sandbox/server.h"

namespace sandbox {

/// Kept for any thread, added by the thread of the server.
class Transcript {
  public:
    using Observer = std::function<void(const Line&)>;

    explicit Transcript(Observer observer);

    void add(const Line& line);
    /// Adds each line of a reply; a last one may lack its CR LF.
    void addReply(std::string_view octets, Service service, std::size_t connection);
    std::vector<Line> lines() const;

  private:
    mutable std::mutex mutex_;
    std::deque<Line> lines_;
    Observer observer_;
};

}  // namespace sandbox
