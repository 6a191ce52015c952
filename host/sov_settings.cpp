// SPDX-License-Identifier: Apache-2.0
// The settings store.
//
// A file is a list of lines; each knows its own text, octet for octet, and the key and value it
// holds, if any. Reading looks a key up from the end; writing replaces or appends one line and
// puts the others back as they were.
#include "host/sov_settings.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "host/adcharset.h"
#include "host/utf8.h"

namespace {

// ---- failures ----

/// What went wrong, for people; travels to the Zeb_Condition and no further.
struct Failure {
    std::string text;
};

[[noreturn]] void fail(const std::string& path, const std::string& what) {
    throw Failure{path + ": " + what};
}

[[noreturn]] void failErrno(const std::string& path, const std::string& what) {
    fail(path, what + ": " + std::generic_category().message(errno));
}

Zeb_String widen(std::string_view octets) {
    Zeb_String text;
    AdMbcsString::cvtToTchar(AdCharset::getUTF8Charset(), octets.data(), octets.size(), text, 1);
    return text;
}

std::string narrow(const Zeb_String& text) {
    AdMbcsString octets;
    octets.cvtFromTchar(AdCharset::getUTF8Charset(), text, 1);
    return octets.getString();
}

// ---- lines ----

constexpr std::string_view blanks = " \t";

struct Line {
    std::string text;  // without its line feed
    bool hasSetting = false;
    Zeb_String key;
    Zeb_String value;
    std::string fault;  // why it cannot be understood
};

std::string_view trim(std::string_view text) {
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

/// Reads one line; `rest_` is what has not been read yet.
class LineParser {
  public:
    explicit LineParser(std::string_view line) : rest_(line) {}

    /// Fills in key and value, or the fault.
    void parse(Line& line) {
        if (const char* fault = check()) {
            line.fault = fault;
            return;
        }
        skipBlanks();
        if (rest_.empty() || rest_.front() == '#') return;
        line.hasSetting = key(line.key) && value(line.value);
        if (!line.hasSetting) line.fault = fault_;
    }

  private:
    const char* check() const {
        for (const char c : rest_)
            if ((static_cast<unsigned char>(c) < 0x20 && c != '\t') || c == 0x7F)
                return "a control character stands in this line";
        Zeb_String text;
        if (!AdMbcsString::cvtToTchar(AdCharset::getUTF8Charset(), rest_.data(), rest_.size(),
                                      text))
            return "this line is not UTF-8";
        return nullptr;
    }

    void skipBlanks() {
        rest_.remove_prefix(std::min(rest_.find_first_not_of(blanks), rest_.size()));
    }

    bool key(Zeb_String& out) {
        if (rest_.front() == '"') {
            if (!quoted(out)) return false;
        } else {
            const std::string_view name = rest_.substr(0, rest_.find('='));
            out = widen(trim(name));
            rest_.remove_prefix(name.size());
        }
        skipBlanks();
        if (rest_.empty() || rest_.front() != '=') return stop("no \"=\" follows the key");
        rest_.remove_prefix(1);
        return true;
    }

    bool value(Zeb_String& out) {
        skipBlanks();
        if (rest_.empty() || rest_.front() != '"') {
            out = widen(trim(rest_));
            return true;
        }
        if (!quoted(out)) return false;
        skipBlanks();
        return rest_.empty() || stop("something follows the closing quote");
    }

    bool quoted(Zeb_String& out) {
        std::basic_string<unsigned short> units;
        rest_.remove_prefix(1);
        while (!rest_.empty() && rest_.front() != '"')
            if (!(rest_.front() == '\\' ? escape(units) : plain(units))) return false;
        if (rest_.empty()) return stop("the closing quote is missing");
        rest_.remove_prefix(1);
        out = Zeb_String::FromUnits(units.data(), units.size());
        return true;
    }

    bool plain(std::basic_string<unsigned short>& units) {
        const utf::Step step = utf::decodeUtf8(rest_.data(), rest_.size());
        utf::appendUtf16(units, step.codePoint);
        rest_.remove_prefix(step.length);
        return true;
    }

    bool escape(std::basic_string<unsigned short>& units) {
        const char kind = rest_.size() > 1 ? rest_[1] : '\0';
        rest_.remove_prefix(std::min<std::size_t>(2, rest_.size()));
        switch (kind) {
            case 'n':
                units += u'\n';
                return true;
            case 'r':
                units += u'\r';
                return true;
            case 't':
                units += u'\t';
                return true;
            case '"':
            case '\\':
                units += static_cast<unsigned char>(kind);
                return true;
            case 'u':
                return codePoint(units);
            default:
                return stop("an unknown escape stands behind a backslash");
        }
    }

    bool codePoint(std::basic_string<unsigned short>& units) {
        const std::size_t close = rest_.find('}');
        if (!rest_.starts_with('{') || close == std::string_view::npos || close < 2 || close > 7)
            return stop("\\u takes hexadecimal digits in braces");
        char32_t value = 0;
        for (const char digit : rest_.substr(1, close - 1)) {
            const std::size_t place = hexDigits.find(static_cast<char>(digit | 0x20));
            if (place == std::string_view::npos)
                return stop("\\u takes hexadecimal digits in braces");
            value = value << 4 | static_cast<char32_t>(place);
        }
        if (value > 0x10FFFF) return stop("\\u names no character");
        rest_.remove_prefix(close + 1);
        utf::appendUtf16(units, value);
        return true;
    }

    bool stop(const char* fault) {
        fault_ = fault;
        return false;
    }

    static constexpr std::string_view hexDigits = "0123456789abcdef";

    std::string_view rest_;
    std::string fault_;
};

// ---- writing a text so that it reads back exactly ----

bool needsEscape(const utf::Step& step) {
    const char32_t c = step.codePoint;
    return !step.isValid || c < 0x20 || (c >= 0x7F && c < 0xA0) || c == '"' || c == '\\' ||
           c == 0x2028 || c == 0x2029 || c == 0xFEFF;
}

void appendEscape(std::string& out, char32_t codePoint) {
    switch (codePoint) {
        case '\n':
            out += "\\n";
            return;
        case '\r':
            out += "\\r";
            return;
        case '\t':
            out += "\\t";
            return;
        case '"':
            out += "\\\"";
            return;
        case '\\':
            out += "\\\\";
            return;
        default:
            break;
    }
    char text[16];
    const int length =
        std::snprintf(text, sizeof text, "\\u{%X}", static_cast<unsigned>(codePoint));
    out.append(text, static_cast<std::size_t>(length));
}

std::string quote(const Zeb_String& text) {
    std::string out = "\"";
    const unsigned short* units = text.GetBuffer();
    auto left = static_cast<std::size_t>(text.GetLength());
    while (left > 0) {
        const utf::Step step = utf::decodeUtf16(units, left);
        if (needsEscape(step))
            appendEscape(out, step.codePoint);
        else
            utf::appendUtf8(out, step.codePoint);
        units += step.length;
        left -= step.length;
    }
    return out + '"';
}

Line parseLine(std::string_view text) {
    Line line;
    line.text = text;
    LineParser(text).parse(line);
    return line;
}

std::vector<Line> splitLines(std::string_view text) {
    while (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);  // byte order marks of editors
    std::vector<Line> lines;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        const bool hasReturn = line.ends_with('\r');
        if (hasReturn) line.remove_suffix(1);
        lines.push_back(parseLine(line));
        if (hasReturn) lines.back().text += '\r';
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

/// Whether `text` is a line that reads back as this key and value, wherever it stands in a file.
bool readsBack(const std::string& text, const Zeb_String& key, const Zeb_String& value) {
    const std::vector<Line> lines = splitLines(text);
    return lines.size() == 1 && lines[0].hasSetting && lines[0].key == key &&
           lines[0].value == value;
}

/// A line for the setting; key and value are quoted only where a bare form would not read back.
Line makeLine(const Zeb_String& key, const Zeb_String& value) {
    const std::string bareKey = narrow(key);
    for (const std::string& text :
         {bareKey + " = " + narrow(value), bareKey + " = " + quote(value)})
        if (readsBack(text, key, value)) return parseLine(text);
    return parseLine(quote(key) + " = " + quote(value));
}

// ---- files ----

class Descriptor {
  public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        if (number_ != -1) ::close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int number() const { return number_; }
    bool isOpen() const { return number_ != -1; }
    int release() { return std::exchange(number_, -1); }

  private:
    int number_;
};

constexpr mode_t newFileMode = 0666;  // cut by the umask

struct Rights {
    uid_t owner;
    gid_t group;
    mode_t mode;
};

struct File {
    std::vector<Line> lines;
    std::optional<Rights> rights;  // of the file that exists

    const Line* find(const Zeb_String& key) const {
        for (auto line = lines.rbegin(); line != lines.rend(); ++line)
            if (line->hasSetting && line->key == key) return &*line;
        return nullptr;
    }
    void set(const Zeb_String& key, const Zeb_String& value) {
        if (const Line* line = find(key))
            lines[static_cast<std::size_t>(line - lines.data())] = makeLine(key, value);
        else
            lines.push_back(makeLine(key, value));
    }
    std::string text() const {
        std::string all;
        for (const Line& line : lines) all += line.text + "\n";
        return all;
    }
};

std::string readAll(int descriptor, const std::string& path) {
    std::string text;
    char block[65536];
    for (;;) {
        const ssize_t count = ::read(descriptor, block, sizeof block);
        if (count == 0) return text;
        if (count > 0)
            text.append(block, static_cast<std::size_t>(count));
        else if (errno != EINTR)
            failErrno(path, "cannot be read");
    }
}

/// A file that does not exist is an empty one.
File readFile(const std::string& path) {
    // O_NONBLOCK: a pipe in the file's place must not make the reader wait.
    const Descriptor descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!descriptor.isOpen()) {
        if (errno == ENOENT) return {};
        failErrno(path, "cannot be opened");
    }
    struct stat status {};
    if (::fstat(descriptor.number(), &status) != 0) failErrno(path, "cannot be examined");
    if (!S_ISREG(status.st_mode)) fail(path, "is not a regular file");
    return {splitLines(readAll(descriptor.number(), path)),
            Rights{status.st_uid, status.st_gid, status.st_mode & 07777U}};
}

/// The first line that cannot be understood, as a sentence; empty when all can.
std::string firstFault(const File& file, const std::string& path) {
    for (std::size_t i = 0; i < file.lines.size(); ++i)
        if (!file.lines[i].fault.empty())
            return path + ":" + std::to_string(i + 1) + ": " + file.lines[i].fault +
                   "; correct or remove the line";
    return {};
}

std::string directoryOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

/// Holds the lock of a settings directory: on the directory itself, so that nothing is left lying
/// about.
class DirectoryLock {
  public:
    explicit DirectoryLock(const std::string& directory)
        : descriptor_(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
        if (!descriptor_.isOpen()) failErrno(directory, "cannot be opened");
        while (::flock(descriptor_.number(), LOCK_EX) != 0)
            if (errno != EINTR) failErrno(directory, "cannot be locked");
    }
    // A child that another thread has made meanwhile has the descriptor, too: closing this one
    // alone would leave the lock to it.
    ~DirectoryLock() { ::flock(descriptor_.number(), LOCK_UN); }
    DirectoryLock(const DirectoryLock&) = delete;
    DirectoryLock& operator=(const DirectoryLock&) = delete;

    /// Makes a rename in the directory last, where the file system can do that (EINVAL: it cannot).
    void sync(const std::string& directory) const {
        if (::fsync(descriptor_.number()) != 0 && errno != EINVAL)
            failErrno(directory, "cannot be synced");
    }

  private:
    Descriptor descriptor_;
};

void writeAll(int descriptor, std::string_view text, const std::string& path) {
    while (!text.empty()) {
        const ssize_t count = ::write(descriptor, text.data(), text.size());
        if (count >= 0)
            text.remove_prefix(static_cast<std::size_t>(count));
        else if (errno != EINTR)
            failErrno(path, "cannot be written");
    }
}

/// Makes a file that was not there; what a crash has left in its place is removed.
int openNew(const std::string& name) {
    ::unlink(name.c_str());
    return ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, newFileMode);
}

/// The new file beside the old one. The lock makes the fixed name safe. Removed again unless it
/// was put in place.
class NewFile {
  public:
    explicit NewFile(const std::string& path)
        : path_(path), name_(path + ".new"), descriptor_(openNew(name_)) {
        if (!descriptor_.isOpen()) failErrno(name_, "cannot be written");
    }
    ~NewFile() {
        if (!isInPlace_) ::unlink(name_.c_str());
    }
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    void write(std::string_view text, const std::optional<Rights>& rights) {
        if (rights) take(*rights);
        writeAll(descriptor_.number(), text, name_);
        if (::fsync(descriptor_.number()) != 0) failErrno(name_, "cannot be synced");
        if (::close(descriptor_.release()) != 0) failErrno(name_, "cannot be closed");
    }

    void putInPlace() {
        if (::rename(name_.c_str(), path_.c_str()) != 0) failErrno(path_, "cannot be replaced");
        isInPlace_ = true;
    }

  private:
    /// The owner as far as the process may: only root gives files away, others to their groups.
    void take(const Rights& rights) const {
        constexpr uid_t same = static_cast<uid_t>(-1);
        const bool isGiven =
            give(rights.owner, rights.group) || (isRefused() && give(same, rights.group));
        if (!isGiven && !isRefused())
            failErrno(name_, "cannot be given to the owner of the old file");
        if (::fchmod(descriptor_.number(), rights.mode) != 0)
            failErrno(name_, "cannot be given the mode of the old file");
    }

    bool give(uid_t owner, gid_t group) const {
        return ::fchown(descriptor_.number(), owner, group) == 0;
    }

    /// EINVAL: a user whom the namespace of this process does not know.
    static bool isRefused() { return errno == EPERM || errno == EINVAL; }

    std::string path_;
    std::string name_;
    Descriptor descriptor_;
    bool isInPlace_ = false;
};

void makeDirectory(const std::string& directory) {
    std::error_code error;
    std::filesystem::create_directories(directory, error);
    if (error) fail(directory, "cannot be made: " + error.message());
}

/// The rename would put a file in the place of a link.
void refuseLink(const std::string& path) {
    std::error_code error;
    if (std::filesystem::is_symlink(path, error))
        fail(path, "is a symbolic link; name the folder of the file itself instead");
    if (error && error != std::errc::no_such_file_or_directory)
        fail(path, "cannot be examined: " + error.message());
}

void writeSetting(const std::string& path, const Zeb_String& key, const Zeb_String& value) {
    const std::string directory = directoryOf(path);
    makeDirectory(directory);
    const DirectoryLock lock(directory);
    refuseLink(path);
    File file = readFile(path);
    if (const std::string fault = firstFault(file, path); !fault.empty()) throw Failure{fault};
    if (file.rights && ::access(path.c_str(), W_OK) != 0) failErrno(path, "cannot be written");
    file.set(key, value);
    NewFile newFile(path);
    newFile.write(file.text(), file.rights);
    newFile.putInPlace();
    lock.sync(directory);
}

/// The octets of a file name; NUL would cut it short.
std::string fileName(const Zeb_String& location) {
    std::string path = narrow(location);
    if (path.empty() || path.find('\0') != std::string::npos)
        throw Failure{"the settings location is no file name"};
    return path;
}

void deleteText(void* text) { delete static_cast<Zeb_String*>(text); }

/// A text for each thread, gone with it. Not thread_local: without the memory for noting the
/// destructor of such an object, glibc ends the process.
class ThreadText {
  public:
    ThreadText() {
        if (pthread_key_create(&key_, deleteText) != 0) throw std::bad_alloc();
    }
    ~ThreadText() {
        deleteText(pthread_getspecific(key_));
        pthread_key_delete(key_);
    }
    ThreadText(const ThreadText&) = delete;
    ThreadText& operator=(const ThreadText&) = delete;

    Zeb_String& get() const {
        if (void* text = pthread_getspecific(key_)) return *static_cast<Zeb_String*>(text);
        auto text = std::make_unique<Zeb_String>();
        if (pthread_setspecific(key_, text.get()) != 0) throw std::bad_alloc();
        return *text.release();
    }

  private:
    pthread_key_t key_ = 0;
};

Zeb_String& textOfThread() {
    static const ThreadText text;
    return text.get();
}

void appendPart(Zeb_String& out, const char16_t* separator, const Zeb_String& part) {
    if (!part.IsEmpty()) out.Append(separator).Append(part);
}

}  // namespace

void Sov_Settings::Get_Pathname(Zeb_String& out, const Zeb_String& directory,
                                const unsigned short* folder, const Zeb_String& name,
                                const unsigned short* qualifier, const unsigned short* variant,
                                long number) {
    Zeb_String path = directory;
    appendPart(path, u"/", folder);
    path.Append(u"/").Append(name);
    appendPart(path, u".", qualifier);
    appendPart(path, u".", variant);
    Zeb_String digits;
    if (number != 0) digits.Format(u"%ld", number);
    appendPart(path, u".", digits);
    out = path.Append(u".conf");
}

bool Sov_Settings::Get_Setting(Zeb_Condition& condition, const Zeb_String& location,
                               const Zeb_String& key, Zeb_String*& value) {
    try {
        const std::string path = fileName(location);
        const File file = readFile(path);
        if (const std::string fault = firstFault(file, path); !fault.empty())
            condition.SetError(widen(fault));
        const Line* line = file.find(key);
        if (!line) return false;
        Zeb_String& stored = textOfThread();
        stored = line->value;
        value = &stored;
        return true;
    } catch (const Failure& failure) {
        condition.SetError(widen(failure.text));
        return false;
    }
}

void Sov_Settings::Add_Setting(Zeb_Condition& condition, const Zeb_String& location,
                               const Zeb_String& key, const Zeb_String& value) {
    try {
        writeSetting(fileName(location), key, value);
    } catch (const Failure& failure) {
        condition.SetError(widen(failure.text));
    }
}
