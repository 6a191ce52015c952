// SPDX-License-Identifier: Apache-2.0
// The direct paths held against ICU's converters, and converters that are used again against new
// ones.
#include <gtest/gtest.h>
#include <unicode/ucnv.h>
#include <unicode/ucnv_cb.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

#include "host/adcharset.h"
#include "tests/support/effort.h"
#include "tests/unit/host/units.h"

using namespace std::string_literals;

namespace {

struct Read {
    bool isValid;
    Zeb_String text;
    bool operator==(const Read&) const = default;
};

struct Written {
    bool isExact;
    std::string octets;
    bool operator==(const Written&) const = default;
};

Read read(const AdCharset& charset, const std::string& octets, AdCharset::converter_t mode) {
    Zeb_String text(u"left over");
    const bool isValid =
        AdMbcsString::cvtToTchar(charset, octets.data(), octets.size(), text, mode);
    return {isValid, text};
}

Written write(const AdCharset& charset, const Zeb_String& text, AdCharset::converter_t mode) {
    AdMbcsString octets(AdCharset(), "left over", 9);
    const bool isExact = octets.cvtFromTchar(charset, text, mode);
    return {isExact, octets.getString()};
}

// ---- UTF-8 by ICU

/// ICU's converter of UTF-8, which counts what was malformed or had no form.
class IcuUtf8 {
  public:
    IcuUtf8() {
        UErrorCode status = U_ZERO_ERROR;
        converter_.reset(ucnv_open("UTF-8", &status));
        ucnv_setToUCallBack(converter_.get(), replaceOctets, &faults_, nullptr, nullptr, &status);
        ucnv_setFromUCallBack(converter_.get(), replaceUnits, &faults_, nullptr, nullptr, &status);
        EXPECT_TRUE(U_SUCCESS(status));
    }

    Read read(const std::string& octets) {
        faults_ = 0;
        std::u16string text(octets.size() + 1, u'\0');
        UErrorCode status = U_ZERO_ERROR;
        const int length = ucnv_toUChars(converter_.get(), text.data(), sizeOf(text), octets.data(),
                                         sizeOf(octets), &status);
        EXPECT_TRUE(U_SUCCESS(status));
        return {faults_ == 0, units({text.data(), static_cast<std::size_t>(length)})};
    }

    Written write(const std::u16string& text) {
        faults_ = 0;
        std::string octets(3 * text.size() + 1, '\0');
        UErrorCode status = U_ZERO_ERROR;
        const int length = ucnv_fromUChars(converter_.get(), octets.data(), sizeOf(octets),
                                           text.data(), sizeOf(text), &status);
        EXPECT_TRUE(U_SUCCESS(status));
        return {faults_ == 0, octets.substr(0, static_cast<std::size_t>(length))};
    }

  private:
    template <typename Text>
    static int32_t sizeOf(const Text& text) {
        return static_cast<int32_t>(text.size());
    }

    static bool count(const void* context, UConverterCallbackReason reason, UErrorCode* status) {
        if (reason > UCNV_IRREGULAR) return false;
        ++*const_cast<int*>(static_cast<const int*>(context));
        *status = U_ZERO_ERROR;
        return true;
    }

    static void replaceOctets(const void* context, UConverterToUnicodeArgs* arguments, const char*,
                              int32_t, UConverterCallbackReason reason, UErrorCode* status) {
        const UChar replacement = 0xFFFD;
        if (count(context, reason, status))
            ucnv_cbToUWriteUChars(arguments, &replacement, 1, 0, status);
    }

    static void replaceUnits(const void* context, UConverterFromUnicodeArgs* arguments,
                             const UChar*, int32_t, UChar32, UConverterCallbackReason reason,
                             UErrorCode* status) {
        if (count(context, reason, status))
            ucnv_cbFromUWriteBytes(arguments, "\xEF\xBF\xBD", 3, 0, status);
    }

    struct Close {
        void operator()(UConverter* converter) const { ucnv_close(converter); }
    };
    std::unique_ptr<UConverter, Close> converter_;
    int faults_ = 0;
};

class Utf8Differential : public testing::Test {
  protected:
    void expectSameReading(const std::string& octets) {
        Read expected = icu_.read(octets);
        ASSERT_EQ(read(utf8_, octets, 0), expected) << testing::PrintToString(octets);
        expected.isValid = true;
        ASSERT_EQ(read(utf8_, octets, 1), expected) << testing::PrintToString(octets);
    }

    void expectSameWriting(const std::u16string& text) {
        const Written lenient = icu_.write(text);
        ASSERT_EQ(write(utf8_, units(text), 1), (Written{true, lenient.octets}));
        const Written strict = lenient.isExact ? lenient : Written{false, ""};
        ASSERT_EQ(write(utf8_, units(text), 0), strict);
    }

    IcuUtf8 icu_;
    const AdCharset utf8_ = AdCharset::getUTF8Charset();
};

/// All sequences of `count` of these octets.
template <typename Work>
void forEachSequence(const std::string& of, int count, const std::string& start, Work work) {
    if (count == 0) return work(start);
    for (const char octet : of) forEachSequence(of, count - 1, start + octet, work);
}

std::string allOctets() {
    std::string octets;
    for (int octet = 0; octet < 0x100; ++octet) octets += static_cast<char>(octet);
    return octets;
}

/// The first and the last of each kind that UTF-8 tells apart.
const std::string edges = "\0\x7F\x80\x8F\x90\x9F\xA0\xBF\xC1\xC2\xDF\xE0\xE1\xED\xEF\xF0\xF4\xF5"s;

TEST_F(Utf8Differential, ReadsAllSequencesOfUpToTwoOctets) {
    for (int count = 0; count <= 2; ++count)
        forEachSequence(allOctets(), count, "", [&](const auto& text) { expectSameReading(text); });
}

TEST_F(Utf8Differential, ReadsSequencesOfThreeOctets) {
    forEachSequence(isFullEffort() ? allOctets() : edges, 3, "",
                    [&](const auto& text) { expectSameReading(text); });
}

TEST_F(Utf8Differential, ReadsSequencesOfFourOctetsOfEachKind) {
    const std::string leads = isFullEffort() ? edges : "\xE1\xED\xF0\xF4\xF5"s;
    for (const char lead : leads)
        forEachSequence(edges, 3, {lead}, [&](const auto& text) { expectSameReading(text); });
}

TEST_F(Utf8Differential, ReadsEachSequenceAtEachPlace) {
    const std::string sequences[] = {"\xC3\xA9"s, "\xE2\x82\xAC"s, "\xF0\x9F\x98\x80"s, "\xFF"s,
                                     "\xE2\x82"s, "\xF0\x9F\x98"s, "\xED\xA0\x80"s,     "\0"s};
    for (const std::string& sequence : sequences)
        for (std::size_t before = 0; before < 40; ++before)
            for (std::size_t after = 0; after < 40; ++after)
                expectSameReading(std::string(before, 'a') + sequence + std::string(after, 'z'));
}

TEST_F(Utf8Differential, ReadsRandomOctets) {
    std::mt19937 random(131);
    const std::string kinds[] = {allOctets(), edges, "abcdefghijklmnopqrst\xC3\xA9\xE2\x82\xAC",
                                 "\xF0\x9F\x98\x80\xED\xA0"};
    for (unsigned round = 0; round < 4000; ++round) {
        const std::string& kind = kinds[round % std::size(kinds)];
        std::string octets;
        for (std::size_t length = random() % 200; length > 0; --length)
            octets += kind[random() % kind.size()];
        expectSameReading(octets);
    }
}

TEST_F(Utf8Differential, WritesEachUnit) {
    for (unsigned unit = 0; unit <= 0xFFFF; ++unit)
        expectSameWriting({static_cast<char16_t>(unit)});
}

TEST_F(Utf8Differential, WritesEachSequenceAtEachPlace) {
    const std::u16string sequences[] = {u"\u00E9", u"\u20AC",  u"\xD83D\xDE00",      u"\xD83D",
                                        u"\xDE00", u"\0\xFF"s, u"\xDE00\xD83D\xDE00"};
    for (const std::u16string& sequence : sequences)
        for (std::size_t before = 0; before < 40; ++before)
            for (std::size_t after = 0; after < 40; ++after)
                expectSameWriting(std::u16string(before, u'a') + sequence +
                                  std::u16string(after, u'z'));
}

TEST_F(Utf8Differential, WritesRandomUnits) {
    std::mt19937 random(132);
    const std::u16string kinds[] = {u"abcdefghijklmnopqrst\u00E9\u20AC", u"\xD83D\xDE00",
                                    u"\xD83D\xDE00\u20AC\0a"s, u"\u007F\u0080\u07FF\u0800\uFFFF"};
    for (unsigned round = 0; round < 4000; ++round) {
        const std::u16string& kind = kinds[round % std::size(kinds)];
        std::u16string text;
        for (std::size_t length = random() % 200; length > 0; --length)
            text += kind[random() % kind.size()];
        expectSameWriting(text);
    }
}

TEST_F(Utf8Differential, WritesTextsAroundTheSizeOfABlock) {
    for (const std::u16string& end : {u""s, u"\u00E9"s, u"\u20AC"s, u"\xD83D\xDE00"s, u"\xD83D"s})
        for (std::size_t length = 1000; length < 1050; ++length)
            for (const char16_t filler : {u'a', u'\u00E9', u'\xDE00'})
                expectSameWriting(std::u16string(length, filler) + end + u"z");
}

// ---- US-ASCII and ISO-8859-1

/// Unit by unit.
Written writtenSlowly(const std::u16string& text, char16_t limit) {
    Written slow{true, ""};
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool hasForm = text[i] < limit;
        slow.isExact = slow.isExact && hasForm;
        slow.octets += hasForm ? static_cast<char>(text[i]) : '?';
        const bool isPair =
            (text[i] & 0xFC00) == 0xD800 && i + 1 < text.size() && (text[i + 1] & 0xFC00) == 0xDC00;
        if (isPair) ++i;
    }
    return slow;
}

TEST(NarrowDifferential, WritesRandomUnitsAsUnitByUnit) {
    std::mt19937 random(133);
    const std::pair<AdCharset, char16_t> charsets[] = {{AdCharset::getASCIICharset(), u'\x80'},
                                                       {AdCharset(u"ISO-8859-1"), u'\u0100'}};
    const std::u16string kinds[] = {u"abcdefghijklmnopqrstuvwxyz", u"abcdefghijklmnopqrst\u00E9",
                                    u"a\u007F\u0080\u00FF\u0100\xD83D\xDE00\0"s};
    for (unsigned round = 0; round < 6000; ++round) {
        const auto& [charset, limit] = charsets[round % 2];
        const std::u16string& kind = kinds[round % std::size(kinds)];
        std::u16string text;
        for (std::size_t length = random() % 100; length > 0; --length)
            text += kind[random() % kind.size()];
        const Written lenient = writtenSlowly(text, limit);
        ASSERT_EQ(write(charset, units(text), 1), (Written{true, lenient.octets})) << round;
        const Written strict = lenient.isExact ? lenient : Written{false, ""};
        ASSERT_EQ(write(charset, units(text), 0), strict) << round;
    }
}

// ---- converters that are used again

/// Whether a converter of ICU is no charset here.
bool isRefusedCharset(const std::string& name) {
    return name == "x11-compound-text" || name == "SCSU" || name == "BOCU-1";
}

std::vector<AdCharset> charsetsOfIcu() {
    std::vector<AdCharset> charsets;
    for (int32_t i = 0; i < ucnv_countAvailable(); ++i) {
        const std::string name = ucnv_getAvailableName(i);
        if (!isRefusedCharset(name)) charsets.emplace_back(wide(name));
    }
    return charsets;
}

std::string randomOctets(std::mt19937& random, std::size_t length) {
    std::string octets;
    while (octets.size() < length) octets += static_cast<char>(random());
    return octets;
}

Zeb_String randomText(std::mt19937& random, std::size_t length) {
    std::u16string text;
    while (text.size() < length) text += static_cast<char16_t>(random() % 4 ? random() : 'a');
    return units(text);
}

TEST(UsedConverter, IsAsGoodAsANewOne) {
    std::mt19937 random(134);
    const std::vector<AdCharset> charsets = charsetsOfIcu();
    ASSERT_GT(charsets.size(), 100U);
    for (const AdCharset& charset : charsets) {
        const std::string octets = randomOctets(random, 40);
        const Zeb_String text = randomText(random, 40);
        const Read firstRead = read(charset, octets, 0);
        const Written firstWritten = write(charset, text, 1);
        for (std::size_t length = 0; length < 12; ++length) {
            read(charset, "\x1B$B\x0E~{+"s + randomOctets(random, length), 0);
            write(charset, randomText(random, length), 0);
            ASSERT_EQ(read(charset, octets, 0), firstRead) << utf8(charset.getMimeName());
            ASSERT_EQ(write(charset, text, 1), firstWritten) << utf8(charset.getMimeName());
        }
    }
}

TEST(UsedConverter, OfStatefulCharsetsBeginsInTheInitialState) {
    const AdCharset japanese(u"ISO-2022-JP");
    for (int round = 0; round < 3; ++round) {
        EXPECT_FALSE(read(japanese, "\x1B$BF|K", 0).isValid);  // ends within a character
        EXPECT_EQ(read(japanese, "F|", 0), (Read{true, u"F|"}));
    }
}

TEST(UsedConverter, GivesTextsOfAnyLength) {
    for (const char16_t* const name : {u"KOI8-R", u"ISO-2022-JP", u"UTF-7", u"UTF-16", u"GB18030"})
        for (int length = 0; length < 70; ++length) {
            const AdCharset charset{Zeb_String(name)};
            const Zeb_String text(0x43F, length);
            const Written written = write(charset, text, 0);
            ASSERT_EQ(read(charset, written.octets, 0), (Read{true, text})) << length;
        }
}

TEST(UsedConverter, NeverReadsALoneSurrogate) {
    std::mt19937 random(135);
    for (const AdCharset& charset : charsetsOfIcu())
        for (std::size_t round = 0; round < 60; ++round) {
            const std::string octets = (round % 2 ? "+" : "") + randomOctets(random, round);
            AdUTF16String text;
            ASSERT_TRUE(text.cvtFromTchar(read(charset, octets, 0).text, 0))
                << utf8(charset.getMimeName()) << ' ' << testing::PrintToString(octets);
        }
}

// ---- names

Zeb_String inUpperCase(const char* name) {
    std::string upper;
    for (; *name != '\0'; ++name)
        upper += static_cast<char>(*name >= 'a' && *name <= 'z' ? *name - 'a' + 'A' : *name);
    return wide(upper);
}

/// What ICU says about a name.
Zeb_String mimeNameByIcu(const char* name, const Zeb_String& asked) {
    UErrorCode status = U_ZERO_ERROR;
    const char* const canonical = ucnv_getAlias(name, 0, &status);
    for (const char* const standard : {"MIME", "IANA"})
        if (const char* const found = ucnv_getStandardName(canonical, standard, &status))
            return wide(found);
    return asked;
}

TEST(CharsetNames, EachAliasOfIcuIsKnownTheFirstTimeAndLater) {
    int count = 0;
    for (int round = 0; round < 2; ++round)
        for (int32_t i = 0; i < ucnv_countAvailable(); ++i) {
            UErrorCode status = U_ZERO_ERROR;
            const char* const converter = ucnv_getAvailableName(i);
            for (uint16_t j = 0; j < ucnv_countAliases(converter, &status); ++j, ++count) {
                const char* const alias = ucnv_getAlias(converter, j, &status);
                for (const Zeb_String& asked : {wide(alias), inUpperCase(alias)}) {
                    const bool hasOptions = asked.Find(u",") >= 0;
                    const AdCharset charset(asked);
                    const bool isRefused = hasOptions || isRefusedCharset(converter);
                    ASSERT_EQ(charset.isKnown(), !isRefused) << alias;
                    ASSERT_EQ(charset.getMimeName(),
                              isRefused ? asked : mimeNameByIcu(alias, asked))
                        << alias;
                }
            }
        }
    EXPECT_GT(count, 1000);
}

TEST(CharsetNames, ThatDifferInOneLetterAreTwo) {
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(AdCharset(u"ISO-8859-1").getMimeName(), u"ISO-8859-1");
        EXPECT_EQ(AdCharset(u"ISO-8859-2").getMimeName(), u"ISO-8859-2");
        EXPECT_FALSE(AdCharset(u"ISO-8859-\x11").isKnown());
        EXPECT_FALSE(AdCharset(u"ISO-8859-\u0431").isKnown());
    }
}

}  // namespace
