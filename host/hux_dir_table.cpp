// SPDX-License-Identifier: Apache-2.0
#include "host/hux_dir_table.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "host/adcharset.h"

namespace {

std::string environment(const char* name) {
    // The host reads its environment and never changes it.
    const char* value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe)
    return value ? value : "";
}

std::string homeDirectory() {
    const std::string home = environment("HOME");
    if (!home.empty()) return home;
    std::vector<char> buffer(16384);
    passwd entry{};
    passwd* found = nullptr;
    if (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || !found)
        return "";
    return entry.pw_dir;
}

std::string withoutFinalSlashes(std::string directory) {
    while (directory.size() > 1 && directory.ends_with('/')) directory.pop_back();
    return directory;
}

std::string settingsDirectory() {
    const std::string own = environment("VTINETLIB_SETTINGS_DIR");
    if (!own.empty()) return own;
    // The XDG base directory rules: a relative path is invalid and ignored.
    const std::string config = environment("XDG_CONFIG_HOME");
    if (config.starts_with('/')) return withoutFinalSlashes(config) + "/vtinetlib";
    return withoutFinalSlashes(homeDirectory()) + "/.config/vtinetlib";
}

}  // namespace

Zeb_String Hux_Dir_Table::Get(int element) {
    if (element != settings) return {};
    const std::string directory = withoutFinalSlashes(settingsDirectory());
    Zeb_String name;
    AdMbcsString::cvtToTchar(AdCharset::getUTF8Charset(), directory.data(), directory.size(), name,
                             1);
    return name;
}
