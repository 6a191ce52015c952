// SPDX-License-Identifier: Apache-2.0
// Writing in blocks gives what writing octet by octet gives: after each write, refused or not, the
// target has been offered and has taken the same, and what is written afterwards comes out the
// same.
#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "inet/transferstream.utf16.h"
#include "tests/support/effort.h"
#include "tests/support/sanitized.h"
#include "tests/unit/transferstream/test_buffers.h"

namespace {

/// b base64, w the same on one line, q quoted-printable, h the same in header mode, d dot-stuffing.
std::unique_ptr<std::streambuf> writeFilterOf(char letter, std::streambuf* target) {
    if (letter == 'd') return std::make_unique<dotstuffingbuf>(target);
    if (letter == 'q' || letter == 'h')
        return std::make_unique<quotedprintablebuf>(target, /*headerMode=*/letter == 'h');
    return std::make_unique<base64buf>(target, /*encodedWord=*/letter == 'w');
}

/// How a text is written.
struct WritePlan {
    char filter;
    std::vector<std::size_t> blocks;  // their sizes, over and over
    std::size_t capacity;             // of the target, until three writes have failed
    std::set<std::size_t> refused;    // offers
};

/// What one write, or a sync, did.
struct Write {
    long result;
    std::size_t written;  // octets that the target has
    std::size_t offers;
    bool operator==(const Write&) const = default;
};

void PrintTo(const Write& write, std::ostream* out) {
    *out << "result " << write.result << " written " << write.written << " offers " << write.offers;
}

/// All writes, and what has come out.
struct Outcome {
    std::vector<Write> writes;
    std::string text;
    bool operator==(const Outcome&) const = default;
};

enum class WriteWay { octets, blocks };

Outcome writeAll(const std::string& text, const WritePlan& plan, WriteWay way) {
    Target target(plan.capacity);
    target.refuseOffers(plan.refused);
    const auto filter = writeFilterOf(plan.filter, &target);
    Outcome outcome;
    const auto note = [&](long result) {
        outcome.writes.push_back({result, target.text().size(), target.offers()});
    };
    int failures = 0;
    for (std::size_t i = 0, at = 0; at < text.size() && failures < 20; ++i) {
        const std::string block = text.substr(at, plan.blocks[i % plan.blocks.size()]);
        const std::size_t taken =
            writeBlocks(*filter, block, way == WriteWay::blocks ? block.size() : 0);
        note(static_cast<long>(taken));
        at += taken;
        if (taken < block.size() && ++failures == 3) target.setCapacity(1U << 30);
    }
    note(filter->pubsync());
    note(filter->pubsync());
    outcome.text = target.text();
    return outcome;
}

testing::AssertionResult writesAlike(const std::string& text, const WritePlan& plan) {
    const Outcome expected = writeAll(text, plan, WriteWay::octets);
    const Outcome actual = writeAll(text, plan, WriteWay::blocks);
    if (actual == expected) return testing::AssertionSuccess();
    return testing::AssertionFailure()
           << "filter " << plan.filter << ", blocks " << testing::PrintToString(plan.blocks)
           << ", capacity " << plan.capacity << ", refused " << testing::PrintToString(plan.refused)
           << "\n"
           << testing::PrintToString(text) << "\n"
           << testing::PrintToString(actual.writes) << "\n"
           << testing::PrintToString(expected.writes) << "\n"
           << testing::PrintToString(actual.text) << "\n"
           << testing::PrintToString(expected.text);
}

WritePlan randomPlan(std::mt19937& random, char filter, std::size_t length) {
    const std::vector<std::size_t> sizes = {1, 2, 3, 4, 15, 16, 17, 57, 58, 75, 300, 1025, 100000};
    WritePlan plan{filter, {}, 1U << 30, {}};
    for (int i = 0; i < 3; ++i) plan.blocks.push_back(sizes[random() % sizes.size()]);
    if (random() % 3 == 0) plan.capacity = random() % (2 * length + 2);
    for (std::size_t count = random() % 4; count > 0; --count)
        plan.refused.insert(random() % (2 * length + 2));
    return plan;
}

constexpr int textsWritten = isSanitized ? 500 : 2000;

void expectAlike(const std::string& filters, const std::vector<std::string>& pieces) {
    std::mt19937 random(30);
    for (int i = 0; i < (isFullEffort() ? 50 * textsWritten : textsWritten); ++i) {
        const std::string text = randomPieces(random, pieces);
        const WritePlan plan = randomPlan(random, filters[random() % filters.size()], text.size());
        ASSERT_TRUE(writesAlike(text, plan));
    }
}

TEST(BulkWrite, Base64) {
    expectAlike("bw", {"a", "bc", "def", std::string(1, '\0'), "\xFF\xFE", "\x80 some text", "\r\n",
                       std::string("\x14\xFB\x9C\x03\xD9\x7E\x3F\xBE\xFF\xE1\x10\x00\x2A", 13)});
}

TEST(BulkWrite, QuotedPrintable) {
    expectAlike("qh",
                {"a", "some text", " ", "\t", "\r", "\n", "\r\n", " \r", "\t\r\n", "=", "\xC3\xA9",
                 "\x7F", std::string(1, '\0'), "~!", "some more of the text\r\n"});
}

TEST(BulkWrite, DotStuffing) {
    expectAlike("d", {".", "..", "\n", "\r\n", "\r\n.", "\n.\n", "a", "some text", "a.b\r\n",
                      "a line of text that goes on for some time, until it ends.\r\n"});
}

TEST(BulkWrite, TextsThatGrowMost) {
    for (const std::string piece : {" \r", "\r", "\n", "\xFF", "\r\xFF", " \r=", "\t\r\n", ".\n"})
        for (const char filter : {'b', 'q', 'd'})
            for (const std::size_t block : {1023U, 1024U, 1025U, 100000U})
                ASSERT_TRUE(writesAlike(repeated(piece, 2000), {filter, {block}, 1U << 30, {}}));
}

TEST(BulkWrite, EveryOctetInEveryPlace) {
    for (const char octet : allOctets())
        for (std::size_t at = 0; at < 20; ++at) {
            std::string text(100, 'a');
            text[at] = octet;
            for (const char filter : {'b', 'q', 'd'})
                ASSERT_TRUE(writesAlike(text, {filter, {text.size()}, 1U << 30, {}}));
        }
}

TEST(BulkWrite, EveryLength) {
    std::mt19937 random(31);
    const std::string text = randomText(random, allOctets(), 400);
    for (std::size_t length = 0; length <= text.size(); ++length)
        for (const char filter : {'b', 'w', 'q', 'h', 'd'})
            ASSERT_TRUE(writesAlike(text.substr(0, length), {filter, {length + 1}, 1U << 30, {}}));
}

TEST(BulkWrite, TargetsThatRefuseAfterEachOctet) {
    const std::string text =
        "\xFF\xFE some text \r\n.. and more\r=\n" + std::string(90, 'x') + "\n.\n";
    for (std::size_t capacity = 0; capacity < 3 * text.size(); ++capacity)
        for (const char filter : {'b', 'w', 'q', 'h', 'd'}) {
            ASSERT_TRUE(writesAlike(text, {filter, {text.size()}, capacity, {}}));
            ASSERT_TRUE(writesAlike(text, {filter, {text.size()}, 1U << 30, {capacity}}));
            ASSERT_TRUE(
                writesAlike(text, {filter, {text.size()}, 1U << 30, {capacity, capacity + 1}}));
        }
}

TEST(BulkWrite, ManyLinesWithARefusal) {
    std::mt19937 random(32);
    std::string text;
    while (text.size() < 12000)
        text += randomText(random, "ab \xE9.", random() % 100) + (random() % 2 ? "\r\n" : "\n.");
    for (int i = 0; i < 20; ++i)
        for (const char filter : {'b', 'w', 'q', 'd'})
            ASSERT_TRUE(writesAlike(
                text, {filter, {text.size(), 5000}, 1U << 30, {random() % (2 * text.size())}}));
}

}  // namespace
