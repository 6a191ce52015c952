// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <random>

#include "tests/unit/rfc2822encoder/encoder_fixtures.h"

namespace {

using Members = std::set<std::string>;

// A member of `length` characters that sorts by `first`.
std::string member(char first, std::size_t length) { return first + std::string(length - 1, 'x'); }

std::string lineSlowly(const std::string& prefix, const Members& members) {
    if (members.empty()) return "";
    std::string line = prefix;
    std::size_t column = prefix.size();
    bool isFirst = true;
    for (const std::string& each : members) {
        const bool folds = column + each.size() > 70;
        if (!isFirst) {
            line += folds ? ",\r\n " : ", ";
            column = folds ? 1 : column + 2;
        }
        isFirst = false;
        line += each;
        column += each.size();
    }
    return line + "\r\n";
}

TEST(RecipientLine, NoMembersNoLine) {
    EXPECT_EQ(handleRecip("To: ", {}), "");
    EXPECT_EQ(handleRecip("", {}), "");
}

TEST(RecipientLine, OneMember) { EXPECT_EQ(handleRecip("Cc: ", {"<a@b>"}), "Cc: <a@b>\r\n"); }

TEST(RecipientLine, ShortMembersShareALine) {
    EXPECT_EQ(handleRecip("To: ", {"a", "b"}), "To: a, b\r\n");
    EXPECT_EQ(handleRecip("To: ", {"a", "b", "c"}), "To: a, b, c\r\n");
}

TEST(RecipientLine, MembersStandInTheOrderOfTheirOctets) {
    EXPECT_EQ(handleRecip("To: ", {"<b@x>", "\"N\" <a@x>", "=?UTF-8?B?w6k=?= <c@x>", "<B@x>"}),
              "To: \"N\" <a@x>, <B@x>, <b@x>, =?UTF-8?B?w6k=?= <c@x>\r\n");
}

TEST(RecipientLine, FoldsWhenTheColumnBeforeTheSeparatorWouldPassSeventy) {
    const std::string a = member('a', 33);
    EXPECT_EQ(handleRecip("To: ", {a, member('b', 33)}),
              "To: " + a + ", " + member('b', 33) + "\r\n");
    EXPECT_EQ(handleRecip("To: ", {a, member('b', 34)}),
              "To: " + a + ",\r\n " + member('b', 34) + "\r\n");
}

TEST(RecipientLine, SeparatorCountsForTheNextMember) {
    // 4 + 20 + 2 + 20 = 46; 24 more fit, 25 do not.
    const std::string start = "To: " + member('a', 20) + ", " + member('b', 20);
    EXPECT_EQ(handleRecip("To: ", {member('a', 20), member('b', 20), member('c', 24)}),
              start + ", " + member('c', 24) + "\r\n");
    EXPECT_EQ(handleRecip("To: ", {member('a', 20), member('b', 20), member('c', 25)}),
              start + ",\r\n " + member('c', 25) + "\r\n");
}

TEST(RecipientLine, BlankOfAFoldedLineCounts) {
    const std::string start = "To: " + member('a', 60) + ",\r\n " + member('b', 40);
    EXPECT_EQ(handleRecip("To: ", {member('a', 60), member('b', 40), member('c', 29)}),
              start + ", " + member('c', 29) + "\r\n");
    EXPECT_EQ(handleRecip("To: ", {member('a', 60), member('b', 40), member('c', 30)}),
              start + ",\r\n " + member('c', 30) + "\r\n");
}

TEST(RecipientLine, LongMemberIsNeverBroken) {
    const std::string a = member('a', 200);
    const std::string b = member('b', 300);
    EXPECT_EQ(handleRecip("To: ", {a}), "To: " + a + "\r\n");
    EXPECT_EQ(handleRecip("To: ", {a, b}), "To: " + a + ",\r\n " + b + "\r\n");
}

TEST(RecipientLine, FirstMemberStandsBehindThePrefixHoweverLongItIs) {
    EXPECT_TRUE(handleRecip("To: ", {member('a', 100)}).starts_with("To: a"));
}

TEST(RecipientLine, LongestLineOfShortMembersIsSeventyTwoAndItsComma) {
    // The comma and the blank are not in the 70.
    const std::string out = handleRecip("To: ", {member('a', 33), member('b', 33), "c"});
    EXPECT_EQ(out.find("\r\n"), 73U);
    EXPECT_EQ(out, "To: " + member('a', 33) + ", " + member('b', 33) + ",\r\n c\r\n");
}

TEST(RecipientLine, EmptyMemberHasItsSeparatorAllTheSame) {
    EXPECT_EQ(handleRecip("To: ", {"", "a"}), "To: , a\r\n");
}

TEST(RecipientLine, NothingAtAllHasNoLineEnd) { EXPECT_EQ(handleRecip("", {""}), ""); }

TEST(RecipientLine, RandomMembersAgainstThePlainFolding) {
    std::mt19937 random(141);
    for (int round = 0; round < 2000; ++round) {
        Members members;
        for (std::size_t count = random() % 30; count > 0; --count)
            members.insert(std::to_string(random()) + std::string(1 + random() % 40, 'x'));
        EXPECT_EQ(handleRecip("To: ", members), lineSlowly("To: ", members));
        EXPECT_EQ(countOf("x", handleRecip("Cc: ", members)),
                  countOf("x", lineSlowly("", members)));
    }
}

}  // namespace
