// SPDX-License-Identifier: Apache-2.0
#include "host/printable.h"

#include <gtest/gtest.h>

#include "host/adcharset.h"
#include "tests/unit/host/units.h"

using namespace std::string_view_literals;

namespace {

struct PrintableRow {
    std::u16string_view text;
    std::string_view expected;
};

void expectAll(std::initializer_list<PrintableRow> rows) {
    for (const PrintableRow& row : rows) EXPECT_EQ(Printable(units(row.text)), row.expected);
}

TEST(Printable, ShowsOrdinaryTextAsItIs) {
    expectAll({
        {u"", ""},
        {u"hello ~!\"'%", "hello ~!\"'%"},
        {u"back\\slash \\x0A", "back\\slash \\x0A"},
        {u"caf\u00E9 \u65E5\u672C \U0001F600",
         "caf\xC3\xA9 \xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x98\x80"},
        {u"\u05D0\u0627", "\xD7\x90\xD8\xA7"},
        {u"\u00A0\uFFFD", "\xC2\xA0\xEF\xBF\xBD"},
    });
}

TEST(Printable, ShowsControlCharactersByNumber) {
    expectAll({
        {u"a\r\nb", "a\\x0D\\x0Ab"},
        {u"\t", "\\x09"},
        {u"\0x"sv, "\\x00x"},
        {u"\x1B[31m", "\\x1B[31m"},
        {u"\x1F\x7F", "\\x1F\\x7F"},
        {u"\u0080\u0085\u009B\u009F", "\\x80\\x85\\x9B\\x9F"},
    });
}

TEST(Printable, ShowsSeparatorsAndDirectionByNumber) {
    expectAll({
        {u"a\u2028b\u2029", "a\\u2028b\\u2029"},
        {u"\u202A\u202B\u202C\u202D\u202E", "\\u202A\\u202B\\u202C\\u202D\\u202E"},
        {u"\u2066\u2067\u2068\u2069", "\\u2066\\u2067\\u2068\\u2069"},
        {u"\u200E\u200F\u061C", "\\u200E\\u200F\\u061C"},
    });
}

TEST(Printable, ShowsLoneSurrogatesByNumber) {
    expectAll({
        {u"\xD800", "\\uD800"},
        {u"a\xDE00\xD83Dz", "a\\uDE00\\uD83Dz"},
        {u"\xD83D\xD83D\xDE00", "\\uD83D\xF0\x9F\x98\x80"},
    });
}

TEST(Printable, IsOneLineWhateverItIsGiven) {
    std::u16string all;
    for (int unit = 0; unit <= 0xFFFF; ++unit) all += static_cast<char16_t>(unit);
    const std::string shown = Printable(units(all));
    for (const char octet : shown)
        ASSERT_TRUE(static_cast<unsigned char>(octet) >= 0x20 && octet != 0x7F);
    EXPECT_GT(shown.size(), 150000u);
    Zeb_String back;
    EXPECT_TRUE(
        AdMbcsString::cvtToTchar(AdCharset::getUTF8Charset(), shown.data(), shown.size(), back, 0));
}

}  // namespace
