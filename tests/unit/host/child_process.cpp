// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/host/child_process.h"

#include <grp.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

// There in builds that record coverage.
extern "C" void __gcov_dump() __attribute__((weak));

namespace {

[[noreturn]] void runChild(const std::function<std::string()>& work, int results) {
    std::string text;
    try {
        text = work();
    } catch (...) {
        text = "an exception came out";
    }
    const ssize_t written = write(results, text.data(), text.size());
    if (__gcov_dump) __gcov_dump();
    _exit(written == static_cast<ssize_t>(text.size()) ? 0 : 1);
}

/// All octets up to the end of file; false when the time is over before.
bool readAll(int descriptor, std::string& text, int seconds) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (true) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        pollfd ready{descriptor, POLLIN, 0};
        if (left.count() <= 0 || poll(&ready, 1, static_cast<int>(left.count())) == 0) return false;
        char block[4096];
        const ssize_t length = read(descriptor, block, sizeof block);
        if (length <= 0) return true;
        text.append(block, static_cast<std::size_t>(length));
    }
}

}  // namespace

ChildProcess::ChildProcess(const std::function<std::string()>& work) {
    int ends[2];
    if (pipe(ends) != 0) throw std::runtime_error("no pipe");
    std::fflush(nullptr);
    pid_ = fork();
    if (pid_ < 0) throw std::runtime_error("no child process");
    if (pid_ == 0) {
        close(ends[0]);
        runChild(work, ends[1]);
    }
    close(ends[1]);
    results_ = ends[0];
}

ChildProcess::~ChildProcess() {
    if (pid_ > 0) kill();
    close(results_);
}

void ChildProcess::kill() {
    ::kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
}

std::string ChildProcess::result(int seconds) {
    std::string text;
    if (!readAll(results_, text, seconds)) {
        kill();
        return "took longer than " + std::to_string(seconds) + " s";
    }
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    if (WIFSIGNALED(status)) return "died of signal " + std::to_string(WTERMSIG(status));
    if (WEXITSTATUS(status) != 0) return "ended with " + std::to_string(WEXITSTATUS(status));
    return text;
}

std::string inChild(const std::function<std::string()>& work) {
    return ChildProcess(work).result();
}

void becomeOrdinaryUser() {
    constexpr id_t nobody = 65534;
    if (geteuid() != 0) return;
    if (setgroups(0, nullptr) != 0 || setgid(nobody) != 0 || setuid(nobody) != 0)
        throw std::runtime_error("cannot give up the rights of root");
}
