// SPDX-License-Identifier: Apache-2.0
// A limit on how long a connection may stand still.
#pragma once

/// Interrupts what this program waits for when nothing has moved for some time: a blocking system
/// call then fails with EINTR, again each second until something moves. One object at a time; uses
/// SIGALRM.
class Watchdog {
  public:
    /// Starts to watch.
    explicit Watchdog(unsigned int seconds);
    ~Watchdog();
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;

    /// Something moved: the time begins anew. Neither allocates nor throws.
    void feed() const;
    unsigned int seconds() const { return seconds_; }

  private:
    unsigned int seconds_;
};
