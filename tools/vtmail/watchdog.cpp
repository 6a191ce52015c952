// SPDX-License-Identifier: Apache-2.0
#include "tools/vtmail/watchdog.h"

#include <unistd.h>

#include <csignal>

namespace {

/// The first interruption may come just before a call begins to wait, so it is not the last one.
void bark(int /*signal*/) { alarm(1); }

}  // namespace

Watchdog::Watchdog(unsigned int seconds) : seconds_(seconds) {
    struct sigaction action = {};
    action.sa_handler = bark;  // without SA_RESTART, or it would interrupt nothing
    sigaction(SIGALRM, &action, nullptr);
    feed();
}

Watchdog::~Watchdog() { alarm(0); }

void Watchdog::feed() const { alarm(seconds_); }
