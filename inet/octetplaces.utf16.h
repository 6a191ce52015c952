// SPDX-License-Identifier: Apache-2.0
// Where in a stretch are the octets that quoted-printable does something about. Internal to
// transferstream.
//
// Such octets come after a few dozen others. A list of them leaves nothing to look at in between,
// and is made without a jump that the processor would have to guess. By vector instructions where
// the machine has them, which is asked at run time; else plainly.
// Units: octets. Nothing here fails or throws; any thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/// The longest stretch.
constexpr std::size_t longestStretch = 4096;

/// Places in a stretch, rising, counted from its start. Behind them is room for some that are
/// written and not meant.
using OctetPlaces = std::array<std::uint16_t, longestStretch + 8>;

/// Finds each "=". Returns how many there are.
std::size_t findEqualsSigns(const char* octets, std::size_t count, OctetPlaces& places);

/// Finds what quoted-printable does not leave as it is: the "=", and all but printable ASCII, space
/// and tab (RFC 2045, 6.7). Returns how many there are.
std::size_t findStrange(const char* octets, std::size_t count, OctetPlaces& places);

/// The same without vector instructions.
namespace plain {

std::size_t findEqualsSigns(const char* octets, std::size_t count, OctetPlaces& places);
std::size_t findStrange(const char* octets, std::size_t count, OctetPlaces& places);

}  // namespace plain
