// SPDX-License-Identifier: Apache-2.0
// Files that are complete whenever they can be seen under their name.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace sandbox {

/// A file that is being written under a name that nobody looks at; removed unless it is renamed.
/// Failures throw std::system_error with the path.
class TemporaryFile {
  public:
    explicit TemporaryFile(const std::filesystem::path& folder);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    /// Writes the octets, and has them on the disk when it returns.
    void write(std::string_view octets);
    /// False when there is a file of that name.
    bool rename(const std::filesystem::path& name);

  private:
    std::string path_;
    int descriptor_;
    bool isRenamed_ = false;
};

/// Makes the names in a folder last. Throws std::system_error.
void syncFolder(const std::filesystem::path& folder);

}  // namespace sandbox
