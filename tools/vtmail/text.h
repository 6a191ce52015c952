// SPDX-License-Identifier: Apache-2.0
// Text between the command line, the library and the terminal.
#pragma once

#include <string>
#include <string_view>

#include "host/zeb_string.h"

/// The wide text of an argument or file. Throws Failure when `octets` is no UTF-8, naming `what`
/// ("--subject").
Zeb_String fromUtf8(std::string_view octets, const std::string& what);

/// UTF-8 as it is; for files and pipes.
std::string toUtf8(const Zeb_String& text);

/// Octets from anywhere, made fit for one line of a terminal.
std::string shown(std::string_view octets);

/// Writes out what stdout still holds. Throws Failure when the reader has gone or a disk is full.
void finishOutput();
