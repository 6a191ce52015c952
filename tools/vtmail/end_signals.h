// SPDX-License-Identifier: Apache-2.0
// The signals that ask a program to end.
#pragma once

#include <csignal>
#include <initializer_list>

/// Holds back signals, in this thread and in those it starts; one that came meanwhile counts at the
/// end of the scope.
class HeldEndSignals {
  public:
    explicit HeldEndSignals(std::initializer_list<int> signals = {SIGINT, SIGTERM}) {
        sigemptyset(&signals_);
        for (const int signal : signals) sigaddset(&signals_, signal);
        pthread_sigmask(SIG_BLOCK, &signals_, &before_);
    }
    ~HeldEndSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    HeldEndSignals(const HeldEndSignals&) = delete;
    HeldEndSignals& operator=(const HeldEndSignals&) = delete;

    const sigset_t& signals() const { return signals_; }
    /// The mask of signals that this thread had.
    const sigset_t& before() const { return before_; }
    /// Returns when one of them comes, which then counts no more.
    void wait() const {
        int signal = 0;
        sigwait(&signals_, &signal);
    }

  private:
    sigset_t signals_ = {};
    sigset_t before_ = {};
};
