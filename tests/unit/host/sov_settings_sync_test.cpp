// SPDX-License-Identifier: Apache-2.0
// A device that fails when its data are synced. This program has an fsync of its own for that.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tests/unit/host/settings_folder.h"

namespace {

struct SyncError {
    int ofFiles = 0;
    int ofFolders = 0;
    int calls = 0;
};
SyncError failing;

}  // namespace

extern "C" int fsync(int descriptor) {
    struct stat status {};
    if (fstat(descriptor, &status) != 0) return -1;
    ++failing.calls;
    errno = S_ISDIR(status.st_mode) ? failing.ofFolders : failing.ofFiles;
    return errno != 0 ? -1 : static_cast<int>(syscall(SYS_fsync, descriptor));
}

namespace {

class SovSettingsSync : public testing::Test {
  protected:
    SovSettingsSync() { folder_.setOctets("Key = old\n"); }
    ~SovSettingsSync() override { failing = {}; }

    const SettingsFolder folder_;
};

TEST_F(SovSettingsSync, FileAndFolderAreSynced) {
    failing = {};
    ASSERT_EQ(folder_.put(u"Key", u"new"), "");
    EXPECT_EQ(failing.calls, 2);
}

TEST_F(SovSettingsSync, AFileThatCannotBeSyncedIsAnErrorAndTheOldOneStays) {
    for (const int reason : {EIO, ENOSPC, EDQUOT}) {
        failing.ofFiles = reason;
        const std::string error = folder_.put(u"Key", u"new");
        EXPECT_NE(error.find(folder_.file().string()), std::string::npos) << error;
        EXPECT_NE(error.find(std::strerror(reason)), std::string::npos) << error;
        EXPECT_EQ(folder_.octets(), "Key = old\n");
        EXPECT_EQ(folder_.names(), std::vector<std::string>{"SendMail.conf"});
    }
}

TEST_F(SovSettingsSync, AFolderThatCannotBeSyncedIsAnErrorAndTheFileIsWhole) {
    failing.ofFolders = EIO;
    const std::string error = folder_.put(u"Key", u"new");
    EXPECT_NE(error.find(folder_.path().string()), std::string::npos) << error;
    EXPECT_NE(error.find(std::strerror(EIO)), std::string::npos) << error;
    EXPECT_EQ(folder_.octets(), "Key = new\n");
}

TEST_F(SovSettingsSync, AFileSystemThatDoesNotSyncFoldersServes) {
    failing.ofFolders = EINVAL;
    EXPECT_EQ(folder_.put(u"Key", u"new"), "");
    EXPECT_EQ(folder_.octets(), "Key = new\n");
}

}  // namespace
