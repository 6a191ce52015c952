// SPDX-License-Identifier: Apache-2.0
// One mailbox.
#include <gtest/gtest.h>

#include "tests/support/wide_text.h"
#include "tests/unit/rfc2822decoder/header_fixtures.h"

using namespace std::string_literals;

namespace {

std::string mailbox(const std::string& text) { return dump(RFC2822Address(text)); }

struct Parse {
    unsigned kind;
    std::string mailbox;
    Zeb_String next;
};

/// Parses one mailbox into an object that held another one.
Parse parsed(const std::string& text) {
    RFC2822Lexer lexer(text, false);
    RFC2822Address address("Old <o@ld>"s);
    Zeb_String next;
    const unsigned kind = address.parseOneAddress(lexer, next);
    return {kind, dump(address), next};
}

TEST(Address, IsEmptyAtFirst) {
    const RFC2822Address address;
    EXPECT_EQ(address.getName(), u"");
    EXPECT_EQ(address.getSMTPAddress(), u"");
}

TEST(Address, BareAddressHasNoName) {
    const RFC2822Address address("a@b"s);
    EXPECT_EQ(address.getSMTPAddress(), u"a@b");
    EXPECT_EQ(address.getName(), u"");
}

TEST(Address, NameAndAngleAddress) {
    const RFC2822Address address("J Smith <j@b>"s);
    EXPECT_EQ(address.getSMTPAddress(), u"j@b");
    EXPECT_EQ(address.getName(), u"J Smith");
}

TEST(Address, AngleAddressAlone) { EXPECT_EQ(mailbox("<j@b>"), "<j@b>"); }

TEST(Address, WordsOfANameAreJoinedByOneBlank) {
    EXPECT_EQ(mailbox("J.\t Q.\r\n \"de la\"Smith<j@b>"), "\"J. Q. de la Smith\" <j@b>");
}

TEST(Address, BlanksMayStandBetweenTheParts) {
    EXPECT_EQ(mailbox(" a @\r\n b "), "<a@b>");
    EXPECT_EQ(mailbox("x < a @ b > "), "\"x\" <a@b>");
}

TEST(Address, PeriodsArePartOfTheWords) {
    EXPECT_EQ(mailbox("j.doe@b.c.d"), "<j.doe@b.c.d>");
    EXPECT_EQ(mailbox("J. Doe <j.doe@b>"), "\"J. Doe\" <j.doe@b>");
}

TEST(Address, QuotedLocalPartLosesItsQuotes) {
    EXPECT_EQ(mailbox("\"j d\"@b"), "<j d@b>");
    EXPECT_EQ(mailbox("x <\"j\\\"d\"@b>"), "\"x\" <j\"d@b>");
}

TEST(Address, EncodedWordsOfANameAreDecoded) {
    EXPECT_EQ(mailbox("=?UTF-8?B?w6k=?= <x@b>"), "\"<00E9>\" <x@b>");
    EXPECT_EQ(mailbox("\"=?UTF-8?B?w6k=?=\" <x@b>"), "\"<00E9>\" <x@b>");
}

TEST(Address, BlankBetweenEncodedWordsOfANameSurvives) {
    EXPECT_EQ(mailbox("=?ISO-8859-1?Q?a?= =?ISO-8859-1?Q?b?= <x@b>"), "\"a b\" <x@b>");
}

TEST(Address, EncodedWordsInOneQuotedStringAreJoined) {
    EXPECT_EQ(mailbox("\"=?ISO-8859-1?Q?a?= =?ISO-8859-1?Q?b?=\" <x@b>"), "\"ab\" <x@b>");
}

TEST(Address, EncodedWordsOfTheAddressAreDecodedToo) {
    EXPECT_EQ(mailbox("=?UTF-8?Q?a_b?=@=?UTF-8?Q?c?="), "<a b@c>");
}

TEST(Address, EmptyQuotedNameIsNoName) { EXPECT_EQ(mailbox("\"\" <a@b>"), "<a@b>"); }

TEST(Address, BareAddressHidesWhatFollows) { EXPECT_EQ(mailbox("a@b <c@d>"), "<a@b>"); }

TEST(Address, WordBeforeABareAddressIsANameWithoutAddress) {
    EXPECT_EQ(mailbox("J j@b"), "\"J j\" <>");
}

TEST(Address, SpacedPeriodIsMalformed) {
    EXPECT_EQ(parsed("j . doe@b").kind, 6U);
    EXPECT_EQ(parsed("<j . doe@b>").kind, 6U);
}

TEST(Address, DomainIsOneAtom) {
    for (const char* text : {"a@", "a@\"b\"", "a@[1.2.3.4]", "a@<", "<a@\"b\">", "<a@[1.2.3.4]>"}) {
        EXPECT_EQ(parsed(text).kind, 6U) << text;
        EXPECT_EQ(parsed(text).mailbox, "<>") << text;
    }
}

TEST(Address, RouteIsMalformed) {
    EXPECT_EQ(parsed("<@x:a@b>").kind, 6U);
    EXPECT_EQ(parsed("J <@x:a@b>").mailbox, "\"J\" <>");
}

TEST(Address, GroupIsMalformed) {
    EXPECT_EQ(parsed("team: a@b;").kind, 6U);
    EXPECT_EQ(parsed("team: a@b;").mailbox, "\"team\" <>");
}

TEST(Address, EmptyAngleAddressIsMalformed) { EXPECT_EQ(parsed("<>").kind, 6U); }

TEST(Address, AngleAddressNeedsItsAtSign) {
    EXPECT_EQ(parsed("<a>").kind, 6U);
    EXPECT_EQ(parsed("<a b@c>").kind, 6U);
    EXPECT_EQ(parsed("<a@>").mailbox, "<>");
}

TEST(Address, SpecialEndsAName) {
    for (const char* text : {"Smith, J <j@b>", "a:b <j@b>", "a [b] <j@b>", "a ; <j@b>"})
        EXPECT_EQ(parsed(text).kind, 6U) << text;
    EXPECT_EQ(mailbox("Smith, J <j@b>"), "\"Smith\" <>");
}

TEST(Address, EmptyTextIsMalformed) {
    for (const char* text : {"", " ", "\r\n"}) EXPECT_EQ(parsed(text).kind, 6U);
}

TEST(Address, NameIsKeptOfAMalformedMailbox) {
    EXPECT_EQ(parsed("J Smith").kind, 6U);
    EXPECT_EQ(parsed("J Smith").mailbox, "\"J Smith\" <>");
}

TEST(Address, AddressIsKeptWithoutTheClosingBracket) {
    EXPECT_EQ(parsed("<j@b").kind, 6U);
    EXPECT_EQ(mailbox("<j@b"), "<j@b>");
    EXPECT_EQ(mailbox("J <j@b, k@c>"), "\"J\" <j@b>");
}

TEST(Address, CommentMakesAMailboxMalformed) {
    for (const char* text : {"(c) a@b", "a (c) @b", "a@ (c) b", "J (c) <a@b>", "J <(c) a@b>",
                             "J <a (c) @b>", "J <a@ (c) b>", "J <a@b (c)>"})
        EXPECT_EQ(parsed(text).kind, 6U) << text;
}

TEST(Address, CommentBehindAMailboxLeavesItsParenthesis) {
    for (const char* text : {"a@b (A)", "J <a@b> (A)"}) {
        const Parse result = parsed(text);
        EXPECT_EQ(result.kind, 2U) << text;
        EXPECT_EQ(result.next, u")") << text;
    }
}

TEST(Address, KindAndTextOfTheNextTokenAreReturned) {
    struct Row {
        const char* text;
        unsigned kind;
        Zeb_String next;
    };
    const Row rows[] = {{"a@b", 5, u""},     {"a@b ", 5, u""},    {"a@b , c", 2, u","},
                        {"a@b;", 2, u";"},   {"a@b c", 4, u"c"},  {"a@b \"c d\"", 3, u"c d"},
                        {"<a@b>", 5, u""},   {"<a@b>,", 2, u","}, {"<a@b> c", 4, u"c"},
                        {"a@b \"c", 6, u""}, {"<a@b>(c", 6, u""}, {"a@b\xE9", 2, u"\xFFE9"}};
    for (const Row& row : rows) {
        const Parse result = parsed(row.text);
        EXPECT_EQ(result.kind, row.kind) << row.text;
        EXPECT_EQ(result.next, row.next) << row.text;
        EXPECT_EQ(result.mailbox, "<a@b>") << row.text;
    }
}

TEST(Address, ParsesOnFromWhereTheLexerStands) {
    RFC2822Lexer lexer("a@b, J <c@d>", false);
    RFC2822Address address;
    Zeb_String next;
    EXPECT_EQ(address.parseOneAddress(lexer, next), 2U);
    EXPECT_EQ(address.parseOneAddress(lexer, next), 5U);
    EXPECT_EQ(dump(address), "\"J\" <c@d>");
}

TEST(Address, UnterminatedTextBehindAMailboxDoesNotMatterToAnObject) {
    EXPECT_EQ(mailbox("a@b (x"), "<a@b>");
    EXPECT_EQ(mailbox("J <a@b> \"x"), "\"J\" <a@b>");
}

TEST(Address, AssignedTextReplacesEverything) {
    RFC2822Address address("J <a@b>"s);
    address = "k@c"s;
    EXPECT_EQ(dump(address), "<k@c>");
    address = ""s;
    EXPECT_EQ(dump(address), "<>");
}

TEST(Address, CopiesHoldBothTexts) {
    RFC2822Address address("J <a@b>"s);
    const RFC2822Address copy(address);
    RFC2822Address assigned;
    assigned = address;
    address = "k@c"s;
    EXPECT_EQ(dump(copy), "\"J\" <a@b>");
    EXPECT_EQ(dump(assigned), "\"J\" <a@b>");
}

TEST(Address, IsWholeWhateverItsLength) {
    for (std::size_t length = 1; length < 300; ++length) {
        const std::string local(length / 2 + 1, 'a');
        const std::string domain(length - length / 2, 'b');
        EXPECT_EQ(mailbox(local + "@" + domain), "<" + local + "@" + domain + ">");
        EXPECT_EQ(mailbox("<" + local + "@" + domain + ">"), "<" + local + "@" + domain + ">");
    }
}

}  // namespace
