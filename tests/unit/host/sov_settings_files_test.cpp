// SPDX-License-Identifier: Apache-2.0
// The file as a person sees it: hand-edited forms, comments and order.
#include <gtest/gtest.h>

#include <string>

#include "host/sov_settings.h"
#include "tests/unit/host/settings_folder.h"
#include "tests/unit/host/units.h"

using namespace std::string_literals;
using namespace std::string_view_literals;

namespace {

// ---- reading

struct HandEdited {
    std::string_view octets;
    std::u16string_view key;
    std::u16string_view value;
};

const HandEdited handEdited[] = {
    {"a = 1\n", u"a", u"1"},
    {"a=1\n", u"a", u"1"},
    {"a =1\n", u"a", u"1"},
    {"a= 1\n", u"a", u"1"},
    {"  a  =  1  \n", u"a", u"1"},
    {"\ta\t=\t1\t\n", u"a", u"1"},
    {"a = 1", u"a", u"1"},
    {"a =\n", u"a", u""},
    {"a =   \n", u"a", u""},
    {"a =", u"a", u""},
    {"a = two words\n", u"a", u"two words"},
    {"two words = 1\n", u"two words", u"1"},
    {"a = x # y\n", u"a", u"x # y"},
    {"a = b = c\n", u"a", u"b = c"},
    {"a = C:\\new\\\n", u"a", u"C:\\new\\"},
    {"a = 5\" disk\n", u"a", u"5\" disk"},
    {"a = caf\xC3\xA9 \xF0\x9F\x98\x80\n", u"a", u"caf\u00E9 \U0001F600"},
    {"caf\xC3\xA9 = 1\n", u"caf\u00E9", u"1"},
    {"a = \"x\"\n", u"a", u"x"},
    {"a=\"x\"\n", u"a", u"x"},
    {"a = \"x\"", u"a", u"x"},
    {"a = \"x\"  \t\n", u"a", u"x"},
    {"a = \"\"\n", u"a", u""},
    {"a = \"  x  \"\n", u"a", u"  x  "},
    {"a = \"# = x\"\n", u"a", u"# = x"},
    {"a = \"\\\"\\\\\\n\\r\\t\"\n", u"a", u"\"\\\n\r\t"},
    {"a = \"\\u{41}\\u{e9}\\u{E9}\\u{1F600}\\u{10FFFF}\\u{0}\"\n", u"a",
     u"A\u00E9\u00E9\U0001F600\U0010FFFF\0"sv},
    {"a = \"\\u{0041}\"\n", u"a", u"A"},
    {"a = \"\\u{D800}x\\u{DC00}\"\n", u"a", u"\xD800x\xDC00"},
    {"a = \"caf\xC3\xA9\ttab\"\n", u"a", u"caf\u00E9\ttab"},
    {"\"a b=#\\n\" = 1\n", u"a b=#\n", u"1"},
    {"\"\" = 1\n", u"", u"1"},
    {"\"a\"=\"1\"\n", u"a", u"1"},
    {"a = 1\na = 2\n", u"a", u"2"},
    {"a = 1\nb = 3\n\"a\" = \"2\"\n", u"a", u"2"},
    {"a = 1\r\nb = 2\r\n", u"a", u"1"},
    {"a = \"1\"\r\nb = 2\r\n", u"a", u"1"},
    {"a = 1\r\nb = 2\r\n", u"b", u"2"},
    {"\r\n# c\r\na =\r\n", u"a", u""},
    {"\xEF\xBB\xBF"
     "a = 1\n",
     u"a", u"1"},
    {"\xEF\xBB\xBF\xEF\xBB\xBF"
     "a = 1\n",
     u"a", u"1"},
    {"\xEF\xBB\xBF# comment\na = 1\n", u"a", u"1"},
    {"\n\n  \n\t\na = 1\n\n", u"a", u"1"},
    {"# a = 2\n  # a = 3\n\t#a = 4\na = 1\n#a = 5\n", u"a", u"1"},
};

TEST(SovSettingsFile, UnderstandsWhatPeopleWrite) {
    const SettingsFolder folder;
    for (const HandEdited& row : handEdited) {
        folder.setOctets(row.octets);
        const Lookup found = lookUp(folder.location(), units(row.key));
        EXPECT_TRUE(found.exists) << row.octets;
        EXPECT_EQ(found.value, units(row.value)) << row.octets;
        EXPECT_EQ(found.error, "") << row.octets;
    }
}

TEST(SovSettingsFile, AFileWithoutSettingsIsEmpty) {
    const SettingsFolder folder;
    for (const char* octets :
         {"", "\n", "\n\n\n", "# a = 1\n", "#", "  ", "\xEF\xBB\xBF", "\r\n"}) {
        folder.setOctets(octets);
        const Lookup found = lookUp(folder.location(), u"a");
        EXPECT_FALSE(found.exists) << octets;
        EXPECT_EQ(found.error, "") << octets;
    }
}

const std::string_view notUnderstood[] = {
    "no equals sign",
    "a = \"cut off",
    "a = \"cut off\\",
    "a = \"cut off\\\"",
    "a = \"",
    "a = \"x\" y",
    "a = \"x\"\"y\"",
    "a = \"\\q\"",
    "a = \"\\\"",
    "a = \"\\u41\"",
    "a = \"\\u{}\"",
    "a = \"\\u{41\"",
    "a = \"\\u{4g}\"",
    "a = \"\\u{110000}\"",
    "a = \"\\u{100000041}\"",
    "\"a = 1",
    "\"a\" b = 1",
    "\"a\"",
    "a = \xFF",
    "a = \"\xC3\"",
    "\xE9 = 1",
    "a = \0"sv,
    "a\0b = 1"sv,
    "a = \x01",
    "a = \"\x1F\"",
    "a = \x7F",
    "a = 1\rb = 2",
};

TEST(SovSettingsFile, ALineThatIsNotUnderstoodIsAnErrorAndTheOthersCount) {
    const SettingsFolder folder;
    for (const std::string_view line : notUnderstood) {
        folder.setOctets("before = 1\n" + std::string(line) + "\nafter = 2\n");
        for (const auto& [key, value] : {std::pair(u"before", u"1"), std::pair(u"after", u"2")}) {
            const Lookup found = lookUp(folder.location(), key);
            EXPECT_TRUE(found.exists) << line;
            EXPECT_EQ(found.value, value) << line;
            EXPECT_NE(found.error.find(folder.file().string()), std::string::npos)
                << line << " / " << found.error;
        }
    }
}

TEST(SovSettingsFile, AFileThatIsNotUnderstoodIsNotWritten) {
    const SettingsFolder folder;
    for (const std::string_view line : notUnderstood) {
        const std::string octets = "before = 1\n" + std::string(line) + "\nafter = 2\n";
        folder.setOctets(octets);
        const std::string error = folder.put(u"before", u"new");
        EXPECT_NE(error.find(folder.file().string()), std::string::npos) << line << " / " << error;
        EXPECT_EQ(folder.octets(), octets);
        EXPECT_EQ(folder.names(), std::vector<std::string>{"SendMail.conf"});
    }
}

TEST(SovSettingsFile, ACutOffFileKeepsItsWholeLines) {
    const SettingsFolder folder;
    folder.setOctets("SMTPHost = mail.example.org\nRealName = \"Joe \\\"The");
    const Lookup found = lookUp(folder.location(), u"SMTPHost");
    EXPECT_EQ(found.value, u"mail.example.org");
    EXPECT_NE(found.error, "");
    EXPECT_FALSE(lookUp(folder.location(), u"RealName").exists);
    EXPECT_NE(lookUp(folder.location(), u"RealName").error, "");
}

TEST(SovSettingsFile, RubbishIsAnErrorAndIsLeftAlone) {
    const SettingsFolder folder;
    std::string rubbish =
        "\x7F"
        "ELF\x02\x01\x01\0\0"s;
    unsigned state = 12345;
    for (int i = 0; i < 100000; ++i) {
        state = state * 1103515245 + 12345;
        rubbish += static_cast<char>(state >> 16);
    }
    folder.setOctets(rubbish);
    const Lookup found = lookUp(folder.location(), u"SMTPHost");
    EXPECT_FALSE(found.exists);
    EXPECT_NE(found.error.find(folder.file().string()), std::string::npos) << found.error;
    EXPECT_LT(found.error.size(), 1000u);
    EXPECT_NE(folder.put(u"SMTPHost", u"x"), "");
    EXPECT_TRUE(folder.octets() == rubbish);
}

// ---- writing

TEST(SovSettingsFile, PlainValuesAreWrittenPlainly) {
    const SettingsFolder folder;
    ASSERT_EQ(folder.put(u"SMTPHost", u"mail.example.org"), "");
    ASSERT_EQ(folder.put(u"RealName", u"Zo\u00EB M\u00FCller"), "");
    ASSERT_EQ(folder.put(u"SendActive", u"1"), "");
    EXPECT_EQ(folder.octets(),
              "SMTPHost = mail.example.org\nRealName = Zo\xC3\xAB M\xC3\xBCller\nSendActive = 1\n");
}

TEST(SovSettingsFile, AnyValueIsOneLineOfUtf8) {
    const SettingsFolder folder;
    const Zeb_String value = units(u" \"a\"\r\n\\\0\xD800\u0085\u2028# = \U0001F600 "sv);
    ASSERT_EQ(folder.put(u"Key", value), "");
    const std::string octets = folder.octets();
    EXPECT_EQ(octets.find('\n'), octets.size() - 1) << octets;
    EXPECT_EQ(octets.find_first_of("\r\0"sv), std::string::npos) << octets;
    EXPECT_EQ(utf8(wide(octets)), octets);
    EXPECT_EQ(folder.get(u"Key"), value);
}

TEST(SovSettingsFile, CommentsAndOrderAreKept) {
    const SettingsFolder folder;
    folder.setOctets(
        "# Mail of the backup server\n\nSMTPHost=old\n  # indented = comment\n"
        "ReplyTo\t=  \"joe@example.org\"  \n\n#SendActive = 0\nRealName = Joe # the 1st\n# end\n");
    ASSERT_EQ(folder.put(u"SMTPHost", u"new"), "");
    ASSERT_EQ(folder.put(u"SendActive", u"1"), "");
    EXPECT_EQ(
        folder.octets(),
        "# Mail of the backup server\n\nSMTPHost = new\n  # indented = comment\n"
        "ReplyTo\t=  \"joe@example.org\"  \n\n#SendActive = 0\nRealName = Joe # the 1st\n# end\n"
        "SendActive = 1\n");
}

TEST(SovSettingsFile, AnUnendedLastLineIsEndedBeforeAnotherFollows) {
    const SettingsFolder folder;
    folder.setOctets("a = 1\n# the end");
    ASSERT_EQ(folder.put(u"b", u"2"), "");
    EXPECT_EQ(folder.octets(), "a = 1\n# the end\nb = 2\n");
    folder.setOctets("a = 1");
    ASSERT_EQ(folder.put(u"b", u"2"), "");
    EXPECT_EQ(folder.octets(), "a = 1\nb = 2\n");
}

TEST(SovSettingsFile, AKeyThatStandsTwiceHasTheNewValueAfterwards) {
    const SettingsFolder folder;
    folder.setOctets("a = 1\nb = 2\na = 3\n");
    ASSERT_EQ(folder.put(u"a", u"new"), "");
    EXPECT_EQ(folder.get(u"a"), u"new");
    EXPECT_EQ(folder.get(u"b"), u"2");
}

TEST(SovSettingsFile, ALineThatBeginsWithAByteOrderMarkIsReplacedLikeAnyOther) {
    const SettingsFolder folder;
    folder.setOctets(
        "\xEF\xBB\xBF"
        "a = 1\nb = 2\n");
    ASSERT_EQ(folder.put(u"a", u"3"), "");
    EXPECT_EQ(folder.get(u"a"), u"3");
    EXPECT_EQ(folder.get(u"b"), u"2");
    const std::string octets = folder.octets();
    EXPECT_EQ(octets.find("a = 1"), std::string::npos) << octets;
}

TEST(SovSettingsFile, SeveralByteOrderMarksAtTheStartAreNoPartOfAKey) {
    const SettingsFolder folder;
    folder.setOctets(
        "\xEF\xBB\xBF\xEF\xBB\xBF"
        "a = 1\n");
    ASSERT_EQ(folder.put(u"b", u"2"), "");
    ASSERT_EQ(folder.put(u"b", u"2"), "");
    EXPECT_EQ(folder.octets(), "a = 1\nb = 2\n");
}

TEST(SovSettingsFile, AByteOrderMarkInAKeyIsKeptAtTheStartOfAFile) {
    const SettingsFolder folder;
    ASSERT_EQ(folder.put(u"\uFEFFa", u"1"), "");
    EXPECT_EQ(folder.get(u"\uFEFFa"), u"1");
    EXPECT_FALSE(folder.get(u"a").has_value());
    EXPECT_EQ(folder.octets(), "\"\\u{FEFF}a\" = \"1\"\n");
}

// Time in proportion to the square would be minutes.
TEST(SovSettingsFile, AFileOfManySettingsIsReadAndWrittenInProportion) {
    constexpr int count = 100000;
    const SettingsFolder folder;
    std::string lines;
    for (int i = 0; i < count; ++i)
        lines += "key" + std::to_string(i) + " = \"\\u{41}" + std::to_string(i) + "\"\n";
    folder.setOctets(lines);
    EXPECT_EQ(folder.get(u"key0"), u"A0");
    ASSERT_EQ(folder.put(u"key0", u"new"), "");
    ASSERT_EQ(folder.put(u"another", u"one"), "");
    EXPECT_EQ(folder.get(u"key0"), u"new");
    EXPECT_EQ(folder.get(u"key99999"), u"A99999");
    EXPECT_EQ(folder.get(u"another"), u"one");
}

TEST(SovSettingsFile, WritingIntoAFileWithCarriageReturnsKeepsItsValues) {
    const SettingsFolder folder;
    folder.setOctets("# comment\r\na = 1\r\nb = \"2\"\r\nc = 3\r\n");
    ASSERT_EQ(folder.put(u"b", u"new"), "");
    ASSERT_EQ(folder.put(u"d", u"4"), "");
    EXPECT_EQ(folder.get(u"a"), u"1");
    EXPECT_EQ(folder.get(u"b"), u"new");
    EXPECT_EQ(folder.get(u"c"), u"3");
    EXPECT_EQ(folder.get(u"d"), u"4");
    EXPECT_TRUE(folder.octets().starts_with("# comment\r\na = 1\r\n")) << folder.octets();
}

}  // namespace
