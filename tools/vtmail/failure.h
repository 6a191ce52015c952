// SPDX-License-Identifier: Apache-2.0
// Why a command could not do its work.
#pragma once

#include <sysexits.h>

#include <stdexcept>
#include <string>

/// Ends the program with one line on stderr and an exit code of sysexits.h. The message says what
/// failed, where, and what to do; what comes from outside in it has been made printable.
class Failure : public std::runtime_error {
  public:
    Failure(int exitCode, const std::string& message)
        : std::runtime_error(message), exitCode_(exitCode) {}

    int exitCode() const { return exitCode_; }

  private:
    int exitCode_;
};
