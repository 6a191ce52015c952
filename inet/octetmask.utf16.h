// SPDX-License-Identifier: Apache-2.0
// Which octets of a block are a wanted one. Internal to transferstream and pop3client.
//
// Line ends come after a few dozen octets: a mask finds the next ones without a call, a loop or a
// jump for each octet. Uses SSE2, which every x86-64 has; elsewhere a plain loop.
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
