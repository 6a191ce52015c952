// SPDX-License-Identifier: Apache-2.0
// How far a fetch has come.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include "tools/vtmail/failure.h"

/// On standard output a line for each message, or JSON; then what came in all. With stderr at a
/// terminal one line there that is written anew and gone in the end, which takes the place of those
/// for each message where both go to the terminal.
class Progress {
  public:
    enum class Manner { Quiet, Text, Json };

    /// `hasLinesBetween`: others write to the terminal too.
    Progress(Manner manner, bool hasLinesBetween);
    /// Takes the rewritten line away.
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// So many messages are to come.
    void begin(int messages);
    /// So many octets of message `n` have come.
    void moved(int n, std::size_t octets);
    /// Message `n` is complete, in `file`.
    void stored(int n, std::size_t octets, const std::string& file);
    /// The server refuses a message ("refused") or its deletion ("notDeleted"), in these words.
    void refused(const char* event, int n, const std::string& words);
    /// No more is to come. `deleted` messages are gone at the server.
    void finish(int deleted);
    /// The last word for programs: why it ended, null when all went well.
    void end(const Failure* failure);

  private:
    using Clock = std::chrono::steady_clock;

    void rewrite(int n, std::size_t octets);
    void clear();

    Manner manner_;
    bool isRewriting_;
    bool isListing_;
    int messages_ = 0;
    int stored_ = 0;
    int deleted_ = 0;
    std::size_t octets_ = 0;  // of the messages that are complete
    Clock::time_point begin_ = Clock::now();
    Clock::time_point shown_;  // last time
    bool isOnScreen_ = false;
};
