// SPDX-License-Identifier: Apache-2.0
// A guard learns from texts in memory what it learns from blocks that are read ahead on each
// level: the place of a defect, and how much of the message has been read.
#include <gtest/gtest.h>

#include <array>
#include <random>
#include <sstream>
#include <string>

#include "inet/decodeguard.utf16.h"
#include "inet/messagetext.utf16.h"
#include "inet/transferstream.utf16.h"
#include "tests/support/effort.h"

namespace {

using FirstLineFeed = TextSource::FirstLineFeed;

constexpr int endOfFile = std::char_traits<char>::eof();

/// What a guard says after each octet.
struct Log {
    std::string octets;
    std::vector<unsigned long long> offsets;
    std::vector<unsigned long long> left;
    bool operator==(const Log&) const = default;
};

MIMELimits limits() {
    MIMELimits limits;
    limits.defects = 100'000;
    limits.overhead = 0;
    return limits;
}

/// Reads a source and asks the guard before and after each octet.
void read(std::streambuf& source, DecodeGuard& guard, Log& log) {
    const auto ask = [&] {
        guard.note(MIMEDefect::Kind::UnknownCharset);
        log.offsets.push_back(guard.defects().back().offset);
        log.left.push_back(guard.left());
    };
    for (;;) {
        const int octet = source.sgetc();
        ask();
        if (octet == endOfFile) return;
        log.octets += static_cast<char>(source.sbumpc());
        ask();
    }
}

/// With a part in a part, then what is left of the outer one, then of the message.
Log readInBlocks(const std::string& text) {
    Log log;
    DecodeGuard guard(limits());
    std::stringbuf octets(text);
    BlockSource message(&octets);
    const DecodeGuard::Input first(&guard, message);
    {
        multipartboundarybuf part(&message, "out");
        part.sgetc();
        BlockSource outer(&part);
        const DecodeGuard::Input second(&guard, outer);
        {
            multipartboundarybuf innerPart(&outer, "in");
            innerPart.sgetc();
            BlockSource inner(&innerPart);
            const DecodeGuard::Input third(&guard, inner);
            read(inner, guard, log);
        }
        read(outer, guard, log);
    }
    read(message, guard, log);
    return log;
}

Log readFromMemory(const std::string& text) {
    Log log;
    DecodeGuard guard(limits());
    TextSource message(text);
    const DecodeGuard::Input first(&guard, message);
    {
        TextSource outer(message, "\r\n--out", FirstLineFeed::BeginsDelimiter);
        const DecodeGuard::Input second(&guard, outer);
        {
            TextSource inner(outer, "\r\n--in", FirstLineFeed::BeginsDelimiter);
            const DecodeGuard::Input third(&guard, inner);
            read(inner, guard, log);
            inner.leave();
        }
        read(outer, guard, log);
        outer.leave();
    }
    read(message, guard, log);
    return log;
}

/// Lines that are delimiters, or almost, often where a block ends.
std::string generated(std::mt19937& random) {
    static constexpr std::array<const char*, 13> pieces = {
        "\r\n",    "\n",      "\r",     "--", "-",  "--in",  "\r\n--in",
        "\n--out", "\r\n--i", "\n--ou", "x",  "in", "\r\n--"};
    std::string text;
    for (std::size_t count = random() % 6; count > 0; --count) {
        const std::size_t blocks = random() % 3;
        const std::size_t size = blocks * readBlockSize + random() % 12;
        if (text.size() < size) text.append(size - text.size(), 'y');
        for (std::size_t more = random() % 5; more > 0; --more)
            text += pieces[random() % pieces.size()];
    }
    return text;
}

TEST(ReadingPlace, IsThatOfBlocksReadAhead) {
    std::mt19937 random(20261);  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same each time
    const int rounds = isFullEffort() ? 3000 : 100;
    for (int round = 0; round < rounds; ++round) {
        const std::string text = generated(random);
        ASSERT_EQ(readFromMemory(text), readInBlocks(text)) << testing::PrintToString(text);
    }
}

TEST(ReadingPlace, IsThatOfBlocksBehindADelimiterLongerThanABlock) {
    const std::string boundary(1500, 'q');
    const std::string text = "--" + boundary.substr(1) + "\n--" + boundary.substr(2) + "\n\nz";
    DecodeGuard inBlocks(limits());
    DecodeGuard fromMemory(limits());
    std::stringbuf octets(text);
    BlockSource message(&octets);
    const DecodeGuard::Input first(&inBlocks, message);
    multipartboundarybuf part(&message, boundary);
    part.sgetc();
    BlockSource blocks(&part);
    const DecodeGuard::Input second(&inBlocks, blocks);
    TextSource whole(text);
    const DecodeGuard::Input third(&fromMemory, whole);
    const std::string delimiter = "\r\n--" + boundary;
    TextSource same(whole, delimiter, FirstLineFeed::BeginsDelimiter);
    const DecodeGuard::Input fourth(&fromMemory, same);
    Log expected;
    Log found;
    read(blocks, inBlocks, expected);
    read(same, fromMemory, found);
    EXPECT_EQ(found, expected);
}

}  // namespace
