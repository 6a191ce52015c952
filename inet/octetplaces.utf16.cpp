// SPDX-License-Identifier: Apache-2.0
// AVX2 looks at 32 octets a step, and BMI and POPCNT count through the bits of 64.
#include "inet/octetplaces.utf16.h"

#include <string_view>

std::size_t plain::findEqualsSigns(const char* octets, std::size_t count, OctetPlaces& places) {
    const std::string_view stretch(octets, count);
    std::uint16_t* next = places.data();
    for (auto at = stretch.find('='); at != std::string_view::npos; at = stretch.find('=', at + 1))
        *next++ = static_cast<std::uint16_t>(at);
    return static_cast<std::size_t>(next - places.data());
}

std::size_t plain::findStrange(const char* octets, std::size_t count, OctetPlaces& places) {
    std::uint16_t* next = places.data();
    for (std::size_t at = 0; at < count; ++at) {
        const char octet = octets[at];
        const bool isOutside = (octet < ' ' || octet > '~') && octet != '\t';
        *next = static_cast<std::uint16_t>(at);
        next += isOutside || octet == '=' ? 1 : 0;
    }
    return static_cast<std::size_t>(next - places.data());
}

#ifdef __x86_64__

#include <immintrin.h>

#include <cstring>

#define VTINETLIB_AVX2 __attribute__((target("avx2,bmi,popcnt")))

namespace {

constexpr std::size_t blockSize = 64;

bool hasVectors() {
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") &&
           __builtin_cpu_supports("popcnt");
}

struct Signs {
    VTINETLIB_AVX2 __m256i operator()(__m256i octets) const {
        return _mm256_cmpeq_epi8(octets, _mm256_set1_epi8('='));
    }
};

struct Strange {
    VTINETLIB_AVX2 __m256i operator()(__m256i octets) const {
        const __m256i isAscii = _mm256_and_si256(  // those of 80 and above are below 0
            _mm256_cmpgt_epi8(octets, _mm256_set1_epi8(' ' - 1)),
            _mm256_cmpgt_epi8(_mm256_set1_epi8('~' + 1), octets));
        const __m256i isTab = _mm256_cmpeq_epi8(octets, _mm256_set1_epi8('\t'));
        const __m256i isPlain =
            _mm256_andnot_si256(Signs()(octets), _mm256_or_si256(isAscii, isTab));
        return _mm256_xor_si256(isPlain, _mm256_set1_epi8(-1));
    }
};

/// A bit for each of 64 octets, the lowest for the first.
template <typename Kind>
VTINETLIB_AVX2 std::uint64_t maskOf(const char* octets, Kind kind) {
    const auto half = [&](std::size_t at) VTINETLIB_AVX2 {
        const auto* const from = reinterpret_cast<const __m256i*>(octets + at);
        return static_cast<unsigned>(_mm256_movemask_epi8(kind(_mm256_loadu_si256(from))));
    };
    return half(0) | std::uint64_t{half(32)} << 32;
}

/// Puts the places of the bits of a block that begins at `start`; eight of them without asking how
/// many there are.
VTINETLIB_AVX2 std::size_t putPlaces(std::uint64_t mask, std::size_t start, std::uint16_t* to) {
    const auto count = static_cast<std::size_t>(_mm_popcnt_u64(mask));
    const auto putNext = [&]() VTINETLIB_AVX2 {
        *to++ = static_cast<std::uint16_t>(start + _tzcnt_u64(mask));
        mask = _blsr_u64(mask);
    };
    for (int i = 0; i < 8; ++i) putNext();
    for (std::size_t i = 8; i < count; ++i) putNext();
    return count;
}

template <typename Kind>
VTINETLIB_AVX2 std::size_t findByVectors(const char* octets, std::size_t count, OctetPlaces& places,
                                         Kind kind) {
    std::size_t found = 0;
    std::size_t at = 0;
    for (; count - at >= blockSize; at += blockSize)
        found += putPlaces(maskOf(octets + at, kind), at, places.data() + found);
    if (at == count) return found;
    char rest[blockSize];
    std::memset(rest, ' ', sizeof rest);
    std::memcpy(rest, octets + at, count - at);
    return found + putPlaces(maskOf(rest, kind), at, places.data() + found);
}

}  // namespace

std::size_t findEqualsSigns(const char* octets, std::size_t count, OctetPlaces& places) {
    return hasVectors() ? findByVectors(octets, count, places, Signs())
                        : plain::findEqualsSigns(octets, count, places);
}

std::size_t findStrange(const char* octets, std::size_t count, OctetPlaces& places) {
    return hasVectors() ? findByVectors(octets, count, places, Strange())
                        : plain::findStrange(octets, count, places);
}

#else

std::size_t findEqualsSigns(const char* octets, std::size_t count, OctetPlaces& places) {
    return plain::findEqualsSigns(octets, count, places);
}

std::size_t findStrange(const char* octets, std::size_t count, OctetPlaces& places) {
    return plain::findStrange(octets, count, places);
}

#endif
