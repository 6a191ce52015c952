// SPDX-License-Identifier: Apache-2.0
// Guarded decoding gives the plain tree: over the messages in the folder that VTINETLIB_CORPUS
// names, with both line ends.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "inet/guardedmessage.utf16.h"
#include "tests/unit/entitydecoder/entity_fixtures.h"
#include "tests/unit/guardedmessage/tree_comparison.h"

namespace {

/// The messages of the folder; none when there is no folder.
std::vector<std::string> corpusFiles() {
    const char* const folder = std::getenv("VTINETLIB_CORPUS");
    std::vector<std::string> files;
    if (folder == nullptr) return files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        if (entry.is_regular_file() && entry.path().extension() != ".md")
            files.push_back(entry.path().string());
    std::sort(files.begin(), files.end());
    return files;
}

std::string testName(const testing::TestParamInfo<std::string>& info) {
    std::string name = std::filesystem::path(info.param).filename().string();
    for (char& octet : name)
        if (std::isalnum(static_cast<unsigned char>(octet)) == 0) octet = '_';
    return std::to_string(info.index) + "_" + name;
}

std::string contentOf(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) ADD_FAILURE() << "cannot read " << file;
    return {std::istreambuf_iterator<char>(in), {}};
}

TEST(Corpus, HoldsMessages) { EXPECT_FALSE(corpusFiles().empty()); }

class CorpusMessage : public testing::TestWithParam<std::string> {};
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(CorpusMessage);
INSTANTIATE_TEST_SUITE_P(Corpus, CorpusMessage, testing::ValuesIn(corpusFiles()), testName);

/// The tree is the plain one, or what keeps the plain decoders from it is told.
void check(const std::string& text) {
    if (compareTrees(text)) return;
    std::istringstream in(text);
    const GuardedMessage message(in);
    EXPECT_GT(message.getDefectCount(), 0U);
    for (const MIMEDefect& found : message.getDefects()) EXPECT_LE(found.offset, text.size());
}

TEST_P(CorpusMessage, HasThePlainTree) { check(contentOf(GetParam())); }

TEST_P(CorpusMessage, HasThePlainTreeWithOtherLineEnds) {
    std::string text = contentOf(GetParam());
    if (text.find("\r\n") == std::string::npos)
        text = crlf(text);
    else
        text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    check(text);
}

}  // namespace
