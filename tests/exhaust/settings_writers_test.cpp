// SPDX-License-Identifier: Apache-2.0
// Many processes that write to one file, and others that look on: each sees whole files, and no
// write that was acknowledged is lost, nor is an older value seen after a newer one.
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <vector>

#include "tests/support/effort.h"
#include "tests/support/wide_text.h"
#include "tests/unit/host/child_process.h"
#include "tests/unit/host/scoped_environment.h"
#include "tests/unit/host/settings_folder.h"

namespace fs = std::filesystem;

namespace {

constexpr int writers = 8;
constexpr int readers = 2;
constexpr int keysOfOne = 8;
constexpr int limit = 1200;  // seconds

int writesOfOne() { return isFullEffort() ? 10000 : 100; }

/// A file system in memory: what is looked for are lost writes, not how fast a disk syncs.
std::string memory() {
    return fs::is_directory("/dev/shm") ? "/dev/shm" : fs::temp_directory_path().string();
}

Zeb_String keyOf(int writer, int key) {
    return wide("w" + std::to_string(writer) + "." + std::to_string(key));
}

/// The number that is stored; 0 when there is none.
int numberAt(const SettingsFolder& folder, const Zeb_String& key) {
    const std::optional<Zeb_String> value = folder.get(key);
    return value ? std::stoi(utf8(*value)) : 0;
}

/// Each write has a number; before the next one of its key it must still be there.
std::string writeAll(const SettingsFolder& folder, int writer) {
    for (int number = 1; number <= writesOfOne(); ++number) {
        const Zeb_String key = keyOf(writer, number % keysOfOne);
        const int last = number > keysOfOne ? number - keysOfOne : 0;
        if (numberAt(folder, key) != last) return "the write " + std::to_string(last) + " is lost";
        const std::string error = folder.put(key, wide(std::to_string(number)));
        if (!error.empty()) return error;
    }
    return "";
}

/// The number of the last write of this key.
int lastNumber(int key) { return writesOfOne() - (writesOfOne() - key) % keysOfOne; }

/// What one reader has seen of one writer's keys.
std::string lookAt(const SettingsFolder& folder, int writer, std::vector<int>& seen) {
    for (int key = 0; key < keysOfOne; ++key) {
        const Lookup found = lookUp(folder.location(), keyOf(writer, key));
        if (!found.error.empty()) return found.error;
        const int number = found.exists ? std::stoi(utf8(found.value)) : 0;
        if (number < seen[static_cast<std::size_t>(key)]) return "an older value came back";
        seen[static_cast<std::size_t>(key)] = number;
    }
    return "";
}

std::string unlessWhole(const SettingsFolder& folder) {
    const std::string octets = folder.octets();
    const bool isWhole = octets.starts_with("# head\nStable = value\n") && octets.ends_with('\n');
    return isWhole ? "" : "a part of a file: " + octets;
}

bool allHaveEnded(const std::vector<std::vector<int>>& seen) {
    for (const std::vector<int>& numbers : seen)
        for (int key = 0; key < keysOfOne; ++key)
            if (numbers[static_cast<std::size_t>(key)] != lastNumber(key)) return false;
    return true;
}

/// What is wrong with the file when it is looked at while others write.
std::string lookOn(const SettingsFolder& folder) {
    std::vector<std::vector<int>> seen(writers, std::vector<int>(keysOfOne, 0));
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(limit);
    while (!allHaveEnded(seen)) {
        std::string wrong = unlessWhole(folder);
        for (int writer = 0; writer < writers && wrong.empty(); ++writer)
            wrong = lookAt(folder, writer, seen[static_cast<std::size_t>(writer)]);
        if (!wrong.empty()) return wrong;
        if (std::chrono::steady_clock::now() > deadline) return "the writers did not end";
    }
    return "";
}

TEST(SettingsWriters, LoseNothingInThousandsOfWrites) {
    const ScopedEnvironment inMemory("TMPDIR", memory());
    const SettingsFolder folder;
    folder.setOctets("# head\nStable = value\n");
    std::vector<std::unique_ptr<ChildProcess>> children;
    for (int reader = 0; reader < readers; ++reader)
        children.push_back(std::make_unique<ChildProcess>([&] { return lookOn(folder); }));
    for (int writer = 0; writer < writers; ++writer)
        children.push_back(
            std::make_unique<ChildProcess>([&, writer] { return writeAll(folder, writer); }));
    for (const auto& child : children) EXPECT_EQ(child->result(limit), "");
    for (int writer = 0; writer < writers; ++writer)
        for (int key = 0; key < keysOfOne; ++key)
            EXPECT_EQ(numberAt(folder, keyOf(writer, key)), lastNumber(key));
    EXPECT_EQ(folder.names(), std::vector<std::string>{"SendMail.conf"});
}

}  // namespace
