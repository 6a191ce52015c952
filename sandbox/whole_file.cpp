// SPDX-License-Identifier: Apache-2.0
#include "sandbox/whole_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <system_error>

namespace sandbox {
namespace {

[[noreturn]] void fail(int error, const std::filesystem::path& path) {
    throw std::system_error(error, std::generic_category(), "cannot write " + path.string());
}

}  // namespace

TemporaryFile::TemporaryFile(const std::filesystem::path& folder)
    : path_((folder / ".message-XXXXXX").string()), descriptor_(mkostemp(path_.data(), O_CLOEXEC)) {
    if (descriptor_ < 0) fail(errno, folder);
}

TemporaryFile::~TemporaryFile() {
    close(descriptor_);
    if (!isRenamed_) unlink(path_.c_str());
}

void TemporaryFile::write(std::string_view octets) {
    while (!octets.empty()) {
        const ssize_t count = ::write(descriptor_, octets.data(), octets.size());
        if (count < 0 && errno != EINTR) fail(errno, path_);
        if (count > 0) octets.remove_prefix(static_cast<std::size_t>(count));
    }
    if (fsync(descriptor_) != 0) fail(errno, path_);
}

bool TemporaryFile::rename(const std::filesystem::path& name) {
    isRenamed_ = renameat2(AT_FDCWD, path_.c_str(), AT_FDCWD, name.c_str(), RENAME_NOREPLACE) == 0;
    if (!isRenamed_ && errno != EEXIST) fail(errno, name);
    return isRenamed_;
}

void syncFolder(const std::filesystem::path& folder) {
    const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool isSynced = descriptor >= 0 && fsync(descriptor) == 0;
    const int error = errno;
    if (descriptor >= 0) close(descriptor);
    if (!isSynced) fail(error, folder);
}

}  // namespace sandbox
