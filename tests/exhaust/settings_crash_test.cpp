// SPDX-License-Identifier: Apache-2.0
// A write of a setting that is killed before each of its system calls, or whose device fails at
// each of them.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

#include "tests/exhaust/call_faults.h"
#include "tests/support/wide_text.h"
#include "tests/unit/host/child_process.h"
#include "tests/unit/host/settings_folder.h"

namespace fs = std::filesystem;

namespace {

constexpr char oldSettings[] = "# comment\nKey = old\n";
constexpr char newSettings[] = "# comment\nKey = new\n";
const std::vector<std::string> onlyTheFile = {"SendMail.conf"};

std::string inPlace(const SettingsFolder& folder) {
    const std::string octets = folder.octets();
    return octets == oldSettings || octets == newSettings ? "" : "the file holds: " + octets;
}

/// What the child says when it lives to the end.
constexpr char stored[] = "stored";

std::string writeUntilKilled(const SettingsFolder& folder, long number) {
    return inChild([&] {
        const CallFault fault(Call::Any, number, {Outcome::Kind::Killed});
        const std::string error = folder.put(u"Key", u"new");
        return error.empty() ? stored : error;
    });
}

/// Kills the writer before its calls one after the other; how many there are.
long killAtEachCall(const SettingsFolder& folder, const std::string& before) {
    for (long number = 0;; ++number) {
        folder.setOctets(before);
        const std::string result = writeUntilKilled(folder, number);
        EXPECT_EQ(inPlace(folder), "") << "call " << number;
        if (result == stored) {
            EXPECT_EQ(folder.octets(), newSettings);
        }
        EXPECT_EQ(folder.put(u"After", u"1"), "") << "call " << number;
        EXPECT_EQ(folder.get(u"After"), u"1");
        EXPECT_EQ(folder.names(), onlyTheFile) << "call " << number;
        if (result == stored || testing::Test::HasFailure()) return number;
        EXPECT_EQ(result, "died of signal 9");
    }
}

constexpr long fewestCalls = 14;

TEST(SettingsWriter, MayBeKilledBeforeEachOfItsCalls) {
    const SettingsFolder folder;
    EXPECT_GE(killAtEachCall(folder, oldSettings), fewestCalls);
}

TEST(SettingsWriter, MayBeKilledBeforeEachOfItsCallsWhenItMakesTheFile) {
    const SettingsFolder folder;
    const fs::path made = folder.path() / "a" / "SendMail.conf";
    const Zeb_String location = wide(made.string());
    long number = 0;
    for (std::string result; result != stored && !HasFailure(); ++number) {
        fs::remove_all(made.parent_path());
        result = inChild([&] {
            const CallFault fault(Call::Any, number, {Outcome::Kind::Killed});
            const std::string error = store(location, u"Key", u"new");
            return error.empty() ? stored : error;
        });
        const Lookup found = lookUp(location, u"Key");
        EXPECT_EQ(found.error, "") << "call " << number;
        EXPECT_TRUE(!found.exists || found.value == u"new") << "call " << number;
        EXPECT_EQ(store(location, u"After", u"1"), "") << "call " << number;
        EXPECT_FALSE(fs::exists(made.string() + ".new")) << "call " << number;
    }
    EXPECT_GE(number, fewestCalls - 4);
}

/// What is wrong with the outcome of a write whose device has failed once, for this reason.
std::string complaint(const SettingsFolder& folder, const std::string& error, int reason) {
    if (folder.names() != onlyTheFile) return "something is left over";
    if (error.empty()) return folder.octets() == newSettings ? "" : "a write is lost";
    if (error.find(folder.path().string()) == std::string::npos) return "no path: " + error;
    if (error.find(std::strerror(reason)) == std::string::npos) return "no reason: " + error;
    return inPlace(folder);
}

/// Lets each call fail for this reason; how many there are.
long failAtEachCall(const SettingsFolder& folder, int reason) {
    for (long number = 0;; ++number) {
        folder.setOctets(oldSettings);
        std::string error;
        {
            const CallFault fault(Call::Any, number, {Outcome::Kind::Error, reason});
            error = folder.put(u"Key", u"new");
        }
        EXPECT_EQ(complaint(folder, error, reason), "") << "call " << number;
        EXPECT_EQ(folder.put(u"Key", u"new"), "") << "call " << number;
        EXPECT_EQ(folder.octets(), newSettings);
        if (!CallFault::hasHappened() || testing::Test::HasFailure()) return number;
    }
}

TEST(SettingsWriter, SaysAtEachCallWhyItsDeviceFails) {
    const SettingsFolder folder;
    for (const int reason : {ENOSPC, EIO, EDQUOT})
        EXPECT_GE(failAtEachCall(folder, reason), fewestCalls) << std::strerror(reason);
}

/// The second call fails as well, so that the first failure cannot be cleaned up: the next write
/// does that.
TEST(SettingsWriter, LeavesNothingForLongWhenItCannotCleanUp) {
    const SettingsFolder folder;
    folder.setOctets(oldSettings);
    EXPECT_EQ(inChild([&] {
                  const CallFault fault(Call::Rename, 0, {Outcome::Kind::Killed});
                  return folder.put(u"Key", u"new");
              }),
              "died of signal 9");
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"SendMail.conf", "SendMail.conf.new"}));
    EXPECT_EQ(folder.octets(), oldSettings);
    EXPECT_EQ(folder.put(u"Key", u"new"), "");
    EXPECT_EQ(folder.names(), onlyTheFile);
    EXPECT_EQ(folder.octets(), newSettings);
}

}  // namespace
