// SPDX-License-Identifier: Apache-2.0
// The manual page of the command line, in the language of man(7).
#pragma once

#include <istream>
#include <ostream>

#include "tools/vtmail/command_tree.h"

/// Copies a page of docs/man with the lines filled in that begin with "@":
///
///     @synopsis            how each command is called
///     @command NAME...     a command: what it does, its arguments and options
///     @exit-status         the exit codes
///     @settings            the keys of the settings file
///
/// and the version of the program for "@VERSION@". Throws Failure for a line that asks for anything
/// else, and for a page with some commands that leaves one out.
void writeManual(std::ostream& out, std::istream& page, const CommandText& program);
