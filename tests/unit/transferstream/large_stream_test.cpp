// SPDX-License-Identifier: Apache-2.0
// Many octets through each filter and back. Nothing here measures time: what does not grow
// linearly runs into the limit that each test has.
#include <gtest/gtest.h>

#include <algorithm>
#include <streambuf>
#include <string>

#include "inet/transferstream.utf16.h"
#include "tests/support/sanitized.h"
#include "tests/unit/transferstream/test_buffers.h"

namespace {

constexpr std::size_t large = std::size_t{isSanitized ? 4U : 16U} << 20;
constexpr std::size_t block = 4096;

std::string linesOf(const std::string& line) { return repeated(line, large / line.size()); }

template <typename Filter, typename... Arguments>
std::string thereAndBack(const std::string& octets, Arguments... arguments) {
    Target target;
    Filter writer(&target, arguments...);
    EXPECT_EQ(writeBlocks(writer, octets, block), octets.size());
    EXPECT_EQ(writer.pubsync(), 0);
    PiecewiseSource source(target.text(), block);
    Filter reader(&source, arguments...);
    return readBlocks(reader, block);
}

// EXPECT_EQ would print all of it.
TEST(LargeStream, Base64) {
    const std::string octets = linesOf(allOctets());
    EXPECT_TRUE(thereAndBack<base64buf>(octets, /*encodedWord=*/false) == octets);
}

TEST(LargeStream, Base64OnOneLine) {
    const std::string octets = linesOf(allOctets());
    EXPECT_TRUE(thereAndBack<base64buf>(octets, /*encodedWord=*/true) == octets);
}

/// Keeps the last two octets.
class Tail : public std::streambuf {
  public:
    std::string octets;

  protected:
    std::streamsize xsputn(const char* from, std::streamsize count) override {
        const auto length = static_cast<std::size_t>(count);
        const std::size_t first = length - std::min<std::size_t>(length, 2);
        octets.append(from + first, length - first);
        octets.erase(0, octets.size() - std::min<std::size_t>(octets.size(), 2));
        return count;
    }
    int_type overflow(int_type ch) override {
        const char octet = traits_type::to_char_type(ch);
        return xsputn(&octet, 1) == 1 ? ch : traits_type::eof();
    }
};

TEST(LargeStream, ALineOfMoreThanAnIntCanCountIsEndedBySync) {
    Tail target;
    base64buf filter(&target, /*encodedWord=*/true);
    const std::string octets(3 << 20, 'a');
    for (int i = 0; i < 1 << 10; ++i)  // 2^32 characters
        filter.sputn(octets.data(), static_cast<std::streamsize>(octets.size()));
    EXPECT_EQ(filter.pubsync(), 0);
    EXPECT_EQ(target.octets, "\r\n");
}

TEST(LargeStream, QuotedPrintable) {
    const std::string octets = linesOf("some text, almost \xC3\xA9 \r\n=");
    EXPECT_TRUE(thereAndBack<quotedprintablebuf>(octets, /*headerMode=*/false) == octets);
}

TEST(LargeStream, QuotedPrintableOnOneLine) {
    const std::string octets = linesOf("some text, almost \xC3\xA9 \r\n=");
    // The soft break of sync is no part of a header and ends the data.
    EXPECT_TRUE(thereAndBack<quotedprintablebuf>(octets, /*headerMode=*/true) == octets);
}

TEST(LargeStream, DotStuffing) {
    const std::string octets = linesOf(".a line\r\nb.c\r\n");
    EXPECT_TRUE(thereAndBack<dotstuffingbuf>(octets) == octets);
}

TEST(LargeStream, RunOfDots) {
    const std::string octets = std::string(large, '.') + "\r\n";
    // Written twofold; the reader drops one.
    EXPECT_TRUE(thereAndBack<dotstuffingbuf>(octets) == std::string(2 * large - 1, '.') + "\r\n");
}

TEST(LargeStream, PaddingAndStrangeOctetsAreSkipped) {
    PiecewiseSource source("YQ" + std::string(large, '.') + "==" + std::string(large, 'A'), block);
    base64buf filter(&source, /*encodedWord=*/false);
    EXPECT_EQ(readBlocks(filter, block), "a");
    EXPECT_EQ(source.rest(), "");
}

TEST(LargeStream, SoftBreaksWithoutText) {
    PiecewiseSource source(linesOf("=\r\n=\n") + "end", block);
    quotedprintablebuf filter(&source, /*headerMode=*/false);
    EXPECT_EQ(readBlocks(filter, block), "end");
}

}  // namespace
