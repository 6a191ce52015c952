// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <random>

#include "tests/unit/rfc2822encoder/encoder_fixtures.h"

using namespace std::string_literals;

namespace {

struct Row {
    const char* name;
    std::string octets;
    std::string expected;
};

TEST(Base64Text, GroupsAndPadding) {
    const Row rows[] = {
        {"nothing", "", ""},
        {"one octet", "a", "YQ=="},
        {"two octets", "ab", "YWI="},
        {"three octets", "abc", "YWJj"},
        {"four octets", "abcd", "YWJjZA=="},
        {"five octets", "abcde", "YWJjZGU="},
        {"NUL", "\0"s, "AA=="},
        {"two NULs", "\0\0"s, "AAA="},
        {"three NULs", "\0\0\0"s, "AAAA"},
        {"high octets", "\xFF\xFE\xFD", "//79"},
        {"one high octet", "\xFF", "/w=="},
        {"two high octets", "\xFF\xFF", "//8="},
        {"line end", "\r\n", "DQo="},
    };
    for (const Row& row : rows) EXPECT_EQ(encode2047B(row.octets), row.expected) << row.name;
}

TEST(Base64Text, EveryDigitOfTheAlphabet) {
    std::string octets;
    for (unsigned digit = 0; digit < 64; ++digit) {
        // Three octets whose four digits are all `digit`.
        const unsigned bits = digit * 0x41041U;
        for (const unsigned shift : {16U, 8U, 0U}) octets += static_cast<char>(bits >> shift);
    }
    std::string expected;
    for (const char digit : "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"s)
        expected += std::string(4, digit);
    EXPECT_EQ(encode2047B(octets), expected);
}

TEST(Base64Text, NeverBreaksLines) {
    EXPECT_EQ(encode2047B(std::string(3000, '\0')), std::string(4000, 'A'));
}

TEST(Base64Text, RandomOctetsOfEveryLength) {
    std::mt19937 random(101);
    for (std::size_t length = 0; length < 300; ++length) {
        std::string octets;
        for (std::size_t i = 0; i < length; ++i) octets += static_cast<char>(random());
        EXPECT_EQ(encode2047B(octets), slowBase64(octets)) << length;
        EXPECT_EQ(decodeBase64(encode2047B(octets)), octets) << length;
    }
}

}  // namespace
