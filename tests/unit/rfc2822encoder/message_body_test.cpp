// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <random>
#include <sstream>

#include "inet/transferstream.utf16.h"
#include "tests/support/wide_text.h"
#include "tests/unit/rfc2822encoder/encoder_fixtures.h"

using namespace std::string_literals;

namespace {

std::string sent(const Zeb_String& body, bool eightBit = false) {
    RFC2822Encoder encoder;
    encoder.setBody(body);
    return message(encoder, eightBit);
}

std::string encodingOf(const std::string& message) {
    return fieldOf(message, "Content-Transfer-Encoding");
}

TEST(MessageBody, LineFeedsWithoutACarriageReturnGetOne) {
    const struct {
        Zeb_String body;
        std::string expected;
    } rows[] = {
        {u"a\nb", "a\r\nb"},
        {u"a\r\nb", "a\r\nb"},
        {u"\n", "\r\n"},
        {u"\na", "\r\na"},
        {u"\n\n\n", "\r\n\r\n\r\n"},
        {u"\r\n\n", "\r\n\r\n"},
        {u"\n\r\n", "\r\n\r\n"},
        {u"\n\r", "\r\n\r"},
        {u"a\rb", "a\rb"},
        {u"a\r\r\nb", "a\r\r\nb"},
        {u"a\r", "a\r"},
        {u"", ""},
        {u"no line end", "no line end"},
    };
    for (const auto& row : rows)
        for (const bool eightBit : {false, true})
            EXPECT_EQ(bodyOf(sent(row.body, eightBit)), row.expected);
}

TEST(MessageBody, EncodingIsTheBestUnlessTheWayIsEightBitClean) {
    const struct {
        const char* name;
        Zeb_String body;
        std::string encoding;
        std::string expected;
    } rows[] = {
        {"nothing", u"", "7bit", ""},
        {"ASCII", u"Hello\tworld =\n", "7bit", "Hello\tworld =\r\n"},
        {"a long line", Zeb_String(u'x', 5000), "7bit", std::string(5000, 'x')},
        {"lines that begin with dots", u".\n..\n", "7bit", ".\r\n..\r\n"},
        {"a few others", u"Hello, world, from J\xF6rg\n", "quoted-printable",
         "Hello, world, from J=C3=B6rg\r\n"},
        {"an unended line", u"Hello, world, from J\xF6rg", "quoted-printable",
         "Hello, world, from J=C3=B6rg=\r\n"},
        {"a control octet", u"hello \x01 world", "quoted-printable", "hello =01 world=\r\n"},
        {"blank before a line end", u"hello \x01 world \n", "quoted-printable",
         "hello =01 world =\r\n\r\n"},
        {"NUL", units(u"hello hello\0"s), "quoted-printable", "hello hello=00=\r\n"},
        {"DEL alone", u"\x7F", "base64", "fw==\r\n"},
        {"three controls", u"\x1\x1\x1", "base64", "AQEB\r\n"},
        {"others alone", u"\xE9\xE9", "base64", "w6nDqQ==\r\n"},
        {"line ends are encoded", u"\xE9\xE9\n\xE9", "base64", "w6nDqQ0Kw6k=\r\n"},
    };
    for (const auto& row : rows) {
        const std::string text = sent(row.body);
        EXPECT_EQ(encodingOf(text), row.encoding) << row.name;
        EXPECT_EQ(bodyOf(text), row.expected) << row.name;
    }
}

TEST(MessageBody, EightBitWritesAnyBodyAsItIs) {
    const Zeb_String bodies[] = {u"",     u"plain\r\n",    u"J\xF6rg", u"hello \x01 world",
                                 u"\x7F", units(u"a\0b"s), u".\r\n",   Zeb_String(0xE9, 5000)};
    for (const Zeb_String& body : bodies) {
        const std::string text = sent(body, /*eightBit=*/true);
        EXPECT_EQ(encodingOf(text), "8bit");
        EXPECT_EQ(bodyOf(text), utf8(body));
    }
}

TEST(MessageBody, Base64LinesAreSeventySixLong) {
    const std::string text = sent(Zeb_String(0xE9, 57));
    EXPECT_EQ(encodingOf(text), "base64");
    const std::string encoded = slowBase64(repeated("\xC3\xA9", 57));
    EXPECT_EQ(bodyOf(text), encoded.substr(0, 76) + "\r\n" + encoded.substr(76) + "\r\n");
    EXPECT_EQ(bodyOf(text).find("\r\n"), 76U);
}

TEST(MessageBody, QuotedPrintableLinesAreSeventySixLong) {
    const std::string text = sent(Zeb_String(u'x', 80) + u"\xE9");
    EXPECT_EQ(encodingOf(text), "quoted-printable");
    EXPECT_EQ(bodyOf(text), std::string(75, 'x') + "=\r\nxxxxx=C3=A9=\r\n");
}

TEST(MessageBody, EncodingIsChosenBehindTheLineEnds) {
    // Six octets of which one is high cost 8 of 8; with the carriage return added, 9 of 8.
    RFC2822Encoder encoder;
    encoder.setCharset(AdCharset(u"ISO-8859-1"));
    encoder.setBody(u"abcd\r\xE9");
    EXPECT_EQ(encodingOf(message(encoder)), "quoted-printable");
    encoder.setBody(u"abcd\n\xE9");
    EXPECT_EQ(encodingOf(message(encoder)), "base64");
}

TEST(MessageBody, IsInTheCharset) {
    const struct {
        const char16_t* charset;
        Zeb_String body;
        std::string expected;
    } rows[] = {
        {u"ISO-8859-1", u"J\xF6rg", "J\xF6rg"},
        {u"KOI8-R", u"\x43F\x440", "\xD0\xD2"},
        {u"US-ASCII", u"J\xF6rg", "J?rg"},
        {u"UTF-8", u"a\xD83D", "a\xEF\xBF\xBD"},
        {u"UTF-8", u"\xD83D\xDE00", "\xF0\x9F\x98\x80"},
        {u"UTF-8", u"\xFEFFx", "\xEF\xBB\xBFx"},
        {u"no-such-charset", u"J\xF6rg", "J\xC3\xB6rg"},
    };
    for (const auto& row : rows) {
        RFC2822Encoder encoder;
        encoder.setCharset(AdCharset(row.charset));
        encoder.setBody(row.body);
        EXPECT_EQ(bodyOf(message(encoder, /*eightBit=*/true)), row.expected);
    }
}

TEST(MessageBody, CharsetAtTheTimeOfWritingCounts) {
    RFC2822Encoder encoder;
    encoder.setBody(u"\xF6");
    encoder.setCharset(AdCharset(u"ISO-8859-1"));
    EXPECT_EQ(bodyOf(message(encoder, /*eightBit=*/true)), "\xF6");
}

TEST(MessageBody, AppendedTextFollows) {
    RFC2822Encoder encoder;
    encoder.appendBody(u"a\r");
    encoder.appendBody(u"\nb");
    encoder.appendBody(u"");
    EXPECT_EQ(bodyOf(message(encoder)), "a\r\nb");
    encoder.setBody(u"new");
    EXPECT_EQ(bodyOf(message(encoder)), "new");
    encoder.appendBody(u"er");
    EXPECT_EQ(bodyOf(message(encoder)), "newer");
}

TEST(MessageBody, HalvesOfAPairAppendedOneByOneAreOneCharacter) {
    RFC2822Encoder encoder;
    encoder.appendBody(u"\xD83D");
    encoder.appendBody(u"\xDE00");
    EXPECT_EQ(bodyOf(message(encoder, /*eightBit=*/true)), "\xF0\x9F\x98\x80");
}

TEST(MessageBody, WritingLeavesTheBodyAsItWas) {
    RFC2822Encoder encoder;
    encoder.setBody(u"a\nb\xE9");
    const std::string first = bodyOf(message(encoder, /*eightBit=*/true));
    EXPECT_EQ(bodyOf(message(encoder, /*eightBit=*/true)), first);
}

std::string withLineEnds(const std::string& text) {
    std::string out;
    for (const char octet : text) {
        if (octet == '\n' && !out.ends_with('\r')) out += '\r';
        out += octet;
    }
    return out;
}

std::string decoded(const std::string& message) {
    std::stringbuf source(bodyOf(message));
    base64buf base64(&source, /*encodedWord=*/false);
    quotedprintablebuf quotedPrintable(&source, /*headerMode=*/false);
    const std::string encoding = encodingOf(message);
    std::streambuf* reader = &source;
    if (encoding == "base64") reader = &base64;
    if (encoding == "quoted-printable") reader = &quotedPrintable;
    return {std::istreambuf_iterator<char>(reader), {}};
}

TEST(MessageBody, RandomBodiesReadBack) {
    const std::u16string kinds[] = {
        u"ab \t\r\n\n=.",  u"abcdefghij \r\n\xE9", u"\xE9\x20AC\n",
        u"\xD83D\xDE00\n", u"ab\x1\x7F\n",
    };
    std::mt19937 random(151);
    std::set<std::string> encodings;
    for (std::size_t round = 0; round < 1500; ++round) {
        const std::u16string& kind = kinds[round % std::size(kinds)];
        std::u16string text;
        for (std::size_t length = random() % 300; length > 0; --length)
            text += kind[random() % kind.size()];
        const std::string message = sent(units(text));
        encodings.insert(encodingOf(message));
        ASSERT_EQ(decoded(message), withLineEnds(utf8(units(text)))) << round;
    }
    EXPECT_EQ(encodings, (std::set<std::string>{"7bit", "base64", "quoted-printable"}));
}

}  // namespace
