// SPDX-License-Identifier: Apache-2.0
// Charset names come from the settings: whatever they are, a message keeps its lines.
#include <gtest/gtest.h>

#include "tests/unit/rfc2822encoder/encoder_fixtures.h"

using namespace std::string_literals;

namespace {

const Zeb_String unfit[] = {u"UTF-8\r\nTo: c@d", u"a\nb",    u"a\rb",
                            units(u"a\0b"s),     u"J\xF6rg", u"\xD83D"};

TEST(CharsetName, UnfitNameIsLeftOutOfTheContentType) {
    for (const Zeb_String& name : unfit) {
        RFC2822Encoder encoder;
        encoder.setCharset(AdCharset(name));
        EXPECT_EQ(fieldOf(message(encoder), "Content-Type"), "text/plain; charset=");
    }
}

TEST(CharsetName, UnfitNameIsLeftOutOfAnEncodedWord) {
    for (const Zeb_String& name : unfit) {
        std::string out;
        EXPECT_TRUE(encodeRecip(AdCharset(name), u"a@b", u"\xE9", out));
        EXPECT_EQ(out, "=??B?w6k=?= <a@b>");
    }
}

TEST(CharsetName, UnfitNameAddsNoLineToAMessage) {
    RFC2822Encoder plain;
    plain.setSender(u"s@x", u"\xE9");
    plain.setBody(u"text \xE9\n");
    const std::size_t lines = countOf("\n", message(plain, /*eightBit=*/true));
    for (const Zeb_String& name : unfit) {
        RFC2822Encoder encoder;
        encoder.setCharset(AdCharset(name));
        encoder.setSender(u"s@x", u"\xE9");
        encoder.setBody(u"text \xE9\n");
        const std::string text = message(encoder, /*eightBit=*/true);
        EXPECT_EQ(countOf("\n", text), lines);
        EXPECT_EQ(bodyOf(text), "text \xC3\xA9\r\n");
    }
}

TEST(CharsetName, UnknownNameIsWrittenAsItIs) {
    std::string out;
    EXPECT_TRUE(encodeRecip(AdCharset(u"no-such-charset"), u"a@b", u"\xE9", out));
    EXPECT_EQ(out, "=?no-such-charset?B?w6k=?= <a@b>");
}

TEST(CharsetName, EmptyNameIsNoCharset) {
    RFC2822Encoder encoder;
    encoder.setCharset(AdCharset(u""));
    encoder.setBody(u"J\xF6rg");
    const std::string text = message(encoder, /*eightBit=*/true);
    EXPECT_EQ(fieldOf(text, "Content-Type"), "text/plain; charset=");
    EXPECT_EQ(bodyOf(text), "J\xC3\xB6rg");
}

}  // namespace
