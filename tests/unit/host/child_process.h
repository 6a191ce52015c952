// SPDX-License-Identifier: Apache-2.0
// Work done in a child process: with other rights, under limits, or to be killed.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>

/// Runs `work` in a forked child, which ends with it. Not for processes with several threads.
class ChildProcess {
  public:
    /// `work` returns what went wrong, or an empty text.
    explicit ChildProcess(const std::function<std::string()>& work);
    /// Kills and reaps the child when that has not been done.
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// Waits for the end, at most this long, and gives what `work` returned, or how the child
    /// died, or that it took too long (it is killed then).
    std::string result(int seconds = 60);
    /// SIGKILL; returns when the child is gone.
    void kill();

  private:
    pid_t pid_;
    int results_;
};

/// What `work` returns when a child process does it.
std::string inChild(const std::function<std::string()>& work);

/// Gives up the rights of root for good, when the process has them.
void becomeOrdinaryUser();
