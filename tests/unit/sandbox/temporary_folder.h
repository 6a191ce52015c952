// SPDX-License-Identifier: Apache-2.0
// Files for a test.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

/// A folder that goes with all that is in it.
class TemporaryFolder {
  public:
    TemporaryFolder() {
        std::string path =
            (std::filesystem::temp_directory_path() / "sandbox-folder-XXXXXX").string();
        if (!mkdtemp(path.data())) throw std::runtime_error("no temporary folder");
        path_ = path;
    }
    ~TemporaryFolder() { std::filesystem::remove_all(path_); }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }

  private:
    std::filesystem::path path_;
};

inline void writeFile(const std::filesystem::path& file, const std::string& octets) {
    std::ofstream(file, std::ios::binary) << octets;
}

inline std::string contentOf(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

/// Of what is in a folder, sorted.
inline std::vector<std::string> namesIn(const std::filesystem::path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}
