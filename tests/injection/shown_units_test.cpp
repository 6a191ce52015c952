// SPDX-License-Identifier: Apache-2.0
// Every UTF-16 unit in what vtmail prints and in the names of the files that it writes: functions
// with all of them, the program with those that a terminal could take for more than a character.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unicode/unistr.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>

#include "host/printable.h"
#include "tests/injection/placed_units.h"
#include "tests/unit/vtmail/program.h"
#include "tools/vtmail/file_names.h"
#include "tools/vtmail/message_json.h"
#include "tools/vtmail/message_view.h"
#include "tools/vtmail/text.h"

namespace {

/// The text of UTF-8 octets as ICU reads it; fails the test when they are none.
std::u16string icuWide(const std::string& utf8) {
    std::u16string text;
    icu::UnicodeString wide = icu::UnicodeString::fromUTF8(utf8);
    text.assign(wide.getBuffer(), static_cast<std::size_t>(wide.length()));
    EXPECT_EQ(icuUtf8(text), utf8);
    return text;
}

bool isHarmless(const std::u16string& text) {
    return std::none_of(text.begin(), text.end(), isDangerous);
}

/// Whether the unit may be shown as it is. Marks of the byte order and between annotations, which
/// are not shown at all, are not.
bool isShownAsItIs(char16_t unit) {
    return !isDangerous(unit) && unit != 0xFEFF && !(unit >= 0xFFF9 && unit <= 0xFFFB);
}

TEST(ShownUnits, AreHarmlessOnALine) {
    forEachPlacedUnit(u"ab", u"cd", [](const PlacedUnit& text) {
        const std::u16string printed = icuWide(Printable(text.wide()));
        ASSERT_TRUE(isHarmless(printed));
        ASSERT_EQ(printed == text.text, isShownAsItIs(text.unit));
        const std::string octets = icuUtf8(text.text);
        const std::u16string line = icuWide(shown(octets));
        ASSERT_TRUE(isHarmless(line));
        ASSERT_TRUE(line == text.text || !isShownAsItIs(text.unit)) << octets;
    });
}

std::string shownText(const std::string& utf8) {
    std::ostringstream out;
    ShownText text(out);
    text.put(utf8);
    text.finish();
    return out.str();
}

TEST(ShownUnits, AreHarmlessInTextOfLines) {
    forEachPlacedUnit(u"ab\nc", u"d\n", [](const PlacedUnit& text) {
        std::u16string lines = icuWide(shownText(icuUtf8(text.text)));
        ASSERT_TRUE(lines.ends_with(u'\n'));
        ASSERT_EQ(std::count(lines.begin(), lines.end(), u'\n'),
                  std::count(text.text.begin(), text.text.end(), u'\n') +
                      (text.text.ends_with(u'\n') ? 0 : 1));
        std::erase_if(lines, [](char16_t unit) { return unit == u'\n' || unit == u'\t'; });
        ASSERT_TRUE(isHarmless(lines));
    });
}

/// Octets that are no UTF-8: a surrogate as if it were a character, and single octets.
TEST(ShownOctets, AreHarmless) {
    for (int first = 0; first < 256; ++first) {
        for (int second = 0; second < 256; ++second) {
            const std::string octets = {'\xED', static_cast<char>(first), static_cast<char>(second),
                                        '\xC2'};
            ASSERT_TRUE(isHarmless(icuWide(shown(octets)))) << first << " " << second;
            ASSERT_TRUE(isHarmless(icuWide(file_names::safe(octets)))) << first << " " << second;
        }
    }
}

/// What a name must not do, whatever it was made of.
void expectSafeName(const std::string& name) {
    const std::u16string text = icuWide(name);
    ASSERT_TRUE(isHarmless(text));
    ASSERT_EQ(name.find_first_of("/\\"), std::string::npos) << name;
    ASSERT_EQ(name.find(".."), std::string::npos) << name;
    ASSERT_FALSE(name.starts_with('.') || name.starts_with('-') || name.starts_with(' ')) << name;
    ASSERT_FALSE(name.ends_with('.') || name.ends_with(' ')) << name;
    ASSERT_LE(name.size(), file_names::longest);
}

TEST(FileNameUnits, AreSafe) {
    for (const auto& [before, after] : {std::pair(u"name", u".txt"), std::pair(u".", u"./x"),
                                        std::pair(u"-", u"."), std::pair(u" . ", u"..\\..")}) {
        forEachPlacedUnit(before, after, [](const PlacedUnit& name) {
            const std::string safe = file_names::safe(icuUtf8(name.text));
            expectSafeName(safe);
            expectSafeName(file_names::numbered(safe.empty() ? "x" : safe, 2));
        });
    }
}

TEST(FileNameUnits, StayWhenTheyAreOrdinary) {
    forEachPlacedUnit(u"na", u"me", [](const PlacedUnit& name) {
        if (!isShownAsItIs(name.unit) ||
            std::u16string_view(u"/\\. -").find(name.unit) != std::u16string_view::npos)
            return;
        ASSERT_EQ(file_names::safe(icuUtf8(name.text)), icuUtf8(name.text));
    });
}

std::string encodedWord(const std::u16string& text) {
    std::string word = "=?utf-8?Q?";
    for (const char octet : icuUtf8(text)) {
        const auto value = static_cast<unsigned char>(octet);
        word += {'=', "0123456789ABCDEF"[value >> 4], "0123456789ABCDEF"[value & 0xF]};
    }
    return word + "?=";
}

/// A mail that says this everywhere.
std::string mailSaying(const std::u16string& text) {
    const std::string word = encodedWord(text);
    std::string raw = icuUtf8(text);
    std::erase(raw, '\n');  // would end the field, or all of them
    return "From: " + word + " <a@x>\nTo: " + word + " <b@x>\nSubject: " + word +
           "\nX-Raw: " + raw + "\nMIME-Version: 1.0\n" +
           "Content-Type: multipart/mixed; boundary=b\n\n--b\nContent-Type: text/plain; "
           "charset=\"" +
           word + "\"\n\n" + icuUtf8(text) + "\n--b\nContent-Type: application/" + word +
           "\nContent-Disposition: attachment; filename=\"" + word + "\"\n\n" + icuUtf8(text) +
           "\n--b--\n";
}

TEST(JsonUnits, AreAsciiAndMeanThemselves) {
    forEachPlacedUnit(u"ab", u"cd", [](const PlacedUnit& text) {
        std::istringstream in("Subject: " + encodedWord(text.text) + "\n\n");
        const std::string json = toJson(GuardedMessage(in));
        for (const char octet : json) ASSERT_TRUE(octet == '\n' || (octet >= ' ' && octet <= '~'));
        // A subject is several values where a line feed parts them.
        if (text.unit == u'\n') return;
        ASSERT_EQ(nlohmann::json::parse(json)["headers"]["subject"][0], icuUtf8(text.text));
    });
}

/// Units for the program, which takes a while to start.
const std::u16string forTheProgram =
    std::u16string(1, 0) +
    u"\a\b\t\n\r\x1B\x7F\u0085\u009B\u061C\u200E\u200F\u2028\u2029\u202A\u202B\u202C\u202D\u202E"
    u"\u2066\u2067\u2068\u2069\uFEFF\u0A0D\u760D\u0D0A./-" +
    std::u16string{0xD800, 0xDBFF, 0xDC00, 0xDFFF};

std::u16string sayingAll() {
    std::u16string text;
    for (const char16_t unit : forTheProgram) text += std::u16string(u"a") + unit;
    return text;
}

/// Expects nothing in `output` but lines that a terminal shows as they are.
void expectHarmlessOutput(const std::string& output) {
    std::u16string text = icuWide(output);
    std::erase_if(text, [](char16_t unit) { return unit == u'\n' || unit == u'\t'; });
    EXPECT_TRUE(isHarmless(text)) << output;
}

TEST(Program, ShowsAMailHarmlessly) {
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"show", "-"},
                                                      {"show", "--headers", "-"},
                                                      {"show", "--json", "-"}}) {
        const Outcome run = vtmail(arguments, mailSaying(sayingAll()));
        EXPECT_EQ(run.exitCode, 0) << run.err;
        EXPECT_NE(run.out.find('a'), std::string::npos);
        expectHarmlessOutput(run.out + run.err);
    }
}

TEST(Program, WritesFilesOfHarmlessNames) {
    const SettingsFolder folder;
    const std::filesystem::path inside = folder.path() / "inside";
    std::size_t files = 0;
    for (const char16_t unit : forTheProgram) {
        const std::u16string name = std::u16string(1, unit) + u"x" + unit + u".." + unit;
        const Outcome run = vtmail({"show", "--extract", inside.string(), "-"}, mailSaying(name));
        EXPECT_EQ(run.exitCode, 0) << run.err;
        expectHarmlessOutput(run.out + run.err);
        ++files;
    }
    EXPECT_EQ(folder.names(), std::vector<std::string>{"inside"});
    for (const auto& entry : std::filesystem::directory_iterator(inside)) {
        expectSafeName(entry.path().filename().string());
        --files;
    }
    EXPECT_EQ(files, 0U);
}

TEST(Program, ComplainsHarmlessly) {
    std::string text = icuUtf8(sayingAll());
    std::erase(text, '\0');  // an argument ends there
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{text},
          {"--" + text},
          {"show", "no" + text},
          {"show", "--part", text, "-"},
          {"settings", "get", text},
          {"settings", "set", "Charset", text},
          {"settings", "list"},
          {"send", "--to", text, "--subject", text, "--body", text}}) {
        const TestSettings settings;
        const Outcome run = vtmail(arguments, mailSaying(sayingAll()));
        expectHarmlessOutput(run.out + run.err);
        EXPECT_LE(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
    }
}

TEST(Program, ListsSettingsHarmlessly) {
    const TestSettings settings;
    EXPECT_EQ(settings.folder.put(u"RealName",
                                  Zeb_String::FromUnits(sayingAll().data(), sayingAll().size())),
              "");
    const Outcome run = vtmail({"settings", "list"});
    expectHarmlessOutput(run.out);
    EXPECT_EQ(std::count(run.out.begin(), run.out.end(), '\n'), 5) << run.out;
}

}  // namespace
