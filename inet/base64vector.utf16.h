// SPDX-License-Identifier: Apache-2.0
// base64 digits by vector instructions, where the machine has them. Internal to transferstream.
//
// Whole blocks of 24 octets to or from 32 digits (RFC 2045, 6.8), without line ends and padding.
// Where the processor lacks the instructions no block is done, and the caller's plain code does
// all. Units: octets. Nothing here fails or throws; any thread.
#pragma once

#include <cstddef>

/// Decodes blocks of 32 digits up to the first that holds anything else (a NUL too). Returns the
/// number of blocks. Reads at most `digits` octets; writes at most `room`, some of them behind the
/// decoded ones.
std::size_t decodeBase64Blocks(const char* from, std::size_t digits, char* to, std::size_t room);

/// Encodes groups of three octets when there are eight at least; else none. Returns their number.
std::size_t encodeBase64Groups(const char* from, std::size_t groups, char* to);
