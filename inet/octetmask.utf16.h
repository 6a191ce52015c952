// SPDX-License-Identifier: Apache-2.0
// Which octets of a block are of a kind. Internal to transferstream.
//
// The filters look for line ends and escapes, which come after a few dozen octets: a mask finds the
// next ones without a call, a loop or a jump for each octet. Uses SSE2, which every x86-64 has;
// elsewhere a plain loop.
// All octets of a block are read, so the caller sees to it that they are there.
// Units: octets. Nothing here fails or throws; any thread.
#pragma once

#include <cstdint>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

/// Octets in a block of octetMask.
constexpr int octetsInMask = 64;

/// A bit for each of the 64 octets at `octets` that is `wanted`, the lowest for the first; so
/// std::countr_zero gives the place of the next one.
inline std::uint64_t octetMask(const char* octets, char wanted) {
    std::uint64_t mask = 0;
#ifdef __SSE2__
    for (int at = 0; at < octetsInMask; at += 16) {
        const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(octets + at));
        const __m128i isWanted = _mm_cmpeq_epi8(block, _mm_set1_epi8(wanted));
        mask |= std::uint64_t{static_cast<unsigned>(_mm_movemask_epi8(isWanted))} << at;
    }
#else
    for (int at = 0; at < octetsInMask; ++at) mask |= std::uint64_t{octets[at] == wanted} << at;
#endif
    return mask;
}

/// A bit for each of the 16 octets at `octets` that quoted-printable does not leave as it is, the
/// lowest for the first: the "=", and all but printable ASCII, space and tab (RFC 2045, 6.7). Line
/// ends and the length of lines are not looked at.
inline unsigned escapedMask(const char* octets) {
#ifdef __SSE2__
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(octets));
    const __m128i isAscii = _mm_and_si128(_mm_cmpgt_epi8(block, _mm_set1_epi8(' ' - 1)),
                                          _mm_cmplt_epi8(block, _mm_set1_epi8('~' + 1)));
    const __m128i isPlain = _mm_or_si128(isAscii, _mm_cmpeq_epi8(block, _mm_set1_epi8('\t')));
    const __m128i isSign = _mm_cmpeq_epi8(block, _mm_set1_epi8('='));
    return static_cast<unsigned>(_mm_movemask_epi8(_mm_andnot_si128(isSign, isPlain))) ^ 0xFFFF;
#else
    unsigned mask = 0;
    for (int at = 0; at < 16; ++at) {
        const char octet = octets[at];
        const bool isPlain = (octet >= ' ' && octet <= '~') || octet == '\t';
        mask |= (isPlain && octet != '=' ? 0U : 1U) << at;
    }
    return mask;
#endif
}
