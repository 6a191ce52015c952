// SPDX-License-Identifier: Apache-2.0
// What the library reported during a delivery, and what it means for the user.
#pragma once

#include <string>
#include <vector>

#include "tools/vtmail/failure.h"

/// Fed with the library's reports in their order; see docs/diagnostics.md for their texts.
class DeliveryLog {
  public:
    void add(const std::string& message);

    bool isConnected() const { return isConnected_; }

    /// Why a delivery by `server` did not reach everybody.
    Failure explain(const std::string& server) const;

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

    void addReplyLine(const std::string& line);
    Failure explainConnecting(const std::string& server) const;
    static Failure explainResolving(const std::string& name, int status);

    std::vector<Exchange> exchanges_ = {{}};
    std::string lastFault_;  // of the socket: the report that is not about a line
    bool isConnected_ = false;
};
