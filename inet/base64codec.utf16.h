// SPDX-License-Identifier: Apache-2.0
// base64 (RFC 2045, 6.8; RFC 2047 "B") between two stretches of memory. Internal to the library.
//
// What base64buf does with streams, these do with what is at hand: whole groups of three octets and
// four digits. Units: octets. Nothing here fails or throws; any thread.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

#include "inet/octetrun.utf16.h"

/// A group is written only while the line holds no more than this, so lines have 76 characters.
constexpr int base64LastGroupColumn = 72;

/// The value of each octet as a digit: 0 to 63; 64 for NUL, which then counts as "A"; else -1.
extern const std::array<int, 256> base64Digits;

/// Decodes whole groups, as many as there are and as have room; what has to be skipped in front of
/// a digit is taken with its group. Stops in front of a group in which there is a "=".
/// What lies behind the octets given, as far as there is room, may be overwritten.
OctetRun decodeBase64(std::string_view octets, char* to, std::size_t room);

/// Puts the digits of a group of one to three octets, padded.
void putBase64Group(const char* group, std::ptrdiff_t count, char* to);

/// Encodes whole groups on one line; returns the end of their digits.
char* encodeBase64(const char* from, std::size_t groups, char* to);

/// Encodes whole groups in lines, of which the first has digits up to `column` already; returns the
/// end of the text.
char* encodeBase64Lines(const char* from, std::size_t groups, int& column, char* to);
