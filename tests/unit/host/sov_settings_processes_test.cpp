// SPDX-License-Identifier: Apache-2.0
// Several processes at once, and processes that die.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "host/sov_settings.h"
#include "tests/unit/host/child_process.h"
#include "tests/unit/host/settings_folder.h"
#include "tests/unit/host/units.h"

namespace {

constexpr int writers = 8;
constexpr int writes = 40;

Zeb_String keyOf(int writer, int write) {
    return wide("w" + std::to_string(writer) + ".k" + std::to_string(write));
}

Zeb_String valueOf(int writer, int write) {
    return keyOf(writer, write) + u"\n\"" + Zeb_String(u'x', 100);
}

std::string writeAll(const SettingsFolder& folder, int writer) {
    for (int write = 0; write < writes; ++write) {
        const std::string error = folder.put(keyOf(writer, write), valueOf(writer, write));
        if (!error.empty()) return error;
    }
    return "";
}

bool allHaveEnded(const SettingsFolder& folder) {
    for (int writer = 0; writer < writers; ++writer)
        if (!folder.get(keyOf(writer, writes - 1))) return false;
    return true;
}

/// What is wrong with the file when it is looked at while others write.
std::string lookOn(const SettingsFolder& folder) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(90);
    while (!allHaveEnded(folder)) {
        const Lookup found = lookUp(folder.location(), u"Stable");
        if (!found.error.empty()) return found.error;
        if (found.value != u"value") return "a reader saw less than a whole file";
        const std::string octets = folder.octets();
        if (!octets.starts_with("# head\n") || !octets.ends_with('\n'))
            return "a part of a file: " + octets;
        if (std::chrono::steady_clock::now() > deadline) return "the writers did not end";
    }
    return "";
}

TEST(SovSettingsProcesses, WritersLoseNothingAndReadersSeeWholeFiles) {
    const SettingsFolder folder;
    folder.setOctets("# head\nStable = value\n");
    std::vector<std::unique_ptr<ChildProcess>> children;
    for (int reader = 0; reader < 2; ++reader)
        children.push_back(std::make_unique<ChildProcess>([&] { return lookOn(folder); }));
    for (int writer = 0; writer < writers; ++writer)
        children.push_back(
            std::make_unique<ChildProcess>([&, writer] { return writeAll(folder, writer); }));
    for (const auto& child : children) EXPECT_EQ(child->result(100), "");
    for (int writer = 0; writer < writers; ++writer)
        for (int write = 0; write < writes; ++write)
            EXPECT_EQ(folder.get(keyOf(writer, write)), valueOf(writer, write));
    EXPECT_EQ(folder.names(), std::vector<std::string>{"SendMail.conf"});
}

TEST(SovSettingsProcesses, ManyWritersMayMakeTheFolderAndTheFile) {
    for (int round = 0; round < 10; ++round) {
        const SettingsFolder folder;
        const Zeb_String location = wide((folder.path() / "a" / "b" / "x.conf").string());
        std::vector<std::unique_ptr<ChildProcess>> children;
        for (int writer = 0; writer < 4; ++writer)
            children.push_back(std::make_unique<ChildProcess>(
                [&, writer] { return store(location, keyOf(writer, 0), u"1"); }));
        for (const auto& child : children) ASSERT_EQ(child->result(), "");
        for (int writer = 0; writer < 4; ++writer)
            ASSERT_EQ(lookUp(location, keyOf(writer, 0)).value, u"1");
    }
}

/// Stores ever new values and says so on `progress`, until it is killed.
std::string storeForEver(const SettingsFolder& folder, int progress) {
    for (unsigned short i = 0;; ++i) {
        const Zeb_String value(static_cast<unsigned short>(u'a' + i % 26), 50000);
        const std::string error = folder.put(u"Big", value);
        if (!error.empty()) return error;
        if (write(progress, "+", 1) != 1) return "no progress";
    }
}

TEST(SovSettingsProcesses, AWriterKilledAtAnyMomentLeavesAWholeFileAndNoLock) {
    const SettingsFolder folder;
    ASSERT_EQ(folder.put(u"Stable", u"value"), "");
    for (int round = 0; round < 20; ++round) {
        int progress[2];
        ASSERT_EQ(0, pipe(progress));
        ChildProcess writer([&] { return storeForEver(folder, progress[1]); });
        close(progress[1]);
        char mark = 0;
        for (int i = 0; i <= round % 5; ++i) ASSERT_EQ(1, read(progress[0], &mark, 1));
        writer.kill();
        close(progress[0]);
        const std::optional<Zeb_String> value = folder.get(u"Big");
        ASSERT_TRUE(value.has_value()) << lookUp(folder.location(), u"Big").error;
        ASSERT_TRUE(*value == Zeb_String((*value)[0], 50000));
        ASSERT_EQ(folder.get(u"Stable"), u"value");
        ASSERT_EQ(inChild([&] { return folder.put(u"After", u"1"); }), "");
    }
}

std::ptrdiff_t descriptorsOf(const std::filesystem::path& folder) {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return std::count_if(begin(all), end(all), [&](const auto& each) {
        std::error_code error;  // it may be closed by now
        return std::filesystem::read_symlink(each, error) == folder;
    });
}

TEST(SovSettingsProcesses, AChildThatIsMadeDuringAWriteAndStaysHoldsNoLock) {
    const SettingsFolder folder;
    const int lock = open(folder.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(flock(lock, LOCK_EX), 0);
    std::string error;
    std::thread writer([&] { error = folder.put(u"Key", u"value"); });
    while (descriptorsOf(folder.path()) < 2) std::this_thread::yield();
    const ChildProcess child([] {
        pause();
        return std::string();
    });
    flock(lock, LOCK_UN);
    writer.join();
    EXPECT_EQ(error, "");
    EXPECT_EQ(flock(lock, LOCK_EX | LOCK_NB), 0);
    close(lock);
}

}  // namespace
