// SPDX-License-Identifier: Apache-2.0
// Octets as text that a person can read and write.
#pragma once

#include <string>
#include <string_view>

namespace sandbox {

/// Printable ASCII as it is, a backslash doubled, CR, LF and tab as \r, \n and \t, and all other
/// octets as \xHH.
std::string escaped(std::string_view octets);

/// The octets of a text with escapes as in C: \r \n \t \\ \" \', one to three octal digits, or \x
/// with one or two hexadecimal digits. Throws std::invalid_argument for any other escape.
std::string unescaped(std::string_view text);

}  // namespace sandbox
