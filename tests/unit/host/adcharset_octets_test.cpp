// SPDX-License-Identifier: Apache-2.0
// Charsets of one octet a character give what ICU gives, whatever stands beside an octet.
#include <gtest/gtest.h>
#include <string>

#include "host/adcharset.h"
#include "tests/support/wide_text.h"
#include "tests/unit/host/icu.h"

namespace {

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
            const Zeb_String expected = by_icu::read(converter, octets);
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
        const by_icu::Converter converter = by_icu::opened(name);
        if (!converter || ucnv_getType(converter.get()) != UCNV_SBCS) continue;
        if (std::string(name).find(',') != std::string::npos) continue;  // an option of ICU's
        expectAsIcu(name, converter.get());
        ++count;
    }
    EXPECT_GT(count, 50);
}

}  // namespace
