// SPDX-License-Identifier: Apache-2.0
// MIMEBinaryDecoder: the body, octet by octet.
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "tests/unit/entitydecoder/entity_fixtures.h"

namespace {

OwnedEntity binaryOf(const std::string& body) {
    return entityOf("Content-Type: application/octet-stream\n\n" + body);
}

/// "QUJD" and so on: `count` octets, a multiple of 3.
OwnedEntity base64Of(std::size_t count) {
    return entityOf("Content-Type: image/png\nContent-Transfer-Encoding: base64\n\n" +
                    repeated("QUJD", count / 3));
}

TEST(BinaryDecoder, KeepsEveryOctet) {
    std::string octets;
    for (int value = 0; value < 256; ++value) octets += static_cast<char>(value);
    EXPECT_EQ(bodyOf(*binaryOf(octets)), octets);
}

TEST(BinaryDecoder, OfAnEmptyBodyIsEmpty) { EXPECT_EQ(bodyOf(*binaryOf("")), ""); }

TEST(BinaryDecoder, OfAHeaderBlockWithoutAnEndIsEmpty) {
    EXPECT_EQ(bodyOf(*entityOf("Content-Type: image/png")), "");
}

TEST(BinaryDecoder, ReadsBase64OfExactlySomeBlocks) {
    // 3 * 1024 octets: three blocks, and no more.
    EXPECT_TRUE(bodyOf(*base64Of(3072)) == repeated("ABC", 1024));
}

TEST(BinaryDecoder, ReadsBase64OfAlmostSomeBlocks) {
    EXPECT_TRUE(bodyOf(*base64Of(3069)) == repeated("ABC", 1023));
    EXPECT_TRUE(bodyOf(*base64Of(3075)) == repeated("ABC", 1025));
}

TEST(BinaryDecoder, ReadsABodyOfExactlyOneBlock) {
    EXPECT_TRUE(bodyOf(*binaryOf(std::string(1024, 'x'))) == std::string(1024, 'x'));
}

TEST(BinaryDecoder, GoesOnBehindShortReads) {
    ShortReads source("Content-Type: image/png\n\n" + repeated("0123456789", 300), 3);
    std::istream in(&source);
    EXPECT_TRUE(bodyOf(*entityOf(in)) == repeated("0123456789", 300));
}

}  // namespace
