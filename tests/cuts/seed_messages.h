// SPDX-License-Identifier: Apache-2.0
// The messages that are cut and spoilt.
#pragma once

#include <string>
#include <vector>

struct SeedMessage {
    std::string name;  // of its file
    std::string octets;
};

/// Those of tests/data/messages, in the order of their names. Throws std::runtime_error when the
/// folder cannot be read.
std::vector<SeedMessage> seedMessages();

/// Those of the folder that VTINETLIB_CORPUS names, with its sub-folders; none without it.
std::vector<SeedMessage> corpusMessages();
