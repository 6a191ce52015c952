// SPDX-License-Identifier: Apache-2.0
// A part of a text in memory is what multipartboundarybuf reads, and leaves what that leaves,
// wherever the reading stops.
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "inet/messagetext.utf16.h"
#include "inet/transferstream.utf16.h"
#include "tests/support/effort.h"

namespace {

using FirstLineFeed = TextSource::FirstLineFeed;

constexpr std::size_t all = 100;

/// What was read of a part, and what its source has left.
struct PartOutcome {
    std::string part;
    std::string rest;
    bool operator==(const PartOutcome&) const = default;
};

void PrintTo(const PartOutcome& outcome, std::ostream* out) {
    *out << testing::PrintToString(outcome.part) << ", left "
         << testing::PrintToString(outcome.rest);
}

/// Reads octet by octet, so many at most, or to the end and its end-of-file.
std::string readUpTo(std::size_t most, std::streambuf& source) {
    constexpr int endOfFile = std::char_traits<char>::eof();
    std::string octets;
    for (; octets.size() < most; octets += static_cast<char>(source.sbumpc()))
        if (source.sgetc() == endOfFile) break;
    return octets;
}

PartOutcome ofFilter(const std::string& text, const std::string& boundary, std::size_t most) {
    std::stringbuf source(text);
    multipartboundarybuf part(&source, boundary);
    part.sgetc();
    const std::string octets = readUpTo(most, part);
    return {octets, readUpTo(all, source)};
}

PartOutcome ofText(const std::string& text, const std::string& boundary, std::size_t most) {
    TextSource source(text);
    const std::string delimiter = "\r\n--" + boundary;
    TextSource part(source, delimiter, FirstLineFeed::BeginsDelimiter);
    const std::string octets = readUpTo(most, part);
    part.leave();
    return {octets, readUpTo(all, source)};
}

/// What a reader that never peeks leaves.
std::string leftUnpeeked(const std::string& text) {
    std::stringbuf source(text);
    multipartboundarybuf part(&source, "b");
    char block[all];
    part.sgetn(block, sizeof block);
    return readUpTo(all, source);
}

template <typename Check>
void forEachText(std::size_t length, Check check) {
    constexpr std::string_view octets = "\r\n-bc";
    std::string text(length, octets[0]);
    std::vector<std::size_t> digits(length, 0);
    for (;;) {
        check(text);
        std::size_t i = 0;
        while (i < length && ++digits[i] == octets.size()) digits[i++] = 0;
        if (i == length) return;
        for (std::size_t k = 0; k <= i; ++k) text[k] = octets[digits[k]];
    }
}

TEST(PartOfText, IsWhatTheFilterReadsAndLeavesInEachShortText) {
    const std::size_t longest = isFullEffort() ? 9 : 6;
    for (std::size_t length = 0; length <= longest; ++length)
        forEachText(length, [](const std::string& text) {
            for (const char* boundary : {"b", "bc", ""})
                ASSERT_EQ(ofText(text, boundary, all), ofFilter(text, boundary, all))
                    << testing::PrintToString(text) << boundary;
        });
}

TEST(PartOfText, LeavesWhatTheFilterLeavesWhereverTheReadingStops) {
    for (std::size_t length = 0; length <= 6; ++length)
        forEachText(length, [](const std::string& text) {
            for (std::size_t most = 1; most <= text.size(); ++most)
                ASSERT_EQ(ofText(text, "bc", most), ofFilter(text, "bc", most))
                    << testing::PrintToString(text) << most;
        });
}

TEST(PartOfText, CanTakeAFirstLineFeedForText) {
    for (std::size_t length = 0; length <= 6; ++length)
        forEachText(length, [](const std::string& text) {
            TextSource source(text);
            TextSource part(source, "\r\n--b", FirstLineFeed::IsText);
            part.takeRest();
            part.leave();
            ASSERT_EQ(source.rest(), leftUnpeeked(text)) << testing::PrintToString(text);
        });
}

TEST(PartOfText, EndsWithinTheOuterPart) {
    const std::string text = "a\n--in\nb\n--out\nc\n--in\n";
    TextSource source(text);
    TextSource outer(source, "\r\n--out", FirstLineFeed::BeginsDelimiter);
    TextSource inner(outer, "\r\n--in", FirstLineFeed::BeginsDelimiter);
    EXPECT_EQ(inner.rest(), "a");
    inner.takeRest();
    inner.leave();
    EXPECT_EQ(outer.rest(), "\nb");
    TextSource last(outer, "\r\n--in", FirstLineFeed::BeginsDelimiter);
    EXPECT_EQ(last.rest(), "\nb");
}

TEST(PartOfText, EndsAtItsDelimiterAmongMoreLinesThanAreKept) {
    std::string text = "x";
    for (int i = 0; i < 300'000; ++i) text += "\n--";
    const std::string whole = text + "\n--b";
    TextSource source(whole);
    TextSource part(source, "\r\n--b", FirstLineFeed::BeginsDelimiter);
    EXPECT_EQ(part.rest().size(), text.size());
}

}  // namespace
