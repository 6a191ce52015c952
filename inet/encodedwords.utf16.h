// SPDX-License-Identifier: Apache-2.0
// Octets of a header as wide text. Internal to the library.
//
// Any thread. Nothing here throws but std::bad_alloc, and Zeb_Range_Error for a text of more units
// than an int counts.
#pragma once

#include <string_view>

#include "host/host.h"

/// Octets that are no ASCII are read all the same, as the lenient conversion reads them.
Zeb_String asciiText(std::string_view octets);

/// Kept: GB2312, in capitals, is read as its superset GBK, which text of that name often holds.
AdCharset charsetNamed(const Zeb_String& name);

/// Appends without a copy where `out` is empty.
void append(Zeb_String&& text, Zeb_String& out);

/// See decodeRFC2047Words.
Zeb_String decodeWords(std::string_view text);
