// SPDX-License-Identifier: Apache-2.0
// A terminal for the program to write to and read from.
#pragma once

#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <unistd.h>

#include <string>

/// A terminal without a user.
class Terminal {
  public:
    Terminal() { EXPECT_EQ(openpty(&user_, &program_, nullptr, nullptr, nullptr), 0); }
    ~Terminal() {
        close(user_);
        close(program_);
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    /// The program's end.
    int descriptor() const { return program_; }
    void type(const std::string& octets) const {
        EXPECT_EQ(write(user_, octets.data(), octets.size()), static_cast<ssize_t>(octets.size()));
    }
    /// What the program has written up to `end`, or within ten seconds.
    std::string screenUpTo(const std::string& end) const {
        std::string screen;
        pollfd ready = {user_, POLLIN, 0};
        while (screen.find(end) == std::string::npos && poll(&ready, 1, 10000) == 1) {
            char octets[4096];
            const ssize_t length = read(user_, octets, sizeof octets);
            if (length <= 0) break;
            screen.append(octets, static_cast<std::size_t>(length));
        }
        return screen;
    }

  private:
    int user_ = -1;
    int program_ = -1;
};
