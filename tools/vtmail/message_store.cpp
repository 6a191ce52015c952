// SPDX-License-Identifier: Apache-2.0
#include "tools/vtmail/message_store.h"

#include <fcntl.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "tools/vtmail/disk.h"
#include "tools/vtmail/failure.h"
#include "tools/vtmail/new_name.h"

namespace {

namespace fs = std::filesystem;

constexpr std::size_t bufferSize = 65536;

/// The file to be removed by a signal; only ever one message is on its way.
std::atomic<const char*> partialFile = nullptr;

/// The part of a Maildir name that tells machines apart.
std::string hostName() {
    char name[256] = "localhost";
    gethostname(name, sizeof name - 1);
    std::string safe;
    for (const char* c = name; *c != '\0'; ++c)
        safe += *c == '/' ? "\\057" : *c == ':' ? "\\072" : std::string(1, *c);
    return safe;
}

/// False when there is a file of that name.
bool renameNew(const std::string& from, const fs::path& to) {
    if (giveNewName(AT_FDCWD, from, to.string())) return true;
    if (errno != EEXIST) failAt(EX_CANTCREAT, "create", to, errno);
    return false;
}

/// A store with a file for each message.
class FileStore : public MessageStore {
  public:
    fs::path keep(const std::string& temporary) override {
        fs::path name = finalPath();
        while (!renameNew(temporary, name)) name = finalPath();
        syncFolder(name.parent_path());
        return name;
    }

  protected:
    /// A path that this process has not been given before.
    virtual fs::path finalPath() = 0;
};

class Maildir : public FileStore {
  public:
    explicit Maildir(const fs::path& folder) : folder_(folder) {
        for (const char* name : {"tmp", "new", "cur"}) makePrivateFolder(folder_ / name);
    }

    fs::path temporaryPath() override { return folder_ / "tmp" / (name_ = uniqueName()); }

  protected:
    fs::path finalPath() override {
        if (name_.empty()) name_ = uniqueName();
        return folder_ / "new" / std::exchange(name_, {});
    }

  private:
    std::string uniqueName() {
        timeval now = {};
        gettimeofday(&now, nullptr);
        return std::to_string(now.tv_sec) + ".M" + std::to_string(now.tv_usec) + "P" +
               std::to_string(getpid()) + "Q" + std::to_string(++count_) + "." + hostName();
    }

    fs::path folder_;
    std::string name_;  // of the message on its way: the same in tmp and in new
    unsigned int count_ = 0;
};

class EmlFolder : public FileStore {
  public:
    explicit EmlFolder(const fs::path& folder) : folder_(folder) {
        makePrivateFolder(folder_);
        std::error_code error;
        for (fs::directory_iterator entry(folder_, error), end; entry != end && !error;
             entry.increment(error))
            number_ = std::max(number_, numberIn(entry->path().filename().string()));
        if (error) failAt(EX_CANTCREAT, "read the folder", folder_, error.value());
    }

    fs::path temporaryPath() override {
        return folder_ /
               (".vtmail-" + std::to_string(getpid()) + "-" + std::to_string(++count_) + ".tmp");
    }

  protected:
    fs::path finalPath() override {
        char name[40];
        static_cast<void>(std::snprintf(name, sizeof name, "message-%04lu.eml", ++number_));
        return folder_ / name;
    }

  private:
    /// NNNN of message-NNNN.eml; 0 for any other name.
    static unsigned long numberIn(const std::string& name) {
        constexpr std::string_view prefix = "message-";
        constexpr std::string_view suffix = ".eml";
        unsigned long number = 0;
        if (!name.starts_with(prefix) || !name.ends_with(suffix)) return 0;
        const char* last = name.data() + name.size() - suffix.size();
        const auto [end, error] = std::from_chars(name.data() + prefix.size(), last, number);
        const bool isCounted = error == std::errc() && end == last && number < 1'000'000'000;
        return isCounted ? number : 0;
    }

    fs::path folder_;
    unsigned long number_ = 0;  // the highest one so far
    unsigned int count_ = 0;
};

void endBySignal(int signal) {
    if (const char* path = partialFile.load()) unlink(path);
    static_cast<void>(raise(signal));  // with its default action, once this handler is left
}

}  // namespace

static_assert(std::atomic<const char*>::is_always_lock_free, "a signal handler reads one");

void removePartialFileAtEndSignals() {
    for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
        struct sigaction action = {};
        sigaction(signal, nullptr, &action);
        if (action.sa_handler == SIG_IGN) continue;
        action.sa_handler = endBySignal;
        action.sa_flags = static_cast<int>(SA_RESETHAND);
        sigaction(signal, &action, nullptr);
    }
}

std::unique_ptr<MessageStore> openMaildir(const fs::path& folder) {
    return std::make_unique<Maildir>(folder);
}

std::unique_ptr<MessageStore> openFolder(const fs::path& folder) {
    return std::make_unique<EmlFolder>(folder);
}

// ---- one message

MessageFile::MessageFile(MessageStore& store, std::function<void(std::size_t)> moved)
    : store_(store), moved_(std::move(moved)) {
    do {  // a crash may have left a file, and numbers of processes come again
        path_ = store.temporaryPath().string();
        descriptor_ = open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    } while (descriptor_ == -1 && errno == EEXIST);
    if (descriptor_ == -1) failAt(EX_CANTCREAT, "create", path_, errno);
    partialFile = path_.c_str();
}

MessageFile::~MessageFile() {
    partialFile = nullptr;
    close(descriptor_);
    if (!path_.empty()) unlink(path_.c_str());
}

void MessageFile::put(char c) {
    if (c == '\n') {
        blanks_.clear();
    } else if (isBlankLine_ && (c == ' ' || c == '\t' || c == '\r')) {
        blanks_ += c;
        return;
    } else {
        buffer_ += blanks_;
        octets_ += blanks_.size();
        blanks_.clear();
    }
    isBlankLine_ = c == '\n';
    buffer_ += c;
    ++octets_;
    if (buffer_.size() >= bufferSize) flush();
}

void MessageFile::flush() {
    writeAll(descriptor_, buffer_, path_);
    buffer_.clear();
}

MessageFile::int_type MessageFile::overflow(int_type c) {
    if (c != traits_type::eof()) put(traits_type::to_char_type(c));
    return traits_type::not_eof(c);
}

std::streamsize MessageFile::xsputn(const char* octets, std::streamsize count) {
    std::for_each_n(octets, count, [this](char c) { put(c); });
    moved_(octets_);
    return count;
}

fs::path MessageFile::keep() {
    put('\n');
    flush();
    syncFile(descriptor_, path_);
    partialFile = nullptr;
    fs::path name = store_.keep(path_);
    path_.clear();
    return name;
}
