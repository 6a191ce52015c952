// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>

#include "inet/messagetext.utf16.h"

namespace {

TEST(CountOf, CountsEveryPlaceOfATextOfAnyLength) {
    for (std::size_t length = 0; length < 800; ++length) {
        EXPECT_EQ(countOf(std::string(length, '='), '='), length);
        EXPECT_EQ(countOf(std::string(length, '='), ','), 0U);
        std::string text(length, 'x');
        for (std::size_t at = 0; at < length; at += 3) text[at] = '\xE9';
        EXPECT_EQ(countOf(text, '\xE9'), (length + 2) / 3);
    }
}

}  // namespace
