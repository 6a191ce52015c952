// SPDX-License-Identifier: Apache-2.0
// Large messages. Nothing here measures time: what does not grow linearly runs into the limit that
// each test has.
#include <gtest/gtest.h>

#include <sstream>

#include "tests/unit/entitydecoder/entity_fixtures.h"

namespace {

constexpr std::size_t mebibyte = std::size_t{1} << 20;

// EXPECT_EQ would print all of it.
TEST(LargeEntity, HasAHeaderOf100000Lines) {
    const OwnedEntity entity = entityOf(repeated("Received: a\r\n", 100'000) + "\r\nbody");
    EXPECT_TRUE(entity->getRawHeader(u"Received") == repeated("a\n", 99'999) + "a");
    EXPECT_EQ(bodyOf(*entity), "body");
}

TEST(LargeEntity, HasAHeaderOf100000Names) {
    std::string header;
    for (int number = 0; number < 100'000; ++number)
        header += "X-" + std::to_string(number) + ": y\r\n";
    EXPECT_EQ(headersOf(header + "\r\n").size(), 100'000U);
}

TEST(LargeEntity, HasAFieldFolded100000Times) {
    EXPECT_TRUE(headersOf("A: b" + repeated("\r\n c", 100'000) + "\r\n\r\n").at(u"A") ==
                "b" + repeated(" c", 100'000));
}

TEST(LargeEntity, HasAValueOfTenMebibytes) {
    const std::string value(10 * mebibyte, 'x');
    EXPECT_TRUE(headersOf("A: " + value + "\r\n\r\n").at(u"A") == value);
}

TEST(LargeEntity, HasABase64BodyOf16Mebibytes) {
    const std::size_t lines = 16 * mebibyte / 54;
    const OwnedEntity entity =
        entityOf("Content-Type: image/png\r\nContent-Transfer-Encoding: base64\r\n\r\n" +
                 repeated(repeated("QUJD", 18) + "\r\n", lines));
    EXPECT_TRUE(bodyOf(*entity) == repeated("ABC", 18 * lines));
}

TEST(LargeEntity, Has10000Parts) {
    const OwnedEntity entity =
        entityOf(crlf("Content-Type: multipart/mixed; boundary=b\n\n" +
                      repeated("--b\nContent-Type: text/plain\n\ntext\n", 10'000) + "--b--\n"));
    EXPECT_EQ(partBodies(*entity), std::vector<std::string>(10'000, "text"));
}

TEST(LargeEntity, HasAPartFullOfBeginningsOfItsDelimiter) {
    const std::string text = repeated("\r\n--bounda", mebibyte / 10);
    const OwnedEntity entity = entityOf(
        "Content-Type: multipart/mixed; boundary=boundary\r\n\r\n"
        "--boundary\r\n\r\nx" +
        text + "\r\n--boundary--\r\n");
    EXPECT_TRUE(partBodies(*entity) == std::vector<std::string>{"x" + text});
}

}  // namespace
