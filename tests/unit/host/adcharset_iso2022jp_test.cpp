// SPDX-License-Identifier: Apache-2.0
// ISO-2022-JP gives what ICU gives, the first time and later.
#include <gtest/gtest.h>

#include <numeric>
#include <optional>
#include <random>
#include <string>
#include <string_view>

#include "host/adcharset.h"
#include "host/iso2022jp.h"
#include "tests/unit/host/icu.h"

using namespace std::string_literals;

namespace {

class Iso2022JpText : public testing::Test {
  protected:
    void expectAsIcu(const std::string& octets) {
        const Zeb_String expected = by_icu::read(converter_.get(), octets);
        Zeb_String found;
        const bool isExact =
            AdMbcsString::cvtToTchar(charset_, octets.data(), octets.size(), found, 0);
        ASSERT_EQ(found, expected) << testing::PrintToString(octets);
        ASSERT_EQ(isExact, expected.Find(u"\xFFFD") < 0) << testing::PrintToString(octets);
    }

    const by_icu::Converter converter_ = by_icu::opened("ISO-2022-JP");
    const AdCharset charset_{u"ISO-2022-JP"};
};

TEST_F(Iso2022JpText, OfEachPairOfOctetsIsReadAsIcuReadsIt) {
    for (int first = 0; first < 256; ++first)
        for (int second = 0; second < 256; ++second)
            expectAsIcu("\x1B$B0!"s + static_cast<char>(first) + static_cast<char>(second) +
                        "\x1B(B.");
}

TEST_F(Iso2022JpText, OfAnyRunsIsReadAsIcuReadsIt) {
    const std::string runs[] = {"\x1B$B"s, "\x1B$B"s, "\x1B(B"s, "\x1B(B"s, "\x1B(J"s, "\x1B(I"s,
                                "\x1B$@"s, "\x1B$A"s, "\x1B"s,   "\x1B$"s,  "F|K\\"s,  "8l"s,
                                "a"s,      "\r\n"s,   "\t"s,     "\0"s,     "\x0E"s,   "\x7F"s,
                                "\x80"s,   "\xFF"s,   "~~"s,     "!!"s,     " "s,      "1"s};
    std::mt19937 random(135);
    for (int round = 0; round < 200000; ++round) {
        std::string octets;
        for (auto count = random() % 7; count > 0; --count)
            octets += runs[random() % std::size(runs)];
        expectAsIcu(octets);
    }
}

using Units = std::basic_string<unsigned short>;

/// What the quick way makes of it, with the numbers of characters for a table; nothing where it
/// asks for ICU.
std::optional<Units> readQuickly(std::string_view text) {
    iso2022jp::Kanji kanji;
    std::iota(kanji.begin(), kanji.end(), static_cast<unsigned short>(0));
    Units out;
    if (!iso2022jp::widen(kanji, text, out)) return std::nullopt;
    return out;
}

TEST(QuickIso2022Jp, ReadsAsciiAndTwoOctetCharacters) {
    EXPECT_EQ(readQuickly(""), Units());
    EXPECT_EQ(readQuickly("a\r\n"), (Units{'a', '\r', '\n'}));
    EXPECT_EQ(readQuickly("a\x1B$B!!!\"~~\x1B(Bb"), (Units{'a', 0, 1, 94 * 94 - 1, 'b'}));
    EXPECT_EQ(readQuickly("\x1B$B\"!"), Units{94});
    EXPECT_EQ(readQuickly("\x1B$B!!\x1B(B"), Units{0});
}

TEST(QuickIso2022Jp, LeavesTheRestToIcu) {
    for (const char* const text : {"\x1B(Ja", "\x1B$@!!", "\x1B$B\x1B(Ba", "\x1B$B!",
                                   "\x1B$B!!\n\x1B(B", "\x1B", "\x0E", "\x80"})
        EXPECT_EQ(readQuickly(text), std::nullopt) << testing::PrintToString(text);
}

TEST(QuickIso2022Jp, LeavesPlacesWithoutACharacterToIcu) {
    iso2022jp::Kanji kanji;
    kanji.fill(0xFFFD);
    Units out;
    EXPECT_FALSE(iso2022jp::widen(kanji, "\x1B$B!!", out));
}

}  // namespace
