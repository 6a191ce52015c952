// SPDX-License-Identifier: Apache-2.0
// How much of an enumeration a test goes through.
#pragma once

#include <cstdlib>
#include <string_view>

/// Whether to go through all of it, as "./run torture" does; else through a share that takes
/// seconds, chosen the same way each time.
inline bool isFullEffort() {
    const char* effort = std::getenv("VTINETLIB_EFFORT");  // NOLINT(concurrency-mt-unsafe)
    return effort != nullptr && std::string_view(effort) == "full";
}
