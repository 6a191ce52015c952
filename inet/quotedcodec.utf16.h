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

/// Encodes as quotedprintablebuf::overflow does, into a block that refuses nothing. One block for
/// one call of encode.
class QuotedEncoder {
  public:
    /// So many octets a block has room for: each may become a soft break and an escape.
    static constexpr std::size_t mostOctets = 1024;

    /// `column`: characters on the line so far. `previous`: the octet before, or -1; a carriage
    /// return has been held back.
    QuotedEncoder(int column, int previous) : column_(column), previous_(previous) {}
    /// At most mostOctets.
    void encode(std::string_view octets);
    int column() const { return column_; }
    int previous() const { return previous_; }
    std::string_view text() const { return {block_, static_cast<std::size_t>(end_ - block_)}; }

  private:
    std::size_t encodeLiterals(std::string_view octets);
    void encodeEscape(int octet);
    void breakLine(std::string_view lineEnd);

    int column_;
    int previous_;
    char block_[6 * mostOctets + 6 + 15];  // a return held back before, and what copyLiterals wants
    char* end_ = block_;
};

/// Decodes a body up to an escape that is malformed or not whole. What lies behind the octets
/// given, as far as there is room, may be overwritten.
OctetRun decodeQuoted(std::string_view octets, char* to, std::size_t room);
