// SPDX-License-Identifier: Apache-2.0
#include "sandbox/escapes.h"

#include <gtest/gtest.h>

#include <stdexcept>

using sandbox::escaped;
using sandbox::unescaped;

namespace {

TEST(Escaped, leavesPrintableAsciiAsItIs) { EXPECT_EQ(escaped(" a~!\"'"), " a~!\"'"); }

TEST(Escaped, namesLineEndsTabsAndBackslashes) {
    EXPECT_EQ(escaped("a\r\n\tb\\"), "a\\r\\n\\tb\\\\");
}

TEST(Escaped, numbersAllOtherOctets) {
    EXPECT_EQ(escaped(std::string_view("\0\x1F\x7F\xC3\xFF", 5)), "\\x00\\x1F\\x7F\\xC3\\xFF");
}

TEST(Unescaped, isTheInverseOfEscapedForAllOctets) {
    std::string all;
    for (int octet = 0; octet < 256; ++octet) all += static_cast<char>(octet);
    EXPECT_EQ(unescaped(escaped(all)), all);
}

TEST(Unescaped, takesTheEscapesOfC) {
    EXPECT_EQ(unescaped(R"(\r\n\t\\\"\')"), "\r\n\t\\\"'");
    EXPECT_EQ(unescaped(R"(\0a\101\x41b\xfG)"), std::string("\0aAAb\x0FG", 7));
}

TEST(Unescaped, refusesWhatIsNoEscape) {
    EXPECT_THROW(unescaped("\\q"), std::invalid_argument);
    EXPECT_THROW(unescaped("\\"), std::invalid_argument);
    EXPECT_THROW(unescaped("\\xg"), std::invalid_argument);
    EXPECT_THROW(unescaped("\\400"), std::invalid_argument);
}

}  // namespace
