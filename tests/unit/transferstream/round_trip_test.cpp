// SPDX-License-Identifier: Apache-2.0
// What a filter writes, the same filter reads back.
#include <gtest/gtest.h>

#include <sstream>

#include "inet/transferstream.utf16.h"
#include "tests/unit/transferstream/test_buffers.h"

namespace {

// Every split of one side with every split of the other.
template <typename Write, typename Read>
void forEverySplit(const std::string& text, Write write, Read read) {
    for (const std::size_t block : blockSizes) {
        const std::string encoded = write(text, block);
        for (const std::size_t piece : {1U, 2U, 3U, 16U, 1024U}) {
            PiecewiseSource source(encoded, piece);
            EXPECT_EQ(read(source, block), text) << "block " << block << " piece " << piece;
        }
    }
}

std::vector<std::string> randomTexts(unsigned seed, const std::string& alphabet) {
    std::mt19937 random(seed);
    std::vector<std::string> texts = {"", allOctets(), repeated(allOctets(), 40)};
    for (std::size_t length = 1; length < 200; length += 3)
        texts.push_back(randomText(random, alphabet, length));
    return texts;
}

TEST(RoundTrip, Base64) {
    for (const bool encodedWord : {false, true})
        for (const std::string& text : randomTexts(81, allOctets()))
            forEverySplit(
                text,
                [=](const std::string& octets, std::size_t block) {
                    Target target;
                    base64buf filter(&target, encodedWord);
                    writeBlocks(filter, octets, block);
                    filter.pubsync();
                    return target.text();
                },
                [=](PiecewiseSource& source, std::size_t block) {
                    base64buf filter(&source, encodedWord);
                    return readBlocks(filter, block);
                });
}

TEST(RoundTrip, QuotedPrintable) {
    std::vector<std::string> texts = randomTexts(82, allOctets());
    for (const std::string& text : randomTexts(83, "ab =\t\r\n\xE9")) texts.push_back(text);
    for (const std::string& text : texts)
        forEverySplit(
            text,
            [](const std::string& octets, std::size_t block) {
                Target target;
                quotedprintablebuf filter(&target, /*headerMode=*/false);
                writeBlocks(filter, octets, block);
                filter.pubsync();
                return target.text();
            },
            [](PiecewiseSource& source, std::size_t block) {
                quotedprintablebuf filter(&source, /*headerMode=*/false);
                return readBlocks(filter, block);
            });
}

TEST(RoundTrip, QuotedPrintableInHeaders) {
    for (const std::string& text : randomTexts(84, allOctets()))
        forEverySplit(
            text,
            [](const std::string& octets, std::size_t block) {
                Target target;
                quotedprintablebuf filter(&target, /*headerMode=*/true);
                writeBlocks(filter, octets, block);
                return target.text();
            },
            [](PiecewiseSource& source, std::size_t block) {
                quotedprintablebuf filter(&source, /*headerMode=*/true);
                return readBlocks(filter, block);
            });
}

std::string stuff(const std::string& octets, std::size_t block) {
    Target target;
    dotstuffingbuf filter(&target);
    writeBlocks(filter, octets, block);
    filter.pubsync();
    return target.text();
}

std::string unstuff(PiecewiseSource& source, std::size_t block) {
    dotstuffingbuf filter(&source);
    return readBlocks(filter, block);
}

TEST(RoundTrip, DotStuffing) {
    std::mt19937 random(85);
    for (std::size_t length = 0; length < 300; length += 3) {
        std::string text = randomText(random, "...a\xFF\r\n\n", length) + "x\r\n";
        const auto bothDots = [](char a, char b) { return a == '.' && b == '.'; };
        text.erase(std::unique(text.begin(), text.end(), bothDots), text.end());
        forEverySplit(text, stuff, unstuff);
    }
}

TEST(RoundTrip, RunOfDotsAtALineStartComesBackLonger) {
    // The writer doubles every dot of the run, the reader drops one.
    PiecewiseSource source(stuff("...\r\n", 0));
    EXPECT_EQ(unstuff(source, 0), ".....\r\n");
}

TEST(RoundTrip, ThroughStandardStreams) {
    const std::string text = repeated(allOctets(), 4);
    Target target;
    base64buf writer(&target, /*encodedWord=*/false);
    std::ostream out(&writer);
    out << text << std::flush;
    EXPECT_TRUE(out.good());
    PiecewiseSource source(target.text());
    base64buf reader(&source, /*encodedWord=*/false);
    std::ostringstream in;
    in << &reader;
    EXPECT_EQ(in.str(), text);
}

TEST(RoundTrip, FiltersOnFilters) {
    const std::string text = ".\r\n" + repeated(".line =\xE9\r\n", 50);
    Target target;
    dotstuffingbuf stuffing(&target);
    quotedprintablebuf encoding(&stuffing, /*headerMode=*/false);
    writeBlocks(encoding, text, 16);
    EXPECT_EQ(encoding.pubsync(), 0);
    PiecewiseSource source(target.text());
    dotstuffingbuf unstuffing(&source);
    quotedprintablebuf decoding(&unstuffing, /*headerMode=*/false);
    EXPECT_EQ(readBlocks(decoding, 0), text);
    EXPECT_EQ(source.rest(), "");
}

}  // namespace
