// SPDX-License-Identifier: Apache-2.0
// What shells need to complete a command line: commands, options, and the values that these take.
#pragma once

#include <ostream>

#include "tools/vtmail/command_tree.h"

/// Each writes a script for one shell.
void writeBashCompletion(std::ostream& out, const CommandText& program);
void writeZshCompletion(std::ostream& out, const CommandText& program);
void writeFishCompletion(std::ostream& out, const CommandText& program);
