// SPDX-License-Identifier: Apache-2.0
// What is found in a stretch, with vector instructions and without: what looking at each octet
// finds.
#include "inet/octetplaces.utf16.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "tests/unit/transferstream/test_buffers.h"

namespace {

using Find = std::size_t (*)(const char*, std::size_t, OctetPlaces&);
using Places = std::vector<std::size_t>;

bool isSign(char octet) { return octet == '='; }

bool isStrange(char octet) {
    const int value = asInt(octet);
    return value == '=' || value > 126 || (value < 32 && value != 9);
}

/// One of the searches, and what it looks for.
struct Search {
    const char* name;
    Find find;
    bool (*isWanted)(char);
};

const Search searches[] = {{"signs", findEqualsSigns, isSign},
                           {"signsPlainly", plain::findEqualsSigns, isSign},
                           {"strange", findStrange, isStrange},
                           {"strangePlainly", plain::findStrange, isStrange}};

void PrintTo(const Search& search, std::ostream* out) { *out << search.name; }

class OctetPlacesFound : public testing::TestWithParam<Search> {
  protected:
    /// Reads a copy that ends where its memory does, for the sanitizers.
    void expectAllFound(const std::string& stretch) {
        const auto& [name, find, isWanted] = GetParam();
        Places expected;
        for (std::size_t at = 0; at < stretch.size(); ++at)
            if (isWanted(stretch[at])) expected.push_back(at);
        const auto octets = std::make_unique<char[]>(stretch.size());
        std::copy(stretch.begin(), stretch.end(), octets.get());
        const auto places = std::make_unique<OctetPlaces>();
        const std::size_t count = find(octets.get(), stretch.size(), *places);
        ASSERT_LE(count, longestStretch);
        ASSERT_EQ(Places(places->begin(), places->begin() + static_cast<long>(count)), expected)
            << testing::PrintToString(stretch);
    }
};

INSTANTIATE_TEST_SUITE_P(All, OctetPlacesFound, testing::ValuesIn(searches),
                         [](const auto& search) { return search.param.name; });

TEST_P(OctetPlacesFound, EveryOctetAtEachPlaceOfABlock) {
    for (const char octet : allOctets())
        for (std::size_t at = 0; at < 70; ++at) {
            std::string stretch(70, 'a');
            stretch[at] = octet;
            expectAllFound(stretch);
        }
}

TEST_P(OctetPlacesFound, OfEveryLengthUpToThreeBlocks) {
    for (std::size_t length = 0; length < 200; ++length)
        for (const char octet : {'a', '=', '\xFF'}) expectAllFound(std::string(length, octet));
}

TEST_P(OctetPlacesFound, InTheLongestStretch) {
    for (const char octet : {'a', '=', '\xFF'}) expectAllFound(std::string(longestStretch, octet));
}

TEST_P(OctetPlacesFound, AmongRandomOctets) {
    std::mt19937 random(140);
    const std::string kinds[] = {allOctets(), "abc=", "abcdefghijklmnopqrst \t=\r\n\xC3\xA9~\x7F"};
    for (unsigned round = 0; round < 300; ++round)
        expectAllFound(randomText(random, kinds[round % 3], random() % longestStretch));
}

}  // namespace
