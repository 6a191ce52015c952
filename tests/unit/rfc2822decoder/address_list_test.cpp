// SPDX-License-Identifier: Apache-2.0
// Lists of mailboxes.
#include <gtest/gtest.h>

#include "tests/unit/rfc2822decoder/header_model.h"

using namespace std::string_literals;

namespace {

TEST(AddressList, EmptyTextIsAnEmptyList) {
    EXPECT_TRUE(RFC2822Address::parseAddresses("").empty());
    EXPECT_TRUE(RFC2822Address::parseAddresses(" \r\n ").empty());
}

TEST(AddressList, OneMailbox) { EXPECT_EQ(mailboxesOf("a@b"), "<a@b>"); }

TEST(AddressList, QuotedCommaDoesNotSeparate) {
    EXPECT_EQ(mailboxesOf("\"Smith, J\" <j@b>, k@c"), "\"Smith, J\" <j@b> | <k@c>");
}

TEST(AddressList, MailboxesInTheirOrder) {
    EXPECT_EQ(mailboxesOf("c@x,A <a@x>,\r\n\t\"B\"<b@x>"), "<c@x> | \"A\" <a@x> | \"B\" <b@x>");
}

TEST(AddressList, EqualMailboxesAreKept) { EXPECT_EQ(mailboxesOf("a@b,a@b"), "<a@b> | <a@b>"); }

TEST(AddressList, NameDoesNotPassToTheNextMailbox) {
    EXPECT_EQ(mailboxesOf("A <a@x>, b@x"), "\"A\" <a@x> | <b@x>");
}

TEST(AddressList, CommentBehindAMailboxEndsTheList) {
    EXPECT_EQ(mailboxesOf("a@b (A), k@c"), "<a@b>");
    EXPECT_EQ(mailboxesOf("A <a@b> (A), k@c"), "\"A\" <a@b>");
}

TEST(AddressList, CommentBeforeAMailboxEndsTheList) {
    EXPECT_EQ(mailboxesOf("a@b, (K) k@c, l@d"), "<a@b>");
}

TEST(AddressList, GroupIsNoMailbox) {
    EXPECT_EQ(mailboxesOf("team:;"), "");
    EXPECT_EQ(mailboxesOf("a@b, team: k@c;, l@d"), "<a@b>");
}

TEST(AddressList, EndsAtItsFirstMalformedMailbox) {
    EXPECT_EQ(mailboxesOf("a@b, bad address, k@c"), "<a@b>");
    EXPECT_EQ(mailboxesOf("bad, k@c"), "");
}

TEST(AddressList, MailboxWithoutItsClosingBracketIsDropped) {
    EXPECT_EQ(mailboxesOf("a@b, <j@c"), "<a@b>");
    EXPECT_EQ(mailboxesOf("<j@c, a@b"), "");
}

TEST(AddressList, EmptyElementEndsTheList) {
    EXPECT_EQ(mailboxesOf("a@b,, k@c"), "<a@b>");
    EXPECT_EQ(mailboxesOf(", k@c"), "");
}

TEST(AddressList, TrailingCommaChangesNothing) { EXPECT_EQ(mailboxesOf("a@b, "), "<a@b>"); }

TEST(AddressList, OtherSeparatorKeepsTheMailboxAndEndsTheList) {
    EXPECT_EQ(mailboxesOf("a@b; k@c"), "<a@b>");
    EXPECT_EQ(mailboxesOf("a@b k@c"), "<a@b>");
    EXPECT_EQ(mailboxesOf("a@b \",\" k@c"), "<a@b>");
}

TEST(AddressList, LineFeedIsNoSeparator) {
    EXPECT_EQ(mailboxesOf("a@b\nk@c"), "<a@b>");
    EXPECT_EQ(mailboxesOf("a@b,\nk@c"), "<a@b> | <k@c>");
}

TEST(AddressList, MailboxBeforeUnterminatedTextIsDropped) {
    EXPECT_EQ(mailboxesOf("a@b (x"), "");
    EXPECT_EQ(mailboxesOf("a@b, <k@c> \"x"), "<a@b>");
}

TEST(AddressList, DecodedCommaDoesNotSeparate) {
    EXPECT_EQ(mailboxesOf("=?UTF-8?Q?a=2Cb?= <a@b>"), "\"a,b\" <a@b>");
}

TEST(AddressList, AsTheModelOnAllShortTexts) {
    for (const std::string& text : allTexts("a@<>, (", 5))
        ASSERT_EQ(mailboxesOf(text), modelMailboxes(text)) << text;
}

TEST(AddressList, AsTheModelOnRandomLists) {
    const std::vector<std::string> parts = {
        "a@b",     ",",  ", ",      "J ",  "<",        ">", "@",    "c",
        "<k@c>",   ", ", "\"q\"",   "(",   ")",        ";", "\xE9", "=?l1?Q?d=E9?= ",
        "J <a@b>", ", ", "\"q\"@d", "(x)", "\"\"<a@b>"};
    for (const std::string& text : randomTexts(622, parts, 10, 20000))
        ASSERT_EQ(mailboxesOf(text), modelMailboxes(text)) << text;
}

}  // namespace
