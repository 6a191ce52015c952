// SPDX-License-Identifier: Apache-2.0
// One small example for each rule of the filters, octet for octet. The other files of this folder
// go through all splits and failures.
#include <gtest/gtest.h>

#include "inet/transferstream.utf16.h"
#include "tests/support/wide_text.h"
#include "tests/unit/transferstream/test_buffers.h"

using namespace std::string_literals;

namespace {

template <typename Filter, typename... Arguments>
std::string written(const std::string& octets, bool sync, Arguments... arguments) {
    Target target;
    Filter filter(&target, arguments...);
    EXPECT_EQ(writeBlocks(filter, octets, 0), octets.size());
    if (sync) {
        EXPECT_EQ(filter.pubsync(), 0);
    }
    return target.text();
}

std::string toBase64(const std::string& octets) {
    return written<base64buf>(octets, /*sync=*/true, /*encodedWord=*/false);
}

std::string toQuotedPrintable(const std::string& octets, bool sync = true) {
    return written<quotedprintablebuf>(octets, sync, /*headerMode=*/false);
}

std::string toHeader(const std::string& octets, bool sync = false) {
    return written<quotedprintablebuf>(octets, sync, /*headerMode=*/true);
}

std::string stuffed(const std::string& octets) {
    return written<dotstuffingbuf>(octets, /*sync=*/true);
}

std::string fromBase64(const std::string& text) {
    PiecewiseSource source(text);
    base64buf filter(&source, /*encodedWord=*/false);
    return readBlocks(filter, 0);
}

std::string fromQuotedPrintable(const std::string& text) {
    PiecewiseSource source(text);
    quotedprintablebuf filter(&source, /*headerMode=*/false);
    return readBlocks(filter, 0);
}

std::string choice(const std::string& body) { return utf8(getBestTransferEncoding(body)); }

TEST(Base64Example, ThreeOctets) { EXPECT_EQ(toBase64("abc"), "YWJj\r\n"); }
TEST(Base64Example, TwoOctets) { EXPECT_EQ(toBase64("ab"), "YWI=\r\n"); }
TEST(Base64Example, OneOctet) { EXPECT_EQ(toBase64("a"), "YQ==\r\n"); }
TEST(Base64Example, NothingWritten) { EXPECT_EQ(toBase64(""), ""); }

TEST(Base64Example, LineEndWithinAGroup) { EXPECT_EQ(fromBase64("YW\r\nJj"), "abc"); }
TEST(Base64Example, PaddedGroup) { EXPECT_EQ(fromBase64("YQ=="), "a"); }
TEST(Base64Example, AllBehindTheEqualsSignIsSkipped) { EXPECT_EQ(fromBase64("YQ==YWJj"), "a"); }
TEST(Base64Example, NulIsReadAsA) { EXPECT_EQ(fromBase64("\0\0\0\0"s), "\0\0\0"s); }

TEST(QuotedPrintableExample, EqualsSign) { EXPECT_EQ(toQuotedPrintable("a=b\r\n"), "a=3Db\r\n"); }

TEST(QuotedPrintableExample, EightyCharacters) {
    EXPECT_EQ(toQuotedPrintable(std::string(80, 'x')),
              std::string(75, 'x') + "=\r\n" + std::string(5, 'x') + "=\r\n");
}

TEST(QuotedPrintableExample, BlankBeforeALineEnd) {
    EXPECT_EQ(toQuotedPrintable("a \r\nb"), "a =\r\n\r\nb=\r\n");
}

TEST(QuotedPrintableExample, BareLineFeed) {
    EXPECT_EQ(toQuotedPrintable("a\nb", /*sync=*/false), "a=0Ab");
    EXPECT_EQ(toQuotedPrintable("a\nb"), "a=0Ab=\r\n");
}

TEST(QuotedPrintableExample, BareCarriageReturn) {
    EXPECT_EQ(toQuotedPrintable("a\rb", /*sync=*/false), "a=0Db");
}

TEST(QuotedPrintableExample, BlankBeforeABareCarriageReturn) {
    EXPECT_EQ(toQuotedPrintable("a \rb"), "a =\r\n=0Db=\r\n");
}

TEST(QuotedPrintableExample, BlankBeforeABareLineFeed) {
    EXPECT_EQ(toQuotedPrintable("a \nb"), "a =0Ab=\r\n");
}

TEST(QuotedPrintableExample, HeaderMode) { EXPECT_EQ(toHeader("a b?"), "a_b=3F"); }

TEST(QuotedPrintableExample, SyncInHeaderModeAddsASoftBreak) {
    EXPECT_EQ(toHeader("a", /*sync=*/true), "a=\r\n");
}

TEST(QuotedPrintableExample, EscapeAndSoftBreakRead) {
    EXPECT_EQ(fromQuotedPrintable("a=3Db=\r\nc"), "a=bc");
}

TEST(QuotedPrintableExample, LowerCaseEscapeEndsTheData) {
    EXPECT_EQ(fromQuotedPrintable("=3dx"), "");
}

TEST(QuotedPrintableExample, NulIsNoHexadecimalDigit) {
    EXPECT_EQ(fromQuotedPrintable("a=\0Ab"s), "a");
}

TEST(TransferEncodingExample, PlainText) { EXPECT_EQ(choice("hello\r\n"), "7bit"); }

TEST(TransferEncodingExample, OneHighOctetInTwelveLetters) {
    EXPECT_EQ(choice("Hello, world\xE9"), "quoted-printable");
}

TEST(TransferEncodingExample, HighOctetsAlone) { EXPECT_EQ(choice("\xFF\xFE\xFD"), "base64"); }

TEST(TransferEncodingExample, TabAndCarriageReturnAreNoControls) {
    EXPECT_EQ(choice("a\tb\rc"), "7bit");
}

TEST(DotStuffingExample, DotAtALineStart) {
    EXPECT_EQ(stuffed("a\r\n.b\r\n"), "a\r\n..b\r\n.\r\n");
}

TEST(DotStuffingExample, UnendedLine) { EXPECT_EQ(stuffed("abc"), "abc\r\n.\r\n"); }

TEST(DotStuffingExample, Nothing) { EXPECT_EQ(stuffed(""), ".\r\n"); }

TEST(DotStuffingExample, DotInMidLine) {
    EXPECT_EQ(written<dotstuffingbuf>("x.y", /*sync=*/false), "x.y");
}

TEST(DotStuffingExample, DotsAloneRunIntoTheEnd) { EXPECT_EQ(stuffed(".."), ".....\r\n"); }

TEST(DotStuffingExample, WhatIsReadBehindTheEndIsLeft) {
    PiecewiseSource source("..a\r\n.\r\nrest");
    dotstuffingbuf filter(&source);
    EXPECT_EQ(readBlocks(filter, 0), ".a\r\n");
    EXPECT_EQ(source.rest(), "rest");
}

TEST(DotStuffingExample, DotAndLineFeedAreData) {
    PiecewiseSource source(".\n.\r\n");
    dotstuffingbuf filter(&source);
    EXPECT_EQ(readBlocks(filter, 0), "\n.\r\n");
}

TEST(DotStuffingExample, ThirdOctetOfTheEndIsTaken) {
    PiecewiseSource source(".\rXrest");
    dotstuffingbuf filter(&source);
    EXPECT_EQ(readBlocks(filter, 0), "");
    EXPECT_EQ(source.rest(), "rest");
}

}  // namespace
