// SPDX-License-Identifier: Apache-2.0
// MIMETextDecoder: the body as octets and as wide text.
#include <gtest/gtest.h>

#include <sstream>

#include "tests/support/wide_text.h"
#include "tests/unit/entitydecoder/entity_fixtures.h"

namespace {

OwnedEntity textIn(const std::string& charset, const std::string& body) {
    return entityOf("Content-Type: text/plain; charset=" + charset + "\n\n" + body);
}

std::string charsetNameOf(const std::string& text) {
    return utf8(entityOf(text)->getTextDecoder()->getCharsetName());
}

TEST(TextDecoder, WithoutContentTypeIsAscii) {
    EXPECT_EQ(charsetNameOf("A: b\n\nbody"), "US-ASCII");
    EXPECT_EQ(textOf(*entityOf("A: b\n\nbody")), "body");
}

TEST(TextDecoder, WithoutCharsetIsAscii) {
    EXPECT_EQ(charsetNameOf("Content-Type: text/plain; format=flowed\n\nx"), "US-ASCII");
}

TEST(TextDecoder, KeepsTheCharsetNameAsItIsWritten) {
    EXPECT_EQ(charsetNameOf("Content-Type: text/plain; CHARSET=\"x-Own\"\n\n"), "x-Own");
    EXPECT_EQ(charsetNameOf("Content-Type: text/plain; charset=GB2312\n\n"), "GB2312");
}

TEST(TextDecoder, ConvertsFromItsCharset) {
    EXPECT_EQ(textOf(*textIn("iso-8859-1", "caf\xE9")), "caf\xC3\xA9");
    EXPECT_EQ(textOf(*textIn("UTF-8", "caf\xC3\xA9")), "caf\xC3\xA9");
    EXPECT_EQ(textOf(*textIn("koi8-r", "\xD4")), "\xD1\x82");
}

TEST(TextDecoder, OfAnEmptyBodyWritesNothing) { EXPECT_EQ(textOf(*textIn("UTF-8", "")), ""); }

TEST(TextDecoder, KeepsLineEndsAndNuls) {
    using namespace std::string_literals;
    EXPECT_EQ(textOf(*textIn("UTF-8", "a\r\nb\nc\0d"s)), "a\r\nb\nc\0d"s);
}

// U+9555 is in GBK and not in GB2312.
TEST(TextDecoder, ReadsGB2312AsGBK) {
    EXPECT_EQ(textOf(*textIn("GB2312", "\xC4\xE3\xE9\x46")), "\xE4\xBD\xA0\xE9\x95\x95");
}

TEST(TextDecoder, ReadsLowerCaseGB2312AsThatNameIs) {
    const std::string octets = "\xC4\xE3\xE9\x46";
    Zeb_String expected;
    AdMbcsString::cvtToTchar(AdCharset(u"gb2312"), octets.data(), octets.size(), expected, 1);
    EXPECT_EQ(textOf(*textIn("gb2312", octets)), utf8(expected));
    EXPECT_NE(textOf(*textIn("gb2312", octets)), textOf(*textIn("GB2312", octets)));
}

TEST(TextDecoder, ReplacesMalformedOctets) {
    EXPECT_EQ(textOf(*textIn("UTF-8", "a\xFFz")), "a\xEF\xBF\xBDz");
}

TEST(TextDecoder, Reads8BitTextThatIsCalledAsciiAsUnlabelledText) {
    EXPECT_EQ(textOf(*entityOf("\ncaf\xC3\xA9")), "caf\xC3\xA9");
    EXPECT_EQ(textOf(*entityOf("\ncaf\xE9 \x80")), "caf\xC3\xA9 \xE2\x82\xAC");
}

TEST(TextDecoder, ReadsAnUnknownCharsetAsUnlabelledText) {
    EXPECT_EQ(textOf(*textIn("x-no-such", "caf\xE9")), "caf\xC3\xA9");
}

TEST(TextDecoder, WritesTheTextAsOftenAsAsked) {
    const OwnedEntity entity = textIn("iso-8859-1", "\xE9");
    EXPECT_EQ(textOf(*entity), "\xC3\xA9");
    EXPECT_EQ(textOf(*entity), "\xC3\xA9");
    EXPECT_EQ(bodyOf(*entity), "\xE9");
}

TEST(TextDecoder, DecodesTheTransferEncodingFirst) {
    const OwnedEntity entity = entityOf(
        "Content-Type: text/plain; charset=utf-8\nContent-Transfer-Encoding: base64\n\nw6k=\n");
    EXPECT_EQ(bodyOf(*entity), "\xC3\xA9");
    EXPECT_EQ(textOf(*entity), "\xC3\xA9");
}

TEST(TextDecoder, ReadsABodyOfManyBlocks) {
    const std::string body = repeated("0123456789\r\n", 1000);
    EXPECT_TRUE(bodyOf(*textIn("UTF-8", body)) == body);
}

TEST(TextDecoder, CanBeBuiltFromHeadersAndABody) {
    const HeaderMap headers = {{u"Content-Type", "text/plain; charset=ISO-8859-1"}};
    std::istringstream in("caf\xE9");
    const MIMETextDecoder decoder(headers, in);
    EXPECT_EQ(decoder.getBody(), "caf\xE9");
    EXPECT_TRUE(decoder.getCharsetName() == u"ISO-8859-1");
}

}  // namespace
