// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>

#include "inet/admailmsg.utf16.h"
#include "tests/support/wide_text.h"
#include "tests/unit/host/scoped_environment.h"
#include "tests/unit/host/settings_folder.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// Looks at each write of a setting by its key; true lets it fail.
std::function<bool(const std::string& key)> isFailing;

/// A settings store of the test's own, empty at first.
struct MailSettings : testing::Test {
    MailSettings() : directory("VTINETLIB_SETTINGS_DIR", folder.path().string()) {}
    ~MailSettings() override { isFailing = nullptr; }

    SettingsFolder folder;
    ScopedEnvironment directory;
};

CStringArray arrayOf(const std::vector<std::string>& texts) {
    CStringArray array;
    for (const std::string& text : texts) array.Add(wide(text));
    return array;
}

std::vector<std::string> textsOf(const CStringArray& array) {
    std::vector<std::string> texts;
    for (int i = 0; i < array.GetSize(); ++i) texts.push_back(utf8(array[i]));
    return texts;
}

std::vector<std::string> allSettings() {
    CStringArray array;
    AdMailMsg().GetMailNotificationSettings(array);
    return textsOf(array);
}

}  // namespace

extern "C" {
void __real__ZN12Sov_Settings11Add_SettingER13Zeb_ConditionRK10Zeb_StringS4_S4_(Zeb_Condition&,
                                                                                const Zeb_String&,
                                                                                const Zeb_String&,
                                                                                const Zeb_String&);

void __wrap__ZN12Sov_Settings11Add_SettingER13Zeb_ConditionRK10Zeb_StringS4_S4_(
    Zeb_Condition& condition, const Zeb_String& location, const Zeb_String& key,
    const Zeb_String& value) {
    if (isFailing && isFailing(utf8(key))) return condition.SetError(u"no");
    __real__ZN12Sov_Settings11Add_SettingER13Zeb_ConditionRK10Zeb_StringS4_S4_(condition, location,
                                                                               key, value);
}
}

namespace {

TEST_F(MailSettings, areEmptyAtFirst) {
    CStringArray array = arrayOf({"before"});
    EXPECT_EQ(&AdMailMsg().GetMailNotificationSettings(array), &array);
    EXPECT_THAT(textsOf(array), ElementsAre("before", "SMTP", "", "", "", "", ""));
    EXPECT_THAT(folder.names(), IsEmpty());
}

TEST_F(MailSettings, areWrittenAndReadAsOneArray) {
    const std::vector<std::string> settings = {"SMTP", "mail.example", "j@x", "J\u00f6rg",
                                               "1",    "ISO-8859-1"};
    EXPECT_TRUE(AdMailMsg().SetMailNotificationSettings(arrayOf(settings)));
    EXPECT_EQ(allSettings(), settings);
}

TEST_F(MailSettings, haveTheirKeysInTheOrderOfTheArray) {
    AdMailMsg mail;
    EXPECT_TRUE(mail.SetMailNotificationSettings(arrayOf({"SMTP", "h", "a", "n", "s", "c"})));
    EXPECT_EQ(mail.getSetting(u"SMTPHost"), u"h");
    EXPECT_EQ(mail.getSetting(u"ReplyTo"), u"a");
    EXPECT_EQ(mail.getSetting(u"RealName"), u"n");
    EXPECT_EQ(mail.getSetting(u"SendActive"), u"s");
    EXPECT_EQ(mail.getSetting(u"Charset"), u"c");
}

TEST_F(MailSettings, areInTheFileSendMailOfTheSettingsDirectory) {
    EXPECT_TRUE(AdMailMsg().setSetting(u"SMTPHost", u"mail.example"));
    EXPECT_EQ(folder.get(u"SMTPHost"), Zeb_String(u"mail.example"));
}

TEST_F(MailSettings, loseTheCharsetInAnArrayOfFive) {
    AdMailMsg mail;
    EXPECT_TRUE(mail.setSetting(u"Charset", u"UTF-8"));
    EXPECT_TRUE(mail.SetMailNotificationSettings(arrayOf({"SMTP", "h", "a", "n", "1"})));
    EXPECT_THAT(allSettings(), ElementsAre("SMTP", "h", "a", "n", "1", ""));
    EXPECT_TRUE(folder.get(u"Charset").has_value());
}

TEST_F(MailSettings, acceptTheProtocolInAnyCase) {
    EXPECT_TRUE(AdMailMsg().SetMailNotificationSettings(arrayOf({"smtp", "h", "", "", "", ""})));
    EXPECT_TRUE(AdMailMsg().SetMailNotificationSettings(arrayOf({"sMtP", "i", "", "", "", ""})));
    EXPECT_THAT(allSettings(), ElementsAre("SMTP", "i", "", "", "", ""));
}

TEST_F(MailSettings, areRefusedInAnArrayOfAnotherShape) {
    AdMailMsg mail;
    EXPECT_FALSE(mail.SetMailNotificationSettings(CStringArray()));
    EXPECT_FALSE(mail.SetMailNotificationSettings(arrayOf({"SMTP", "h", "a", "n"})));
    EXPECT_FALSE(mail.SetMailNotificationSettings(arrayOf({"SMTP", "h", "a", "n", "1", "c", "x"})));
    EXPECT_THAT(folder.names(), IsEmpty());
}

TEST_F(MailSettings, areRefusedForAnotherProtocol) {
    AdMailMsg mail;
    for (const char* protocol : {"", "POP3", "SMTPS", " SMTP", "ESMTP"})
        EXPECT_FALSE(mail.SetMailNotificationSettings(arrayOf({protocol, "h", "a", "n", "1"})))
            << protocol;
    EXPECT_THAT(folder.names(), IsEmpty());
}

TEST_F(MailSettings, areAllWrittenEvenWhenOneWriteFails) {
    for (const std::string failing : {"SMTPHost", "ReplyTo", "RealName", "SendActive", "Charset"}) {
        std::vector<std::string> keys;
        isFailing = [&](const std::string& key) {
            keys.push_back(key);
            return key == failing;
        };
        EXPECT_FALSE(
            AdMailMsg().SetMailNotificationSettings(arrayOf({"SMTP", "h", "a", "n", "1", "c"})));
        EXPECT_THAT(keys, ElementsAre("SMTPHost", "ReplyTo", "RealName", "SendActive", "Charset"));
        EXPECT_EQ(AdMailMsg().getSetting(wide(failing)).IsEmpty(), failing == "SMTPHost")
            << "only the first key has never been written";
    }
}

TEST_F(MailSettings, tellWhetherOneWasStored) {
    isFailing = [](const std::string& key) { return key == "ReplyTo"; };
    EXPECT_TRUE(AdMailMsg().setSetting(u"SMTPHost", u"h"));
    EXPECT_FALSE(AdMailMsg().setSetting(u"ReplyTo", u"a"));
    EXPECT_THAT(allSettings(), ElementsAre("SMTP", "h", "", "", "", ""));
}

TEST_F(MailSettings, mayHoldAnyText) {
    AdMailMsg mail;
    const Zeb_String text = wide(" \"J\u00f6rg\"\r\n# = \U0001F600\t");
    EXPECT_TRUE(mail.setSetting(u"RealName", text));
    EXPECT_EQ(mail.getSetting(u"RealName"), text);
}

TEST_F(MailSettings, switchSendingOnAndOff) {
    AdMailMsg mail;
    EXPECT_EQ(mail.GetSendActive(), 0);
    for (const int on : {1, 5, -1}) {
        mail.SetSendActive(on);
        EXPECT_EQ(mail.getSetting(u"SendActive"), u"1");
        EXPECT_EQ(mail.GetSendActive(), 1);
        mail.SetSendActive(0);
        EXPECT_EQ(mail.getSetting(u"SendActive"), u"0");
        EXPECT_EQ(mail.GetSendActive(), 0);
    }
}

TEST_F(MailSettings, areOnForNothingButA1) {
    AdMailMsg mail;
    for (const char* text : {"yes", "true", "", "0", "11", " 1", "1 ", "\uff11"}) {
        EXPECT_TRUE(mail.SetMailNotificationSettings(arrayOf({"SMTP", "h", "a", "n", text})));
        EXPECT_EQ(mail.getSetting(u"SendActive"), wide(text));
        EXPECT_EQ(mail.GetSendActive(), 0) << text;
    }
}

TEST_F(MailSettings, areSharedByAllMails) {
    AdMailMsg first;
    AdMailMsg second;
    EXPECT_TRUE(first.setSetting(u"SMTPHost", u"one"));
    EXPECT_EQ(second.getSetting(u"SMTPHost"), u"one");
    EXPECT_TRUE(second.setSetting(u"SMTPHost", u"two"));
    EXPECT_EQ(first.getSetting(u"SMTPHost"), u"two");
}

TEST_F(MailSettings, surviveClearing) {
    AdMailMsg mail;
    EXPECT_TRUE(mail.setSetting(u"SMTPHost", u"one"));
    mail.ClearAll();
    EXPECT_EQ(mail.getSetting(u"SMTPHost"), u"one");
}

TEST_F(MailSettings, thatCannotBeReadAreEmpty) {
    std::filesystem::create_directory(folder.file());
    AdMailMsg mail;
    EXPECT_THAT(allSettings(), ElementsAre("SMTP", "", "", "", "", ""));
    EXPECT_EQ(mail.GetSendActive(), 0);
    EXPECT_EQ(mail.Deliver(), 1);
}

TEST_F(MailSettings, thatCannotBeWrittenAreNotStored) {
    const ScopedEnvironment file("VTINETLIB_SETTINGS_DIR", "/dev/null");
    AdMailMsg mail;
    EXPECT_FALSE(mail.setSetting(u"SMTPHost", u"h"));
    EXPECT_FALSE(mail.SetMailNotificationSettings(arrayOf({"SMTP", "h", "a", "n", "1"})));
    EXPECT_THAT(allSettings(), ElementsAre("SMTP", "", "", "", "", ""));
}

TEST_F(MailSettings, inAFileOfRubbishAreEmptyAndLeftAlone) {
    const std::string rubbish(
        "\x7F"
        "ELF\0\xFF\xFE\n\"open\nSMTPHost\n",
        23);
    folder.setOctets(rubbish);
    EXPECT_THAT(allSettings(), ElementsAre("SMTP", "", "", "", "", ""));
    EXPECT_FALSE(AdMailMsg().setSetting(u"SMTPHost", u"h"));
    EXPECT_EQ(folder.octets(), rubbish);
}

TEST_F(MailSettings, areThoseOfTheDirectoryWhereTheMailWasMade) {
    AdMailMsg mail;
    const SettingsFolder other;
    const ScopedEnvironment moved("VTINETLIB_SETTINGS_DIR", other.path().string());
    EXPECT_TRUE(mail.setSetting(u"SMTPHost", u"h"));
    EXPECT_THAT(other.names(), IsEmpty());
    EXPECT_TRUE(folder.get(u"SMTPHost").has_value());
}

}  // namespace
