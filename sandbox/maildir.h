// SPDX-License-Identifier: Apache-2.0
// Messages in a Maildir: a folder with tmp, new and cur in it, and a file for each message.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace sandbox {

/// Lines end with LF in the files, as its other users expect, and with CR LF in memory. A file is
/// complete whenever it can be seen in new, and on the disk before write() returns. No file is
/// replaced, moved or removed.
class Maildir {
  public:
    struct Mail {
        std::string name;  // the part that stays the same for the life of the mail
        std::string data;
    };

    /// Makes the folders that are missing, for their owner alone. Throws std::system_error.
    explicit Maildir(const std::filesystem::path& folder);

    /// What is in new and cur, in the order of the names, which begin with the time; other things
    /// than files, and names that begin with a dot, are left out. Throws std::system_error when
    /// one cannot be read.
    std::vector<Mail> mails() const;
    /// Puts a message into new; returns its name. Throws std::system_error, and leaves nothing
    /// behind then.
    std::string write(std::string_view message);

  private:
    std::string nextName();

    std::filesystem::path folder_;
    std::size_t count_ = 0;  // of the names given so far
};

}  // namespace sandbox
