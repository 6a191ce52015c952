// SPDX-License-Identifier: Apache-2.0
// vtmail settings edit, with editors that are shell commands.
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sysexits.h>

#include <csignal>
#include <fstream>
#include <iterator>

#include "tests/unit/vtmail/program.h"

namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

class SettingsEdit : public ::testing::Test {
  protected:
    const SettingsFolder& folder() const { return settings_.folder; }
    std::string file() const { return folder().file().string(); }

    /// `body` is run by sh; $1 is what is to be edited.
    static Outcome edit(const std::string& body, const std::function<void()>& prepare = {}) {
        const ScopedEnvironment editor("EDITOR", "edit() { " + body + "; }; edit");
        return vtmail({"settings", "edit"}, {}, prepare);
    }

    /// The settings are `stored`, and what was typed is in the copy that stderr names.
    void expectKept(const Outcome& run, int exitCode, const std::string& stored,
                    const std::string& typed) {
        EXPECT_EQ(run.exitCode, exitCode) << run.err;
        EXPECT_EQ(folder().octets(), stored);
        const std::size_t name = run.err.rfind(' ') + 1;
        std::ifstream copy(run.err.substr(name, run.err.size() - 1 - name));
        EXPECT_EQ(std::string(std::istreambuf_iterator<char>(copy), {}), typed) << run.err;
        EXPECT_THAT(run.err,
                    HasSubstr("nothing was stored, your text is in " + folder().path().string()));
        EXPECT_EQ(run.err.find('\n'), run.err.size() - 1);
    }

  private:
    TestSettings settings_;
    ScopedEnvironment noVisual_{"VISUAL", ""};
};

TEST_F(SettingsEdit, WhatTheEditorSavesIsStored) {
    folder().setOctets("# mine\nSMTPHost = a.x\n");
    const Outcome run = edit("echo 'SMTPHost = b.x # no comment' >>\"$1\"");
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_THAT(run.out + run.err, IsEmpty());
    EXPECT_EQ(folder().octets(), "# mine\nSMTPHost = a.x\nSMTPHost = b.x # no comment\n");
    EXPECT_THAT(folder().names(), ElementsAre("SendMail.conf"));
}

TEST_F(SettingsEdit, AnEditorMayPutANewFileInPlace) {
    folder().setOctets("SMTPHost = a.x\n");
    EXPECT_EQ(edit("echo 'SMTPHost = b.x' >\"$1~\"; mv \"$1~\" \"$1\"").exitCode, 0);
    EXPECT_EQ(folder().octets(), "SMTPHost = b.x\n");
}

TEST_F(SettingsEdit, VisualGoesBeforeEditor) {
    const ScopedEnvironment visual("VISUAL", "echo 'RealName = visual' >");
    EXPECT_EQ(edit("echo 'RealName = editor' >\"$1\"").exitCode, 0);
    EXPECT_EQ(folder().octets(), "RealName = visual\n");
}

TEST_F(SettingsEdit, WithoutBothItIsVi) {
    const SettingsFolder programs;
    std::ofstream(programs.path() / "vi") << "#!/bin/sh\necho 'RealName = vi' >\"$1\"\n";
    std::filesystem::permissions(programs.path() / "vi", std::filesystem::perms(0755));
    const ScopedEnvironment path("PATH", programs.path().string());
    const ScopedEnvironment editor("EDITOR", "");
    EXPECT_EQ(vtmail({"settings", "edit"}).exitCode, 0);
    EXPECT_EQ(folder().octets(), "RealName = vi\n");
}

TEST_F(SettingsEdit, WithoutAChangeNothingIsStored) {
    folder().setOctets("rubbish\n");
    const Outcome run = edit("true");
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.err, "vtmail: nothing was changed\n");
    EXPECT_EQ(folder().octets(), "rubbish\n");
    EXPECT_THAT(folder().names(), ElementsAre("SendMail.conf"));
}

TEST_F(SettingsEdit, AFileThatIsNotThereBeginsWithTheKeysAsComments) {
    std::filesystem::remove_all(folder().path());
    const Outcome run = edit("cat \"$1\"; echo 'SendActive = 1' >>\"$1\"");
    EXPECT_EQ(run.exitCode, 0) << run.err;
    for (const char* key : {"SMTPHost", "ReplyTo", "RealName", "SendActive", "Charset"})
        EXPECT_THAT(run.out, HasSubstr("\n# " + std::string(key) + " =\n"));
    EXPECT_EQ(vtmail({"settings", "list"}).out,
              "SMTPHost = \nReplyTo = \nRealName = \nSendActive = 1\nCharset = \n");
}

TEST_F(SettingsEdit, TheFormAloneIsNotStored) {
    edit("true");
    EXPECT_THAT(folder().names(), IsEmpty());
}

TEST_F(SettingsEdit, AFileWithFaultsCanBeRepaired) {
    folder().setOctets("SMTPHost = a.x\nReplyTo\n");
    EXPECT_EQ(edit("sed -i 's/ReplyTo/& = a@x/' \"$1\"").exitCode, 0);
    EXPECT_EQ(folder().octets(), "SMTPHost = a.x\nReplyTo = a@x\n");
}

TEST_F(SettingsEdit, AFaultIsNamedWithItsLineAndTheTextIsKept) {
    folder().setOctets("SMTPHost = a.x\n");
    const Outcome run = edit("echo 'ReplyTo a@x' >>\"$1\"");
    expectKept(run, EX_DATAERR, "SMTPHost = a.x\n", "SMTPHost = a.x\nReplyTo a@x\n");
    EXPECT_THAT(run.err, HasSubstr(".conf:2: no \"=\" follows the key"));
}

TEST_F(SettingsEdit, AValueThatCannotWorkIsNamedWithItsLine) {
    const Outcome active = edit("printf '# x\\nSendActive=0\\n\"SendActive\" = yes\\n' >\"$1\"");
    expectKept(active, EX_DATAERR, "", "# x\nSendActive=0\n\"SendActive\" = yes\n");
    EXPECT_THAT(active.err, HasSubstr(".conf:3: SendActive is yes; give 1 or 0"));
    const Outcome charset = edit("echo 'Charset = klingon' >\"$1\"");
    expectKept(charset, EX_DATAERR, "", "Charset = klingon\n");
    EXPECT_THAT(charset.err, HasSubstr(".conf:1: no charset is named klingon"));
}

TEST_F(SettingsEdit, AValueInAnUnusualFormIsNamedWithoutItsLine) {
    const Outcome run = edit("printf '%s\\n' '\"\\u{53}endActive\" = yes' >\"$1\"");
    EXPECT_EQ(run.exitCode, EX_DATAERR);
    EXPECT_THAT(run.err, HasSubstr(".conf: SendActive is yes"));
}

TEST_F(SettingsEdit, AChangeBySomebodyElseMeanwhileIsNoticedAndNothingIsLost) {
    folder().setOctets("SMTPHost = a.x\n");
    const Outcome run = edit(VTMAIL " settings set RealName Zoe; echo 'ReplyTo = a@x' >\"$1\"");
    expectKept(run, EX_TEMPFAIL, "SMTPHost = a.x\nRealName = Zoe\n", "ReplyTo = a@x\n");
    EXPECT_THAT(run.err, HasSubstr("was changed by somebody else meanwhile"));
}

TEST_F(SettingsEdit, AFileThatAppearsMeanwhileStays) {
    const Outcome run = edit("touch '" + file() + "'; echo 'ReplyTo = a@x' >\"$1\"");
    expectKept(run, EX_TEMPFAIL, "", "ReplyTo = a@x\n");
}

TEST_F(SettingsEdit, AnEditorThatFailsStoresNothing) {
    folder().setOctets("SMTPHost = a.x\n");
    const Outcome run = edit("exit 3");
    EXPECT_EQ(run.exitCode, EX_UNAVAILABLE);
    EXPECT_THAT(run.err, AllOf(HasSubstr("did not end well"), Not(HasSubstr("your text"))));
    EXPECT_THAT(folder().names(), ElementsAre("SendMail.conf"));
    expectKept(edit("echo 'ReplyTo = a@x' >\"$1\"; exit 3"), EX_UNAVAILABLE, "SMTPHost = a.x\n",
               "ReplyTo = a@x\n");
}

TEST_F(SettingsEdit, AnEditorThatIsNotThereIsNamed) {
    const ScopedEnvironment editor("EDITOR", "no-such-editor --wait");
    const Outcome run = vtmail({"settings", "edit"});
    EXPECT_EQ(run.exitCode, EX_UNAVAILABLE);
    EXPECT_THAT(run.err, HasSubstr("the editor no-such-editor --wait did not end well"));
}

TEST_F(SettingsEdit, WithoutTheCopyNothingIsStored) {
    folder().setOctets("SMTPHost = a.x\n");
    const Outcome run = edit("rm \"$1\"");
    EXPECT_EQ(run.exitCode, EX_NOINPUT);
    EXPECT_THAT(run.err, Not(HasSubstr("your text")));
    EXPECT_EQ(folder().octets(), "SMTPHost = a.x\n");
}

TEST_F(SettingsEdit, ModeOfTheFileStays) {
    folder().setOctets("SMTPHost = a.x\n");
    std::filesystem::permissions(folder().file(), std::filesystem::perms(0640));
    EXPECT_EQ(edit("echo 'SMTPHost = b.x' >\"$1\"").exitCode, 0);
    EXPECT_EQ(std::filesystem::status(folder().file()).permissions(), std::filesystem::perms(0640));
}

TEST_F(SettingsEdit, ALinkIsRefusedBeforeAnythingIsTyped) {
    std::filesystem::create_symlink("elsewhere.conf", folder().file());
    const Outcome run = edit("echo typed >&2");
    EXPECT_EQ(run.exitCode, EX_CANTCREAT);
    EXPECT_THAT(run.err, AllOf(HasSubstr("is a symbolic link"), Not(HasSubstr("typed"))));
}

TEST_F(SettingsEdit, WithoutSpaceTheOldFileStays) {
    folder().setOctets("SMTPHost = a.x\n");
    const std::string text = "RealName = " + std::string(5000, 'x') + "\n";
    const Outcome run = edit(
        "ulimit -S -f unlimited; echo 'RealName = " + std::string(5000, 'x') + "' >\"$1\"", [] {
            const rlimit limit = {1000, RLIM_INFINITY};
            setrlimit(RLIMIT_FSIZE, &limit);
        });
    expectKept(run, EX_IOERR, "SMTPHost = a.x\n", text);
    EXPECT_EQ(folder().names().size(), 2U);
}

TEST_F(SettingsEdit, WithoutSpaceForTheCopyNothingStays) {
    folder().setOctets("RealName = " + std::string(5000, 'x') + "\n");
    const Outcome run = edit("true", [] {
        const rlimit limit = {1000, 1000};
        setrlimit(RLIMIT_FSIZE, &limit);
    });
    EXPECT_EQ(run.exitCode, EX_IOERR) << run.err;
    EXPECT_THAT(folder().names(), ElementsAre("SendMail.conf"));
}

TEST_F(SettingsEdit, TheEndOfTheEditorIsSeenWhereThatOfProcessesIsIgnored) {
    const Outcome run = edit("echo 'SMTPHost = a.x' >\"$1\"",
                             [] { static_cast<void>(std::signal(SIGCHLD, SIG_IGN)); });
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(folder().octets(), "SMTPHost = a.x\n");
}

TEST_F(SettingsEdit, TheEditorGetsTheSignalsOfAnyProgram) {
    const Outcome run = edit("grep SigIgn: /proc/$$/status; true", [] {
        for (const int signal : {SIGINT, SIGQUIT, SIGPIPE, SIGXFSZ})
            static_cast<void>(std::signal(signal, SIG_DFL));
    });
    const std::size_t mask = run.out.find('\t');
    ASSERT_NE(mask, std::string::npos);
    // The C library keeps those from 32 on for itself.
    EXPECT_EQ(std::stoull(run.out.substr(mask), nullptr, 16) & 0x7FFFFFFF, 0U) << run.out;
}

}  // namespace
