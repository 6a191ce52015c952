// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cerrno>
#include <type_traits>

#include "inet/socketstream.utf16.h"
#include "tests/support/wide_text.h"

namespace {

static_assert(std::is_base_of_v<std::runtime_error, socket_error>);

struct KnownCode {
    int code;
    unsigned int message;
};

void PrintTo(const KnownCode& row, std::ostream* out) { *out << row.code; }

class SocketErrorMessage : public testing::TestWithParam<KnownCode> {};

TEST_P(SocketErrorMessage, isTheCatalogsForItsCode) {
    EXPECT_EQ(wide(socket_error::getMessage(GetParam().code, "connect")),
              Zeb_String(CatalogMessage(GetParam().message)));
}

INSTANTIATE_TEST_SUITE_P(AllKnown, SocketErrorMessage,
                         testing::Values(KnownCode{1, 25968}, KnownCode{112, 25969},
                                         KnownCode{110, 25970}, KnownCode{89, 25971},
                                         KnownCode{2, 25972}, KnownCode{100, 25973},
                                         KnownCode{3, 25974}, KnownCode{13, 25975},
                                         KnownCode{14, 25976}),
                         [](const auto& row) { return std::to_string(row.param.code); });

TEST(SocketError, showsACodeThatHasNoMessageOfItsOwn) {
    for (const int code : {0, 111, -2, 1023}) {
        Zeb_String expected;
        expected.Format(CatalogMessage(25977), code);
        EXPECT_NE(expected.Find(wide(std::to_string(code))), -1);
        EXPECT_EQ(wide(socket_error::getMessage(code, "send(%d)")), expected);
    }
}

TEST(SocketError, saysTheSameInEveryContext) {
    EXPECT_EQ(socket_error::getMessage(111, "connect"), socket_error::getMessage(111, "%s%n"));
    EXPECT_EQ(socket_error::getMessage(111, "connect"), socket_error::getMessage(111, nullptr));
}

TEST(SocketError, holdsItsCodeAndItsMessage) {
    const socket_error error(110, "recv");
    EXPECT_EQ(error.code(), 110);
    EXPECT_EQ(error.what(), socket_error::getMessage(110, ""));
}

TEST(SocketError, isRaisedByValue) {
    try {
        socket_error::raiseException(13, "select");
    } catch (const socket_error& error) {
        EXPECT_EQ(error.code(), 13);
        EXPECT_EQ(error.what(), socket_error::getMessage(13, "select"));
    }
}

TEST(SocketError, isCaughtAsARuntimeError) {
    EXPECT_THROW(socket_error::raiseException(1, "recv"), std::runtime_error);
}

TEST(LastError, isErrno) {
    errno = ENETDOWN;
    EXPECT_EQ(WSAGetLastError(), ENETDOWN);
    errno = 0;
    EXPECT_EQ(WSAGetLastError(), 0);
}

}  // namespace
