// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <random>

#include "tests/support/wide_text.h"
#include "tests/unit/rfc2822encoder/encoder_fixtures.h"

using namespace std::string_literals;

namespace {

std::string mailbox(const Zeb_String& name, const Zeb_String& address = u"a@b",
                    const AdCharset& charset = AdCharset::getUTF8Charset()) {
    std::string out = "old";
    EXPECT_TRUE(encodeRecip(charset, address, name, out));
    return out;
}

std::string word(const std::string& octets, const std::string& charset = "UTF-8") {
    return "=?" + charset + "?B?" + slowBase64(octets) + "?= <a@b>";
}

struct MailboxRow {
    const char* name;
    Zeb_String displayName;
    std::string expected;
};

TEST(Mailbox, WithoutANameItIsTheAddressInBrackets) {
    EXPECT_EQ(mailbox(u"", u"joe@example.org"), "<joe@example.org>");
}

TEST(Mailbox, PlainNamesAreAlwaysQuoted) {
    const MailboxRow rows[] = {
        {"one word", u"Joe", "\"Joe\" <a@b>"},
        {"words", u"Joe Q. Public", "\"Joe Q. Public\" <a@b>"},
        {"a blank", u" ", "\" \" <a@b>"},
        {"double quotes", u"Joe \"the\" X", "\"Joe \\\"the\\\" X\" <a@b>"},
        {"a quote alone", u"\"", "\"\\\"\" <a@b>"},
        {"backslashes", u"a\\b\\\\", "\"a\\\\b\\\\\\\\\" <a@b>"},
        {"quote behind a backslash", u"\\\"", "\"\\\\\\\"\" <a@b>"},
        {"other specials", u"<x@y>, (z);:", "\"<x@y>, (z);:\" <a@b>"},
        {"looks like an encoded word", u"=?UTF-8?B?YQ==?=", "\"=?UTF-8?B?YQ==?=\" <a@b>"},
    };
    for (const MailboxRow& row : rows)
        EXPECT_EQ(mailbox(row.displayName), row.expected) << row.name;
}

TEST(Mailbox, NameWithAControlOrHighOctetIsOneEncodedWord) {
    const MailboxRow rows[] = {
        {"Latin", u"J\xF6rg", word("J\xC3\xB6rg")},
        {"tab", u"a\tb", word("a\tb")},
        {"DEL", u"a\x7F", word("a\x7F")},
        {"line end", u"a\r\nTo: x", word("a\r\nTo: x")},
        {"NUL is kept", units(u"a\0b"s), word("a\0b"s)},
        {"quotes are not escaped", u"\"\xE9\\", word("\"\xC3\xA9\\")},
        {"a pair", u"\xD83D\xDE00", word("\xF0\x9F\x98\x80")},
        {"a lone surrogate", u"\xD83D", word("\xEF\xBF\xBD")},
    };
    for (const MailboxRow& row : rows)
        EXPECT_EQ(mailbox(row.displayName), row.expected) << row.name;
}

TEST(Mailbox, EncodedNameIsNeitherSplitNorFolded) {
    EXPECT_EQ(mailbox(Zeb_String(0xE9, 500)), word(repeated("\xC3\xA9", 500)));
}

TEST(Mailbox, QuotedNameIsNeitherSplitNorFolded) {
    EXPECT_EQ(mailbox(Zeb_String(u'x', 500)), "\"" + std::string(500, 'x') + "\" <a@b>");
}

TEST(Mailbox, NameIsInTheCharsetAndTheWordNamesIt) {
    const struct {
        const char16_t* charset;
        const char16_t* displayName;
        std::string expected;
    } rows[] = {
        {u"ISO-8859-1", u"J\xF6rg", word("J\xF6rg", "ISO-8859-1")},
        {u"latin1", u"J\xF6rg", word("J\xF6rg", "ISO-8859-1")},
        {u"windows-1251", u"\x41F\x440\x438\x432\x435\x442",
         word("\xCF\xF0\xE8\xE2\xE5\xF2", "windows-1251")},
        {u"ISO-2022-JP", u"\x306B\x307B\x3093", word("\x1B$B$K$[$s\x1B(B", "ISO-2022-JP")},
        {u"utf-8", u"\xF6", word("\xC3\xB6", "UTF-8")},
        {u"ISO-8859-1", u"Joe", "\"Joe\" <a@b>"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(mailbox(row.displayName, u"a@b", AdCharset(row.charset)), row.expected);
}

TEST(Mailbox, CharacterThatTheCharsetLacksIsReplaced) {
    EXPECT_EQ(mailbox(u"J\xF6rg", u"a@b", AdCharset::getASCIICharset()), "\"J?rg\" <a@b>");
}

TEST(Mailbox, QuestionWhetherToEncodeIsAskedOfTheOctets) {
    // The same name is plain in one charset and not in the other.
    EXPECT_EQ(mailbox(u"\xF6", u"a@b", AdCharset::getASCIICharset()), "\"?\" <a@b>");
    EXPECT_EQ(mailbox(u"\xF6", u"a@b", AdCharset(u"ISO-8859-1")), word("\xF6", "ISO-8859-1"));
}

TEST(Mailbox, UnknownCharsetLosesNoText) {
    EXPECT_EQ(mailbox(u"J\xF6rg", u"a@b", AdCharset(u"no-such-charset")),
              word("J\xC3\xB6rg", "no-such-charset"));
}

TEST(Mailbox, AddressIsWrittenAsItStands) {
    EXPECT_EQ(mailbox(u"", u"Joe <j@x>"), "<Joe <j@x>>");
    EXPECT_EQ(mailbox(u"N", u""), "\"N\" <>");
    EXPECT_EQ(mailbox(u"", u"\"a\\b\"@c"), "<\"a\\b\"@c>");
    EXPECT_EQ(mailbox(u"", u"a\tb@c"), "<a\tb@c>");
}

TEST(Mailbox, AddressWithoutAFormOnOneAsciiLineIsRefused) {
    const Zeb_String addresses[] = {u"j\xF6rg@x",    u"a@b\r\nTo: c", u"a\rb",    u"a\nb",
                                    units(u"a\0b"s), u"\xD83D",       u"a@b\x80", u"\n"};
    for (const Zeb_String& address : addresses)
        for (const char16_t* name : {u"", u"Joe", u"J\xF6rg"}) {
            std::string out = "old";
            EXPECT_FALSE(encodeRecip(AdCharset::getUTF8Charset(), address, name, out));
            EXPECT_EQ(out, "");
        }
}

TEST(Mailbox, RandomNamesReadBack) {
    std::mt19937 random(131);
    const std::u16string kind = u"ab\"\\ <>";
    for (int round = 0; round < 1000; ++round) {
        std::u16string text = u"x";
        for (std::size_t length = random() % 30; length > 0; --length)
            text += kind[random() % kind.size()];
        const std::string out = mailbox(units(text));
        ASSERT_TRUE(out.starts_with("\"") && out.ends_with("\" <a@b>")) << out;
        std::string read;
        for (std::size_t i = 1; i < out.size() - 7; ++i) {
            ASSERT_NE(out[i], '"');
            if (out[i] == '\\') ++i;
            read += out[i];
        }
        EXPECT_EQ(read, utf8(units(text)));
    }
}

}  // namespace
