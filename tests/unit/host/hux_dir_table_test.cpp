// SPDX-License-Identifier: Apache-2.0
#include "host/hux_dir_table.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <climits>

#include "tests/unit/host/scoped_environment.h"
#include "tests/unit/host/units.h"

namespace {

using Value = std::optional<std::string>;

TEST(HuxDirTable, SettingsAreElementTwo) { EXPECT_EQ(2, Hux_Dir_Table::settings); }

TEST(HuxDirTable, SettingsDirectoryComesFromTheEnvironment) {
    struct FolderRow {
        Value own;
        Value configHome;
        Value home;
        const char16_t* expected;
    };
    const FolderRow rows[] = {
        {"/own", "/config", "/home/joe", u"/own"},
        {"/own", {}, {}, u"/own"},
        {"relative/own", "/config", "/home/joe", u"relative/own"},
        {"", "/config", "/home/joe", u"/config/vtinetlib"},
        {{}, "/config", "/home/joe", u"/config/vtinetlib"},
        {{}, "relative", "/home/joe", u"/home/joe/.config/vtinetlib"},
        {{}, "", "/home/joe", u"/home/joe/.config/vtinetlib"},
        {{}, {}, "/home/joe", u"/home/joe/.config/vtinetlib"},
        {"", "", "/home/joe", u"/home/joe/.config/vtinetlib"},
        {"/own/", "/config", "/home/joe", u"/own"},
        {{}, "/config/", "/home/joe", u"/config/vtinetlib"},
        {{}, {}, "/home/joe/", u"/home/joe/.config/vtinetlib"},
        {"/\xC3\xA9\xE6\x97\xA5/a b", {}, {}, u"/\u00E9\u65E5/a b"},
    };
    for (const FolderRow& row : rows) {
        const ScopedEnvironment own("VTINETLIB_SETTINGS_DIR", row.own);
        const ScopedEnvironment configHome("XDG_CONFIG_HOME", row.configHome);
        const ScopedEnvironment home("HOME", row.home);
        EXPECT_EQ(Hux_Dir_Table::Get(2), row.expected)
            << row.own.value_or("(unset)") << ' ' << row.configHome.value_or("(unset)") << ' '
            << row.home.value_or("(unset)");
    }
}

TEST(HuxDirTable, WithoutHomeTheUserDatabaseKnowsIt) {
    const ScopedEnvironment own("VTINETLIB_SETTINGS_DIR", {});
    const ScopedEnvironment configHome("XDG_CONFIG_HOME", {});
    const ScopedEnvironment home("HOME", {});
    const passwd* user = getpwuid(getuid());
    if (!user) GTEST_SKIP() << "the user is not in the user database";
    EXPECT_EQ(Hux_Dir_Table::Get(2), wide(std::string(user->pw_dir) + "/.config/vtinetlib"));
}

TEST(HuxDirTable, OtherElementsAreEmpty) {
    for (const int element : {0, 1, 3, 4, 100, -1, INT_MIN, INT_MAX})
        EXPECT_EQ(Hux_Dir_Table::Get(element), u"") << element;
}

}  // namespace
