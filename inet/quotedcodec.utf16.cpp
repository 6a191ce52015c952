// SPDX-License-Identifier: Apache-2.0
#include "inet/quotedcodec.utf16.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <utility>

#include "inet/octetplaces.utf16.h"

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

/// Three characters for each octet, and one to make it four.
constexpr auto escapes = [] {
    std::array<std::array<char, 4>, 256> all{};
    for (std::size_t octet = 0; octet != all.size(); ++octet)
        all[octet] = {'=', quotedHexDigits[octet >> 4], quotedHexDigits[octet & 0xF], 0};
    return all;
}();

/// Writes octets as quotedprintablebuf::overflow does, to where there is room for all.
class QuotedWriter {
  public:
    QuotedWriter(const QuotedLine& line, const char* inputEnd, char* to)
        : line_(line), inputEnd_(inputEnd), to_(to) {}
    const QuotedLine& line() const { return line_; }
    char* end() const { return to_; }

    void putLiterals(const char* from, const char* end);
    void putStrange(int octet);

  private:
    void copy(const char* from, std::size_t count);
    void putEscape(int octet);
    template <std::size_t size>
    void breakLine(const char (&lineEnd)[size]);

    QuotedLine line_;
    const char* inputEnd_;
    char* to_;
};

/// Within a line. Often copies more, because a known number is copied in no time.
void QuotedWriter::copy(const char* from, std::size_t count) {
    if (static_cast<std::size_t>(inputEnd_ - from) >= quotedMargin)
        std::memcpy(to_, from, quotedMargin);
    else
        std::memcpy(to_, from, count);
    to_ += count;
    line_.column += static_cast<int>(count);
}

template <std::size_t size>
void QuotedWriter::breakLine(const char (&lineEnd)[size]) {
    to_ = std::copy_n(lineEnd, size - 1, to_);
    line_.column = 0;
}

void QuotedWriter::putEscape(int octet) {
    if (line_.column + 3 > quotedLineLength) breakLine("=\r\n");
    const auto& escape = escapes[static_cast<std::size_t>(octet)];
    std::memcpy(to_, escape.data(), escape.size());
    to_ += 3;
    line_.column += 3;
}

void QuotedWriter::putLiterals(const char* from, const char* end) {
    if (from == end) return;
    if (line_.previous == carriageReturn) putEscape(carriageReturn);
    line_.previous = Traits::to_int_type(end[-1]);
    for (;;) {
        // A target that has refused may have left a line too long.
        const std::ptrdiff_t space = std::max(quotedLineLength - line_.column, 0);
        const std::ptrdiff_t count = end - from;
        if (count <= space) return copy(from, static_cast<std::size_t>(count));
        copy(from, static_cast<std::size_t>(space));
        breakLine("=\r\n");
        from += space;
    }
}

/// Puts what is no literal, or holds it back.
void QuotedWriter::putStrange(int octet) {
    const int previous = std::exchange(line_.previous, octet);
    if (octet == '\n' && previous == carriageReturn) return breakLine("\r\n");
    if (previous == carriageReturn) putEscape(carriageReturn);
    if (octet != carriageReturn) return putEscape(octet);
    // White space in front of a line end would be lost on the way.
    if (previous == ' ' || previous == '\t') breakLine("=\r\n");
}

}  // namespace

char* encodeQuoted(std::string_view octets, QuotedLine& line, char* to) {
    OctetPlaces places;
    const std::size_t count = findStrange(octets.data(), octets.size(), places);
    const char* next = octets.data();
    const char* const end = next + octets.size();
    QuotedWriter writer(line, end, to);
    for (const std::uint16_t place : std::span(places).first(count)) {
        const char* const strange = octets.data() + place;
        writer.putLiterals(next, strange);
        writer.putStrange(Traits::to_int_type(*strange));
        next = strange + 1;
    }
    writer.putLiterals(next, end);
    line = writer.line();
    return writer.end();
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

/// Copied at once.
constexpr std::ptrdiff_t copySize = 64;

/// Returns the end of the copy. Up to 64 octets more are read and overwritten.
char* copyUpTo(const char* from, const char* end, char* to) {
    for (; end - from > copySize; from += copySize, to += copySize) std::memcpy(to, from, copySize);
    std::memcpy(to, from, copySize);
    return to + (end - from);
}

/// Decodes a stretch, and an escape that begins in it whole; up to 64 octets more are read and
/// overwritten. Takes less than the stretch when an escape is malformed.
OctetRun decodeStretch(const char* octets, std::size_t size, char* to) {
    OctetPlaces places;
    const std::size_t count = findEqualsSigns(octets, size, places);
    const char* next = octets;
    char* out = to;
    const auto result = [&] {
        return OctetRun{static_cast<std::size_t>(next - octets),
                        static_cast<std::size_t>(out - to)};
    };
    for (const std::uint16_t place : std::span(places).first(count)) {
        out = copyUpTo(next, octets + place, out);
        next = octets + place;
        const OctetRun escape = decodeWholeEscape(next, out);
        if (escape.taken == 0) return result();
        next += escape.taken;
        out += escape.given;
    }
    if (next >= octets + size) return result();
    out = copyUpTo(next, octets + size, out);
    next = octets + size;
    return result();
}

/// Decodes a body in stretches while more than 128 octets are at hand and have room. The first ones
/// are short, so that an escape that is malformed at once costs little.
OctetRun decodeStretches(std::string_view octets, char* to, std::size_t room) {
    constexpr std::size_t margin = copySize;
    OctetRun all{0, 0};
    for (std::size_t longest = 64;; longest = std::min(4 * longest, longestStretch)) {
        const std::size_t left = std::min(octets.size() - all.taken, room - all.given);
        if (left <= 2 * margin) return all;
        const std::size_t size = std::min(left - margin, longest);
        const OctetRun run = decodeStretch(octets.data() + all.taken, size, to + all.given);
        all += run;
        if (run.taken < size) return all;
    }
}

}  // namespace

OctetRun decodeQuoted(std::string_view octets, char* to, std::size_t room) {
    OctetRun all = decodeStretches(octets, to, room);
    for (;;) {
        const std::string_view wanted = octets.substr(all.taken, room - all.given);
        const std::size_t literals = std::min(wanted.find('='), wanted.size());
        wanted.copy(to + all.given, literals);
        all.taken += literals;
        all.given += literals;
        if (literals == wanted.size()) return all;
        const OctetRun escape = decodeEscapeAtHand(octets.substr(all.taken), to + all.given);
        if (escape.taken == 0) return all;
        all += escape;
    }
}
