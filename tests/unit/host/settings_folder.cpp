// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/host/settings_folder.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "host/sov_settings.h"
#include "tests/support/wide_text.h"

namespace fs = std::filesystem;

SettingsFolder::SettingsFolder() {
    std::string name = (fs::temp_directory_path() / "settings-XXXXXX").string();
    if (!mkdtemp(name.data())) throw std::runtime_error("cannot make " + name);
    path_ = name;
    fs::permissions(path_, fs::perms(0755));
}

SettingsFolder::~SettingsFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

Zeb_String SettingsFolder::location() const { return wide(file().string()); }

std::string SettingsFolder::octets() const {
    std::ifstream in(file(), std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

void SettingsFolder::setOctets(std::string_view octets) const {
    std::ofstream out(file(), std::ios::binary);
    out.write(octets.data(), static_cast<std::streamsize>(octets.size()));
    out.close();
    if (!out) throw std::runtime_error("cannot write " + file().string());
}

std::vector<std::string> SettingsFolder::names() const {
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(path_))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

std::string SettingsFolder::put(const Zeb_String& key, const Zeb_String& value) const {
    return store(location(), key, value);
}

std::optional<Zeb_String> SettingsFolder::get(const Zeb_String& key) const {
    const Lookup found = lookUp(location(), key);
    if (!found.exists || !found.error.empty()) return {};
    return found.value;
}

Lookup lookUp(const Zeb_String& location, const Zeb_String& key) {
    Zeb_Condition condition;
    Zeb_String* value = nullptr;
    const bool exists = Sov_Settings::Get_Setting(condition, location, key, value);
    const std::string error = condition.HasError() ? utf8(condition.GetMessage()) : "";
    return {exists, exists ? *value : Zeb_String(), error};
}

std::string store(const Zeb_String& location, const Zeb_String& key, const Zeb_String& value) {
    Zeb_Condition condition;
    Sov_Settings::Add_Setting(condition, location, key, value);
    return condition.HasError() ? utf8(condition.GetMessage()) : "";
}
