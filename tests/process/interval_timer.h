// SPDX-License-Identifier: Apache-2.0
// A timer that interrupts what the calling thread does.
#pragma once

#include <signal.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <system_error>

/// While it lives, SIGALRM comes to the calling thread a thousand times a second and is counted.
/// `flags` are those of sigaction. One at a time.
class IntervalTimer {
  public:
    explicit IntervalTimer(int flags) {
        count_ = 0;
        struct sigaction action = {};
        action.sa_handler = [](int) { ++count_; };
        action.sa_flags = flags;
        sigaction(SIGALRM, &action, &before_);
        sigevent event = {};
        event.sigev_notify = SIGEV_THREAD_ID;
        event.sigev_signo = SIGALRM;
        event._sigev_un._tid = static_cast<pid_t>(syscall(SYS_gettid));
        if (timer_create(CLOCK_MONOTONIC, &event, &timer_) != 0)
            throw std::system_error(errno, std::generic_category(), "timer_create");
        constexpr timespec millisecond = {0, 1000000};
        const itimerspec interval = {millisecond, millisecond};
        timer_settime(timer_, 0, &interval, nullptr);
    }
    ~IntervalTimer() {
        timer_delete(timer_);
        sigaction(SIGALRM, &before_, nullptr);
    }
    IntervalTimer(const IntervalTimer&) = delete;
    IntervalTimer& operator=(const IntervalTimer&) = delete;

    /// How often the thread was interrupted so far.
    static int count() { return count_; }

  private:
    static inline std::atomic<int> count_ = 0;
    struct sigaction before_ = {};
    timer_t timer_ = {};
};

/// Holds SIGALRM back from the calling thread while it lives.
class AlarmBlocked {
  public:
    AlarmBlocked() {
        sigset_t alarm;
        sigemptyset(&alarm);
        sigaddset(&alarm, SIGALRM);
        pthread_sigmask(SIG_BLOCK, &alarm, &before_);
    }
    ~AlarmBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    AlarmBlocked(const AlarmBlocked&) = delete;
    AlarmBlocked& operator=(const AlarmBlocked&) = delete;

  private:
    sigset_t before_ = {};
};
