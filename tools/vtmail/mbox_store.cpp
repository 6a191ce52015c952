// SPDX-License-Identifier: Apache-2.0
// An mbox (RFC 4155) with mboxrd quoting.
//
// A message is appended in place, as other programs that share the file expect. What is appended
// goes to a journal beside the mbox first; where a crash leaves only a part of it in the mbox, that
// is cut off by the next one to open it.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>

#include "tools/vtmail/descriptor.h"
#include "tools/vtmail/disk.h"
#include "tools/vtmail/end_signals.h"
#include "tools/vtmail/failure.h"
#include "tools/vtmail/message_store.h"
#include "tools/vtmail/text.h"

namespace {

namespace fs = std::filesystem;

using Block = std::array<char, 65536>;

constexpr std::chrono::seconds lockPatience(3);
constexpr std::chrono::milliseconds lockPause(50);

Descriptor opened(const fs::path& path, int flags) {
    const int descriptor = open(path.c_str(), flags | O_CLOEXEC, 0600);
    if (descriptor == -1) failAt(EX_CANTCREAT, "open", path, errno);
    return Descriptor(descriptor);
}

/// Fewer octets than asked for only at the end of the file.
std::string_view readAt(const Descriptor& file, off_t position, Block& block,
                        const fs::path& path) {
    ssize_t count = 0;
    do {
        count = pread(file.number(), block.data(), block.size(), position);
    } while (count == -1 && errno == EINTR);
    if (count == -1) failAt(EX_IOERR, "read", path, errno);
    return {block.data(), static_cast<std::size_t>(count)};
}

off_t sizeOf(const Descriptor& file, const fs::path& path) {
    struct stat status = {};
    if (fstat(file.number(), &status) != 0) failAt(EX_IOERR, "read", path, errno);
    return status.st_size;
}

/// Calls `attempt` until it says true.
template <typename Attempt>
void waitForLock(const fs::path& path, Attempt attempt) {
    const auto end = std::chrono::steady_clock::now() + lockPatience;
    while (!attempt()) {
        if (std::chrono::steady_clock::now() > end)
            throw Failure(EX_TEMPFAIL,
                          shown(path.string()) + " is locked by another program; try again later");
        std::this_thread::sleep_for(lockPause);
    }
}

/// FILE.lock, which some programs go by. One that a crash left behind goes: whoever is here has
/// the lock on the mbox itself, which all of our kind take first.
class DotLock {
  public:
    explicit DotLock(const fs::path& mbox) : path_(mbox.string() + ".lock") {
        waitForLock(mbox, [this] { return take(); });
    }
    ~DotLock() { unlink(path_.c_str()); }
    DotLock(const DotLock&) = delete;
    DotLock& operator=(const DotLock&) = delete;

  private:
    static constexpr std::string_view owner = "vtmail\n";

    bool take() {
        const Descriptor file(open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
        if (file.isOpen()) {
            sign(file);
            return true;
        }
        if (errno != EEXIST) failAt(EX_CANTCREAT, "create", path_, errno);
        const Descriptor old(open(path_.c_str(), O_RDONLY | O_CLOEXEC));
        Block block;
        if (old.isOpen() && readAt(old, 0, block, path_) == owner) unlink(path_.c_str());
        return false;
    }

    /// One that is not signed would be taken for somebody else's.
    void sign(const Descriptor& file) {
        try {
            writeAll(file.number(), owner, path_);
        } catch (...) {
            unlink(path_.c_str());
            throw;
        }
    }

    std::string path_;
};

/// Puts ">" before each line that begins with "From ", quoted already or not.
class MboxQuoter {
  public:
    /// What the next octets of a message become.
    std::string quoted(std::string_view octets) {
        std::string out;
        for (const char c : octets) put(c, out);
        return out;
    }

  private:
    void put(char c, std::string& out) {
        if (!isAtStart_ || (c == '>' && matched_ == 0)) {
            out += c;
        } else if (c == separator[matched_]) {
            if (++matched_ < separator.size()) return;
            out.append(">").append(separator);
            isAtStart_ = false;
        } else {
            out.append(separator.substr(0, matched_)) += c;
            isAtStart_ = false;
        }
        if (c != '\n') return;
        isAtStart_ = true;
        matched_ = 0;
    }

    static constexpr std::string_view separator = "From ";
    bool isAtStart_ = true;
    std::size_t matched_ = 0;  // of the separator
};

/// What is to be appended, and to how long a file.
class Journal {
  public:
    Journal(const fs::path& path, int flags) : path_(path), file_(opened(path, flags)) {}

    void write(const fs::path& message, std::string_view before, off_t oldSize) {
        char line[32];
        const time_t now = time(nullptr);
        tm parts = {};
        gmtime_r(&now, &parts);
        put(std::string(headerLength, ' '));
        put(before);
        put(std::string("From MAILER-DAEMON ") + asctime_r(&parts, line));
        putQuoted(message);
        put("\n");
        const off_t length = sizeOf(file_, path_) - headerLength;
        const std::string header = headerFor(oldSize, length);
        if (pwrite(file_.number(), header.data(), header.size(), 0) != headerLength)
            failAt(EX_IOERR, "write", path_, errno);
        syncFile(file_.number(), path_.string());
        syncFolder(path_.parent_path());
    }

    /// Appends what is in it.
    void copyTo(const Descriptor& mbox, const fs::path& path) const {
        Block block;
        off_t position = headerLength;
        for (std::string_view octets;
             octets = readAt(file_, position, block, path_), !octets.empty();) {
            writeAll(mbox.number(), octets, path.string());
            position += static_cast<off_t>(octets.size());
        }
        syncFile(mbox.number(), path.string());
    }

    /// The old size when the mbox ends in the midst of what is in it; -1 otherwise.
    off_t sizeToCutTo(const Descriptor& mbox, const fs::path& path) const {
        long long oldSize = 0;
        long long length = 0;
        Block block;
        const std::string header(readAt(file_, 0, block, path_).substr(0, headerLength));
        std::istringstream numbers(header);
        const bool isHeader = numbers >> oldSize >> length && header == headerFor(oldSize, length);
        const off_t tail = sizeOf(mbox, path) - oldSize;
        if (!isHeader || sizeOf(file_, path_) != headerLength + length) return -1;
        return tail > 0 && tail < length && isSame(mbox, oldSize, tail, path) ? oldSize : -1;
    }

  private:
    static constexpr off_t headerLength = 42;

    static std::string headerFor(long long oldSize, long long length) {
        char header[64];
        static_cast<void>(
            std::snprintf(header, sizeof header, "%020lld %020lld\n", oldSize, length));
        return header;
    }

    void put(std::string_view octets) const { writeAll(file_.number(), octets, path_.string()); }

    void putQuoted(const fs::path& message) const {
        const Descriptor file = opened(message, O_RDONLY);
        MboxQuoter quoter;
        Block block;
        off_t position = 0;
        for (std::string_view octets;
             octets = readAt(file, position, block, message), !octets.empty();) {
            put(quoter.quoted(octets));
            position += static_cast<off_t>(octets.size());
        }
    }

    bool isSame(const Descriptor& mbox, off_t position, off_t length, const fs::path& path) const {
        Block there;
        Block here;
        for (off_t at = 0; at < length;) {
            const std::string_view tail = readAt(mbox, position + at, there, path);
            if (tail.empty() ||
                readAt(file_, headerLength + at, here, path_).substr(0, tail.size()) != tail)
                return false;
            at += static_cast<off_t>(tail.size());
        }
        return true;
    }

    fs::path path_;
    Descriptor file_;
};

/// The mbox, locked.
class LockedMbox {
  public:
    explicit LockedMbox(const fs::path& path)
        : path_(path),
          journalPath_(path.parent_path() / ("." + path.filename().string() + ".vtmail-journal")),
          file_(lockedFile(path)),
          dotLock_(path) {
        recover();
    }

    void append(const fs::path& message) const {
        const off_t oldSize = sizeOf(file_, path_);
        Journal journal(journalPath_, O_RDWR | O_CREAT | O_TRUNC);
        journal.write(message, blankLine(oldSize), oldSize);
        try {
            journal.copyTo(file_, path_);
        } catch (const Failure&) {
            // The journal has to stay where this fails.
            if (ftruncate(file_.number(), oldSize) == 0) unlink(journalPath_.c_str());
            throw;
        }
        unlink(journalPath_.c_str());
    }

  private:
    /// Another program may put a new file in the place of the one that it has locked.
    static Descriptor lockedFile(const fs::path& path) {
        for (;;) {
            Descriptor file = opened(path, O_RDWR | O_CREAT | O_APPEND);
            struct stat status = {};
            struct stat now = {};
            if (fstat(file.number(), &status) != 0) failAt(EX_IOERR, "read", path, errno);
            if (!S_ISREG(status.st_mode))
                throw Failure(EX_CANTCREAT, shown(path.string()) + " is no file; choose another");
            waitForLock(path, [&] { return lock(file, path); });
            if (stat(path.c_str(), &now) == 0 && now.st_ino == status.st_ino &&
                now.st_dev == status.st_dev)
                return file;
        }
    }

    static bool lock(const Descriptor& file, const fs::path& path) {
        struct flock whole = {};
        whole.l_type = F_WRLCK;
        whole.l_whence = SEEK_SET;
        if (fcntl(file.number(), F_OFD_SETLK, &whole) == 0) return true;
        if (errno != EAGAIN && errno != EACCES) failAt(EX_IOERR, "lock", path, errno);
        return false;
    }

    void recover() const {
        if (access(journalPath_.c_str(), F_OK) != 0) return;
        const off_t size = Journal(journalPath_, O_RDONLY).sizeToCutTo(file_, path_);
        if (size != -1 && ftruncate(file_.number(), size) != 0)
            failAt(EX_IOERR, "write", path_, errno);
        syncFile(file_.number(), path_.string());
        unlink(journalPath_.c_str());
    }

    /// What is missing of the blank line that ends the last message.
    std::string_view blankLine(off_t size) const {
        if (size == 0) return "";
        Block block;
        const std::string_view end = readAt(file_, size < 2 ? 0 : size - 2, block, path_);
        if (!end.ends_with('\n')) return "\n\n";
        return end == "\n\n" ? "" : "\n";
    }

    fs::path path_;
    fs::path journalPath_;
    Descriptor file_;
    DotLock dotLock_;
};

class Mbox : public MessageStore {
  public:
    explicit Mbox(const fs::path& file) : path_(fs::absolute(file)) {
        makePrivateFolder(path_.parent_path());
        const HeldEndSignals signals({SIGHUP, SIGINT, SIGTERM});
        const LockedMbox cleanedUp(path_);
    }

    fs::path temporaryPath() override {
        return path_.parent_path() /
               (".vtmail-" + std::to_string(getpid()) + "-" + std::to_string(++count_) + ".tmp");
    }

    fs::path keep(const std::string& temporary) override {
        const HeldEndSignals signals({SIGHUP, SIGINT, SIGTERM});
        LockedMbox(path_).append(temporary);
        unlink(temporary.c_str());
        return path_;
    }

  private:
    fs::path path_;
    unsigned int count_ = 0;
};

}  // namespace

std::unique_ptr<MessageStore> openMbox(const fs::path& file) {
    return std::make_unique<Mbox>(file);
}
