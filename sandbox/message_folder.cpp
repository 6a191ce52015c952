// SPDX-License-Identifier: Apache-2.0
#include "sandbox/message_folder.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>
#include <system_error>
#include <utility>

namespace sandbox {
namespace {

[[noreturn]] void fail(int error, const std::filesystem::path& path) {
    throw std::system_error(error, std::generic_category(), "cannot write " + path.string());
}

/// A file that is being written under a name that nobody looks at; removed unless it is renamed.
class TemporaryFile {
  public:
    explicit TemporaryFile(const std::filesystem::path& folder)
        : path_((folder / ".message-XXXXXX").string()),
          descriptor_(mkostemp(path_.data(), O_CLOEXEC)) {
        if (descriptor_ < 0) fail(errno, folder);
    }
    ~TemporaryFile() {
        close(descriptor_);
        if (!isRenamed_) unlink(path_.c_str());
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    void write(std::string_view octets) {
        while (!octets.empty()) {
            const ssize_t count = ::write(descriptor_, octets.data(), octets.size());
            if (count < 0 && errno != EINTR) fail(errno, path_);
            if (count > 0) octets.remove_prefix(static_cast<std::size_t>(count));
        }
        if (fsync(descriptor_) != 0) fail(errno, path_);
    }

    /// False when there is a file of that name.
    bool rename(const std::filesystem::path& name) {
        isRenamed_ =
            renameat2(AT_FDCWD, path_.c_str(), AT_FDCWD, name.c_str(), RENAME_NOREPLACE) == 0;
        if (!isRenamed_ && errno != EEXIST) fail(errno, name);
        return isRenamed_;
    }

  private:
    std::string path_;
    int descriptor_;
    bool isRenamed_ = false;
};

/// Makes the names in a folder last.
void syncFolder(const std::filesystem::path& folder) {
    const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool isSynced = descriptor >= 0 && fsync(descriptor) == 0;
    const int error = errno;
    if (descriptor >= 0) close(descriptor);
    if (!isSynced) fail(error, folder);
}

}  // namespace

MessageFolder::MessageFolder(std::filesystem::path folder) : folder_(std::move(folder)) {
    create_directories(folder_);
}

void MessageFolder::write(std::string_view message) {
    TemporaryFile file(folder_);
    file.write(message);
    while (!file.rename(nextFile())) {
    }
    syncFolder(folder_);
}

std::filesystem::path MessageFolder::nextFile() {
    std::string number = std::to_string(++number_);
    if (number.size() < 4) number.insert(0, 4 - number.size(), '0');
    return folder_ / ("message-" + number + ".eml");
}

}  // namespace sandbox
