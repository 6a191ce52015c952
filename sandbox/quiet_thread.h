// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <csignal>
#include <thread>
#include <utility>

namespace sandbox {

/// A thread that leaves the signals of the process to the others.
template <typename Work>
std::thread startQuietThread(Work work) {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    std::thread thread(std::move(work));
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return thread;
}

}  // namespace sandbox
