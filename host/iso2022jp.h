// SPDX-License-Identifier: Apache-2.0
// ISO-2022-JP to wide text, for what nearly all of it is made of. Internal to the host services.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace iso2022jp {

/// The octets of a character of JIS X 0208 count from here.
constexpr unsigned firstOctet = 0x21;
/// Characters in a row, and rows.
constexpr std::size_t rowLength = 94;

/// The units of JIS X 0208, row by row; utf::replacement where there is no character.
using Kanji = std::array<unsigned short, rowLength * rowLength>;

/// Reads ASCII and the characters of `kanji`, each run of them behind its escape sequence
/// (RFC 1468). False, with units of no meaning, when there is anything else in the text: a fault,
/// or a set that is rare.
bool widen(const Kanji& kanji, std::string_view text, std::basic_string<unsigned short>& out);

}  // namespace iso2022jp
