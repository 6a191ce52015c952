// SPDX-License-Identifier: Apache-2.0
// The signals that ask a program to end.
#pragma once

#include <csignal>

/// Holds back SIGINT and SIGTERM, in this thread and in those it starts; one that came meanwhile
/// counts at the end of the scope.
class HeldEndSignals {
  public:
    HeldEndSignals() {
        sigemptyset(&signals_);
        sigaddset(&signals_, SIGINT);
        sigaddset(&signals_, SIGTERM);
        pthread_sigmask(SIG_BLOCK, &signals_, &before_);
    }
    ~HeldEndSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    HeldEndSignals(const HeldEndSignals&) = delete;
    HeldEndSignals& operator=(const HeldEndSignals&) = delete;

    /// Returns when one of them comes, which then counts no more.
    void wait() const {
        int signal = 0;
        sigwait(&signals_, &signal);
    }

  private:
    sigset_t signals_ = {};
    sigset_t before_ = {};
};
