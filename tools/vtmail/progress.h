// SPDX-License-Identifier: Apache-2.0
// How far a fetch has come, told on standard output.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

/// At a terminal one line that is written anew and gone in the end; else a line for each message.
/// Then what came in all.
class Progress {
  public:
    enum class Manner { None, Lines, Rewritten };

    /// What suits where standard output goes.
    static Manner fitting(bool isQuiet, bool hasLinesBetween);

    Progress(Manner manner, int messages);
    /// Takes the rewritten line away.
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// So many octets of message `n` have come.
    void moved(int n, std::size_t octets);
    /// Message `n` is complete, in `file`.
    void stored(int n, std::size_t octets, const std::string& file);
    /// No more is to come.
    void finish();

  private:
    using Clock = std::chrono::steady_clock;

    void rewrite(int n, std::size_t octets);
    void clear();

    Manner manner_;
    int messages_;
    int stored_ = 0;
    std::size_t octets_ = 0;  // of the messages that are complete
    Clock::time_point begin_ = Clock::now();
    Clock::time_point shown_;  // last time
    bool isOnScreen_ = false;
};
