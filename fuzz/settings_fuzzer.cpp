// SPDX-License-Identifier: Apache-2.0
// Settings files that somebody has edited: reading takes anything, writing harms nothing.
// The input is a key, a NUL, a value, a NUL, and the file.
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>

#include "fuzz/support/fuzzing.h"

namespace {

/// A folder in memory, if there is one, for as long as the process lives.
class Folder {
  public:
    Folder()
        : path_((std::filesystem::exists("/dev/shm") ? "/dev/shm"
                                                     : std::filesystem::temp_directory_path()) /
                ("vtinetlib-fuzz-" + std::to_string(getpid()))) {
        std::filesystem::create_directories(path_);
    }
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    std::string file() const { return path_ / "a.conf"; }

  private:
    std::filesystem::path path_;
};

std::string readFile(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

class Store {
  public:
    explicit Store(const std::string& path) : path_(path) {}

    /// Empty when the key is not there.
    std::optional<Zeb_String> get(const Zeb_String& key) {
        Zeb_Condition condition;
        Zeb_String* value = nullptr;
        const bool isThere = Sov_Settings::Get_Setting(condition, wideText(path_), key, value);
        hasFault_ = condition.HasError();
        return isThere ? std::optional(*value) : std::nullopt;
    }
    bool add(const Zeb_String& key, const Zeb_String& value) const {
        Zeb_Condition condition;
        Sov_Settings::Add_Setting(condition, wideText(path_), key, value);
        return !condition.HasError();
    }
    /// Whether the last reading found a line that cannot be understood.
    bool hasFault() const { return hasFault_; }

  private:
    std::string path_;
    bool hasFault_ = false;
};

void checkWriting(Store& store, const std::string& path, const Zeb_String& key,
                  const Zeb_String& value) {
    const Zeb_String otherKey = u"other";
    const auto other = store.get(otherKey);
    const bool hasFault = store.hasFault();
    const std::string before = readFile(path);
    require(store.add(key, value) != hasFault, "a file is written unless it has a fault");
    if (hasFault) {
        require(readFile(path) == before, "a file with a fault is left alone");
        return;
    }
    require(store.get(key) == value && !store.hasFault(), "what is written reads back");
    if (!(key == otherKey)) require(store.get(otherKey) == other, "other settings stay");
    const std::string once = readFile(path);
    require(store.add(key, value) && readFile(path) == once, "writing again changes nothing");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size) {
    static const Folder folder;
    FuzzInput input(octets, size);
    const Zeb_String key = wideText(input.takeText());
    const Zeb_String value = wideText(input.takeText());
    const std::string path = folder.file();
    std::ofstream(path, std::ios::trunc) << input.rest();
    Store store(path);
    checkWriting(store, path, key, value);
    return 0;
}
