// SPDX-License-Identifier: Apache-2.0
#include "tests/cuts/seed_messages.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace {

std::string contentOf(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) throw std::runtime_error("cannot read " + file.string());
    return {std::istreambuf_iterator<char>(in), {}};
}

std::vector<SeedMessage> messagesIn(const std::filesystem::path& folder) {
    std::vector<SeedMessage> messages;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        if (entry.is_regular_file() && entry.path().extension() != ".md")
            messages.push_back(
                {entry.path().lexically_relative(folder).string(), contentOf(entry.path())});
    std::sort(messages.begin(), messages.end(),
              [](const SeedMessage& a, const SeedMessage& b) { return a.name < b.name; });
    return messages;
}

}  // namespace

std::vector<SeedMessage> seedMessages() { return messagesIn(SEED_MESSAGES); }

std::vector<SeedMessage> corpusMessages() {
    const char* folder = std::getenv("VTINETLIB_CORPUS");  // NOLINT(concurrency-mt-unsafe)
    return folder == nullptr ? std::vector<SeedMessage>() : messagesIn(folder);
}
