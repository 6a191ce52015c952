// SPDX-License-Identifier: Apache-2.0
// The vtmail program, run as a user runs it.
#pragma once

#include <sys/resource.h>
#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

#include "tests/unit/host/scoped_environment.h"
#include "tests/unit/host/settings_folder.h"

/// How a run ended.
struct Outcome {
    int exitCode;  // or minus the number of the signal
    std::string out;
    std::string err;
};

/// Starts vtmail with `arguments`; what it writes goes to the descriptors. `prepare` is called in
/// the child before.
pid_t start(const std::vector<std::string>& arguments, int in, int out, int err,
            const std::function<void()>& prepare = {});

/// Waits for the end of a started program: its exit code, or minus the number of the signal.
int exitCodeOf(pid_t process);

/// Runs vtmail to its end. `input` is what it can read from standard input.
Outcome vtmail(const std::vector<std::string>& arguments, const std::string& input = {},
               const std::function<void()>& prepare = {});

/// A `prepare` after which no file grows beyond `octets`, as on a disk with no more room.
std::function<void()> limitedTo(rlim_t octets);

/// Settings of a test's own, empty at first.
class TestSettings {
  public:
    TestSettings() : directory_("VTINETLIB_SETTINGS_DIR", folder.path().string()) {}

    SettingsFolder folder;

  private:
    ScopedEnvironment directory_;
};
