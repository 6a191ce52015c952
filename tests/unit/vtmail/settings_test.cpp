// SPDX-License-Identifier: Apache-2.0
// vtmail settings, and what is common to all commands.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sysexits.h>
#include <unistd.h>

#include <csignal>

#include "tests/unit/host/child_process.h"
#include "tests/unit/vtmail/json_schema.h"
#include "tests/unit/vtmail/program.h"

namespace {

using ::testing::AllOf;
using ::testing::Eq;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

class Settings : public ::testing::Test {
  protected:
    const SettingsFolder& folder() const { return settings_.folder; }

    /// One line on stderr that holds `words`, nothing on stdout, the file as it was.
    void expectFailure(const std::vector<std::string>& arguments, int exitCode,
                       const std::string& words, const std::function<void()>& prepare = {}) {
        const std::string before = folder().octets();
        const Outcome run = vtmail(arguments, {}, prepare);
        EXPECT_EQ(run.exitCode, exitCode);
        EXPECT_THAT(run.out, IsEmpty());
        EXPECT_THAT(run.err, AllOf(StartsWith("vtmail: "), HasSubstr(words)));
        EXPECT_EQ(run.err.find('\n'), run.err.size() - 1) << run.err;
        EXPECT_EQ(folder().octets(), before);
    }

  private:
    TestSettings settings_;
};

TEST_F(Settings, WhatIsSetCanBeGot) {
    EXPECT_EQ(vtmail({"settings", "set", "RealName", "Zoë  Müller"}).exitCode, 0);
    EXPECT_EQ(vtmail({"settings", "get", "RealName"}).out, "Zoë  Müller\n");
}

TEST_F(Settings, WhatIsNotSetIsEmpty) {
    EXPECT_EQ(vtmail({"settings", "get", "SMTPHost"}).out, "\n");
}

TEST_F(Settings, ListShowsAllInTheirOrder) {
    folder().setOctets("SendActive = 1\nSMTPHost = mail.x\nReplyTo = \"a\\u{1B}b\"\n");
    EXPECT_EQ(vtmail({"settings", "list"}).out,
              "SMTPHost = mail.x\nReplyTo = a\\x1Bb\nRealName = \nSendActive = 1\nCharset = \n");
}

TEST_F(Settings, PathNamesTheFile) {
    EXPECT_EQ(vtmail({"settings", "path"}).out, folder().file().string() + "\n");
}

TEST_F(Settings, ForProgramsTheListIsOneObject) {
    folder().setOctets("SMTPHost = mail.x\nRealName = \"Zoë \\\"\\u{1B}\"\n");
    const Outcome run = vtmail({"settings", "list", "--json"});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.out, "{\"path\":\"" + folder().file().string() +
                           "\",\"settings\":{\"Charset\":\"\",\"RealName\":\"Zo\\u00eb "
                           "\\\"\\u001b\",\"ReplyTo\":\"\",\"SMTPHost\":\"mail.x\","
                           "\"SendActive\":\"\"}}\n");
    EXPECT_EQ(differencesFromSchema("settingsList", run.out), "");
}

TEST_F(Settings, ForProgramsAValueHasItsName) {
    folder().setOctets("SMTPHost = mail.x\n");
    const Outcome run = vtmail({"settings", "get", "SMTPHost", "--json"});
    EXPECT_EQ(run.out, "{\"key\":\"SMTPHost\",\"value\":\"mail.x\"}\n");
    EXPECT_EQ(differencesFromSchema("settingsGet", run.out), "");
}

TEST_F(Settings, ForProgramsThePathIsAnObject) {
    const Outcome run = vtmail({"settings", "path", "--json"});
    EXPECT_EQ(run.out, "{\"path\":\"" + folder().file().string() + "\"}\n");
    EXPECT_EQ(differencesFromSchema("settingsPath", run.out), "");
}

TEST_F(Settings, WhatFailsPrintsNoJson) {
    folder().setOctets("rubbish\n");
    expectFailure({"settings", "list", "--json"}, EX_CONFIG, "SendMail.conf:1");
    expectFailure({"settings", "get", "Host", "--json"}, EX_USAGE, "no setting is named Host");
}

TEST_F(Settings, AnUnknownNameIsAUsageError) {
    expectFailure({"settings", "set", "Host\x1B", "x"}, EX_USAGE, "no setting is named Host\\x1B");
    expectFailure({"settings", "get", "Host"}, EX_USAGE, "no setting is named Host");
}

TEST_F(Settings, AValueThatCannotWorkIsAUsageError) {
    expectFailure({"settings", "set", "SendActive", "yes"}, EX_USAGE, "give 1 or 0");
    expectFailure({"settings", "set", "Charset", "klingon"}, EX_USAGE, "no charset is named");
    expectFailure({"settings", "set", "SMTPHost", "a\r\nb"}, EX_USAGE, "one line");
}

TEST_F(Settings, AValueThatIsNoUtf8IsRefused) {
    expectFailure({"settings", "set", "RealName", "M\xFCller"}, EX_DATAERR, "not UTF-8");
}

TEST_F(Settings, AFileOfRubbishIsNamedAndLeftAlone) {
    folder().setOctets(
        std::string("\x7F"
                    "ELF\x01\0\xFF\n",
                    8));
    expectFailure({"settings", "list"}, EX_CONFIG, folder().file().string());
    expectFailure({"settings", "get", "SMTPHost"}, EX_CONFIG, folder().file().string());
    expectFailure({"settings", "set", "SMTPHost", "x"}, EX_CANTCREAT, folder().file().string());
}

TEST_F(Settings, WhatCanBeReadOfAFileWithFaultsIsListed) {
    folder().setOctets("SMTPHost = mail.x\nReplyTo\nRealName = Zoë\nSendActive = \"1\n");
    const Outcome run = vtmail({"settings", "list"});
    EXPECT_EQ(run.exitCode, EX_CONFIG);
    EXPECT_EQ(run.out, "SMTPHost = mail.x\nRealName = Zoë\n");
    EXPECT_THAT(run.err, AllOf(HasSubstr("SendMail.conf:2: no \"=\""), HasSubstr("settings edit")));
}

TEST_F(Settings, AFileThatIsCutOffIsNamedAndLeftAlone) {
    folder().setOctets("SMTPHost = mail.x\nRealName = \"Zo");
    expectFailure({"settings", "get", "RealName"}, EX_CONFIG, "SendMail.conf:2");
    expectFailure({"settings", "set", "SMTPHost", "x"}, EX_CANTCREAT, "SendMail.conf:2");
}

TEST_F(Settings, AFileThatMayNotBeReadIsNamed) {
    folder().setOctets("SMTPHost = mail.x\n");
    std::filesystem::permissions(folder().file(), std::filesystem::perms(0));
    const Outcome run = vtmail({"settings", "get", "SMTPHost"}, {}, becomeOrdinaryUser);
    EXPECT_EQ(run.exitCode, EX_CONFIG);
    EXPECT_THAT(run.err, AllOf(HasSubstr(folder().file().string()), HasSubstr("denied")));
}

TEST_F(Settings, AFolderThatMayNotBeWrittenIsNamed) {
    folder().setOctets("SMTPHost = mail.x\n");
    std::filesystem::permissions(folder().path(), std::filesystem::perms(0555));
    expectFailure({"settings", "set", "SMTPHost", "x"}, EX_CANTCREAT, "denied", becomeOrdinaryUser);
    std::filesystem::permissions(folder().path(), std::filesystem::perms(0755));
}

TEST_F(Settings, WithoutSpaceTheOldFileStays) {
    folder().setOctets("SMTPHost = mail.x\n");
    expectFailure({"settings", "set", "RealName", std::string(5000, 'x')}, EX_CANTCREAT,
                  "File too large", [] {
                      const rlimit limit = {1000, 1000};
                      setrlimit(RLIMIT_FSIZE, &limit);
                  });
    EXPECT_THAT(folder().names(), ::testing::ElementsAre("SendMail.conf"));
}

TEST_F(Settings, OutputThatCannotBeWrittenIsAnError) {
    const Outcome run = vtmail({"settings", "list"}, {}, [] {
        dup2(open("/dev/full", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
    });
    EXPECT_EQ(run.exitCode, EX_IOERR);
    EXPECT_THAT(run.err, HasSubstr("No space left on device"));
}

TEST_F(Settings, AReaderThatHasGoneIsAnErrorAndNoSignal) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    close(ends[0]);
    const Outcome run =
        vtmail({"settings", "list"}, {}, [out = ends[1]] { dup2(out, STDOUT_FILENO); });
    close(ends[1]);
    EXPECT_EQ(run.exitCode, EX_IOERR);
}

// ---- the judge of JSON

TEST(JsonSchema, NamesWhatDiffers) {
    const std::pair<const char*, const char*> rows[] = {
        {"{", "no JSON"},
        {"[]", "$: type"},
        {"{}", "required value"},
        {R"({"key":"a","value":1})", "$.value: type"},
        {R"({"key":"a","value":"b","more":1})", "no more"},
    };
    for (const auto& [text, words] : rows)
        EXPECT_THAT(differencesFromSchema("settingsGet", text), HasSubstr(words)) << text;
    EXPECT_EQ(differencesFromSchema("settingsGet", R"({"key":"a","value":"b"})"), "");
    EXPECT_THAT(differencesFromSchema("headers", R"({"a":["b"],"c":[1]})"), HasSubstr("$.c[0]"));
}

// ---- the program as such

TEST(Program, HelpIsThereForEachCommand) {
    const std::vector<std::vector<std::string>> commands = {
        {}, {"settings"}, {"settings", "set"}, {"send"}, {"show"}, {"sandbox"}, {"demo"}};
    for (std::vector<std::string> arguments : commands) {
        arguments.emplace_back("--help");
        const Outcome run = vtmail(arguments);
        EXPECT_EQ(run.exitCode, 0);
        EXPECT_THAT(run.out, HasSubstr("Usage: vtmail"));
        EXPECT_THAT(run.err, IsEmpty());
    }
}

TEST(Program, VersionIsOneLine) {
    const Outcome run = vtmail({"--version"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.out, Eq("vtmail " VTMAIL_VERSION "\n"));
}

TEST(Program, WhatItDoesNotKnowIsAUsageErrorInOneLine) {
    const std::pair<std::vector<std::string>, std::string> rows[] = {
        {{}, "subcommand is required"},
        {{"fly\x1B"}, "there is no command fly\\x1B;"},
        {{"--fly"}, "there is no option --fly; vtmail --help"},
        {{"settings", "fly"}, "there is no command fly;"},
        {{"settings"}, "subcommand is required"},
        {{"settings", "set", "SMTPHost"}, "VALUE is required"},
        {{"send", "--fly"}, "--fly"},
        {{"send", "--body", "a", "--file", "b"}, "--body excludes --file"},
        {{"show"}, "FILE is required"},
        {{"show", "-", "--json", "--headers"}, "at most 1"},
        {{"sandbox", "--smtp-port", "70000"}, "--smtp-port"},
    };
    for (const auto& [arguments, words] : rows) {
        const Outcome run = vtmail(arguments);
        EXPECT_EQ(run.exitCode, EX_USAGE) << words;
        EXPECT_THAT(run.err, HasSubstr(words));
        EXPECT_EQ(run.err.find('\n'), run.err.size() - 1) << run.err;
        EXPECT_THAT(run.out, IsEmpty());
    }
}

}  // namespace
