// SPDX-License-Identifier: Apache-2.0
// base64 digits by vector instructions, where the machine has them. Internal to the library.
//
// Blocks of 24 octets to or from 32 digits (RFC 2045, 6.8), without padding. Where the processor
// lacks the instructions no block is done, and the caller's plain code does all. Units: octets.
// Nothing here fails or throws; any thread.
#pragma once

#include <cstddef>
#include <string_view>

#include "inet/octetrun.utf16.h"

/// Decodes whole groups and the line ends in front of them, up to something else (a NUL too) or
/// until less than a block is left. Writes at most `room`, some of it behind the decoded octets.
OctetRun decodeBase64Lines(std::string_view octets, char* to, std::size_t room);

/// Encodes groups of three octets when there are eight at least; else none. Returns their number.
std::size_t encodeBase64Groups(const char* from, std::size_t groups, char* to);
