// SPDX-License-Identifier: Apache-2.0
// Between the wide text of the callers and the octets of a protocol line.
//
// Internal to the library: shared by the modules that speak a protocol. Nothing here throws but
// std::bad_alloc, Zeb_Range_Error for a line of more units than an int counts, and what the host's
// reporter throws.
#pragma once

#include <string>
#include <string_view>

#include "host/host.h"

/// Strict US-ASCII. False when `text` has no ASCII form; `octets` is then empty.
bool asciiOctets(const Zeb_String& text, std::string& octets);

/// The same for a text that has to fit into one protocol line: a text with CR, LF or NUL has no
/// form either. Every text of a caller that enters a command or a header goes through here, so
/// that none can smuggle in a line of its own.
bool oneLineOctets(const Zeb_String& text, std::string& octets);

/// Of a line that was received.
inline bool isTrailingBlank(char octet) { return octet == '\r' || octet == ' ' || octet == '\t'; }

/// A line that was received, without the blanks, tabs and carriage returns at its end. Kept: a line
/// of blanks alone stays as it is, so a blank line of a message is a lone carriage return.
inline std::string_view withoutTrailingBlanks(std::string_view line) {
    std::size_t length = line.size();
    while (length > 0 && isTrailingBlank(line[length - 1])) --length;
    return length == 0 ? line : line.substr(0, length);
}
void removeTrailingBlanks(std::string& line);

/// Whether the host wants the library's reports (diagnostic id 11).
bool isReporting();

/// Reports `format` with its one "%s" replaced by `line`, octets from the wire; up to the first
/// NUL, octets of 0x80 and above as the lenient US-ASCII conversion reads them.
void reportLine(const char16_t* tag, const char16_t* format, const std::string& line);
