// SPDX-License-Identifier: Apache-2.0
// Mails that end too early: every prefix of every message, decoded with guard.
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

#include "tests/cuts/guarded_check.h"
#include "tests/cuts/seed_messages.h"
#include "tests/support/effort.h"

namespace {

/// Decodes the prefixes whose lengths are `stride` apart, and the whole; fails on the first that
/// does not hold.
void checkPrefixes(const SeedMessage& message, std::size_t stride) {
    const std::string_view octets = message.octets;
    for (std::size_t length = 0; length < octets.size(); length += stride) {
        const std::string fault = faultOf(octets.substr(0, length));
        ASSERT_EQ(fault, "") << message.name << ", first " << length << " octets";
    }
    EXPECT_EQ(faultOf(octets), "") << message.name;
}

class SeedPrefixes : public testing::TestWithParam<SeedMessage> {};

std::string seedName(const testing::TestParamInfo<SeedMessage>& info) {
    std::string name = info.param.name.substr(0, info.param.name.find('.'));
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

TEST_P(SeedPrefixes, AreDecodedWithGuard) {
    ASSERT_GT(GetParam().octets.size(), 2000U);
    checkPrefixes(GetParam(), isFullEffort() ? 1 : 3);
}

INSTANTIATE_TEST_SUITE_P(Messages, SeedPrefixes, testing::ValuesIn(seedMessages()), seedName);

/// The work grows with the square of the size: of large messages as many octets in all as every
/// prefix of a message of 8 KB has.
std::size_t corpusStride(std::size_t size) {
    constexpr std::size_t octetsInAll = 32 << 20;
    return std::max<std::size_t>(1, size * (size / 2) / octetsInAll);
}

TEST(CorpusPrefixes, AreDecodedWithGuard) {
    for (const SeedMessage& message : corpusMessages())
        checkPrefixes(message, corpusStride(message.octets.size()) * (isFullEffort() ? 1 : 16));
}

}  // namespace
