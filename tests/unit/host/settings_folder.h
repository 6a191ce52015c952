// SPDX-License-Identifier: Apache-2.0
// A folder with one settings file, for tests.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/zeb_string.h"

/// A new empty folder that all users may read; the destructor removes it with what is in it.
class SettingsFolder {
  public:
    SettingsFolder();
    ~SettingsFolder();
    SettingsFolder(const SettingsFolder&) = delete;
    SettingsFolder& operator=(const SettingsFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }
    /// Where the settings file is, or will be.
    std::filesystem::path file() const { return path_ / "SendMail.conf"; }
    Zeb_String location() const;

    /// The octets of the file; none when there is no file.
    std::string octets() const;
    void setOctets(std::string_view octets) const;
    /// The names of what is in the folder, sorted.
    std::vector<std::string> names() const;

    /// Stores a value; returns the error, empty when there was none.
    std::string put(const Zeb_String& key, const Zeb_String& value) const;
    /// The value, when the key exists and no error was recorded.
    std::optional<Zeb_String> get(const Zeb_String& key) const;

  private:
    std::filesystem::path path_;
};

struct Lookup {
    bool exists;
    Zeb_String value;
    std::string error;  // empty when none was recorded
};
Lookup lookUp(const Zeb_String& location, const Zeb_String& key);
/// The error, empty when none was recorded.
std::string store(const Zeb_String& location, const Zeb_String& key, const Zeb_String& value);
