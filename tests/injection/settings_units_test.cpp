// SPDX-License-Identifier: Apache-2.0
// Every UTF-16 unit in the texts of the settings file: what was stored reads back, and beside it
// nothing has changed.
#include <gtest/gtest.h>

#include <filesystem>
#include <string_view>

#include "tests/injection/placed_units.h"
#include "tests/unit/host/scoped_environment.h"
#include "tests/unit/host/settings_folder.h"

// A write waits for the disk; here none has to last.
extern "C" int __wrap_fsync(int /*descriptor*/) { return 0; }

namespace {

/// Settings in memory, where the system has such files.
class FolderInMemory {
  public:
    FolderInMemory()
        : temporary_("TMPDIR", std::filesystem::exists("/dev/shm") ? "/dev/shm" : "/tmp") {}

  private:
    ScopedEnvironment temporary_;
};

struct SettingsUnits : testing::Test {
    /// Stores it beside another setting, and expects it to read back and the other to be the same.
    void expectStored(const Zeb_String& key, const Zeb_String& value) {
        const std::string other = "Other = 1\n";
        folder.setOctets(other);
        ASSERT_EQ(folder.put(key, value), "");
        ASSERT_EQ(folder.get(key), value);
        ASSERT_EQ(folder.get(u"Other"), Zeb_String(u"1"));
        const std::string octets = folder.octets();
        ASSERT_TRUE(octets.starts_with(other) && octets.ends_with('\n')) << octets;
        const std::string line = octets.substr(other.size(), octets.size() - other.size() - 1);
        ASSERT_EQ(line.find_first_of(std::string_view("\r\n\0", 3)), std::string::npos) << line;
    }

    const FolderInMemory inMemory;
    const SettingsFolder folder;
};

TEST_F(SettingsUnits, AreStoredInValues) {
    forEachPlacedUnit(u"a", u"b",
                      [this](const PlacedUnit& value) { expectStored(u"Key", value.wide()); });
}

TEST_F(SettingsUnits, AreStoredInValuesThatLookLikeLines) {
    forEachPlacedUnit(u"x", u"\nOther = 2",
                      [this](const PlacedUnit& value) { expectStored(u"Key", value.wide()); });
}

TEST_F(SettingsUnits, AreStoredInKeys) {
    forEachPlacedUnit(u"K", u"ey",
                      [this](const PlacedUnit& key) { expectStored(key.wide(), u"value"); });
}

}  // namespace
