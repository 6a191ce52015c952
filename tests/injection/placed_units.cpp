// SPDX-License-Identifier: Apache-2.0
#include "tests/injection/placed_units.h"

#include <gtest/gtest.h>
#include <unicode/ucnv.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <string_view>

#include "tests/support/effort.h"
#include "tests/support/sanitized.h"

namespace {

bool isInShare(unsigned unit) {
    static constexpr std::string_view endings("\0\n\r.", 4);
    const auto ends = [](unsigned octet) {
        return endings.find(static_cast<char>(octet)) != std::string_view::npos;
    };
    constexpr unsigned stride = isSanitized ? 7 : 1;
    return unit < 0x100 || isDangerous(static_cast<char16_t>(unit)) || unit % (61 * stride) == 0 ||
           ((ends(unit & 0xFF) || ends(unit >> 8)) && unit % stride == 0);
}

bool isSurrogate(unsigned unit) { return unit >= 0xD800 && unit <= 0xDFFF; }

std::vector<char16_t> chosenUnits() {
    std::vector<char16_t> units;
    for (unsigned unit = 0; unit < 0x10000; ++unit)
        if (isFullEffort() || (isInShare(unit) && (!isSurrogate(unit) || unit % 61 == 0)))
            units.push_back(static_cast<char16_t>(unit));
    return units;
}

}  // namespace

const std::vector<char16_t>& enumeratedUnits() {
    static const std::vector<char16_t> units = chosenUnits();
    return units;
}

bool isDangerous(char16_t unit) {
    struct Range {
        char16_t first;
        char16_t last;
    };
    static constexpr std::array<Range, 8> ranges = {{{0x00, 0x1F},
                                                     {0x7F, 0x9F},
                                                     {0x061C, 0x061C},
                                                     {0x200E, 0x200F},
                                                     {0x2028, 0x2029},
                                                     {0x202A, 0x202E},
                                                     {0x2066, 0x2069},
                                                     {0xD800, 0xDFFF}}};
    return std::any_of(ranges.begin(), ranges.end(), [unit](const Range& range) {
        return unit >= range.first && unit <= range.last;
    });
}

std::string PlacedUnit::name() const {
    std::array<char, 16> number;
    std::snprintf(number.data(), number.size(), "U+%04X", static_cast<unsigned>(unit));
    return std::string(number.data()) + " at " + std::to_string(text.find(unit)) + " of " +
           std::to_string(text.size());
}

void forEachPlacedUnit(const std::u16string& before, const std::u16string& after,
                       const std::function<void(const PlacedUnit&)>& check) {
    for (const char16_t unit : enumeratedUnits()) {
        const std::u16string one(1, unit);
        for (const std::u16string& text :
             {one + before + after, before + one + after, before + after + one}) {
            const PlacedUnit placed{unit, text};
            check(placed);
            if (testing::Test::HasFailure()) FAIL() << placed.name();
        }
    }
}

std::string icuUtf8(const std::u16string& text) {
    std::string octets;
    icu::UnicodeString(text.data(), static_cast<int32_t>(text.size())).toUTF8String(octets);
    return octets;
}

std::optional<std::string> icuOctets(const char* charset, const std::u16string& text) {
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<UConverter, decltype(&ucnv_close)> converter(ucnv_open(charset, &status),
                                                                       ucnv_close);
    const icu::UnicodeString wide(text.data(), static_cast<int32_t>(text.size()));
    std::string octets(text.size() * 16 + 16, '\0');
    const auto room = static_cast<int32_t>(octets.size());
    octets.resize(
        static_cast<std::size_t>(wide.extract(octets.data(), room, converter.get(), status)));
    // What it cannot hold is replaced, or dropped.
    const icu::UnicodeString back(octets.data(), static_cast<int32_t>(octets.size()),
                                  converter.get(), status);
    if (U_FAILURE(status) || back != wide) return std::nullopt;
    return octets;
}

std::optional<std::string> lineOctets(const std::u16string& text) {
    std::string octets;
    for (const char16_t unit : text) {
        if (unit >= 0x80 || unit == u'\r' || unit == u'\n' || unit == 0) return std::nullopt;
        octets +=
            "\0\1\2\3\4\5\6\7\b\t\n\v\f\r\16\17\20\21\22\23\24\25\26\27\30\31\32\33\34\35\36\37"
            " !\"#$%&'()*+,-./0123456789:;<=>?@ABCDEFGHIJKLMNOPQRSTUVWXYZ[\\]^_`"
            "abcdefghijklmnopqrstuvwxyz{|}~\x7F"[unit];
    }
    return octets;
}
