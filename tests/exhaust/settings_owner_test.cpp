// SPDX-License-Identifier: Apache-2.0
// Settings in places that this process may not, or should not, write.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>

#include "host/sov_settings.h"
#include "tests/exhaust/call_faults.h"
#include "tests/unit/host/child_process.h"
#include "tests/unit/host/settings_folder.h"

namespace fs = std::filesystem;

namespace {

const std::vector<std::string> fileAlone = {"SendMail.conf"};

std::string unlessItSays(const std::string& error, const std::string& path,
                         const std::string& reason) {
    if (error.find(path) == std::string::npos) return "no path: " + error;
    return error.find(reason) == std::string::npos ? "no reason: " + error : "";
}

TEST(ForeignSettings, aSymbolicLinkIsNamedAndLeft) {
    const SettingsFolder folder;
    for (const char* target : {"target", "nothing"}) {
        std::ofstream(folder.path() / "target") << "Key = 1\n";
        fs::remove(folder.file());
        fs::create_symlink(target, folder.file());
        EXPECT_EQ(unlessItSays(folder.put(u"Key", u"2"), folder.file(), "symbolic link"), "");
        EXPECT_TRUE(fs::is_symlink(folder.file()));
    }
}

TEST(ForeignSettings, aLinkThatCannotBeLookedAtIsNamedAndLeft) {
    const SettingsFolder folder;
    std::ofstream(folder.path() / "target") << "Key = 1\n";
    fs::create_symlink("target", folder.file());
    std::string error;
    {
        const CallFault fault(Call::Lstat, 0, {Outcome::Kind::Error, EIO});
        error = folder.put(u"Key", u"2");
    }
    EXPECT_TRUE(CallFault::hasHappened());
    EXPECT_EQ(unlessItSays(error, folder.file(), std::strerror(EIO)), "");
    EXPECT_TRUE(fs::is_symlink(folder.file()));
}

/// A folder as /tmp is: all may make files there, and only the owner of one replaces it.
class SharedFolder : public testing::Test {
  protected:
    SharedFolder() {
        folder_.setOctets("Key = 1\n");
        fs::permissions(folder_.file(), fs::perms(0666));
        fs::permissions(folder_.path(), fs::perms(01777));
    }

    /// The error of a write by somebody who does not own the file. For an ordinary user, who has
    /// no files of others, the system's refusal is put in.
    std::string writeAsSomebodyElse() const {
        return inChild([this] {
            const bool isOwner = geteuid() != 0;
            becomeOrdinaryUser();
            if (!isOwner) return folder_.put(u"Key", u"2");
            const CallFault fault(Call::Rename, 0, {Outcome::Kind::Error, EPERM});
            return folder_.put(u"Key", u"2");
        });
    }

    const SettingsFolder folder_;
};

TEST_F(SharedFolder, keepsTheFileOfSomebodyElse) {
    const std::string error = writeAsSomebodyElse();
    EXPECT_EQ(unlessItSays(error, folder_.file(), std::strerror(EPERM)), "");
    EXPECT_EQ(folder_.octets(), "Key = 1\n");
    EXPECT_EQ(folder_.names(), fileAlone);
}

TEST_F(SharedFolder, isWrittenByTheOwner) {
    EXPECT_EQ(folder_.put(u"Key", u"2"), "");
    EXPECT_EQ(folder_.octets(), "Key = 2\n");
}

}  // namespace
