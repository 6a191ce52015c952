// SPDX-License-Identifier: Apache-2.0
// The settings file as a whole, for an editor. It is written in the way of Sov_Settings: under the
// lock of its folder, into a new file that takes the old one's place.
#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>

/// What was in the file when it was read.
class SettingsFile {
  public:
    /// A file that does not exist is empty. Throws Failure (EX_CONFIG) when it cannot be read, and
    /// (EX_CANTCREAT) when it could not be written.
    explicit SettingsFile(const std::string& path);

    const std::string& path() const { return path_; }
    const std::string& text() const { return text_; }
    bool exists() const { return rights_.has_value(); }

    /// Puts `text` in its place. Throws Failure when it is no longer what was read (EX_TEMPFAIL) or
    /// cannot be written (EX_CANTCREAT, EX_IOERR); it is then as it was.
    void replace(const std::string& text) const;

  private:
    void read();

    std::string path_;
    std::string text_;
    std::optional<struct stat> rights_;  // of the file that exists
};
