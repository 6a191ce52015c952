// SPDX-License-Identifier: Apache-2.0
// Where a password comes from: never from the command line, which every user can read.
#pragma once

#include <optional>
#include <string>

/// The first line of `file`, when there is one; else the environment variable VTMAIL_PASSWORD;
/// else what the user types at `prompt`, which is not shown. Throws Failure when there is none, it
/// has no form on one ASCII line, or others may read the file.
std::string readPassword(const std::optional<std::string>& file, const std::string& prompt);

/// Whether the text can stand in one line of the protocol.
bool isOneAsciiLine(const std::string& octets);
