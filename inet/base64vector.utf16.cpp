// SPDX-License-Identifier: Apache-2.0
// AVX2 does 32 digits a step; whether the processor has it is asked at run time.
#include "inet/base64vector.utf16.h"

#ifdef __x86_64__

#include <immintrin.h>

#include <algorithm>
#include <bit>

#define VTINETLIB_AVX2 __attribute__((target("avx2")))

namespace {

/// For each octet the entry of `table` that its index names, an index of 0 to 15.
VTINETLIB_AVX2 __m256i lookUp(__m128i table, __m256i indices) {
    return _mm256_shuffle_epi8(_mm256_broadcastsi128_si256(table), indices);
}

/// The values of the digits that 32 octets begin with; returns how many they are.
VTINETLIB_AVX2 unsigned digitValues(__m256i octets, __m256i& values) {
    // By the upper half of an octet: its kind, a bit each for 2x, 3x, 4x and 6x, 5x and 7x, others.
    const __m128i kinds = _mm_setr_epi8(16, 16, 1, 2, 4, 8, 4, 8, 16, 16, 16, 16, 16, 16, 16, 16);
    // By the lower half: the kinds in which it is no digit. '+' is 2B, '/' is 2F.
    const __m128i strange =
        _mm_setr_epi8(21, 17, 17, 17, 17, 17, 17, 17, 17, 17, 19, 26, 27, 27, 27, 26);
    // By the upper half, 1 for '/': what leads from the octet to its value.
    const __m128i offsets = _mm_setr_epi8(0, 63 - '/', 62 - '+', 52 - '0', -'A', -'A', 26 - 'a',
                                          26 - 'a', 0, 0, 0, 0, 0, 0, 0, 0);
    const __m256i half = _mm256_set1_epi8(0x0F);
    const __m256i upper = _mm256_and_si256(_mm256_srli_epi16(octets, 4), half);
    const __m256i lower = _mm256_and_si256(octets, half);
    const __m256i isSlash = _mm256_cmpeq_epi8(octets, _mm256_set1_epi8('/'));  // -1 where it is
    values = _mm256_add_epi8(octets, lookUp(offsets, _mm256_add_epi8(upper, isSlash)));
    const __m256i isStrange = _mm256_and_si256(lookUp(kinds, upper), lookUp(strange, lower));
    const __m256i isDigit = _mm256_cmpeq_epi8(isStrange, _mm256_setzero_si256());
    const auto digits = static_cast<unsigned>(_mm256_movemask_epi8(isDigit));
    return static_cast<unsigned>(std::countr_one(digits));
}

/// Joins 32 values of 6 bits to 24 octets, followed by eight zeros.
VTINETLIB_AVX2 __m256i joinBits(__m256i values) {
    const __m256i pairs = _mm256_maddubs_epi16(values, _mm256_set1_epi16(0x0140));    // first * 64
    const __m256i groups = _mm256_madd_epi16(pairs, _mm256_set1_epi32(0x0001'1000));  // * 4096
    constexpr char none = -1;
    const __m256i bigEndian = _mm256_broadcastsi128_si256(
        _mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, none, none, none, none));
    return _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(groups, bigEndian),
                                       _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7));
}

/// How long the line end is that a text begins with, two octets of which can be looked at.
std::size_t lineEndAt(const char* octets) {
    if (octets[0] == '\n') return 1;
    return octets[0] == '\r' && octets[1] == '\n' ? 2 : 0;
}

VTINETLIB_AVX2 OctetRun decodeLines(std::string_view octets, char* to, std::size_t room) {
    constexpr std::size_t blockAndLineEnds = 2 + 32 + 2;
    OctetRun all{0, 0};
    std::size_t skipped = 0;  // the line end in front of the next group, which takes it
    while (octets.size() - all.taken >= blockAndLineEnds && room - all.given >= 32) {
        const char* const from = octets.data() + all.taken + skipped;
        __m256i values;
        const unsigned digits =
            digitValues(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(from)), values);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(to + all.given), joinBits(values));
        const std::size_t groups = digits / 4;
        if (groups == 0) break;
        all.taken += skipped + 4 * groups;
        all.given += 3 * groups;
        skipped = 0;
        if (digits == 32) continue;
        skipped = lineEndAt(from + digits);
        if (digits % 4 != 0 || skipped == 0) break;
    }
    return all;
}

/// The value that has been shifted to the octet `place` of each group of four.
VTINETLIB_AVX2 __m256i valueAt(__m256i shifted, int place) {
    return _mm256_and_si256(shifted, _mm256_set1_epi32(0x3F << 8 * place));
}

/// Splits 24 octets, 16 of them in the lower half and the last 16 in the upper one, into 32 values
/// of 6 bits.
VTINETLIB_AVX2 __m256i splitBits(__m256i octets) {
    constexpr char none = -1;
    const __m256i groups = _mm256_shuffle_epi8(
        octets, _mm256_setr_epi8(2, 1, 0, none, 5, 4, 3, none, 8, 7, 6, none, 11, 10, 9, none,  //
                                 6, 5, 4, none, 9, 8, 7, none, 12, 11, 10, none, 15, 14, 13, none));
    return _mm256_or_si256(_mm256_or_si256(valueAt(_mm256_srli_epi32(groups, 18), 0),
                                           valueAt(_mm256_srli_epi32(groups, 4), 1)),
                           _mm256_or_si256(valueAt(_mm256_slli_epi32(groups, 10), 2),
                                           valueAt(_mm256_slli_epi32(groups, 24), 3)));
}

/// `step` where a value is above `limit`.
VTINETLIB_AVX2 __m256i above(__m256i values, char limit, int step) {
    return _mm256_and_si256(_mm256_cmpgt_epi8(values, _mm256_set1_epi8(limit)),
                            _mm256_set1_epi8(static_cast<char>(step)));
}

/// The digits of 32 values.
VTINETLIB_AVX2 __m256i digitsOf(__m256i values) {
    constexpr int upper = 'A';
    constexpr int lower = 'a' - 26;
    constexpr int decimal = '0' - 52;
    constexpr int plus = '+' - 62;
    constexpr int slash = '/' - 63;
    __m256i digits = _mm256_add_epi8(values, _mm256_set1_epi8(upper));
    digits = _mm256_add_epi8(digits, above(values, 25, lower - upper));
    digits = _mm256_add_epi8(digits, above(values, 51, decimal - lower));
    digits = _mm256_add_epi8(digits, above(values, 61, plus - decimal));
    return _mm256_add_epi8(digits, above(values, 62, slash - plus));
}

VTINETLIB_AVX2 void encodeBlock(const char* from, char* to) {
    const __m128i lower = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
    const __m128i upper = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + 8));
    const __m256i values = splitBits(_mm256_set_m128i(upper, lower));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), digitsOf(values));
}

/// The last block overlaps the one before it, so that no group is left over.
VTINETLIB_AVX2 void encodeBlocks(const char* from, std::size_t groups, char* to) {
    for (std::size_t done = 0; done < groups; done += 8) {
        const std::size_t first = std::min(done, groups - 8);
        encodeBlock(from + 3 * first, to + 4 * first);
    }
}

}  // namespace

OctetRun decodeBase64Lines(std::string_view octets, char* to, std::size_t room) {
    return __builtin_cpu_supports("avx2") ? decodeLines(octets, to, room) : OctetRun{0, 0};
}

std::size_t encodeBase64Groups(const char* from, std::size_t groups, char* to) {
    if (groups < 8 || !__builtin_cpu_supports("avx2")) return 0;
    encodeBlocks(from, groups, to);
    return groups;
}

#else

OctetRun decodeBase64Lines(std::string_view, char*, std::size_t) { return {0, 0}; }
std::size_t encodeBase64Groups(const char*, std::size_t, char*) { return 0; }

#endif
