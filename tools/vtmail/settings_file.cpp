// SPDX-License-Identifier: Apache-2.0
#include "tools/vtmail/settings_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sysexits.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "tools/vtmail/descriptor.h"
#include "tools/vtmail/disk.h"
#include "tools/vtmail/failure.h"
#include "tools/vtmail/text.h"

namespace {

std::string folderOf(const std::string& path) {
    return std::filesystem::path(path).parent_path().string();
}

/// Holds the lock by which those who write settings wait for each other.
class FolderLock {
  public:
    explicit FolderLock(const std::string& folder)
        : folder_(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
        if (!folder_.isOpen()) failAt(EX_CANTCREAT, "open", folder, errno);
        while (flock(folder_.number(), LOCK_EX) != 0)
            if (errno != EINTR) failAt(EX_CANTCREAT, "lock", folder, errno);
    }

  private:
    Descriptor folder_;
};

/// A file beside the one that it is to replace; the lock makes its fixed name safe. Removed again
/// unless it was put in place.
class NewFile {
  public:
    explicit NewFile(const std::string& path) : path_(path), name_(path + ".new"), file_(make()) {
        if (!file_.isOpen()) failAt(EX_CANTCREAT, "write", name_, errno);
    }
    ~NewFile() {
        if (!isInPlace_) unlink(name_.c_str());
    }
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    /// The owner as far as the process may: only root gives files away, others to their groups.
    void take(const struct stat& rights) const {
        constexpr uid_t same = static_cast<uid_t>(-1);
        const bool isGiven =
            give(rights.st_uid, rights.st_gid) || (isRefused() && give(same, rights.st_gid));
        if (!isGiven && !isRefused())
            failAt(EX_CANTCREAT, "give to the owner of the old file", name_, errno);
        if (fchmod(file_.number(), rights.st_mode & 07777U) != 0)
            failAt(EX_CANTCREAT, "set the mode of", name_, errno);
    }
    void write(const std::string& text) const {
        writeAll(file_.number(), text, name_);
        syncFile(file_.number(), name_);
    }
    void putInPlace() {
        if (rename(name_.c_str(), path_.c_str()) != 0)
            failAt(EX_CANTCREAT, "replace", path_, errno);
        isInPlace_ = true;
    }

  private:
    bool give(uid_t owner, gid_t group) const { return fchown(file_.number(), owner, group) == 0; }
    /// EINVAL: a user whom the namespace of this process does not know.
    static bool isRefused() { return errno == EPERM || errno == EINVAL; }

    /// What a crash has left in its place is removed.
    int make() const {
        unlink(name_.c_str());
        return open(name_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    }

    std::string path_;
    std::string name_;
    Descriptor file_;
    bool isInPlace_ = false;
};

/// The rename would put a file in the place of a link.
void refuseLink(const std::string& path) {
    std::error_code ignored;
    if (std::filesystem::is_symlink(path, ignored))
        throw Failure(EX_CANTCREAT, shown(path) +
                                        ": is a symbolic link; name the folder of the file itself "
                                        "instead");
}

std::string readAll(int descriptor, const std::string& path) {
    std::string text;
    char block[65536];
    for (;;) {
        const ssize_t count = ::read(descriptor, block, sizeof block);
        if (count == 0) return text;
        if (count > 0)
            text.append(block, static_cast<std::size_t>(count));
        else if (errno != EINTR)
            failAt(EX_CONFIG, "read", path, errno);
    }
}

}  // namespace

SettingsFile::SettingsFile(const std::string& path) : path_(path) {
    std::error_code error;
    std::filesystem::create_directories(folderOf(path), error);
    if (error) failAt(EX_CANTCREAT, "make the folder", folderOf(path), error.value());
    refuseLink(path);
    read();
    if (exists() && access(path.c_str(), W_OK) != 0) failAt(EX_CANTCREAT, "write", path, errno);
}

void SettingsFile::read() {
    // O_NONBLOCK: a pipe in the file's place must not make the reader wait.
    const Descriptor file(open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file.isOpen() && errno == ENOENT) return;
    struct stat status {};
    if (!file.isOpen() || fstat(file.number(), &status) != 0)
        failAt(EX_CONFIG, "open", path_, errno);
    if (!S_ISREG(status.st_mode))
        throw Failure(EX_CONFIG, shown(path_) + ": is not a regular file");
    text_ = readAll(file.number(), path_);
    rights_ = status;
}

void SettingsFile::replace(const std::string& text) const {
    const FolderLock lock(folderOf(path_));
    const SettingsFile now(path_);
    if (now.exists() != exists() || now.text_ != text_)
        throw Failure(EX_TEMPFAIL, shown(path_) + " was changed by somebody else meanwhile");
    NewFile file(path_);
    if (rights_) file.take(*now.rights_);
    file.write(text);
    file.putInPlace();
    syncFolder(folderOf(path_));
}
