// SPDX-License-Identifier: Apache-2.0
// Wide text from literals that may hold NULs and lone surrogates.
#pragma once

#include <string_view>

#include "host/printable.h"
#include "host/zeb_string.h"
#include "tests/support/wide_text.h"

inline Zeb_String units(std::u16string_view text) {
    return Zeb_String::FromUnits(text.data(), text.size());
}
