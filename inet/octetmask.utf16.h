// SPDX-License-Identifier: Apache-2.0
// Which of 64 octets are a given one. Internal to transferstream.
//
// Uses SSE2, which every x86-64 has; elsewhere a plain loop.
// Units: octets. Nothing here fails or throws; any thread.
#pragma once

#include <cstdint>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

constexpr int octetsInMask = 64;

/// A bit for each of the 64 octets at `octets` that is `wanted`, the lowest for the first.
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
