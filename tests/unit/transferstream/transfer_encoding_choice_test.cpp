// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "inet/transferstream.utf16.h"
#include "tests/support/wide_text.h"
#include "tests/unit/transferstream/test_buffers.h"

using namespace std::string_literals;

namespace {

std::string choose(const std::string& body) { return utf8(getBestTransferEncoding(body)); }

std::string chooseSlowly(const std::string& body) {
    bool isSevenBit = true;
    std::size_t cost = 0;
    for (const char octet : body) {
        const int value = asInt(octet);
        const bool isLineEnd = value == '\r' || value == '\n';
        const bool isPlain = (value >= 32 && value <= 126) || value == '\t' || isLineEnd;
        isSevenBit = isSevenBit && isPlain;
        cost += isPlain && value != '=' ? 1 : 3;
    }
    if (isSevenBit) return "7bit";
    return cost > body.size() / 3 * 4 ? "base64" : "quoted-printable";
}

struct ChoiceRow {
    const char* name;
    std::string body;
    std::string expected;
};

TEST(BestTransferEncoding, TheSmallestThatCanCarryIt) {
    const ChoiceRow choiceRows[] = {
        {"plain text", "hello\r\n", "7bit"},
        {"nothing", "", "7bit"},
        {"one high octet in twelve, cost 15 of 16", "Hello, world\xE9", "quoted-printable"},
        {"three high octets, cost 9 of 4", "\xFF\xFE\xFD", "base64"},
        {"bare line ends and tabs", "a\nb\rc\td\n", "7bit"},
        {"a line of any length", std::string(100000, 'x'), "7bit"},
        {"equals signs alone", "======", "7bit"},
        {"a control octet in text", "hello \x01 world", "quoted-printable"},
        {"DEL alone", "\x7F", "base64"},
        {"DEL in text", "hello world and more\x7F", "quoted-printable"},
        {"three controls", "\x01\x01\x01", "base64"},
        {"NUL in text", "hello world, hello\0"s, "quoted-printable"},
        {"form feed in text", "hello world, hello\f", "quoted-printable"},
        {"one high octet alone, limit 0", "\xE9", "base64"},
        {"cost equal to the limit", "0123456789\xE9\xE9", "quoted-printable"},
        {"cost above the limit", "012345678\xE9\xE9\xE9", "base64"},
        {"length is rounded down to a group", "0123456789\xE9\xE9\xE9", "base64"},
        {"equals signs cost as escapes do", "=========\xE9\xE9\xE9", "base64"},
        {"0x80", "Hello, world\x80", "quoted-printable"},
        {"0xFF", "Hello, world\xFF", "quoted-printable"},
    };
    for (const ChoiceRow& row : choiceRows) EXPECT_EQ(choose(row.body), row.expected) << row.name;
}

TEST(BestTransferEncoding, EveryOctetAloneAndInText) {
    for (const char octet : allOctets()) {
        const std::string alone(1, octet);
        EXPECT_EQ(choose(alone), chooseSlowly(alone)) << asInt(octet);
        const std::string text = "some text around " + alone + " it";
        EXPECT_EQ(choose(text), chooseSlowly(text)) << asInt(octet);
    }
}

TEST(BestTransferEncoding, RandomBodiesAroundTheLimit) {
    std::mt19937 random(51);
    std::set<std::string> seen;
    for (int round = 0; round < 5000; ++round) {
        const std::string plain(random() % 12, 'x');
        const std::string body = randomText(random, plain + "=\r\n\t\xE9\x01", 1 + random() % 40);
        const std::string expected = chooseSlowly(body);
        EXPECT_EQ(choose(body), expected) << testing::PrintToString(body);
        seen.insert(expected);
    }
    EXPECT_EQ(seen, (std::set<std::string>{"7bit", "base64", "quoted-printable"}));
}

}  // namespace
