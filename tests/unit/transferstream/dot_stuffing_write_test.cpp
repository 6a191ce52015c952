// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "inet/transferstream.utf16.h"
#include "tests/unit/transferstream/test_buffers.h"

using namespace std::string_literals;

namespace {

// Reaches what a stream buffer protects.
class OpenDotStuffing : public dotstuffingbuf {
  public:
    using dotstuffingbuf::dotstuffingbuf;
    using dotstuffingbuf::overflow;
};

std::string written(const std::string& octets, std::size_t block = 0) {
    Target target;
    dotstuffingbuf filter(&target);
    EXPECT_EQ(writeBlocks(filter, octets, block), octets.size());
    return target.text();
}

std::string stuff(const std::string& octets, std::size_t block = 0) {
    Target target;
    dotstuffingbuf filter(&target);
    EXPECT_EQ(writeBlocks(filter, octets, block), octets.size());
    EXPECT_EQ(filter.pubsync(), 0);
    return target.text();
}

// The writer in its plainest form.
class SlowWriter {
  public:
    explicit SlowWriter(Target* target) : target_(target) {}

    bool put(char octet) {
        if (octet == '\n')
            atLineStart_ = true;
        else if (octet != '.')
            atLineStart_ = false;
        else if (atLineStart_ && target_->sputc('.') == endOfFile)
            return false;
        return target_->sputc(octet) != endOfFile;
    }
    int sync() {
        if (!atLineStart_ && target_->sputn("\r\n", 2) < 2) return -1;
        if (target_->sputn(".\r\n", 3) < 3) return -1;
        return target_->pubsync();
    }

  private:
    Target* target_;
    bool atLineStart_ = true;
};

struct DotWriteRow {
    const char* name;
    std::string input;
    std::string expected;
};

TEST(DotStuffingWrite, DotsLineStartsAndTheEndOfData) {
    const DotWriteRow dotWriteRows[] = {
        {"dot at a line start", "a\r\n.b\r\n", "a\r\n..b\r\n.\r\n"},
        {"unended last line", "abc", "abc\r\n.\r\n"},
        {"nothing", "", ".\r\n"},
        {"a dot in mid-line", "x.y\r\n", "x.y\r\n.\r\n"},
        {"a dot at the end of a line", "x.\r\n", "x.\r\n.\r\n"},
        {"a run of dots in mid-line", "x...\r\n", "x...\r\n.\r\n"},
        {"a line with one dot", ".\r\n", "..\r\n.\r\n"},
        {"a run of dots at a line start", "...\r\n", "......\r\n.\r\n"},
        {"the run ends with another octet", "..a.b\r\n", "....a.b\r\n.\r\n"},
        {"a line of dots alone at the end", "..", ".....\r\n"},
        {"a line feed alone ends a line", "a\n.b\n", "a\n..b\n.\r\n"},
        {"a carriage return alone does not", "a\r.b\r\n", "a\r.b\r\n.\r\n"},
        {"carriage return at a line start", "\r.\r\n", "\r.\r\n.\r\n"},
        {"carriage return at the end", "a\r", "a\r\r\n.\r\n"},
        {"empty lines", "\r\n\r\n", "\r\n\r\n.\r\n"},
        {"empty line, then a dot", "\r\n.", "\r\n...\r\n"},
        {"no line end is converted", "a\nb\rc\r\n", "a\nb\rc\r\n.\r\n"},
        {"NUL and high octets", "\0.\xFF\n.\x80\n"s, "\0.\xFF\n..\x80\n.\r\n"s},
    };
    for (const DotWriteRow& row : dotWriteRows)
        for (const std::size_t block : blockSizes)
            EXPECT_EQ(stuff(row.input, block), row.expected) << row.name << " block " << block;
}

TEST(DotStuffingWrite, TwoDotsAtTheVeryBeginningAreFour) { EXPECT_EQ(written(".."), "...."); }

TEST(DotStuffingWrite, DotDoesNotEndTheLineStart) { EXPECT_EQ(written("..."), "......"); }

TEST(DotStuffingWrite, NothingIsHeldBack) {
    Target target;
    dotstuffingbuf filter(&target);
    filter.sputc('a');
    EXPECT_EQ(target.text(), "a");
    filter.sputc('\n');
    EXPECT_EQ(target.text(), "a\n");
    filter.sputc('.');
    EXPECT_EQ(target.text(), "a\n..");
}

TEST(DotStuffingWrite, EveryOctetIsGivenBackAsTheResult) {
    Target target;
    dotstuffingbuf filter(&target);
    for (const char octet : allOctets()) EXPECT_EQ(filter.sputc(octet), asInt(octet));
    EXPECT_EQ(target.text(), allOctets());
}

TEST(DotStuffingWrite, EverySyncWritesTheTerminatorAgain) {
    Target target;
    dotstuffingbuf filter(&target);
    filter.sputn("a\r\n", 3);
    EXPECT_EQ(filter.pubsync(), 0);
    EXPECT_EQ(filter.pubsync(), 0);
    EXPECT_EQ(target.text(), "a\r\n.\r\n.\r\n");
    EXPECT_EQ(target.syncs(), 2);
}

TEST(DotStuffingWrite, SyncDoesNotCountAsALineStart) {
    Target target;
    dotstuffingbuf filter(&target);
    filter.sputc('a');
    filter.pubsync();
    filter.pubsync();
    EXPECT_EQ(target.text(), "a\r\n.\r\n\r\n.\r\n");
    filter.sputc('.');
    EXPECT_EQ(target.text(), "a\r\n.\r\n\r\n.\r\n.");
}

TEST(DotStuffingWrite, LineEndAndTerminatorAreOfferedInOnePieceEach) {
    Target target;
    dotstuffingbuf filter(&target);
    filter.sputc('a');
    filter.pubsync();
    EXPECT_EQ(target.blocks(), (std::vector<std::string>{"\r\n", ".\r\n"}));
}

TEST(DotStuffingWrite, SyncGivesTheResultOfTheTarget) {
    for (const int result : {0, -1, 7}) {
        Target target;
        target.setSyncResult(result);
        dotstuffingbuf filter(&target);
        EXPECT_EQ(filter.pubsync(), result);
        EXPECT_EQ(target.text(), ".\r\n");
    }
}

TEST(DotStuffingWrite, SyncFailsUnlessAllIsTaken) {
    const std::string expected = "a\r\n.\r\n";
    for (std::size_t capacity = 1; capacity <= expected.size(); ++capacity) {
        Target target(capacity);
        dotstuffingbuf filter(&target);
        filter.sputc('a');
        const bool isWhole = capacity == expected.size();
        EXPECT_EQ(filter.pubsync(), isWhole ? 0 : -1) << capacity;
        EXPECT_EQ(target.syncs(), isWhole ? 1 : 0) << capacity;
        EXPECT_EQ(target.text(), expected.substr(0, capacity));
    }
}

TEST(DotStuffingWrite, RefusedExtraDotIsAFailure) {
    Target target(0);
    dotstuffingbuf filter(&target);
    EXPECT_EQ(filter.sputc('.'), endOfFile);
    EXPECT_EQ(target.offers(), 1U);
}

TEST(DotStuffingWrite, RefusedDotBehindItsExtraDotIsAFailure) {
    Target target(1);
    dotstuffingbuf filter(&target);
    EXPECT_EQ(filter.sputc('.'), endOfFile);
    EXPECT_EQ(target.text(), ".");
}

TEST(DotStuffingWrite, RefusedLineFeedStillStartsALine) {
    Target target;
    target.refuseOffers({1});
    dotstuffingbuf filter(&target);
    filter.sputc('a');
    EXPECT_EQ(filter.sputc('\n'), endOfFile);
    filter.sputc('.');
    EXPECT_EQ(target.text(), "a..");
}

TEST(DotStuffingWrite, RefusedEndOfTheLastLineEndsTheSync) {
    Target target;
    target.refuseOffers({1});
    dotstuffingbuf filter(&target);
    filter.sputc('a');
    EXPECT_EQ(filter.pubsync(), -1);
    EXPECT_EQ(target.text(), "a");
    EXPECT_EQ(target.syncs(), 0);
}

TEST(DotStuffingWrite, OverflowOfEndOfFileIsZeroAndWritesNothing) {
    Target target;
    OpenDotStuffing filter(&target);
    EXPECT_EQ(filter.overflow(endOfFile), 0);
    EXPECT_EQ(target.text(), "");
    EXPECT_EQ(filter.pubsync(), 0);
    EXPECT_EQ(target.text(), ".\r\n");
}

TEST(DotStuffingWrite, DestructorWritesNothing) {
    Target target;
    {
        dotstuffingbuf filter(&target);
        filter.sputc('a');
    }
    EXPECT_EQ(target.text(), "a");
    EXPECT_EQ(target.syncs(), 0);
}

TEST(DotStuffingWrite, ImbueStopsAtTheFilter) {
    Target target;
    dotstuffingbuf filter(&target);
    filter.pubimbue(std::locale::classic());
    EXPECT_EQ(target.imbues(), 0);
    EXPECT_EQ(target.text(), "");
}

void compareWithSlowWriter(const std::string& text, std::size_t block, const Target& prepared) {
    Target expectedTarget = prepared;
    SlowWriter slow(&expectedTarget);
    std::size_t expectedTaken = 0;
    while (expectedTaken < text.size() && slow.put(text[expectedTaken])) ++expectedTaken;
    const std::string expectedText = expectedTarget.text();
    const int expectedSync = slow.sync();

    Target target = prepared;
    dotstuffingbuf filter(&target);
    EXPECT_EQ(writeBlocks(filter, text, block), expectedTaken);
    EXPECT_EQ(target.text(), expectedText);
    EXPECT_EQ(filter.pubsync(), expectedSync);
    EXPECT_EQ(target.text(), expectedTarget.text());
    EXPECT_EQ(target.syncs(), expectedTarget.syncs());
}

TEST(DotStuffingWrite, RandomTextsInEverySplit) {
    std::mt19937 random(61);
    for (std::size_t length = 0; length < 200; ++length) {
        const std::string text = randomText(random, "..\r\n\na\xFF", length);
        for (const std::size_t block : blockSizes) {
            SCOPED_TRACE("length " + std::to_string(length) + " block " + std::to_string(block));
            compareWithSlowWriter(text, block, Target());
        }
    }
}

TEST(DotStuffingWrite, DotAtAnyPlaceInALongText) {
    for (const std::size_t size : {200U, 8500U}) {
        for (std::size_t place = 0; place < 140; ++place) {
            std::string text(size, 'x');
            text.replace(place, 3, "\n.\n");
            text.replace(size - place - 4, 2, "\n.");
            SCOPED_TRACE("size " + std::to_string(size) + " place " + std::to_string(place));
            compareWithSlowWriter(text, size, Target());
        }
    }
}

TEST(DotStuffingWrite, LineStartsWhereALongRunIsDivided) {
    for (std::size_t place = 8180; place < 8200; ++place) {
        std::string text(17'000, 'x');
        text.replace(place, 4, "\n..\n");
        text.replace(2 * place, 2, "\n.");
        SCOPED_TRACE("place " + std::to_string(place));
        compareWithSlowWriter(text, text.size(), Target());
        compareWithSlowWriter(text, text.size(), Target(place + 3));
    }
}

const std::string mixed = "..a\r\n.\r\nb.c\r\n\r\n...\nd\r.e\n.";

TEST(DotStuffingWrite, TargetRefusesAfterAnyNumberOfOctets) {
    const std::size_t all = stuff(mixed).size();
    for (std::size_t capacity = 0; capacity <= all; ++capacity) {
        for (const std::size_t block : blockSizes) {
            SCOPED_TRACE("after " + std::to_string(capacity) + " block " + std::to_string(block));
            compareWithSlowWriter(mixed, block, Target(capacity));
        }
    }
}

TEST(DotStuffingWrite, OneRefusedOctetAnywhere) {
    const std::size_t all = stuff(mixed).size();
    for (std::size_t offer = 0; offer < all; ++offer) {
        for (const std::size_t block : blockSizes) {
            SCOPED_TRACE("offer " + std::to_string(offer) + " block " + std::to_string(block));
            Target prepared;
            prepared.refuseOffers({offer});
            compareWithSlowWriter(mixed, block, prepared);
        }
    }
}

}  // namespace
