// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <unicode/ucnv.h>

#include <cstring>
#include <memory>

#include "host/adcharset.h"
#include "tests/unit/host/units.h"

using namespace std::string_view_literals;

namespace {

TEST(AdCharset, HasTheSharedCharsets) {
    EXPECT_EQ(AdCharset::getASCIICharset().getMimeName(), u"US-ASCII");
    EXPECT_EQ(AdCharset::getUTF8Charset().getMimeName(), u"UTF-8");
    EXPECT_EQ(&AdCharset::getASCIICharset(), &AdCharset::getASCIICharset());
    EXPECT_TRUE(AdCharset::getASCIICharset().isKnown());
    EXPECT_TRUE(AdCharset::getUTF8Charset().isKnown());
}

TEST(AdCharset, DefaultIsUtf8) {
    EXPECT_EQ(AdCharset::getDefaultCharset().getMimeName(), u"UTF-8");
    EXPECT_EQ(AdCharset().getMimeName(), u"UTF-8");
    EXPECT_TRUE(AdCharset().isKnown());
}

TEST(AdCharset, NamesAndAliasesGiveThePreferredMimeName) {
    const std::pair<const char16_t*, const char16_t*> rows[] = {
        {u"UTF-8", u"UTF-8"},
        {u"utf-8", u"UTF-8"},
        {u"UTF8", u"UTF-8"},
        {u"uTf-8", u"UTF-8"},
        {u"US-ASCII", u"US-ASCII"},
        {u"us-ascii", u"US-ASCII"},
        {u"ascii", u"US-ASCII"},
        {u"ANSI_X3.4-1968", u"US-ASCII"},
        {u"iso-ir-6", u"US-ASCII"},
        {u"ISO-8859-1", u"ISO-8859-1"},
        {u"iso-8859-1", u"ISO-8859-1"},
        {u"ISO_8859-1:1987", u"ISO-8859-1"},
        {u"latin1", u"ISO-8859-1"},
        {u"L1", u"ISO-8859-1"},
        {u"csISOLatin1", u"ISO-8859-1"},
        {u"windows-1252", u"windows-1252"},
        {u"WINDOWS-1252", u"windows-1252"},
        {u"cp1252", u"windows-1252"},
        {u"ISO-8859-15", u"ISO-8859-15"},
        {u"latin-9", u"ISO-8859-15"},
        {u"Shift_JIS", u"Shift_JIS"},
        {u"shift_jis", u"Shift_JIS"},
        {u"csShiftJIS", u"Shift_JIS"},
        {u"GBK", u"GBK"},
        {u"gbk", u"GBK"},
        {u"GB18030", u"GB18030"},
        {u"koi8-r", u"KOI8-R"},
        {u"big5", u"Big5"},
        {u"euc-jp", u"EUC-JP"},
        {u"iso-2022-jp", u"ISO-2022-JP"},
        {u"utf-16be", u"UTF-16BE"},
    };
    for (const auto& [name, mimeName] : rows) {
        const AdCharset charset{Zeb_String(name)};
        EXPECT_EQ(charset.getMimeName(), mimeName) << Printable(name);
        EXPECT_TRUE(charset.isKnown()) << Printable(name);
    }
}

TEST(AdCharset, UnknownNamesStayAsTheyAre) {
    const std::u16string_view names[] = {
        u"x-no-such-charset", u"No Such",    u"",          u" ",     u"\u00FCtf-8",
        u"\x0155TF-8",        u"UTF-8\0x"sv, u"UTF-8\0"sv, u"\xD800"};
    for (const std::u16string_view name : names) {
        const AdCharset charset(units(name));
        EXPECT_FALSE(charset.isKnown()) << Printable(units(name));
        EXPECT_EQ(charset.getMimeName(), units(name));
    }
}

// ICU 72 crashes when it writes compound text.
TEST(AdCharset, CompoundTextIsUnknown) {
    for (const char16_t* name :
         {u"x11-compound-text", u"X11-Compound_Text", u"COMPOUND_TEXT", u"x-compound-text"}) {
        const AdCharset charset{Zeb_String(name)};
        EXPECT_FALSE(charset.isKnown()) << Printable(name);
        AdMbcsString octets;
        EXPECT_FALSE(octets.cvtFromTchar(charset, u"a\u00E9\u4E00", 1));
    }
}

// One octet of them may become four.
TEST(AdCharset, CompressionsAreUnknown) {
    for (const char16_t* name : {u"SCSU", u"scsu", u"ibm-1212", u"BOCU-1", u"csBOCU-1"}) {
        const AdCharset charset{Zeb_String(name)};
        EXPECT_FALSE(charset.isKnown()) << Printable(name);
        EXPECT_EQ(charset.getMimeName(), name);
    }
}

TEST(AdCharset, EveryOtherConverterOfIcuIsKnown) {
    for (int i = 0; i < ucnv_countAvailable(); ++i) {
        const char* const name = ucnv_getAvailableName(i);
        UErrorCode status = U_ZERO_ERROR;
        const std::unique_ptr<UConverter, void (*)(UConverter*)> converter(ucnv_open(name, &status),
                                                                           ucnv_close);
        ASSERT_TRUE(U_SUCCESS(status)) << name;
        const AdCharset charset(units(std::u16string(name, name + std::strlen(name))));
        const UConverterType type = ucnv_getType(converter.get());
        const bool isRefused =
            type == UCNV_COMPOUND_TEXT || type == UCNV_SCSU || type == UCNV_BOCU1;
        // A comma starts options, which no name of a charset has.
        const bool hasOptions = std::string_view(name).find(',') != std::string_view::npos;
        EXPECT_EQ(charset.isKnown(), !isRefused && !hasOptions) << name;
    }
}

TEST(AdCharset, AVeryLongNameIsUnknown) {
    const Zeb_String name(u'a', 1 << 20);
    EXPECT_FALSE(AdCharset(name).isKnown());
}

TEST(AdCharset, CopiesAndAssignsLikeAValue) {
    const AdCharset original(u"windows-1252");
    const AdCharset copy(original);
    AdCharset assigned;
    assigned = original;
    EXPECT_EQ(copy.getMimeName(), u"windows-1252");
    EXPECT_EQ(assigned.getMimeName(), u"windows-1252");
    AdMbcsString octets;
    EXPECT_TRUE(octets.cvtFromTchar(assigned, u"\u20AC"));
    EXPECT_EQ(octets.getString(), "\x80");
}

}  // namespace
