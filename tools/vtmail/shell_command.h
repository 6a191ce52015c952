// SPDX-License-Identifier: Apache-2.0
// A command that is run by the shell beside what this program does itself.
#pragma once

#include <csignal>
#include <map>
#include <string>

#include "tools/vtmail/end_signals.h"

/// Runs until it ends by itself; end signals of this program are passed on to it. Where this
/// program is in the foreground of a terminal the command is too, and may read from it; a signal
/// of the terminal has reached it already then. Elsewhere it has a process group of its own, and
/// a signal reaches all that the command has started.
class ShellCommand {
  public:
    /// These have to be held before there is another thread.
    static HeldEndSignals holdSignals() { return HeldEndSignals(signals); }

    /// Starts it by /bin/sh -c, with the variables beside those that this program was given.
    /// `held` is not owned. Throws Failure.
    ShellCommand(const std::string& text, const std::map<std::string, std::string>& variables,
                 const HeldEndSignals& held);

    /// Waits for its end. Returns its exit code, or 128 and the number of the signal that ended it.
    int wait() const;

  private:
    static constexpr std::initializer_list<int> signals = {SIGHUP, SIGINT, SIGQUIT, SIGTERM,
                                                           SIGCHLD};

    void passOn(const siginfo_t& signal) const;

    const HeldEndSignals& held_;
    const bool hasOwnGroup_;
    pid_t process_ = 0;
};
