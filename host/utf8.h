// SPDX-License-Identifier: Apache-2.0
// UTF-8 and UTF-16, one code point at a time and whole texts. Internal to the host services.
#pragma once

#include <cstddef>
#include <string>

namespace utf {

constexpr char32_t replacement = 0xFFFD;

constexpr bool isHighSurrogate(char32_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
constexpr bool isLowSurrogate(char32_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }
constexpr bool isSurrogate(char32_t unit) { return unit >= 0xD800 && unit <= 0xDFFF; }

/// One step through a text: the code point, or a lone surrogate or the replacement character with
/// isValid false, and how many units or octets it takes (at least 1).
struct Step {
    char32_t codePoint;
    std::size_t length;
    bool isValid;
};

/// Requires: length > 0.
Step decodeUtf16(const unsigned short* units, std::size_t length);
/// A malformed step is one maximal malformed subpart (Unicode, 3.9, table 3-8).
/// Requires: length > 0.
Step decodeUtf8(const char* octets, std::size_t length);

void appendUtf8(std::string& out, char32_t codePoint);
void appendUtf16(std::basic_string<unsigned short>& out, char32_t codePoint);

/// Copies what is ASCII at the front of a text to where there is room for all of the text. Returns
/// how long that is.
std::size_t copyAscii(const unsigned short* units, std::size_t length, char* to);

/// Appends a whole text. False when a lone surrogate was in it, in whose place is EF BF BD.
bool appendUtf8(std::string& out, const unsigned short* units, std::size_t length);
/// Appends a whole text. False when it was malformed: U+FFFD is in the place of each malformed
/// step.
bool appendUtf16(std::basic_string<unsigned short>& out, const char* octets, std::size_t length);

}  // namespace utf
