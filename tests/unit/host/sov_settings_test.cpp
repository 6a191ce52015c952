// SPDX-License-Identifier: Apache-2.0
// Values and keys: what is stored reads back exactly.
#include "host/sov_settings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/unit/host/child_process.h"
#include "tests/unit/host/settings_folder.h"
#include "tests/unit/host/units.h"

using namespace std::string_view_literals;

namespace {

// ---- locations

TEST(SovSettingsPathname, LeavesOutWhatIsNotGiven) {
    struct Row {
        const char16_t* folder;
        const char16_t* name;
        const char16_t* qualifier;
        const char16_t* variant;
        long number;
        const char16_t* expected;
    };
    const Row rows[] = {
        {nullptr, u"SendMail", nullptr, nullptr, 0, u"/etc/x/SendMail.conf"},
        {u"", u"SendMail", u"", u"", 0, u"/etc/x/SendMail.conf"},
        {u"sub", u"SendMail", nullptr, nullptr, 0, u"/etc/x/sub/SendMail.conf"},
        {nullptr, u"SendMail", u"q", nullptr, 0, u"/etc/x/SendMail.q.conf"},
        {nullptr, u"SendMail", nullptr, u"v", 0, u"/etc/x/SendMail.v.conf"},
        {nullptr, u"SendMail", nullptr, nullptr, 7, u"/etc/x/SendMail.7.conf"},
        {nullptr, u"SendMail", nullptr, nullptr, -7, u"/etc/x/SendMail.-7.conf"},
        {u"sub", u"SendMail", u"q", u"v", 2147483648, u"/etc/x/sub/SendMail.q.v.2147483648.conf"},
        {nullptr, u"\u65E5", nullptr, nullptr, 0, u"/etc/x/\u65E5.conf"},
    };
    const auto pointer = [](const char16_t* text, Zeb_String& kept) {
        kept = text;
        return text ? kept.GetBuffer() : nullptr;
    };
    for (const Row& row : rows) {
        Zeb_String folder;
        Zeb_String qualifier;
        Zeb_String variant;
        Zeb_String out(u"left over");
        Sov_Settings::Get_Pathname(out, u"/etc/x", pointer(row.folder, folder), row.name,
                                   pointer(row.qualifier, qualifier), pointer(row.variant, variant),
                                   row.number);
        EXPECT_EQ(out, row.expected);
    }
}

TEST(SovSettingsPathname, DirectoryMayBeTheOutput) {
    Zeb_String text(u"/etc/x");
    Sov_Settings::Get_Pathname(text, text, nullptr, u"SendMail", nullptr, nullptr, 0);
    EXPECT_EQ(text, u"/etc/x/SendMail.conf");
}

// ---- values

const std::u16string_view allSortsOfLiterals[] = {
    u"",
    u" ",
    u"mail.example.org",
    u"1",
    u"two words",
    u" leading",
    u"trailing ",
    u"\t",
    u"\ttab\t",
    u"a\nb",
    u"a\rb",
    u"a\r\nb",
    u"\n",
    u"\r",
    u"\r\n\r\n",
    u"ends\n",
    u"\nstarts",
    u"\"",
    u"\"\"",
    u"\"quoted\"",
    u"a\"b",
    u"\"open",
    u"closed\"",
    u"'",
    u"\\",
    u"\\\\",
    u"\\n",
    u"C:\\new\\",
    u"\\\"",
    u"\"\\",
    u"\\u{41}",
    u"#",
    u"# no comment",
    u"a # b",
    u"a#b",
    u"=",
    u"a = b",
    u"= b",
    u"a =",
    u"[section]",
    u";",
    u"$HOME",
    u"%d%s%n",
    u"\0"sv,
    u"a\0b"sv,
    u"\0\0"sv,
    u"ends\0"sv,
    u"\x01\x02\x1F\x7F",
    u"\u0085\u2028\u2029",
    u"\u00A0",
    u"\u00A0x\u00A0",
    u"\u3000x\u3000",
    u"\u00FC\u65E5\u672C\U0001F600",
    u"\uFEFF",
    u"\uFEFFx",
    u"\uFFFD",
    u"\uFFFE\uFFFF",
    u"\xD800",
    u"\xDC00",
    u"a\xD83D",
    u"\xDE00\xD83D",
    u"\xD83D\xD83D\xDE00\xDE00",
    u"\U0010FFFF",
    u"\u202Eabc",
    u"}",
    u"{",
    u"\\u{",
    u"\v\f\b\a\x1B",
    u"key = value\nother = value\n",
};

std::vector<Zeb_String> allSortsOfTexts() {
    std::vector<Zeb_String> texts;
    for (const std::u16string_view literal : allSortsOfLiterals) texts.push_back(units(literal));
    return texts;
}

TEST(SovSettings, EveryValueReadsBackExactly) {
    const SettingsFolder folder;
    for (const Zeb_String& value : allSortsOfTexts()) {
        ASSERT_EQ(folder.put(u"Key", value), "") << Printable(value);
        EXPECT_EQ(folder.get(u"Key"), value);
    }
}

TEST(SovSettings, EveryKeyKeepsItsOwnValue) {
    const SettingsFolder folder;
    const std::vector<Zeb_String> keys = allSortsOfTexts();
    for (const Zeb_String& key : keys) ASSERT_EQ(folder.put(key, key + u"!"), "") << Printable(key);
    for (const Zeb_String& key : keys)
        EXPECT_EQ(folder.get(key), key + u"!") << Printable(key) << "\n" << folder.octets();
}

TEST(SovSettings, EverySingleUnitReadsBack) {
    const SettingsFolder folder;
    Zeb_String all;
    for (int unit = 0; unit <= 0xFFFF; ++unit)
        all.Append(Zeb_String(static_cast<unsigned short>(unit), 1)).Append(u".");
    ASSERT_EQ(folder.put(u"All", all), "");
    EXPECT_TRUE(folder.get(u"All") == all);
}

TEST(SovSettings, AMebibyteReadsBack) {
    const SettingsFolder folder;
    const Zeb_String plain(u'x', 1 << 20);
    Zeb_String mixed;
    while (mixed.GetLength() < (1 << 20)) mixed.Append(u" \"\\\n\r\u65E5\U0001F600#=");
    ASSERT_EQ(folder.put(u"Plain", plain), "");
    ASSERT_EQ(folder.put(u"Mixed", mixed), "");
    ASSERT_EQ(folder.put(u"Small", u"x"), "");
    EXPECT_TRUE(folder.get(u"Plain") == plain);
    EXPECT_TRUE(folder.get(u"Mixed") == mixed);
    EXPECT_EQ(folder.get(u"Small"), u"x");
}

TEST(SovSettings, AnotherProcessReadsTheSame) {
    const SettingsFolder folder;
    const std::vector<Zeb_String> texts = allSortsOfTexts();
    for (const Zeb_String& text : texts) ASSERT_EQ(folder.put(text, text), "");
    EXPECT_EQ(inChild([&] {
                  for (const Zeb_String& text : texts)
                      if (folder.get(text) != text) return "lost: " + Printable(text);
                  return std::string();
              }),
              "");
}

TEST(SovSettings, ReadsWhatAnotherProcessWroteInBetween) {
    const SettingsFolder folder;
    ASSERT_EQ(folder.put(u"Key", u"old"), "");
    ASSERT_EQ(folder.get(u"Key"), u"old");
    ASSERT_EQ(inChild([&] { return folder.put(u"Key", u"new"); }), "");
    EXPECT_EQ(folder.get(u"Key"), u"new");
}

TEST(SovSettings, AnAbsentKeyIsNoError) {
    const SettingsFolder folder;
    ASSERT_EQ(folder.put(u"Key", u"value"), "");
    for (const char16_t* key : {u"Other", u"Ke", u"Keyy", u"", u" Key"}) {
        const Lookup found = lookUp(folder.location(), key);
        EXPECT_FALSE(found.exists) << Printable(key);
        EXPECT_EQ(found.error, "") << Printable(key);
    }
}

TEST(SovSettings, AnEmptyValueExists) {
    const SettingsFolder folder;
    ASSERT_EQ(folder.put(u"Key", u""), "");
    EXPECT_TRUE(lookUp(folder.location(), u"Key").exists);
    EXPECT_EQ(folder.get(u"Key"), u"");
}

TEST(SovSettings, AValueIsReplaced) {
    const SettingsFolder folder;
    for (const char16_t* value : {u"one", u"a longer value", u"", u"1"}) {
        ASSERT_EQ(folder.put(u"Key", value), "");
        EXPECT_EQ(folder.get(u"Key"), value);
    }
    const std::string octets = folder.octets();
    EXPECT_EQ(1, std::count(octets.begin(), octets.end(), '\n')) << octets;
}

TEST(SovSettings, LocationsAreIndependent) {
    const SettingsFolder folder;
    const Zeb_String other = wide((folder.path() / "Other.conf").string());
    ASSERT_EQ(folder.put(u"Key", u"one"), "");
    ASSERT_EQ(store(other, u"Key", u"two"), "");
    EXPECT_EQ(folder.get(u"Key"), u"one");
    EXPECT_EQ(lookUp(other, u"Key").value, u"two");
}

TEST(SovSettings, TheTextIsValidUntilTheNextQuestion) {
    const SettingsFolder folder;
    ASSERT_EQ(folder.put(u"Key", u"a value longer than any small buffer"), "");
    Zeb_Condition condition;
    Zeb_String* value = nullptr;
    ASSERT_TRUE(Sov_Settings::Get_Setting(condition, folder.location(), u"Key", value));
    ASSERT_EQ(folder.put(u"Key", u"another value longer than any small buffer"), "");
    EXPECT_EQ(*value, u"a value longer than any small buffer");
}

TEST(SovSettings, MayStoreTheTextItHandedOut) {
    const SettingsFolder folder;
    ASSERT_EQ(folder.put(u"Key", u"a value longer than any small buffer"), "");
    Zeb_Condition condition;
    Zeb_String* value = nullptr;
    ASSERT_TRUE(Sov_Settings::Get_Setting(condition, folder.location(), u"Key", value));
    Sov_Settings::Add_Setting(condition, folder.location(), *value, *value);
    EXPECT_FALSE(condition.HasError());
    EXPECT_EQ(folder.get(u"a value longer than any small buffer"),
              u"a value longer than any small buffer");
}

TEST(SovSettings, LeavesNothingButTheFileBehind) {
    const SettingsFolder folder;
    for (int i = 0; i < 20; ++i)
        ASSERT_EQ(folder.put(wide("Key" + std::to_string(i)), u"value"), "");
    EXPECT_EQ(folder.names(), std::vector<std::string>{"SendMail.conf"});
}

}  // namespace
