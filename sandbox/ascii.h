// SPDX-License-Identifier: Apache-2.0
// Letters of ASCII, whatever the locale.
#pragma once

#include <algorithm>
#include <string_view>

namespace sandbox {

constexpr char upper(char octet) {
    return octet >= 'a' && octet <= 'z' ? static_cast<char>(octet - 'a' + 'A') : octet;
}

constexpr bool isDigit(char octet) { return octet >= '0' && octet <= '9'; }

constexpr bool isLetterOrDigit(char octet) {
    return isDigit(octet) || (upper(octet) >= 'A' && upper(octet) <= 'Z');
}

/// Whether two names differ in the case of letters at most.
inline bool isSameName(std::string_view one, std::string_view other) {
    return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                      [](char left, char right) { return upper(left) == upper(right); });
}

}  // namespace sandbox
