// SPDX-License-Identifier: Apache-2.0
// A folder that takes in files from a mail.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "tools/vtmail/descriptor.h"

/// Replaces no file and follows no link in the folder. A file is there whole or not at all.
class FileFolder {
  public:
    /// Makes the folder when there is none. Throws Failure.
    explicit FileFolder(const std::string& path);

    /// Stores a file on disk, and returns its name: `name`, or a numbered one when that is taken.
    /// `name` is a safe one. Throws Failure; nothing of the file is left then.
    std::string store(const std::string& name, std::string_view octets);

  private:
    std::string moveToFreeName(const std::string& temporary, const std::string& name);

    const std::string path_;
    const Descriptor folder_;
    std::map<std::string, unsigned> lastNumbers_;  // by the name that was asked for
};
