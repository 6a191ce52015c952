// SPDX-License-Identifier: Apache-2.0
// Every UTF-16 unit in every text of a message: the message has the fields that it should have and
// no other, and each holds the octets that the text has.
#include <gtest/gtest.h>

#include <sstream>

#include "inet/rfc2822encoder.utf16.h"
#include "tests/injection/placed_units.h"
#include "tests/injection/wire_text.h"

namespace {

constexpr char commonNames[] =
    "Mime-Version X-Mailer Date Content-Type Content-Transfer-Encoding From";

WireMessage rendered(const RFC2822Encoder& encoder, bool eightBit = true) {
    std::ostringstream out;
    encoder.getData(eightBit, out);
    return takeApart(out.str());
}

/// An address field of a message: how it is set, and its name there.
struct AddressInput {
    const char* name;
    bool (RFC2822Encoder::*set)(const Zeb_String& address, const Zeb_String& name);
    bool isAlwaysThere;
};

void PrintTo(const AddressInput& input, std::ostream* out) { *out << input.name; }

class AddressUnits : public testing::TestWithParam<AddressInput> {
  protected:
    /// Expects the field to have this value, and no other field to come; none when `value` is.
    void expectField(const RFC2822Encoder& encoder, const std::optional<std::string>& value) {
        const AddressInput& input = GetParam();
        const WireMessage message = rendered(encoder);
        const bool isThere = value.has_value() || input.isAlwaysThere;
        const std::string added = std::string(" ") + input.name;
        ASSERT_EQ(namesOf(message.fields),
                  commonNames + (isThere && !input.isAlwaysThere ? added : std::string()));
        ASSERT_EQ(valueOf(message.fields, input.name), isThere ? value.value_or("") : "none");
    }
};

TEST_P(AddressUnits, AddNoLineAsABareAddress) {
    forEachPlacedUnit(u"ab", u"@x", [this](const PlacedUnit& address) {
        RFC2822Encoder encoder;
        const std::optional<std::string> octets = lineOctets(address.text);
        ASSERT_EQ((encoder.*GetParam().set)(address.wide(), {}), octets.has_value());
        expectField(encoder, octets ? std::optional("<" + *octets + ">") : std::nullopt);
    });
}

TEST_P(AddressUnits, AddNoLineAsAnAddressWithAName) {
    forEachPlacedUnit(u"ab", u"@x", [this](const PlacedUnit& address) {
        RFC2822Encoder encoder;
        const std::optional<std::string> octets = lineOctets(address.text);
        (encoder.*GetParam().set)(address.wide(), u"Jo");
        expectField(encoder, octets ? std::optional("\"Jo\" <" + *octets + ">") : std::nullopt);
    });
}

/// The name as a quoted string when it is printable ASCII, else as a word of UTF-8.
std::string phrase(const std::u16string& name) {
    std::string quoted = "\"";
    for (const char octet : icuUtf8(name)) {
        if (octet < ' ' || octet > '~') return "=?UTF-8?B?" + base64Of(icuUtf8(name)) + "?=";
        if (octet == '"' || octet == '\\') quoted += '\\';
        quoted += octet;
    }
    return quoted + "\"";
}

TEST_P(AddressUnits, AddNoLineAsADisplayName) {
    forEachPlacedUnit(u"Ann", u" Bo", [this](const PlacedUnit& name) {
        RFC2822Encoder encoder;
        ASSERT_TRUE((encoder.*GetParam().set)(u"a@x", name.wide()));
        expectField(encoder, phrase(name.text) + " <a@x>");
    });
}

INSTANTIATE_TEST_SUITE_P(Inputs, AddressUnits,
                         testing::Values(AddressInput{"From", &RFC2822Encoder::setSender, true},
                                         AddressInput{"To", &RFC2822Encoder::addTo, false},
                                         AddressInput{"Cc", &RFC2822Encoder::addCc, false},
                                         AddressInput{"Bcc", &RFC2822Encoder::setBcc, false}),
                         [](const auto& row) { return std::string(row.param.name); });

/// The octets of an unstructured text: runs of line feeds are blanks, one at the end is kept.
std::string unfolded(const std::u16string& text) {
    std::string line;
    for (const char octet : icuUtf8(text)) {
        if (octet == '\n' && line.ends_with('\n')) continue;
        if (line.ends_with('\n')) line.back() = ' ';
        line += octet;
    }
    return line;
}

/// What stands on the wire for it when it is short.
std::string unstructured(const std::u16string& text) {
    const std::string octets = unfolded(text);
    const bool isPlain = std::all_of(octets.begin(), octets.end(),
                                     [](char octet) { return octet >= ' ' && octet <= '~'; });
    return isPlain ? octets : "=?UTF-8?B?" + base64Of(octets) + "?= ";
}

/// The octets of words that stand on lines of their own.
std::string joinedWords(const std::string& value) {
    const std::string begin = "=?UTF-8?B?";
    std::string octets;
    std::istringstream words(value);
    for (std::string word; words >> word;) {
        EXPECT_TRUE(word.starts_with(begin) && word.ends_with("?=")) << value;
        octets += fromBase64(word.substr(begin.size(), word.size() - begin.size() - 2));
    }
    return octets;
}

constexpr char namesWithSubject[] =
    "Mime-Version X-Mailer Date Content-Type Content-Transfer-Encoding Subject From";

TEST(SubjectUnits, AddNoLine) {
    forEachPlacedUnit(u"one", u" two", [](const PlacedUnit& subject) {
        RFC2822Encoder encoder;
        encoder.setSubject(subject.wide());
        const WireMessage message = rendered(encoder);
        ASSERT_EQ(namesOf(message.fields), namesWithSubject);
        ASSERT_EQ(valueOf(message.fields, "Subject"), unstructured(subject.text));
    });
}

TEST(SubjectUnits, AddNoLineToALongSubject) {
    const std::u16string longText = u"\u00E9 subject that does not fit into a single encoded word";
    forEachPlacedUnit(longText, longText, [](const PlacedUnit& subject) {
        RFC2822Encoder encoder;
        encoder.setSubject(subject.wide());
        const WireMessage message = rendered(encoder);
        ASSERT_EQ(namesOf(message.fields), namesWithSubject);
        ASSERT_EQ(joinedWords(valueOf(message.fields, "Subject")), unfolded(subject.text));
    });
}

TEST(HeaderUnits, AddNoLineAsAName) {
    forEachPlacedUnit(u"X", u"-a", [](const PlacedUnit& name) {
        std::string field = "untouched";
        const std::optional<std::string> octets = lineOctets(name.text);
        const bool isTaken = encodeRFC2047Unstructured({}, name.wide(), u"value", field);
        ASSERT_EQ(isTaken, octets.has_value());
        ASSERT_EQ(field, octets ? *octets + ": value\r\n" : "untouched");
        ASSERT_EQ(RFC2822Encoder().addHeader(name.wide(), u"value"), isTaken);
    });
}

TEST(HeaderUnits, AddNoLineAsAValue) {
    forEachPlacedUnit(u"one", u" two", [](const PlacedUnit& value) {
        std::string field;
        ASSERT_TRUE(encodeRFC2047Unstructured({}, u"X-A", value.wide(), field));
        ASSERT_EQ(field, "X-A: " + unstructured(value.text) + "\r\n");
    });
}

class BodyUnits : public testing::TestWithParam<bool> {
  protected:
    /// Expects the body to arrive as it is, with line ends of the wire, in a message without
    /// further fields.
    static void expectBody(const PlacedUnit& body) {
        RFC2822Encoder encoder;
        encoder.setBody(body.wide());
        const WireMessage message = rendered(encoder, GetParam());
        ASSERT_EQ(namesOf(message.fields), commonNames);
        ASSERT_EQ(decodedBody(message), withWireLineEnds(icuUtf8(body.text)));
    }
};

TEST_P(BodyUnits, AreTheOctetsThatTheyHave) {
    forEachPlacedUnit(u"Subject: x\n.", u".\nX: y\n.", expectBody);
}

TEST_P(BodyUnits, AreTheOctetsThatTheyHaveAmongDots) {
    forEachPlacedUnit(u".\n", u"\n.", expectBody);
}

INSTANTIATE_TEST_SUITE_P(EightBit, BodyUnits, testing::Bool());

/// Charsets whose octets can look like line ends, quotes or escapes within a character.
class CharsetUnits : public testing::TestWithParam<const char*> {
  protected:
    static AdCharset charset() {
        const std::string name = GetParam();
        return AdCharset(Zeb_String(std::u16string(name.begin(), name.end()).c_str()));
    }
};

TEST_P(CharsetUnits, AddNoLineToAHeader) {
    forEachPlacedUnit(u"Ann", u" Bo", [](const PlacedUnit& name) {
        RFC2822Encoder encoder;
        encoder.setCharset(charset());
        encoder.addTo(u"a@x", name.wide());
        const WireMessage message = rendered(encoder);
        ASSERT_EQ(namesOf(message.fields), std::string(commonNames) + " To");
        const std::string value = valueOf(message.fields, "To");
        ASSERT_TRUE(value.ends_with(" <a@x>")) << value;
        const std::optional<std::string> octets = icuOctets(GetParam(), name.text);
        if (!octets || !value.starts_with("=?")) return;
        ASSERT_NE(value.find("?B?" + base64Of(*octets) + "?="), std::string::npos) << value;
    });
}

TEST_P(CharsetUnits, AreTheOctetsThatTheCharsetHas) {
    forEachPlacedUnit(u"a", u"b", [](const PlacedUnit& body) {
        RFC2822Encoder encoder;
        encoder.setCharset(charset());
        encoder.setBody(body.wide());
        const std::optional<std::string> octets = icuOctets(GetParam(), body.text);
        const WireMessage message = rendered(encoder);
        ASSERT_EQ(namesOf(message.fields), commonNames);
        if (!octets) return;
        ASSERT_EQ(message.body, withWireLineEnds(*octets));
    });
}

INSTANTIATE_TEST_SUITE_P(Charsets, CharsetUnits,
                         testing::Values("ISO-8859-1", "ISO-2022-JP", "Shift_JIS", "GB18030",
                                         "UTF-16BE"),
                         [](const auto& row) {
                             std::string name = row.param;
                             std::erase_if(name, [](char c) { return c == '-' || c == '_'; });
                             return name;
                         });

}  // namespace
