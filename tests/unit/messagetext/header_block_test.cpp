// SPDX-License-Identifier: Apache-2.0
// A header block in memory gives the fields, the defects and the rest that one in a stream gives.
#include "inet/headerblock.utf16.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "inet/decodeguard.utf16.h"
#include "inet/messagetext.utf16.h"

namespace {

struct Outcome {
    HeaderMap headers;
    std::string defects;
    std::string rest;
    bool operator==(const Outcome&) const = default;
};

template <typename Source>
Outcome read(Source& source, const MIMELimits& limits) {
    Outcome outcome;
    DecodeGuard guard(limits);
    const DecodeGuard::Input input(&guard, source);
    readHeaderBlock(outcome.headers, source, &guard);
    for (const MIMEDefect& defect : guard.defects()) outcome.defects += defect.describe() + '\n';
    for (int octet = source.sbumpc(); octet != std::char_traits<char>::eof();
         octet = source.sbumpc())
        outcome.rest += static_cast<char>(octet);
    return outcome;
}

Outcome ofText(const std::string& text, const MIMELimits& limits) {
    TextSource source(text);
    return read(source, limits);
}

Outcome ofStream(const std::string& text, const MIMELimits& limits) {
    std::stringbuf octets(text);
    BlockSource source(&octets);
    return read(source, limits);
}

const std::string headerBlocks[] = {
    "",
    "\n",
    "A: b\n\nrest\n\n",
    "A: b\r\n c\r\n\td\r\n\r\nrest",
    "A: b\nno colon\n more\nB:\n\n\n",
    "a: b\nA: c\n : d\n \nX: y\n\n",
    "A: b\n\r\t \nX: y\n",
    "A: b\n\t \r\nX: y\n",
    "A: b \n \n \nX: y\n",
    "To: a@b, c@d,\n e@f\nContent-Type: a/b; c=d; e=f\n\nrest",
    "A: b\nX: y",
    "A: b\n \t",
    "A1: a\nA2: b\nA4: c\nA3: d\na2: e\nA5: f\n\n",
};

TEST(HeaderBlockInMemory, IsReadAsInAStreamWithinEachLimit) {
    for (const std::string& text : headerBlocks)
        for (std::size_t size = 0; size <= text.size() + 1; ++size) {
            MIMELimits limits;
            limits.headerSize = size;
            ASSERT_EQ(ofText(text, limits), ofStream(text, limits))
                << testing::PrintToString(text) << size;
        }
}

/// Without limits.
HeaderMap wholeOf(const std::string& text) {
    std::istringstream in(text);
    HeaderMap headers;
    readHeaderBlock(headers, in);
    return headers;
}

TEST(HeaderBlockInMemory, IsWholeWithinALimitThatShowsNoDefect) {
    for (const std::string& text : headerBlocks)
        for (std::size_t size = 0; size <= text.size() + 1; ++size) {
            MIMELimits limits;
            limits.headerSize = size;
            for (const Outcome& outcome : {ofText(text, limits), ofStream(text, limits)})
                if (outcome.defects.empty()) {
                    ASSERT_EQ(outcome.headers, wholeOf(text))
                        << testing::PrintToString(text) << size;
                }
        }
}

TEST(HeaderBlockInMemory, IsCutAsInAStreamByTheOverhead) {
    for (const std::string& text : headerBlocks)
        for (std::size_t size = 0; size < 1000; size += 7) {
            MIMELimits limits;
            limits.overhead = size;
            ASSERT_EQ(ofText(text, limits), ofStream(text, limits))
                << testing::PrintToString(text) << size;
        }
}

TEST(HeaderBlockInMemory, IsReadAsInAStreamWhereverItIsCutOff) {
    for (const std::string& text : headerBlocks)
        for (std::size_t size = 0; size <= text.size(); ++size)
            ASSERT_EQ(ofText(text.substr(0, size), {}), ofStream(text.substr(0, size), {}))
                << testing::PrintToString(text) << size;
}

TEST(HeaderBlockInMemory, MayBeLongerThanABlockOfReading) {
    std::string text;
    for (int i = 0; i < 300; ++i) text += "Name-" + std::to_string(i * 7 % 300) + ": value\r\n";
    for (const std::size_t size : {1023U, 1024U, 1025U, 4000U, 100'000U}) {
        MIMELimits limits;
        limits.headerSize = size;
        ASSERT_EQ(ofText(text + "\nrest", limits), ofStream(text + "\nrest", limits)) << size;
    }
}

}  // namespace
