// SPDX-License-Identifier: Apache-2.0
// quoted-printable (RFC 2045, 6.7) between two stretches of memory. Internal to transferstream.
//
// What quotedprintablebuf does with streams, outside of headers, these do with what is at hand.
// Units: octets. Nothing here fails or throws; any thread.
#pragma once

#include <cstddef>
#include <string_view>

#include "inet/octetrun.utf16.h"

constexpr char quotedHexDigits[] = "0123456789ABCDEF";

/// Characters on a line besides the "=" of a soft break.
constexpr int quotedLineLength = 75;

/// Whether a line may hold an octet as it is.
constexpr bool isQuotedLiteral(int octet) {
    return (octet >= 33 && octet <= 126 && octet != '=') || octet == ' ' || octet == '\t';
}

/// The value of an upper-case hexadecimal digit, or -1; of end-of-file, too.
int quotedHexValue(int octet);

/// The state of what is encoded.
struct QuotedLine {
    int column;    // characters on the line so far
    int previous;  // the octet before, or -1; a carriage return has been held back
};

/// So many octets are encoded at once.
constexpr std::size_t quotedBlockSize = 1024;

/// Behind what is encoded so many octets may be overwritten.
constexpr std::size_t quotedMargin = 80;

/// Room for a block: each octet may become a soft break and an escape, and so may a carriage return
/// held back before.
constexpr std::size_t quotedBlockRoom = 6 * (quotedBlockSize + 1) + quotedMargin;

/// Encodes at most a block as quotedprintablebuf::overflow does, were it never refused. Returns the
/// end of the text.
char* encodeQuoted(std::string_view octets, QuotedLine& line, char* to);

/// Decodes a body up to an escape that is malformed or not whole. What lies behind the octets
/// given, as far as there is room, may be overwritten.
OctetRun decodeQuoted(std::string_view octets, char* to, std::size_t room);
