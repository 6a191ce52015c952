// SPDX-License-Identifier: Apache-2.0
// AVX2 does 32 digits a step; whether the processor has it is asked at run time.
#include "inet/base64vector.utf16.h"

#ifdef __x86_64__

#include <immintrin.h>

#define VTINETLIB_AVX2 __attribute__((target("avx2")))

namespace {

/// For each octet the entry of `table` that its index names, an index of 0 to 15.
VTINETLIB_AVX2 __m256i lookUp(__m128i table, __m256i indices) {
    return _mm256_shuffle_epi8(_mm256_broadcastsi128_si256(table), indices);
}

/// The values of 32 digits. False when one of them is none.
VTINETLIB_AVX2 bool digitValues(__m256i octets, __m256i& values) {
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
    return _mm256_testz_si256(lookUp(kinds, upper), lookUp(strange, lower)) != 0;
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

VTINETLIB_AVX2 std::size_t decodeBlocks(const char* from, std::size_t digits, char* to,
                                        std::size_t room) {
    std::size_t blocks = 0;
    for (; 32 * (blocks + 1) <= digits && 24 * blocks + 32 <= room; ++blocks) {
        const auto* source = reinterpret_cast<const __m256i*>(from + 32 * blocks);
        __m256i values;
        if (!digitValues(_mm256_loadu_si256(source), values)) break;
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(to + 24 * blocks), joinBits(values));
    }
    return blocks;
}

}  // namespace

std::size_t decodeBase64Blocks(const char* from, std::size_t digits, char* to, std::size_t room) {
    return __builtin_cpu_supports("avx2") ? decodeBlocks(from, digits, to, room) : 0;
}

#else

std::size_t decodeBase64Blocks(const char*, std::size_t, char*, std::size_t) { return 0; }

#endif
