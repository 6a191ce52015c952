// SPDX-License-Identifier: Apache-2.0
#include "host/utf8.h"

namespace utf {

namespace {

constexpr Step malformed(std::size_t length) { return {replacement, length, false}; }

/// What a lead octet promises. The first continuation octet has bounds of its own, which shut out
/// overlong forms, surrogates and code points beyond U+10FFFF.
struct Lead {
    std::size_t length;  // 0: no lead octet
    char32_t bits;
    unsigned char low = 0x80;
    unsigned char high = 0xBF;
};

Lead classify(unsigned char octet) {
    const auto bits = [octet](int mask) { return static_cast<char32_t>(octet & mask); };
    if (octet < 0x80) return {1, octet};
    if (octet < 0xC2 || octet > 0xF4) return {0, 0};
    if (octet < 0xE0) return {2, bits(0x1F)};
    if (octet == 0xE0) return {3, 0x0, 0xA0, 0xBF};
    if (octet == 0xED) return {3, 0xD, 0x80, 0x9F};
    if (octet < 0xF0) return {3, bits(0x0F)};
    if (octet == 0xF0) return {4, 0x0, 0x90, 0xBF};
    if (octet == 0xF4) return {4, 0x4, 0x80, 0x8F};
    return {4, bits(0x07)};
}

}  // namespace

Step decodeUtf16(const unsigned short* units, std::size_t length) {
    const char32_t first = units[0];
    if (!isSurrogate(first)) return {first, 1, true};
    if (isHighSurrogate(first) && length > 1 && isLowSurrogate(units[1]))
        return {0x10000 + ((first - 0xD800) << 10) + (units[1] - 0xDC00U), 2, true};
    return {first, 1, false};
}

Step decodeUtf8(const char* octets, std::size_t length) {
    Lead lead = classify(static_cast<unsigned char>(octets[0]));
    if (lead.length == 0) return malformed(1);
    char32_t codePoint = lead.bits;
    for (std::size_t i = 1; i < lead.length; ++i) {
        if (i == length) return malformed(i);
        const auto octet = static_cast<unsigned char>(octets[i]);
        if (octet < lead.low || octet > lead.high) return malformed(i);
        codePoint = codePoint << 6 | (octet & 0x3FU);
        lead.low = 0x80;
        lead.high = 0xBF;
    }
    return {codePoint, lead.length, true};
}

void appendUtf8(std::string& out, char32_t codePoint) {
    const auto put = [&out](char32_t octet) { out += static_cast<char>(octet); };
    const auto putContinuation = [&](int shift) { put(0x80 | (codePoint >> shift & 0x3F)); };
    if (codePoint < 0x80) {
        put(codePoint);
    } else if (codePoint < 0x800) {
        put(0xC0 | codePoint >> 6);
        putContinuation(0);
    } else if (codePoint < 0x10000) {
        put(0xE0 | codePoint >> 12);
        putContinuation(6);
        putContinuation(0);
    } else {
        put(0xF0 | codePoint >> 18);
        putContinuation(12);
        putContinuation(6);
        putContinuation(0);
    }
}

void appendUtf16(std::basic_string<unsigned short>& out, char32_t codePoint) {
    if (codePoint < 0x10000) {
        out += static_cast<unsigned short>(codePoint);
        return;
    }
    out += static_cast<unsigned short>(0xD800 + ((codePoint - 0x10000) >> 10));
    out += static_cast<unsigned short>(0xDC00 + (codePoint & 0x3FF));
}

}  // namespace utf
