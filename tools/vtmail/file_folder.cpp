// SPDX-License-Identifier: Apache-2.0
#include "tools/vtmail/file_folder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <random>

#include "tools/vtmail/end_signals.h"
#include "tools/vtmail/failure.h"
#include "tools/vtmail/file_names.h"
#include "tools/vtmail/new_name.h"
#include "tools/vtmail/text.h"

namespace {

/// 0, else errno.
int makeFolder(const std::string& path) {
    return mkdir(path.c_str(), 0777) == 0 || errno == EEXIST ? 0 : errno;
}

int openFolder(const std::string& path) {
    const int problem = makeFolder(path);
    const int folder = problem == 0 ? open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC) : -1;
    if (folder != -1) return folder;
    throw Failure(EX_CANTCREAT, "cannot use the folder " + shown(path) + ": " +
                                    std::strerror(problem != 0 ? problem : errno) +
                                    "; name one that can be written");
}

/// A new file without a name that others would use. Goes away unless it is kept.
class TemporaryFile {
  public:
    explicit TemporaryFile(int folder)
        : folder_(folder),
          name_(".vtmail-" + std::to_string(std::random_device()())),
          file_(openat(folder, name_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                       0666)) {}
    ~TemporaryFile() {
        if (file_.isOpen() && !isKept_) unlinkat(folder_, name_.c_str(), 0);
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const std::string& name() const { return name_; }
    /// It has another name now.
    void keep() { isKept_ = true; }

    /// Writes all and syncs. False on failure, with the reason in errno.
    bool write(std::string_view octets) const {
        if (!file_.isOpen()) return false;
        while (!octets.empty()) {
            const ssize_t count = ::write(file_.number(), octets.data(), octets.size());
            if (count == -1 && errno != EINTR) return false;
            if (count > 0) octets.remove_prefix(static_cast<std::size_t>(count));
        }
        return fsync(file_.number()) == 0;
    }

  private:
    const int folder_;
    const std::string name_;
    const Descriptor file_;
    bool isKept_ = false;
};

}  // namespace

FileFolder::FileFolder(const std::string& path) : path_(path), folder_(openFolder(path)) {}

/// Empty on failure, with the reason in errno.
std::string FileFolder::moveToFreeName(const std::string& temporary, const std::string& name) {
    for (unsigned& number = lastNumbers_[name];;) {
        ++number;
        const std::string candidate = number == 1 ? name : file_names::numbered(name, number);
        if (giveNewName(folder_.number(), temporary, candidate)) return candidate;
        if (errno != EEXIST) return {};
    }
}

std::string FileFolder::store(const std::string& name, std::string_view octets) {
    // Else they would leave the temporary file behind.
    const HeldEndSignals held({SIGHUP, SIGINT, SIGTERM});
    TemporaryFile file(folder_.number());
    std::string stored;
    if (file.write(octets)) stored = moveToFreeName(file.name(), name);
    if (stored.empty())
        throw Failure(EX_CANTCREAT, "cannot store " + shown(path_ + "/" + name) + ": " +
                                        std::strerror(errno) + "; extract to another folder");
    file.keep();
    return stored;
}
