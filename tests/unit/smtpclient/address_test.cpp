// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "inet/smtpclient.utf16.h"

namespace {

std::string addressOf(const std::string& mailbox) {
    return SMTPClient::extractEmailAddress(
        AdMbcsString(AdCharset::getASCIICharset(), mailbox.data(), mailbox.size()));
}

TEST(AddressOfAMailbox, isWhatStandsInAngleBrackets) {
    EXPECT_EQ(addressOf("Joe <joe@x>"), "joe@x");
    EXPECT_EQ(addressOf("<joe@x>"), "joe@x");
}

TEST(AddressOfAMailbox, isTheWholeTextWithoutBrackets) {
    EXPECT_EQ(addressOf("joe@x"), "joe@x");
    EXPECT_EQ(addressOf(""), "");
}

TEST(AddressOfAMailbox, isTheWholeTextUnlessABracketEndsIt) {
    EXPECT_EQ(addressOf("Joe <joe@x"), "Joe <joe@x");
    EXPECT_EQ(addressOf("Joe <joe@x> "), "Joe <joe@x> ");
    EXPECT_EQ(addressOf("<joe@x> (Joe)"), "<joe@x> (Joe)");
    EXPECT_EQ(addressOf("<"), "<");
}

TEST(AddressOfAMailbox, isTheWholeTextWithoutAnOpeningBracket) {
    EXPECT_EQ(addressOf("joe@x>"), "joe@x>");
    EXPECT_EQ(addressOf(">"), ">");
}

TEST(AddressOfAMailbox, beginsBehindTheFirstBracket) {
    EXPECT_EQ(addressOf("\"<\" <joe@x>"), "\" <joe@x");
}

TEST(AddressOfAMailbox, keepsItsBlanks) {
    EXPECT_EQ(addressOf("Joe < joe@x >"), " joe@x ");
    EXPECT_EQ(addressOf(" joe@x "), " joe@x ");
}

TEST(AddressOfAMailbox, mayBeEmpty) { EXPECT_EQ(addressOf("nobody <>"), ""); }

}  // namespace
