// SPDX-License-Identifier: Apache-2.0
// Runs a fuzzer over files instead of over what libFuzzer makes up; for builds without clang.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size);

namespace {

void replay(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    const std::string octets(std::istreambuf_iterator<char>(in), {});
    std::printf("%s\n", file.c_str());
    std::fflush(stdout);  // the last name is the culprit's
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(octets.data()), octets.size());
}

int replayFolder(const char* folder) {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        replay(entry.path());
        ++count;
    }
    return count;
}

}  // namespace

int main(int count, char** arguments) {
    int files = 0;
    for (int i = 1; i < count; ++i) files += replayFolder(arguments[i]);
    std::printf("%d files\n", files);
    return files > 0 ? 0 : 1;
}
