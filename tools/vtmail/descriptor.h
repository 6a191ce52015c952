// SPDX-License-Identifier: Apache-2.0
// A file descriptor with an owner.
#pragma once

#include <unistd.h>

#include <utility>

/// Closes its descriptor; -1 is none.
class Descriptor {
  public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        if (number_ != -1) close(number_);
    }
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int number() const { return number_; }
    bool isOpen() const { return number_ != -1; }
    /// Leaves it to somebody else.
    int release() { return std::exchange(number_, -1); }

  private:
    int number_;
};
