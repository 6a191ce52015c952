// SPDX-License-Identifier: Apache-2.0
// Header fields by name.
//
// Raw: what a value means, inet/rfc2822decoder.utf16.h tells. One thread at a time per object.
#pragma once

#include <cstring>
#include <map>
#include <string>

#include "host/host.h"

/// The order of header and parameter names: ASCII letters are folded.
struct CaseInsensitiveLess {
    /// Whether `a` comes before `b`.
    bool operator()(const Zeb_String& a, const Zeb_String& b) const {
        const unsigned short* const first = a.GetBuffer();
        const unsigned short* const second = b.GetBuffer();
        const int common = a.GetLength() < b.GetLength() ? a.GetLength() : b.GetLength();
        int i = 0;
        while (common - i >= 4 && std::memcmp(first + i, second + i, 4 * sizeof *first) == 0)
            i += 4;
        for (; i < common; ++i) {
            if (first[i] == second[i]) continue;
            const int difference = folded(first[i]) - folded(second[i]);
            if (difference != 0) return difference < 0;
        }
        return a.GetLength() < b.GetLength();
    }

  private:
    /// A capital's small letter; other units are themselves.
    static int folded(int unit) { return unit >= 'A' && unit <= 'Z' ? unit + ('a' - 'A') : unit; }
};

/// Header fields by name: raw octets, unfolded. A repeated field is one entry, its values joined
/// by LF; the name keeps the spelling of its first occurrence.
using HeaderMap = std::map<Zeb_String, std::string, CaseInsensitiveLess>;
