// SPDX-License-Identifier: Apache-2.0
// Charsets of one octet a character give what ICU gives, whatever stands beside an octet.
#include <gtest/gtest.h>
#include <unicode/ucnv.h>

#include <memory>
#include <string>

#include "host/adcharset.h"
#include "tests/support/wide_text.h"

namespace {

using Converter = std::unique_ptr<UConverter, decltype(&ucnv_close)>;

Converter opened(const char* name) {
    UErrorCode status = U_ZERO_ERROR;
    return {ucnv_open(name, &status), &ucnv_close};
}

/// As ICU reads the octets, U+FFFD where it finds a fault.
Zeb_String readByIcu(UConverter* converter, const std::string& octets) {
    std::u16string units(2 * octets.size() + 16, u'\0');
    UErrorCode status = U_ZERO_ERROR;
    const int32_t count =
        ucnv_toUChars(converter, units.data(), static_cast<int32_t>(units.size()), octets.data(),
                      static_cast<int32_t>(octets.size()), &status);
    EXPECT_TRUE(U_SUCCESS(status));
    return Zeb_String::FromUnits(units.data(), static_cast<std::size_t>(count));
}

/// The octet in front of each other one.
std::string besideAll(int octet) {
    std::string text;
    for (int other = 0; other < 256; ++other) {
        text += static_cast<char>(octet);
        text += static_cast<char>(other);
    }
    return text;
}

void expectAsIcu(const char* name, UConverter* converter) {
    const AdCharset charset(wide(name));
    for (int octet = 0; octet < 256; ++octet) {
        const std::string text = besideAll(octet);
        for (const std::string& octets : {text, text.substr(0, 1), text.substr(2, 2)}) {
            const Zeb_String expected = readByIcu(converter, octets);
            Zeb_String found;
            const bool isExact =
                AdMbcsString::cvtToTchar(charset, octets.data(), octets.size(), found, 0);
            ASSERT_EQ(found, expected) << name << ' ' << octet;
            ASSERT_EQ(isExact, expected.Find(u"\xFFFD") < 0) << name << ' ' << octet;
        }
    }
}

TEST(CharsetOfOctets, IsReadAsIcuReadsIt) {
    int count = 0;
    for (int32_t i = 0; i < ucnv_countAvailable(); ++i) {
        const char* const name = ucnv_getAvailableName(i);
        const Converter converter = opened(name);
        if (!converter || ucnv_getType(converter.get()) != UCNV_SBCS) continue;
        if (std::string(name).find(',') != std::string::npos) continue;  // an option of ICU's
        expectAsIcu(name, converter.get());
        ++count;
    }
    EXPECT_GT(count, 50);
}

}  // namespace
