// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "inet/transferstream.utf16.h"
#include "tests/unit/transferstream/test_buffers.h"

using namespace std::string_literals;

namespace {

std::string encode(const std::string& octets, bool encodedWord, std::size_t block = 0) {
    Target target;
    base64buf filter(&target, encodedWord);
    EXPECT_EQ(writeBlocks(filter, octets, block), octets.size());
    EXPECT_EQ(filter.pubsync(), 0);
    return target.text();
}

// Reaches what a stream buffer protects.
class OpenBase64 : public base64buf {
  public:
    using base64buf::base64buf;
    using base64buf::overflow;
};

// The encoder in its plainest form: one group of three octets, one character at a time.
class SlowEncoder {
  public:
    SlowEncoder(Target* target, bool encodedWord) : target_(target), encodedWord_(encodedWord) {}

    bool put(char octet) {
        if (group_.size() == 3 && !flush()) return false;
        group_ += octet;
        return true;
    }
    int sync() {
        if (!flush()) return -1;
        if (column_ != 0 && target_->sputn("\r\n", 2) < 2) return -1;
        column_ = 0;
        return target_->pubsync();
    }

  private:
    bool flush() {
        if (group_.empty()) return true;
        if (!encodedWord_ && column_ > 72) {
            if (target_->sputn("\r\n", 2) < 2) return false;
            column_ = 0;
        }
        for (const char digit : digits())
            if (target_->sputc(digit) == endOfFile) return false;
        column_ += 4;
        group_.clear();
        return true;
    }
    std::string digits() const {
        unsigned bits = 0;
        for (std::size_t i = 0; i < 3; ++i)
            bits = bits * 256 + (i < group_.size() ? static_cast<unsigned char>(group_[i]) : 0U);
        std::string four;
        for (const unsigned shift : {18U, 12U, 6U, 0U}) four += base64Alphabet[bits >> shift & 63U];
        return four.replace(group_.size() + 1, std::string::npos, 3 - group_.size(), '=');
    }

    Target* target_;
    bool encodedWord_;
    int column_ = 0;
    std::string group_;
};

std::size_t writeSlowly(SlowEncoder& encoder, const std::string& text) {
    std::size_t taken = 0;
    while (taken < text.size() && encoder.put(text[taken])) ++taken;
    return taken;
}

struct Base64WriteRow {
    const char* name;
    std::string input;
    std::string expected;
};

TEST(Base64Write, GroupsAndPadding) {
    const Base64WriteRow base64WriteRows[] = {
        {"three octets", "abc", "YWJj\r\n"},
        {"two octets", "ab", "YWI=\r\n"},
        {"one octet", "a", "YQ==\r\n"},
        {"four octets", "abcd", "YWJjZA==\r\n"},
        {"zero octets of NUL", std::string(3, '\0'), "AAAA\r\n"},
        {"high octets", "\xFF\xFE\xFD", "//79\r\n"},
        {"an octet of 255 is not the end of the file", "\xFF", "/w==\r\n"},
        {"line ends are octets", "\r\n", "DQo=\r\n"},
    };
    for (const Base64WriteRow& row : base64WriteRows) {
        EXPECT_EQ(encode(row.input, /*encodedWord=*/false), row.expected) << row.name;
        EXPECT_EQ(encode(row.input, /*encodedWord=*/true), row.expected) << row.name;
    }
}

TEST(Base64Write, EveryDigitOfTheAlphabet) {
    std::string octets;
    for (unsigned digit = 0; digit < 64; ++digit) {
        // Three octets whose four digits are all `digit`.
        const unsigned bits = digit * 0x41041U;
        for (const unsigned shift : {16U, 8U, 0U}) octets += static_cast<char>(bits >> shift);
    }
    std::string expected;
    for (const char digit : base64Alphabet) expected += std::string(4, digit);
    EXPECT_EQ(encode(octets, /*encodedWord=*/true), expected + "\r\n");
}

TEST(Base64Write, FiftySevenOctetsAreOneLine) {
    EXPECT_EQ(encode(std::string(57, '\0'), /*encodedWord=*/false), std::string(76, 'A') + "\r\n");
}

TEST(Base64Write, FiftyEightOctetsAreTwoLines) {
    EXPECT_EQ(encode(std::string(58, '\0'), /*encodedWord=*/false),
              std::string(76, 'A') + "\r\nAA==\r\n");
}

TEST(Base64Write, ManyLinesOfSeventySix) {
    const std::string line = std::string(76, 'A') + "\r\n";
    EXPECT_EQ(encode(std::string(5700, '\0'), /*encodedWord=*/false), repeated(line, 100));
}

TEST(Base64Write, EncodedWordIsNeverBroken) {
    EXPECT_EQ(encode(std::string(100, '\0'), /*encodedWord=*/true),
              std::string(134, 'A') + "==\r\n");
    EXPECT_EQ(encode(std::string(100, '\0'), /*encodedWord=*/true).size(), 138U);
}

TEST(Base64Write, SyncWithNothingWrittenOnlySyncsTheTarget) {
    Target target;
    base64buf filter(&target, /*encodedWord=*/false);
    EXPECT_EQ(filter.pubsync(), 0);
    EXPECT_EQ(target.text(), "");
    EXPECT_EQ(target.syncs(), 1);
}

TEST(Base64Write, SecondSyncWritesNothingMore) {
    Target target;
    base64buf filter(&target, /*encodedWord=*/false);
    filter.sputn("abc", 3);
    EXPECT_EQ(filter.pubsync(), 0);
    EXPECT_EQ(filter.pubsync(), 0);
    EXPECT_EQ(target.text(), "YWJj\r\n");
    EXPECT_EQ(target.syncs(), 2);
}

TEST(Base64Write, ColumnStartsAfreshAfterSync) {
    Target target;
    base64buf filter(&target, /*encodedWord=*/false);
    filter.sputn("abc", 3);
    filter.pubsync();
    const std::string line(57, '\0');
    filter.sputn(line.data(), 57);
    filter.pubsync();
    EXPECT_EQ(target.text(), "YWJj\r\n" + std::string(76, 'A') + "\r\n");
}

TEST(Base64Write, SyncGivesTheResultOfTheTarget) {
    for (const int result : {0, -1, 7}) {
        Target target;
        target.setSyncResult(result);
        base64buf filter(&target, /*encodedWord=*/false);
        filter.sputc('a');
        EXPECT_EQ(filter.pubsync(), result);
        EXPECT_EQ(target.text(), "YQ==\r\n");
    }
}

TEST(Base64Write, LineEndIsOfferedInOnePiece) {
    Target target;
    base64buf filter(&target, /*encodedWord=*/false);
    writeBlocks(filter, std::string(58, '\0'), 0);
    filter.pubsync();
    EXPECT_EQ(target.blocks(), (std::vector<std::string>{"\r\n", "\r\n"}));
}

TEST(Base64Write, GroupIsHeldUntilTheFourthOctet) {
    Target target;
    base64buf filter(&target, /*encodedWord=*/false);
    for (const char octet : {'a', 'b', 'c'}) {
        EXPECT_EQ(filter.sputc(octet), asInt(octet));
        EXPECT_EQ(target.text(), "");
    }
    EXPECT_EQ(filter.sputc('d'), asInt('d'));
    EXPECT_EQ(target.text(), "YWJj");
}

TEST(Base64Write, SendOutputWritesThePendingGroupPadded) {
    for (const bool argument : {false, true}) {
        Target target;
        base64buf filter(&target, /*encodedWord=*/false);
        EXPECT_TRUE(filter.send_output(argument));
        EXPECT_EQ(target.text(), "");
        filter.sputn("ab", 2);
        EXPECT_TRUE(filter.send_output(argument));
        EXPECT_EQ(target.text(), "YWI=");
        EXPECT_TRUE(filter.send_output(argument));
        EXPECT_EQ(target.text(), "YWI=");
        EXPECT_EQ(target.syncs(), 0);
    }
}

TEST(Base64Write, SendOutputFailsWhenTheTargetRefuses) {
    for (std::size_t capacity = 0; capacity <= 4; ++capacity) {
        Target target(capacity);
        base64buf filter(&target, /*encodedWord=*/false);
        filter.sputn("abc", 3);
        EXPECT_EQ(filter.send_output(false), capacity == 4) << capacity;
    }
}

TEST(Base64Write, OverflowOfEndOfFileIsZeroAndWritesNothing) {
    Target target;
    OpenBase64 filter(&target, /*encodedWord=*/false);
    EXPECT_EQ(filter.overflow(endOfFile), 0);
    filter.sputn("abc", 3);
    EXPECT_EQ(filter.overflow(endOfFile), 0);
    EXPECT_EQ(target.text(), "");
}

TEST(Base64Write, OverflowGivesTheOctet) {
    Target target;
    OpenBase64 filter(&target, /*encodedWord=*/false);
    for (const int octet : {0, 97, 128, 255, 10}) EXPECT_EQ(filter.overflow(octet), octet);
}

TEST(Base64Write, DestructorWritesNothing) {
    Target target;
    {
        base64buf filter(&target, /*encodedWord=*/false);
        filter.sputn("ab", 2);
    }
    EXPECT_EQ(target.text(), "");
    EXPECT_EQ(target.syncs(), 0);
}

TEST(Base64Write, ImbueStopsAtTheFilter) {
    Target target;
    base64buf filter(&target, /*encodedWord=*/false);
    filter.pubimbue(std::locale::classic());
    EXPECT_EQ(target.imbues(), 0);
    EXPECT_EQ(target.text(), "");
}

// Writes the same text through both and holds every result and the target against each other.
void compareWithSlowEncoder(const std::string& text, bool encodedWord, std::size_t block,
                            const Target& prepared) {
    Target expectedTarget = prepared;
    SlowEncoder slow(&expectedTarget, encodedWord);
    const std::size_t expectedTaken = writeSlowly(slow, text);
    const std::string expectedText = expectedTarget.text();
    const int expectedSync = slow.sync();

    Target target = prepared;
    base64buf filter(&target, encodedWord);
    EXPECT_EQ(writeBlocks(filter, text, block), expectedTaken);
    EXPECT_EQ(target.text(), expectedText);
    EXPECT_EQ(filter.pubsync(), expectedSync);
    EXPECT_EQ(target.text(), expectedTarget.text());
    EXPECT_EQ(target.syncs(), expectedTarget.syncs());
}

TEST(Base64Write, RandomTextsInEverySplit) {
    std::mt19937 random(11);
    for (std::size_t length = 0; length < 300; ++length) {
        const std::string text = randomText(random, allOctets(), length);
        for (const std::size_t block : blockSizes) {
            SCOPED_TRACE("length " + std::to_string(length) + " block " + std::to_string(block));
            compareWithSlowEncoder(text, length % 2 == 0, block, Target());
        }
    }
}

TEST(Base64Write, TargetRefusesAfterAnyNumberOfOctets) {
    const std::string text = allOctets().substr(100, 120);
    const std::size_t all = encode(text, /*encodedWord=*/false).size();
    for (std::size_t capacity = 0; capacity <= all; ++capacity) {
        for (const std::size_t block : blockSizes) {
            SCOPED_TRACE("after " + std::to_string(capacity) + " block " + std::to_string(block));
            compareWithSlowEncoder(text, /*encodedWord=*/false, block, Target(capacity));
        }
    }
}

TEST(Base64Write, SyncFailsUnlessAllIsTaken) {
    const std::string expected = std::string(76, 'A') + "\r\nAA==\r\n";
    for (std::size_t capacity = 0; capacity <= expected.size(); ++capacity) {
        Target target(capacity);
        base64buf filter(&target, /*encodedWord=*/false);
        writeBlocks(filter, std::string(58, '\0'), 0);
        const bool isWhole = capacity == expected.size();
        EXPECT_EQ(filter.pubsync(), isWhole ? 0 : -1) << capacity;
        EXPECT_EQ(target.syncs(), isWhole ? 1 : 0) << capacity;
        EXPECT_EQ(target.text(), expected.substr(0, capacity));
    }
}

TEST(Base64Write, GroupThatWasRefusedIsWrittenAgain) {
    Target target;
    target.refuseOffers({2});
    base64buf filter(&target, /*encodedWord=*/false);
    EXPECT_EQ(writeBlocks(filter, "abcd", 0), 3U);
    EXPECT_EQ(target.text(), "YW");
    EXPECT_EQ(filter.sputc('d'), asInt('d'));
    EXPECT_EQ(filter.pubsync(), 0);
    EXPECT_EQ(target.text(), "YWYWJjZA==\r\n");
}

TEST(Base64Write, OneRefusedOctetAnywhere) {
    const std::string text(130, 'x');
    const std::size_t all = encode(text, /*encodedWord=*/false).size();
    for (std::size_t offer = 0; offer < all; ++offer) {
        for (const std::size_t block : blockSizes) {
            SCOPED_TRACE("offer " + std::to_string(offer) + " block " + std::to_string(block));
            Target prepared;
            prepared.refuseOffers({offer});
            compareWithSlowEncoder(text, /*encodedWord=*/false, block, prepared);
        }
    }
}

}  // namespace
