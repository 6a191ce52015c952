// SPDX-License-Identifier: Apache-2.0
#include "tools/vtmail/disk.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>

#include "tools/vtmail/failure.h"
#include "tools/vtmail/text.h"

void failAt(int exitCode, const char* what, const std::filesystem::path& path, int error) {
    throw Failure(exitCode, std::string("cannot ") + what + " " + shown(path.string()) + ": " +
                                std::strerror(error));
}

void syncFolder(const std::filesystem::path& folder) {
    const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor == -1) failAt(EX_IOERR, "open", folder, errno);
    const int result = fsync(descriptor);
    const int error = errno;
    close(descriptor);
    // Some file systems know no such thing for folders.
    if (result != 0 && error != EINVAL) failAt(EX_IOERR, "sync", folder, error);
}

void syncFile(int descriptor, const std::string& path) {
    while (fsync(descriptor) != 0)
        if (errno != EINTR) failAt(EX_IOERR, "write", path, errno);
}

void makePrivateFolder(const std::filesystem::path& folder) {
    std::error_code ignored;
    if (std::filesystem::is_directory(folder, ignored)) return;
    const std::filesystem::path parent = folder.has_parent_path() ? folder.parent_path() : ".";
    if (parent != folder && !std::filesystem::exists(parent, ignored)) makePrivateFolder(parent);
    if (mkdir(folder.c_str(), 0700) == 0) return syncFolder(parent);
    const int error = errno;
    if (!std::filesystem::is_directory(folder, ignored))
        failAt(EX_CANTCREAT, "make the folder", folder, error);
}

void writeAll(int descriptor, std::string_view octets, const std::string& path) {
    while (!octets.empty()) {
        const ssize_t count = write(descriptor, octets.data(), octets.size());
        if (count < 0 && errno != EINTR) failAt(EX_IOERR, "write", path, errno);
        if (count > 0) octets.remove_prefix(static_cast<std::size_t>(count));
    }
}
