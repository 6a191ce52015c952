// SPDX-License-Identifier: Apache-2.0
// Messages as files.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string_view>

namespace sandbox {

/// A folder that gets a file `message-0001.eml`, `message-0002.eml` and so on for each message.
/// Files that are there already are left alone. A file is complete whenever it can be seen
/// under its name, and on the disk before write() returns.
class MessageFolder {
  public:
    /// Makes the folder when it is missing. Throws std::system_error.
    explicit MessageFolder(std::filesystem::path folder);
    /// Throws std::system_error, and leaves nothing behind then.
    void write(std::string_view message);

  private:
    std::filesystem::path nextFile();

    std::filesystem::path folder_;
    std::size_t number_ = 0;  // of the newest file
};

}  // namespace sandbox
