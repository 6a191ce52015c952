// SPDX-License-Identifier: Apache-2.0
#include "host/utf8.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <type_traits>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace utf {

namespace {

constexpr Step malformed(std::size_t length) { return {replacement, length, false}; }

/// What a lead octet promises. The first continuation octet has bounds of its own, which shut out
/// overlong forms, surrogates and code points beyond U+10FFFF.
struct Lead {
    unsigned char length = 0;  // 0: no lead octet
    char32_t bits = 0;
    unsigned char low = 0x80;
    unsigned char high = 0xBF;
};

constexpr Lead classify(unsigned char octet) {
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

constexpr auto leads = [] {
    std::array<Lead, 256> all{};
    for (std::size_t octet = 0; octet != all.size(); ++octet)
        all[octet] = classify(static_cast<unsigned char>(octet));
    return all;
}();

Step decode(const char* octets, std::size_t length) {
    const Lead& lead = leads[static_cast<unsigned char>(octets[0])];
    if (lead.length == 0) return malformed(1);
    if (lead.length == 1) return {lead.bits, 1, true};
    const auto octet = [&](std::size_t i) { return static_cast<unsigned char>(octets[i]); };
    if (length < 2 || octet(1) < lead.low || octet(1) > lead.high) return malformed(1);
    char32_t codePoint = lead.bits << 6 | (octet(1) & 0x3FU);
    for (std::size_t i = 2; i < lead.length; ++i) {
        if (i == length || (octet(i) & 0xC0) != 0x80) return malformed(i);
        codePoint = codePoint << 6 | (octet(i) & 0x3FU);
    }
    return {codePoint, lead.length, true};
}

}  // namespace

Step decodeUtf16(const unsigned short* units, std::size_t length) {
    const char32_t first = units[0];
    if (!isSurrogate(first)) return {first, 1, true};
    if (isHighSurrogate(first) && length > 1 && isLowSurrogate(units[1]))
        return {0x10000 + ((first - 0xD800) << 10) + (units[1] - 0xDC00U), 2, true};
    return {first, 1, false};
}

Step decodeUtf8(const char* octets, std::size_t length) { return decode(octets, length); }

namespace {

// Each writes the form of a code point and returns how long it is.

std::size_t putUtf8(char* to, char32_t codePoint) {
    const auto lead = [&](char32_t mark, int shift) { return mark | codePoint >> shift; };
    const auto continuation = [&](int shift) { return 0x80 | (codePoint >> shift & 0x3F); };
    const auto put = [&](auto... octets) {
        ((*to++ = static_cast<char>(octets)), ...);
        return sizeof...(octets);
    };
    if (codePoint < 0x80) return put(codePoint);
    if (codePoint < 0x800) return put(lead(0xC0, 6), continuation(0));
    if (codePoint < 0x10000) return put(lead(0xE0, 12), continuation(6), continuation(0));
    return put(lead(0xF0, 18), continuation(12), continuation(6), continuation(0));
}

std::size_t putUtf16(unsigned short* to, char32_t codePoint) {
    if (codePoint < 0x10000) {
        to[0] = static_cast<unsigned short>(codePoint);
        return 1;
    }
    to[0] = static_cast<unsigned short>(0xD800 + ((codePoint - 0x10000) >> 10));
    to[1] = static_cast<unsigned short>(0xDC00 + (codePoint & 0x3FF));
    return 2;
}

// ASCII is copied in blocks, which compilers make vector instructions of.

constexpr std::size_t blockSize = 16;

template <typename Unit>
bool isAscii(Unit unit) {
    return static_cast<std::make_unsigned_t<Unit>>(unit) < 0x80;
}

std::uint64_t load(const void* from) {
    std::uint64_t word = 0;
    std::memcpy(&word, from, sizeof word);
    return word;
}

/// A bit for each octet of a block that is not ASCII, the lowest for the first.
unsigned otherOctets(const char* octets) {
#ifdef __SSE2__
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(octets));
    return static_cast<unsigned>(_mm_movemask_epi8(block));
#else
    unsigned others = 0;
    for (std::size_t i = 0; i < blockSize; ++i) others |= isAscii(octets[i]) ? 0U : 1U << i;
    return others;
#endif
}

/// Copies the ASCII that a text begins with, at most a block, to where there is room for a block.
std::size_t copyAsciiFront(const char* octets, std::size_t length, unsigned short* to) {
    if (length >= blockSize) {
        std::array<unsigned char, blockSize> block;
        std::memcpy(block.data(), octets, sizeof block);
        for (std::size_t i = 0; i < blockSize; ++i) to[i] = block[i];
        const unsigned others = otherOctets(octets);
        if (others == 0) return blockSize;  // a jump, which is guessed: nothing waits for the bits
        return static_cast<std::size_t>(std::countr_zero(others));
    }
    std::size_t done = 0;
    for (; done < length && isAscii(octets[done]); ++done)
        to[done] = static_cast<unsigned char>(octets[done]);
    return done;
}

/// Copies a block if it is ASCII.
bool copyAsciiBlock(const unsigned short* units, char* to) {
    const std::uint64_t all = load(units) | load(units + 4) | load(units + 8) | load(units + 12);
    if ((all & 0xFF80FF80FF80FF80U) != 0) return false;
    std::array<unsigned short, blockSize> block;
    std::memcpy(block.data(), units, sizeof block);
    for (std::size_t i = 0; i < blockSize; ++i) to[i] = static_cast<char>(block[i]);
    return true;
}

}  // namespace

std::size_t copyAscii(const unsigned short* units, std::size_t length, char* to) {
    std::size_t done = 0;
    while (length - done >= blockSize && copyAsciiBlock(units + done, to + done)) done += blockSize;
    for (; done < length && isAscii(units[done]); ++done) to[done] = static_cast<char>(units[done]);
    return done;
}

void appendUtf8(std::string& out, char32_t codePoint) {
    char octets[4];
    out.append(octets, putUtf8(octets, codePoint));
}

void appendUtf16(std::basic_string<unsigned short>& out, char32_t codePoint) {
    unsigned short units[2];
    out.append(units, putUtf16(units, codePoint));
}

bool appendUtf8(std::string& out, const unsigned short* units, std::size_t length) {
    constexpr std::size_t longestForm = 4;
    std::array<char, 1024 + longestForm> block;
    if (length > block.size()) out.reserve(out.size() + length);
    bool isValid = true;
    while (length > 0) {
        std::size_t used = 0;
        while (length > 0 && used < block.size() - longestForm) {
            const std::size_t room = block.size() - longestForm - used;
            char* const to = block.data() + used;
            std::size_t taken = 1;
            if (isAscii(*units)) {
                taken = copyAscii(units, std::min(length, room), to);
                used += taken;
            } else if (!isSurrogate(*units)) {
                used += putUtf8(to, *units);
            } else {
                const Step step = decodeUtf16(units, length);
                isValid = isValid && step.isValid;
                used += putUtf8(to, step.isValid ? step.codePoint : replacement);
                taken = step.length;
            }
            units += taken;
            length -= taken;
        }
        out.append(block.data(), used);
    }
    return isValid;
}

bool appendUtf16(std::basic_string<unsigned short>& out, const char* octets, std::size_t length) {
    std::array<unsigned short, 1024 + blockSize> block;
    if (length > block.size())
        out.reserve(out.size() + length);  // no unit takes less than an octet
    bool isValid = true;
    while (length > 0) {
        std::size_t used = 0;
        while (length > 0 && used < block.size() - blockSize) {
            unsigned short* const to = block.data() + used;
            std::size_t taken = 0;
            if (isAscii(*octets)) {
                taken = copyAsciiFront(octets, length, to);
                used += taken;
            } else {
                const Step step = decode(octets, length);
                isValid = isValid && step.isValid;
                used += putUtf16(to, step.codePoint);
                taken = step.length;
            }
            octets += taken;
            length -= taken;
        }
        out.append(block.data(), used);
    }
    return isValid;
}

}  // namespace utf
