// SPDX-License-Identifier: Apache-2.0
// What ICU itself makes of octets.
#pragma once

#include <gtest/gtest.h>
#include <unicode/ucnv.h>

#include <memory>
#include <string>

#include "host/zeb_string.h"

namespace by_icu {

using Converter = std::unique_ptr<UConverter, decltype(&ucnv_close)>;

inline Converter opened(const char* name) {
    UErrorCode status = U_ZERO_ERROR;
    return {ucnv_open(name, &status), &ucnv_close};
}

/// U+FFFD where it finds a fault.
inline Zeb_String read(UConverter* converter, const std::string& octets) {
    std::u16string units(2 * octets.size() + 16, u'\0');
    UErrorCode status = U_ZERO_ERROR;
    const int32_t count =
        ucnv_toUChars(converter, units.data(), static_cast<int32_t>(units.size()), octets.data(),
                      static_cast<int32_t>(octets.size()), &status);
    EXPECT_TRUE(U_SUCCESS(status));
    return Zeb_String::FromUnits(units.data(), static_cast<std::size_t>(count));
}

}  // namespace by_icu
