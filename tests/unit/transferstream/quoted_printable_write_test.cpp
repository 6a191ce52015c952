// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "inet/transferstream.utf16.h"
#include "tests/unit/transferstream/test_buffers.h"

using namespace std::string_literals;

namespace {

/// Column after which no character stands but the "=" of a soft break.
constexpr int lastColumn = 75;

// Reaches what a stream buffer protects.
class OpenQuotedPrintable : public quotedprintablebuf {
  public:
    using quotedprintablebuf::overflow;
    using quotedprintablebuf::quotedprintablebuf;
};

std::string qpWritten(const std::string& octets, std::size_t block = 0) {
    Target target;
    quotedprintablebuf filter(&target, /*headerMode=*/false);
    EXPECT_EQ(writeBlocks(filter, octets, block), octets.size());
    return target.text();
}

std::string encode(const std::string& octets, std::size_t block = 0) {
    Target target;
    quotedprintablebuf filter(&target, /*headerMode=*/false);
    EXPECT_EQ(writeBlocks(filter, octets, block), octets.size());
    EXPECT_EQ(filter.pubsync(), 0);
    return target.text();
}

std::string escaped(unsigned char octet) {
    const std::string digits = "0123456789ABCDEF";
    return {'=', digits[octet / 16], digits[octet % 16]};
}

bool isLiteral(int octet) {
    return (octet >= 33 && octet <= 60) || (octet >= 62 && octet <= 126) || octet == ' ' ||
           octet == '\t';
}

// The body encoder in its plainest form.
class SlowEncoder {
  public:
    explicit SlowEncoder(Target* target) : target_(target) {}

    bool put(char octet) {
        if (octet == '\n') return putLineFeed();
        if (previous_ == '\r') {
            if (!putEscape('\r')) return false;
            previous_ = -1;
        }
        if (octet == '\r') return holdReturn();
        previous_ = static_cast<unsigned char>(octet);
        if (!isLiteral(previous_)) return putEscape(octet);
        checkSpace(1);
        ++column_;
        return target_->sputc(octet) != endOfFile;
    }
    int sync() {
        if (previous_ == '\r' && !putEscape('\r')) return 0;
        if (column_ != 0 && !puts("=\r\n")) return 0;
        column_ = 0;
        return target_->pubsync();
    }

  private:
    bool putLineFeed() {
        if (previous_ == '\r') {
            if (!puts("\r\n")) return false;
            column_ = 0;
        } else if (!putEscape('\n')) {
            return false;
        }
        previous_ = '\n';
        return true;
    }
    bool holdReturn() {
        if (previous_ == ' ' || previous_ == '\t') {
            if (!puts("=\r\n")) return false;
            column_ = 0;
        }
        previous_ = '\r';
        return true;
    }
    bool putEscape(char octet) {
        checkSpace(3);
        if (!puts(escaped(static_cast<unsigned char>(octet)))) return false;
        column_ += 3;
        return true;
    }
    void checkSpace(int n) {
        if (column_ + n > lastColumn && puts("=\r\n")) column_ = 0;
    }
    bool puts(const std::string& text) {
        for (const char octet : text)
            if (target_->sputc(octet) == endOfFile) return false;
        return true;
    }

    Target* target_;
    int column_ = 0;
    int previous_ = -1;
};

struct QpWriteRow {
    const char* name;
    std::string input;
    std::string expected;
};

TEST(QuotedPrintableWrite, LineEndsEscapesAndSoftBreaks) {
    const QpWriteRow qpWriteRows[] = {
        {"equals sign", "a=b\r\n", "a=3Db\r\n"},
        {"blank before a line end", "a \r\nb", "a =\r\n\r\nb=\r\n"},
        {"tab before a line end", "a\t\r\nb", "a\t=\r\n\r\nb=\r\n"},
        {"several blanks before a line end", "a \t \r\n", "a \t =\r\n\r\n"},
        {"blank alone on a line", " \r\n", " =\r\n\r\n"},
        {"blank in mid-line", "a b\tc\r\n", "a b\tc\r\n"},
        {"blank at the end of the data", "a ", "a =\r\n"},
        {"bare line feed", "a\nb", "a=0Ab=\r\n"},
        {"bare carriage return", "a\rb", "a=0Db=\r\n"},
        {"blank before a bare carriage return", "a \rb", "a =\r\n=0Db=\r\n"},
        {"blank before a bare line feed", "a \nb", "a =0Ab=\r\n"},
        {"line feed and carriage return swapped", "a\n\rb", "a=0A=0Db=\r\n"},
        {"two carriage returns and a line feed", "\r\r\n", "=0D\r\n"},
        {"carriage return, line feed, line feed", "\r\n\n", "\r\n=0A=\r\n"},
        {"two line feeds", "\n\n", "=0A=0A=\r\n"},
        {"two line ends", "\r\n\r\n", "\r\n\r\n"},
        {"carriage return behind an escape", "=\r\n", "=3D\r\n"},
        {"a blank, two carriage returns, a line feed", " \r\r\n", " =\r\n=0D\r\n"},
        {"carriage return at the end of the data", "a\r", "a=0D=\r\n"},
        {"blank and carriage return at the end", "a \r", "a =\r\n=0D=\r\n"},
        {"no line end at the end of the data", "abc", "abc=\r\n"},
        {"a line end at the end of the data", "abc\r\n", "abc\r\n"},
        {"upper-case digits", "\xAB\xCD\xEF", "=AB=CD=EF=\r\n"},
        {"an octet of 255 is not the end of the file", "\xFF", "=FF=\r\n"},
        {"NUL", "\0"s, "=00=\r\n"},
        {"DEL", "\x7F", "=7F=\r\n"},
        {"dot at a line start", ".\r\n", ".\r\n"},
        {"nothing", "", ""},
    };
    for (const QpWriteRow& row : qpWriteRows)
        for (const std::size_t block : blockSizes)
            EXPECT_EQ(encode(row.input, block), row.expected) << row.name << " block " << block;
}

TEST(QuotedPrintableWrite, BareLineFeedBeforeSync) { EXPECT_EQ(qpWritten("a\nb"), "a=0Ab"); }

TEST(QuotedPrintableWrite, BareCarriageReturnBeforeSync) { EXPECT_EQ(qpWritten("a\rb"), "a=0Db"); }

TEST(QuotedPrintableWrite, CarriageReturnIsHeldBack) {
    Target target;
    quotedprintablebuf filter(&target, /*headerMode=*/false);
    EXPECT_EQ(filter.sputc('\r'), asInt('\r'));
    EXPECT_EQ(target.text(), "");
    EXPECT_EQ(filter.sputc('\n'), asInt('\n'));
    EXPECT_EQ(target.text(), "\r\n");
}

TEST(QuotedPrintableWrite, EveryOctetIsLiteralOrEscaped) {
    for (const char octet : allOctets()) {
        if (octet == '\r' || octet == '\n') continue;
        const std::string one(1, octet);
        const auto value = static_cast<unsigned char>(octet);
        EXPECT_EQ(qpWritten(one), isLiteral(value) ? one : escaped(value)) << unsigned{value};
    }
}

TEST(QuotedPrintableWrite, EveryOctetIsGivenBackAsTheResult) {
    Target target;
    quotedprintablebuf filter(&target, /*headerMode=*/false);
    for (const char octet : allOctets()) EXPECT_EQ(filter.sputc(octet), asInt(octet));
}

TEST(QuotedPrintableWrite, EightyCharactersAreBrokenAtSeventyFive) {
    EXPECT_EQ(encode(std::string(80, 'x')), std::string(75, 'x') + "=\r\n" + "xxxxx=\r\n");
}

TEST(QuotedPrintableWrite, LineOfSeventyFiveNeedsNoBreak) {
    EXPECT_EQ(encode(std::string(75, 'x') + "\r\n"), std::string(75, 'x') + "\r\n");
    EXPECT_EQ(encode(std::string(76, 'x') + "\r\n"), std::string(75, 'x') + "=\r\nx\r\n");
}

TEST(QuotedPrintableWrite, EscapeIsNeverBroken) {
    EXPECT_EQ(encode(std::string(72, 'x') + "=\r\n"), std::string(72, 'x') + "=3D\r\n");
    for (const std::size_t column : {73U, 74U, 75U})
        EXPECT_EQ(encode(std::string(column, 'x') + "=\r\n"),
                  std::string(column, 'x') + "=\r\n=3D\r\n");
}

TEST(QuotedPrintableWrite, BareLineEndsAreEscapesForTheColumnToo) {
    EXPECT_EQ(encode(std::string(73, 'x') + "\n"), std::string(73, 'x') + "=\r\n=0A=\r\n");
    EXPECT_EQ(encode(std::string(73, 'x') + "\ry"), std::string(73, 'x') + "=\r\n=0Dy=\r\n");
    EXPECT_EQ(encode(std::string(73, 'x') + "\r"), std::string(73, 'x') + "=\r\n=0D=\r\n");
    EXPECT_EQ(encode(repeated("\n", 26)), repeated("=0A", 25) + "=\r\n=0A=\r\n");
}

TEST(QuotedPrintableWrite, NoLineIsLongerThanSeventySix) {
    std::mt19937 random(21);
    for (int round = 0; round < 200; ++round) {
        const std::string text = randomText(random, "ab =\t\r\n\xE9", 1000);
        const std::string encoded = encode(text);
        std::size_t start = 0;
        for (std::size_t end = 0; (end = encoded.find("\r\n", start)) != std::string::npos;) {
            EXPECT_LE(end - start, 76U);
            start = end + 2;
        }
        EXPECT_EQ(start, encoded.size());
    }
}

TEST(QuotedPrintableWrite, CheckSpaceBreaksTheLineOnlyWhenItMust) {
    for (int n = 0; n <= 80; ++n) {
        Target target;
        quotedprintablebuf filter(&target, /*headerMode=*/false);
        filter.sputn("xxxxx", 5);
        filter.checkSpace(n);
        EXPECT_EQ(target.text(), 5 + n > lastColumn ? "xxxxx=\r\n" : "xxxxx") << n;
    }
}

TEST(QuotedPrintableWrite, CheckSpaceIgnoresARefusal) {
    Target target;
    quotedprintablebuf filter(&target, /*headerMode=*/false);
    filter.sputn("xxxxx", 5);
    target.setCapacity(7);
    filter.checkSpace(75);
    EXPECT_EQ(target.text(), "xxxxx=\r");
    target.setCapacity(100);
    // The column is still 5: as before the attempt, 70 more fit and 71 do not.
    filter.checkSpace(70);
    EXPECT_EQ(target.text(), "xxxxx=\r");
    filter.checkSpace(71);
    EXPECT_EQ(target.text(), "xxxxx=\r=\r\n");
    filter.checkSpace(75);
    EXPECT_EQ(target.text(), "xxxxx=\r=\r\n");
}

TEST(QuotedPrintableWrite, OctetGoesOutThoughItsSoftBreakIsRefused) {
    Target target;
    target.refuseOffers({75});
    quotedprintablebuf filter(&target, /*headerMode=*/false);
    EXPECT_EQ(writeBlocks(filter, std::string(77, 'x'), 0), 77U);
    EXPECT_EQ(target.text(), std::string(76, 'x') + "=\r\nx");
}

TEST(QuotedPrintableWrite, SyncWithNothingWrittenOnlySyncsTheTarget) {
    Target target;
    quotedprintablebuf filter(&target, /*headerMode=*/false);
    EXPECT_EQ(filter.pubsync(), 0);
    EXPECT_EQ(target.text(), "");
    EXPECT_EQ(target.syncs(), 1);
}

TEST(QuotedPrintableWrite, SyncAtALineStartAddsNothing) {
    Target target;
    quotedprintablebuf filter(&target, /*headerMode=*/false);
    filter.sputn("a\r\n", 3);
    EXPECT_EQ(filter.pubsync(), 0);
    EXPECT_EQ(filter.pubsync(), 0);
    EXPECT_EQ(target.text(), "a\r\n");
    EXPECT_EQ(target.syncs(), 2);
}

TEST(QuotedPrintableWrite, HeldCarriageReturnIsWrittenBySyncEachTime) {
    Target target;
    quotedprintablebuf filter(&target, /*headerMode=*/false);
    filter.sputn("a\r", 2);
    EXPECT_EQ(filter.pubsync(), 0);
    EXPECT_EQ(target.text(), "a=0D=\r\n");
    EXPECT_EQ(filter.pubsync(), 0);
    EXPECT_EQ(target.text(), "a=0D=\r\n=0D=\r\n");
}

TEST(QuotedPrintableWrite, CarriageReturnStaysHeldBehindSync) {
    Target target;
    quotedprintablebuf filter(&target, /*headerMode=*/false);
    filter.sputc('\r');
    filter.pubsync();
    filter.sputc('\n');
    EXPECT_EQ(target.text(), "=0D=\r\n\r\n");
}

TEST(QuotedPrintableWrite, SyncGivesTheResultOfTheTarget) {
    for (const int result : {0, -1, 7}) {
        Target target;
        target.setSyncResult(result);
        quotedprintablebuf filter(&target, /*headerMode=*/false);
        filter.sputc('a');
        EXPECT_EQ(filter.pubsync(), result);
        EXPECT_EQ(target.text(), "a=\r\n");
    }
}

TEST(QuotedPrintableWrite, SyncIsZeroThoughItsOwnWritesFail) {
    const std::string expected = "a=0D=\r\n";
    for (std::size_t capacity = 1; capacity < expected.size(); ++capacity) {
        Target target(capacity);
        target.setSyncResult(-1);
        quotedprintablebuf filter(&target, /*headerMode=*/false);
        EXPECT_EQ(writeBlocks(filter, "a\r", 0), 2U);
        EXPECT_EQ(filter.pubsync(), 0) << capacity;
        EXPECT_EQ(target.text(), expected.substr(0, capacity));
        EXPECT_EQ(target.syncs(), 0) << capacity;
    }
}

TEST(QuotedPrintableWrite, OverflowOfEndOfFileIsZeroAndWritesNothing) {
    for (const bool headerMode : {false, true}) {
        Target target;
        OpenQuotedPrintable filter(&target, headerMode);
        EXPECT_EQ(filter.overflow(endOfFile), 0);
        EXPECT_EQ(target.text(), "");
    }
}

TEST(QuotedPrintableWrite, OverflowOfEndOfFileLeavesAHeldCarriageReturn) {
    Target target;
    OpenQuotedPrintable filter(&target, /*headerMode=*/false);
    filter.sputc('\r');
    EXPECT_EQ(filter.overflow(endOfFile), 0);
    filter.sputc('\n');
    EXPECT_EQ(target.text(), "\r\n");
}

TEST(QuotedPrintableWrite, DestructorWritesNothing) {
    Target target;
    {
        quotedprintablebuf filter(&target, /*headerMode=*/false);
        filter.sputn("a\r", 2);
    }
    EXPECT_EQ(target.text(), "a");
    EXPECT_EQ(target.syncs(), 0);
}

TEST(QuotedPrintableWrite, ImbueStopsAtTheFilter) {
    Target target;
    quotedprintablebuf filter(&target, /*headerMode=*/false);
    filter.pubimbue(std::locale::classic());
    EXPECT_EQ(target.imbues(), 0);
    EXPECT_EQ(target.text(), "");
}

void compareWithSlowEncoder(const std::string& text, std::size_t block, const Target& prepared) {
    Target expectedTarget = prepared;
    SlowEncoder slow(&expectedTarget);
    std::size_t expectedTaken = 0;
    while (expectedTaken < text.size() && slow.put(text[expectedTaken])) ++expectedTaken;
    const std::string expectedText = expectedTarget.text();
    const int expectedSync = slow.sync();

    Target target = prepared;
    quotedprintablebuf filter(&target, /*headerMode=*/false);
    EXPECT_EQ(writeBlocks(filter, text, block), expectedTaken);
    EXPECT_EQ(target.text(), expectedText);
    EXPECT_EQ(filter.pubsync(), expectedSync);
    EXPECT_EQ(target.text(), expectedTarget.text());
    EXPECT_EQ(target.syncs(), expectedTarget.syncs());
}

TEST(QuotedPrintableWrite, RandomTextsInEverySplit) {
    std::mt19937 random(22);
    for (std::size_t length = 0; length < 300; ++length) {
        const std::string alphabet = length % 2 == 0 ? allOctets() : "a \t\r\n=\xE9";
        const std::string text = randomText(random, alphabet, length);
        for (const std::size_t block : blockSizes) {
            SCOPED_TRACE("length " + std::to_string(length) + " block " + std::to_string(block));
            compareWithSlowEncoder(text, block, Target());
        }
    }
}

const std::string mixed = std::string(70, 'x') + "\xE9\xE9 \r\na \rb\n\r\n" + std::string(77, 'y') +
                          "==\t\r\n" + std::string(73, 'z') + "\r";

TEST(QuotedPrintableWrite, TargetRefusesAfterAnyNumberOfOctets) {
    const std::size_t all = encode(mixed).size();
    for (std::size_t capacity = 0; capacity <= all; ++capacity) {
        for (const std::size_t block : blockSizes) {
            SCOPED_TRACE("after " + std::to_string(capacity) + " block " + std::to_string(block));
            compareWithSlowEncoder(mixed, block, Target(capacity));
        }
    }
}

TEST(QuotedPrintableWrite, OneRefusedOctetAnywhere) {
    const std::size_t all = encode(mixed).size();
    for (std::size_t offer = 0; offer < all; ++offer) {
        for (const std::size_t block : blockSizes) {
            SCOPED_TRACE("offer " + std::to_string(offer) + " block " + std::to_string(block));
            Target prepared;
            prepared.refuseOffers({offer});
            compareWithSlowEncoder(mixed, block, prepared);
        }
    }
}

TEST(QuotedPrintableWrite, WritingGoesOnBehindARefusal) {
    const std::size_t all = encode(mixed).size();
    for (std::size_t offer = 0; offer < all; ++offer) {
        Target expectedTarget;
        expectedTarget.refuseOffers({offer});
        SlowEncoder slow(&expectedTarget);
        Target target;
        target.refuseOffers({offer});
        quotedprintablebuf filter(&target, /*headerMode=*/false);
        for (const char octet : mixed)
            EXPECT_EQ(filter.sputc(octet) != endOfFile, slow.put(octet)) << offer;
        EXPECT_EQ(target.text(), expectedTarget.text()) << offer;
    }
}

}  // namespace
