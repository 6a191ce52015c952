// SPDX-License-Identifier: Apache-2.0
// What another buffer has at hand. Internal to the library.
#pragma once

#include <algorithm>
#include <cstddef>
#include <limits>
#include <streambuf>
#include <string_view>

/// The octets that any buffer has received or read already, for those that would take them one by
/// one. A buffer may have none at hand and yet more to come. Its accessors are protected, and are
/// reached as members of this class.
class ReadArea : public std::streambuf {
  public:
    /// Valid until the next call to the buffer.
    static std::string_view of(std::streambuf& buffer) {
        const char* const first = (buffer.*&ReadArea::gptr)();
        const char* const last = (buffer.*&ReadArea::egptr)();
        constexpr std::ptrdiff_t most = std::numeric_limits<int>::max();  // for gbump
        return {first, static_cast<std::size_t>(std::min(last - first, most))};
    }
    /// Takes `count` of them, at most as many as there are.
    static void take(std::streambuf& buffer, std::size_t count) {
        (buffer.*&ReadArea::gbump)(static_cast<int>(count));
    }
};
