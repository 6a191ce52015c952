// SPDX-License-Identifier: Apache-2.0
// The payload of an encoded word is decoded as the filters decode it, whatever it holds.
#include <gtest/gtest.h>

#include <random>
#include <sstream>
#include <string>

#include "inet/rfc2822decoder.utf16.h"
#include "inet/transferstream.utf16.h"
#include "tests/support/effort.h"

namespace {

constexpr int endOfFile = std::char_traits<char>::eof();

template <typename Filter>
std::string filtered(const std::string& text) {
    std::stringbuf source(text);
    Filter filter(&source, true);
    std::string octets;
    for (int octet = filter.sbumpc(); octet != endOfFile; octet = filter.sbumpc())
        octets += static_cast<char>(octet);
    return octets;
}

Zeb_String latin1(const std::string& octets) {
    Zeb_String text;
    AdMbcsString::cvtToTchar(AdCharset(u"ISO-8859-1"), octets.data(), octets.size(), text, 0);
    return text;
}

/// Calls `check` with each text of so many octets.
template <typename Check>
void forEachText(std::string_view octets, std::size_t length, Check check) {
    std::size_t count = 1;
    for (std::size_t i = 0; i < length; ++i) count *= octets.size();
    for (std::size_t number = 0; number < count; ++number) {
        std::string text;
        for (std::size_t i = 0, left = number; i < length; ++i, left /= octets.size())
            text += octets[left % octets.size()];
        check(text);
    }
}

TEST(EncodedWordPayload, IsDecodedAsBase64bufReads) {
    const std::size_t longest = isFullEffort() ? 7 : 5;
    for (std::size_t length = 0; length <= longest; ++length)
        forEachText(std::string_view("A/z=\0!", 6), length, [](const std::string& text) {
            ASSERT_EQ(decodeRFC2047Words("=?iso-8859-1?B?" + text + "?="),
                      latin1(filtered<base64buf>(text)))
                << testing::PrintToString(text);
        });
}

TEST(EncodedWordPayload, IsDecodedAsQuotedprintablebufReads) {
    const std::size_t longest = isFullEffort() ? 6 : 4;
    for (std::size_t length = 0; length <= longest; ++length)
        forEachText(std::string_view("=_4Ee\0\n\r", 8), length, [](const std::string& text) {
            ASSERT_EQ(decodeRFC2047Words("=?iso-8859-1?q?" + text + "?="),
                      latin1(filtered<quotedprintablebuf>(text)))
                << testing::PrintToString(text);
        });
}

TEST(EncodedWordPayload, HoldsEachOctet) {
    for (int octet = 0; octet < 256; ++octet) {
        if (octet == '?') continue;  // ends it
        const std::string text = "QU" + std::string(1, static_cast<char>(octet)) + "JD";
        EXPECT_EQ(decodeRFC2047Words("=?iso-8859-1?b?" + text + "?="),
                  latin1(filtered<base64buf>(text)));
        EXPECT_EQ(decodeRFC2047Words("=?iso-8859-1?Q?" + text + "?="),
                  latin1(filtered<quotedprintablebuf>(text)));
    }
}

TEST(EncodedWordPayload, OfAnyLengthIsDecodedAsBase64bufReads) {
    std::mt19937 random(211);
    const std::string_view digits =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    for (int round = 0; round < 5000; ++round) {
        std::string text;
        for (std::size_t length = random() % 90; length > 0; --length)
            text += random() % 40 == 0 ? "= \n!-\xE9"[random() % 6] : digits[random() % 64];
        ASSERT_EQ(decodeRFC2047Words("=?iso-8859-1?B?" + text + "?="),
                  latin1(filtered<base64buf>(text)))
            << testing::PrintToString(text);
    }
}

}  // namespace
