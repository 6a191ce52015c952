// SPDX-License-Identifier: Apache-2.0
#include "inet/quotedcodec.utf16.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <string>

#include "inet/octetmask.utf16.h"

namespace {

using Traits = std::char_traits<char>;

constexpr int carriageReturn = '\r';

/// The values of the digits, else -1. Kept: an escape in lower case is malformed, and ends a read.
constexpr std::array<signed char, 256> makeHexValues() {
    std::array<signed char, 256> values{};
    values.fill(-1);
    for (signed char value = 0; value < 16; ++value)
        values[static_cast<unsigned char>(quotedHexDigits[value])] = value;
    return values;
}

constexpr std::array<signed char, 256> hexValues = makeHexValues();

/// Copies the literals that `octets` begin with, at most `most`, and returns how many they are. Up
/// to 15 octets behind them are overwritten.
std::size_t copyLiterals(std::string_view octets, std::size_t most, char* to) {
    constexpr std::size_t step = 16;
    std::size_t done = 0;
    for (; done < most && done + step <= octets.size(); done += step) {
        std::memcpy(to + done, octets.data() + done, step);
        if (const unsigned escaped = escapedMask(octets.data() + done))
            return std::min(done + static_cast<std::size_t>(std::countr_zero(escaped)), most);
    }
    const std::size_t end = std::min(octets.size(), most);
    for (; done < end && isQuotedLiteral(Traits::to_int_type(octets[done])); ++done)
        to[done] = octets[done];
    return std::min(done, most);
}

}  // namespace

void QuotedEncoder::encode(std::string_view octets) {
    while (!octets.empty()) {
        const int octet = Traits::to_int_type(octets[0]);
        const bool isLineEnd = octet == '\n' && previous_ == carriageReturn;
        const bool isBehindSpace = previous_ == ' ' || previous_ == '\t';
        std::size_t count = 1;
        if (previous_ == carriageReturn && !isLineEnd) encodeEscape(carriageReturn);
        if (isLineEnd)
            breakLine("\r\n");
        else if (octet == carriageReturn && isBehindSpace)
            breakLine("=\r\n");
        else if (isQuotedLiteral(octet))
            count = encodeLiterals(octets);
        else if (octet != carriageReturn)
            encodeEscape(octet);
        previous_ = Traits::to_int_type(octets[count - 1]);
        octets.remove_prefix(count);
    }
}

/// Encodes what has room on the line; returns how many octets that are.
std::size_t QuotedEncoder::encodeLiterals(std::string_view octets) {
    if (column_ >= quotedLineLength) breakLine("=\r\n");
    const auto space = static_cast<std::size_t>(quotedLineLength - column_);
    const std::size_t count = copyLiterals(octets, space, end_);
    end_ += count;
    column_ += static_cast<int>(count);
    return count;
}

void QuotedEncoder::encodeEscape(int octet) {
    if (column_ + 3 > quotedLineLength) breakLine("=\r\n");
    *end_++ = '=';
    *end_++ = quotedHexDigits[octet >> 4 & 0xF];
    *end_++ = quotedHexDigits[octet & 0xF];
    column_ += 3;
}

void QuotedEncoder::breakLine(std::string_view lineEnd) {
    end_ = std::copy(lineEnd.begin(), lineEnd.end(), end_);
    column_ = 0;
}

int quotedHexValue(int octet) {
    return octet == Traits::eof() ? -1 : hexValues[static_cast<std::size_t>(octet)];
}

namespace {

/// The octet that the digits of an escape stand for, or a negative number.
int escapedOctet(const char* digits) {
    const int high = quotedHexValue(Traits::to_int_type(digits[0]));
    const int low = quotedHexValue(Traits::to_int_type(digits[1]));
    return high * 16 | low;
}

/// Decodes the escape or soft break at `octets`, three of which can be looked at. Takes nothing
/// when it is malformed.
OctetRun decodeWholeEscape(const char* octets, char* to) {
    const int octet = escapedOctet(octets + 1);
    if (octet >= 0) {
        *to = static_cast<char>(octet);
        return {3, 1};
    }
    if (octets[1] == '\n') return {2, 0};
    return {octets[1] == '\r' && octets[2] == '\n' ? 3U : 0U, 0};
}

/// The same where less may be at hand: takes nothing then, either.
OctetRun decodeEscapeAtHand(std::string_view octets, char* to) {
    if (octets.size() < 3) return {octets == "=\n" ? 2U : 0U, 0};
    return decodeWholeEscape(octets.data(), to);
}

/// Decodes a body in blocks while 64 octets more are at hand and have room: the literals between
/// two escapes are copied with what follows them, and that is overwritten.
OctetRun decodeQuotedBlocks(std::string_view octets, char* to, std::size_t room) {
    constexpr std::ptrdiff_t size = octetsInMask;
    const char* next = octets.data();
    const char* const last = next + octets.size();
    char* const first = to;
    const char* const end = to + room;
    const auto copyUpTo = [&](const char* stop) {
        std::memcpy(to, next, size);
        to += stop - next;
        next = stop;
    };
    const auto result = [&] {
        return OctetRun{static_cast<std::size_t>(next - octets.data()),
                        static_cast<std::size_t>(to - first)};
    };
    for (const char* block = next; last - block > 2 * size && end - to > 2 * size; block += size) {
        for (std::uint64_t stops = octetMask(block, '='); stops != 0; stops &= stops - 1) {
            copyUpTo(block + std::countr_zero(stops));
            const OctetRun escape = decodeWholeEscape(next, to);
            next += escape.taken;
            to += escape.given;
            if (escape.taken == 0) return result();
        }
        if (next < block + size) copyUpTo(block + size);
    }
    return result();
}

}  // namespace

OctetRun decodeQuoted(std::string_view octets, char* to, std::size_t room) {
    OctetRun all = decodeQuotedBlocks(octets, to, room);
    for (;;) {
        const std::string_view wanted = octets.substr(all.taken, room - all.given);
        const std::size_t literals = std::min(wanted.find('='), wanted.size());
        wanted.copy(to + all.given, literals);
        all.taken += literals;
        all.given += literals;
        if (literals == wanted.size()) return all;
        const OctetRun escape = decodeEscapeAtHand(octets.substr(all.taken), to + all.given);
        if (escape.taken == 0) return all;
        all.taken += escape.taken;
        all.given += escape.given;
    }
}
