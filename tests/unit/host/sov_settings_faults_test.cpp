// SPDX-License-Identifier: Apache-2.0
// Files and folders that cannot be read or written.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>
#include <string>

#include "host/sov_settings.h"
#include "tests/unit/host/child_process.h"
#include "tests/unit/host/settings_folder.h"
#include "tests/unit/host/units.h"

namespace fs = std::filesystem;
using namespace std::string_literals;
using namespace std::string_view_literals;

namespace {

const std::vector<std::string> onlyTheFile = {"SendMail.conf"};

/// Empty when `error` names the file and the reason.
std::string unlessItNames(const std::string& error, const fs::path& file, int reason) {
    if (error.empty()) return "no error was recorded";
    if (error.find(file.string()) == std::string::npos) return "names no file: " + error;
    if (error.find(std::strerror(reason)) == std::string::npos) return "names no reason: " + error;
    return "";
}

/// Empty when both reading and writing record an error that names the file, or its folder.
std::string unlessBothFail(const SettingsFolder& folder) {
    const Lookup found = lookUp(folder.location(), u"Key");
    if (found.exists) return "a value was read";
    if (found.error.find(folder.file().string()) == std::string::npos)
        return "reading says: " + found.error;
    const std::string error = folder.put(u"Key", u"value");
    if (error.find(folder.path().string()) == std::string::npos) return "writing says: " + error;
    return "";
}

// ---- missing

TEST(SovSettingsFault, AMissingFileIsAnEmptyOne) {
    const SettingsFolder folder;
    const Lookup found = lookUp(folder.location(), u"Key");
    EXPECT_FALSE(found.exists);
    EXPECT_EQ(found.error, "");
    EXPECT_TRUE(folder.names().empty());
}

TEST(SovSettingsFault, AMissingFolderIsReadAsEmptyAndMadeForWriting) {
    const SettingsFolder folder;
    const fs::path file = folder.path() / "config" / "vtinetlib" / "SendMail.conf";
    const Zeb_String location = wide(file.string());
    EXPECT_FALSE(lookUp(location, u"Key").exists);
    EXPECT_EQ(lookUp(location, u"Key").error, "");
    EXPECT_FALSE(fs::exists(folder.path() / "config"));
    EXPECT_EQ(store(location, u"Key", u"value"), "");
    EXPECT_EQ(lookUp(location, u"Key").value, u"value");
}

TEST(SovSettingsFault, AFolderWithAnyNameServes) {
    const SettingsFolder folder;
    const Zeb_String location = wide(folder.path().string()) + u"/\u00E9 \u65E5/x.conf";
    EXPECT_EQ(store(location, u"Key", u"value"), "");
    EXPECT_EQ(lookUp(location, u"Key").value, u"value");
    EXPECT_TRUE(fs::exists(folder.path() / "\xC3\xA9 \xE6\x97\xA5" / "x.conf"));
}

TEST(SovSettingsFault, ALinkedFolderServes) {
    const SettingsFolder folder;
    fs::create_directory(folder.path() / "real");
    fs::create_directory_symlink("real", folder.path() / "link");
    const Zeb_String location = wide((folder.path() / "link" / "SendMail.conf").string());
    EXPECT_EQ(store(location, u"Key", u"value"), "");
    EXPECT_EQ(lookUp(location, u"Key").value, u"value");
    EXPECT_TRUE(fs::exists(folder.path() / "real" / "SendMail.conf"));
}

// ---- something else in its place

TEST(SovSettingsFault, AFolderInPlaceOfTheFileIsAnErrorAndStays) {
    const SettingsFolder folder;
    fs::create_directory(folder.file());
    EXPECT_EQ(unlessBothFail(folder), "");
    EXPECT_TRUE(fs::is_directory(folder.file()));
    EXPECT_EQ(folder.names(), onlyTheFile);
}

TEST(SovSettingsFault, AFileInPlaceOfTheFolderIsAnError) {
    const SettingsFolder folder;
    folder.setOctets("a = 1\n");
    const fs::path below = folder.file() / "SendMail.conf";
    EXPECT_FALSE(lookUp(wide(below.string()), u"a").exists);
    EXPECT_NE(store(wide(below.string()), u"a", u"2"), "");
    EXPECT_EQ(folder.octets(), "a = 1\n");
}

TEST(SovSettingsFault, AFifoInPlaceOfTheFileIsAnErrorAndDoesNotHang) {
    const SettingsFolder folder;
    ASSERT_EQ(0, mkfifo(folder.file().c_str(), 0600));
    EXPECT_EQ(inChild([&] { return unlessBothFail(folder); }), "");
    EXPECT_TRUE(fs::is_fifo(folder.file()));
    EXPECT_EQ(folder.names(), onlyTheFile);
}

TEST(SovSettingsFault, ADeviceWithoutEndInPlaceOfTheFileIsAnError) {
    EXPECT_EQ(inChild([] {
                  const Lookup found = lookUp(u"/dev/zero", u"Key");
                  return found.error.find("/dev/zero") == std::string::npos ? "not refused"s : ""s;
              }),
              "");
}

TEST(SovSettingsFault, ALinkInPlaceOfTheFileIsNotWritten) {
    const SettingsFolder folder;
    std::ofstream(folder.path() / "target") << "a = 1\n";
    fs::create_symlink("target", folder.file());
    const std::string error = folder.put(u"a", u"2");
    EXPECT_NE(error.find(folder.file().string()), std::string::npos) << error;
    EXPECT_TRUE(fs::is_symlink(folder.file()));
    EXPECT_EQ(folder.octets(), "a = 1\n");
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"SendMail.conf", "target"}));
}

TEST(SovSettingsFault, ALinkToNothingIsNotWritten) {
    const SettingsFolder folder;
    fs::create_symlink("nothing", folder.file());
    EXPECT_NE(folder.put(u"a", u"2"), "");
    EXPECT_TRUE(fs::is_symlink(folder.file()));
    EXPECT_EQ(folder.names(), onlyTheFile);
}

// A regular file, whose first octet is an address that is not mapped.
TEST(SovSettingsFault, AFileThatCannotBeReadIsAnError) {
    const Lookup found = lookUp(u"/proc/self/mem", u"Key");
    EXPECT_FALSE(found.exists);
    EXPECT_EQ(unlessItNames(found.error, "/proc/self/mem", EIO), "");
}

// ---- something left in the place of the new file

void expectWriting(const SettingsFolder& folder) {
    EXPECT_EQ(folder.put(u"Key", u"2"), "");
    EXPECT_EQ(folder.octets(), "Key = 2\n");
}

TEST(SovSettingsFault, WhatACrashHasLeftIsWrittenOver) {
    const SettingsFolder folder;
    const fs::path left = folder.file().string() + ".new";
    folder.setOctets("Key = 1\n");
    std::ofstream(left) << "Key = left over, and longer than what is written\n";
    fs::permissions(left, fs::perms(0000));
    expectWriting(folder);
    EXPECT_EQ(folder.names(), onlyTheFile);
}

TEST(SovSettingsFault, AFileThatAnotherUserHasLeftIsWrittenOver) {
    const SettingsFolder folder;
    const fs::path left = folder.file().string() + ".new";
    std::ofstream(left) << "left over";
    fs::permissions(left, fs::perms(0600));
    fs::permissions(folder.path(), fs::perms(0777));
    EXPECT_EQ(inChild([&] {
                  becomeOrdinaryUser();
                  return folder.put(u"Key", u"2");
              }),
              "");
    EXPECT_EQ(folder.octets(), "Key = 2\n");
    EXPECT_EQ(folder.names(), onlyTheFile);
}

TEST(SovSettingsFault, ALinkInPlaceOfTheNewFileIsNotFollowed) {
    const SettingsFolder folder;
    std::ofstream(folder.path() / "target") << "untouched";
    fs::create_symlink("target", folder.file().string() + ".new");
    expectWriting(folder);
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"SendMail.conf", "target"}));
    EXPECT_FALSE(fs::is_symlink(folder.file()));
    EXPECT_EQ(fs::file_size(folder.path() / "target"), 9u);
}

TEST(SovSettingsFault, AFifoInPlaceOfTheNewFileDoesNotHang) {
    const SettingsFolder folder;
    ASSERT_EQ(0, mkfifo((folder.file().string() + ".new").c_str(), 0600));
    EXPECT_EQ(inChild([&] { return folder.put(u"Key", u"2"); }), "");
    EXPECT_EQ(folder.octets(), "Key = 2\n");
}

TEST(SovSettingsFault, AFolderInPlaceOfTheNewFileIsAnError) {
    const SettingsFolder folder;
    folder.setOctets("Key = 1\n");
    fs::create_directory(folder.file().string() + ".new");
    EXPECT_EQ(unlessItNames(folder.put(u"Key", u"2"), folder.file().string() + ".new", EEXIST), "");
    EXPECT_EQ(folder.octets(), "Key = 1\n");
}

// ---- locations that are no file names

TEST(SovSettingsFault, ALocationThatIsNoFileNameIsAnError) {
    const SettingsFolder folder;
    const Zeb_String path = wide(folder.path().string());
    const Zeb_String locations[] = {u"", path + units(u"/x.conf\0y"sv), path + u"/",
                                    path + u"/" + Zeb_String(u'x', 300) + u".conf",
                                    path + Zeb_String(u'/', 5000) + u"x.conf"};
    for (const Zeb_String& location : locations) {
        EXPECT_NE(store(location, u"Key", u"value"), "") << Printable(location);
        EXPECT_FALSE(lookUp(location, u"Key").exists) << Printable(location);
    }
    EXPECT_TRUE(folder.names().empty());
}

// ---- rights

TEST(SovSettingsFault, ModeAndOwnerOfTheFileAreKept) {
    const SettingsFolder folder;
    for (const mode_t mode : {0600U, 0640U, 0664U}) {
        folder.setOctets("Key = 1\n");
        ASSERT_EQ(0, chmod(folder.file().c_str(), mode));
        // For root another user's file; an ordinary user has files of its own only.
        const uid_t owner = geteuid() == 0 ? 12345 : geteuid();
        ASSERT_EQ(0, chown(folder.file().c_str(), owner, static_cast<gid_t>(-1)));
        expectWriting(folder);
        struct stat status {};
        ASSERT_EQ(0, stat(folder.file().c_str(), &status));
        EXPECT_EQ(status.st_mode & 07777U, mode);
        EXPECT_EQ(status.st_uid, owner);
    }
}

TEST(SovSettingsFault, AFileOfAnotherUserThatAllMayWriteIsWritten) {
    const SettingsFolder folder;
    folder.setOctets("Key = 1\n");
    fs::permissions(folder.path(), fs::perms(0777));
    fs::permissions(folder.file(), fs::perms(0666));
    EXPECT_EQ(inChild([&] {
                  becomeOrdinaryUser();
                  return folder.put(u"Key", u"2");
              }),
              "");
    EXPECT_EQ(folder.octets(), "Key = 2\n");
    EXPECT_EQ(fs::status(folder.file()).permissions(), fs::perms(0666));
}

TEST(SovSettingsFault, AnUnreadableFileIsAnErrorAndStays) {
    const SettingsFolder folder;
    folder.setOctets("Key = 1\n");
    fs::permissions(folder.path(), fs::perms(0777));
    fs::permissions(folder.file(), fs::perms(0000));
    EXPECT_EQ(inChild([&] {
                  becomeOrdinaryUser();
                  const std::string bad = unlessBothFail(folder);
                  if (!bad.empty()) return bad;
                  const Lookup found = lookUp(folder.location(), u"Key");
                  return unlessItNames(found.error, folder.file(), EACCES);
              }),
              "");
    fs::permissions(folder.file(), fs::perms(0644));
    EXPECT_EQ(folder.octets(), "Key = 1\n");
    EXPECT_EQ(folder.names(), onlyTheFile);
}

TEST(SovSettingsFault, AReadOnlyFileIsReadAndNotReplaced) {
    const SettingsFolder folder;
    folder.setOctets("Key = 1\n");
    fs::permissions(folder.path(), fs::perms(0777));
    fs::permissions(folder.file(), fs::perms(0444));
    EXPECT_EQ(inChild([&] {
                  becomeOrdinaryUser();
                  if (folder.get(u"Key") != u"1") return "cannot be read"s;
                  return unlessItNames(folder.put(u"Key", u"2"), folder.file(), EACCES);
              }),
              "");
    EXPECT_EQ(folder.octets(), "Key = 1\n");
    EXPECT_EQ(folder.names(), onlyTheFile);
}

TEST(SovSettingsFault, AReadOnlyFolderIsReadAndNotWritten) {
    const SettingsFolder folder;
    folder.setOctets("Key = 1\n");
    fs::permissions(folder.path(), fs::perms(0555));
    EXPECT_EQ(inChild([&] {
                  becomeOrdinaryUser();
                  if (folder.get(u"Key") != u"1") return "cannot be read"s;
                  return unlessItNames(folder.put(u"Key", u"2"), folder.file(), EACCES);
              }),
              "");
    EXPECT_EQ(folder.octets(), "Key = 1\n");
    EXPECT_EQ(folder.names(), onlyTheFile);
    fs::permissions(folder.path(), fs::perms(0755));
}

TEST(SovSettingsFault, AFolderThatMayNotBeEnteredIsAnError) {
    const SettingsFolder folder;
    folder.setOctets("Key = 1\n");
    fs::permissions(folder.path(), fs::perms(0000));
    EXPECT_EQ(inChild([&] {
                  becomeOrdinaryUser();
                  return unlessBothFail(folder);
              }),
              "");
    fs::permissions(folder.path(), fs::perms(0755));
}

TEST(SovSettingsFault, AFolderThatMayNotBeMadeIsAnError) {
    const SettingsFolder folder;
    fs::permissions(folder.path(), fs::perms(0555));
    EXPECT_EQ(inChild([&] {
                  becomeOrdinaryUser();
                  const fs::path file = folder.path() / "sub" / "SendMail.conf";
                  const std::string error = store(wide(file.string()), u"Key", u"1");
                  return unlessItNames(error, folder.path() / "sub", EACCES);
              }),
              "");
    EXPECT_TRUE(folder.names().empty());
    fs::permissions(folder.path(), fs::perms(0755));
}

// ---- no room

TEST(SovSettingsFault, AFileOverTheSizeLimitIsAnErrorAndTheOldOneStays) {
    const SettingsFolder folder;
    ASSERT_EQ(folder.put(u"Key", u"1"), "");
    EXPECT_EQ(inChild([&] {
                  std::signal(SIGXFSZ, SIG_IGN);
                  const rlimit limit{4096, 4096};
                  if (setrlimit(RLIMIT_FSIZE, &limit) != 0) return "no limit"s;
                  const std::string error = folder.put(u"Key", Zeb_String(u'x', 1 << 20));
                  if (folder.names() != onlyTheFile) return "something was left behind"s;
                  if (folder.get(u"Key") != u"1") return "the old value is lost"s;
                  const std::string small = folder.put(u"Small", u"2");
                  return small.empty() ? unlessItNames(error, folder.file(), EFBIG) : small;
              }),
              "");
    EXPECT_EQ(folder.octets(), "Key = 1\nSmall = 2\n");
}

/// Gives an ordinary user the right to mount, in namespaces of its own. Empty when that worked.
std::string enterOwnNamespaces() {
    if (geteuid() == 0) return unshare(CLONE_NEWNS) == 0 ? "" : "no mount namespace";
    const std::string user = std::to_string(geteuid());
    const std::string group = std::to_string(getegid());
    if (unshare(CLONE_NEWNS | CLONE_NEWUSER) != 0) return "no user namespace";
    std::ofstream("/proc/self/uid_map") << user << ' ' << user << " 1";
    std::ofstream("/proc/self/setgroups") << "deny";
    std::ofstream("/proc/self/gid_map") << group << ' ' << group << " 1";
    return "";
}

/// Mounts an empty file system of 64 KiB, seen by this process alone. Empty when that worked.
std::string mountSmallFileSystem(const fs::path& where) {
    const std::string missing = enterOwnNamespaces();
    if (!missing.empty()) return missing;
    if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return "not private";
    if (mount("tmpfs", where.c_str(), "tmpfs", 0, "size=64k") != 0) return "no tmpfs";
    return "";
}

/// Takes all the room that is left.
void fillUp(const fs::path& file) {
    const int descriptor = open(file.c_str(), O_WRONLY | O_CREAT, 0600);
    const std::string block(4096, 'x');
    while (write(descriptor, block.data(), block.size()) > 0) {
    }
    close(descriptor);
}

std::string onAFullDevice(const SettingsFolder& folder) {
    const std::string old = folder.put(u"Key", u"1");
    if (!old.empty()) return old;
    std::string bad =
        unlessItNames(folder.put(u"Key", Zeb_String(u'x', 1 << 20)), folder.file(), ENOSPC);
    if (!bad.empty()) return bad;
    if (folder.names() != onlyTheFile) return "something was left behind";
    fillUp(folder.path() / "filler");
    bad = unlessItNames(folder.put(u"Key", u"2"), folder.file(), ENOSPC);
    if (!bad.empty()) return bad;
    if (folder.get(u"Key") != u"1") return "the old value is lost";
    fs::remove(folder.path() / "filler");
    bad = folder.put(u"Key", u"3");
    if (bad.empty() && folder.get(u"Key") != u"3") return "nothing was stored in the end";
    return bad;
}

TEST(SovSettingsFault, AFullDeviceIsAnErrorAndTheOldFileStays) {
    const SettingsFolder folder;
    const std::string result = inChild([&] {
        const std::string missing = mountSmallFileSystem(folder.path());
        return missing.empty() ? onAFullDevice(folder) : "cannot be tried here: " + missing;
    });
    if (result.starts_with("cannot be tried here")) GTEST_SKIP() << result;
    EXPECT_EQ(result, "");
}

}  // namespace
