// SPDX-License-Identifier: Apache-2.0
// Guarded decoding gives the plain tree where nothing is wrong with it: over messages that are
// generated, and over damaged ones.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "tests/unit/entitydecoder/entity_fixtures.h"
#include "tests/unit/guardedmessage/guarded_fixtures.h"
#include "tests/unit/guardedmessage/tree_comparison.h"

namespace {

/// Makes messages that hold a bit of everything.
class Generator {
  public:
    explicit Generator(unsigned seed) : random_(seed) {}

    std::string message() {
        const std::string text = "Subject: " + words(3) + "\n" + entity(0);
        return oneOf(2) == 0 ? text : crlf(text);
    }

    /// `text` with some octets changed, left out or doubled.
    std::string damaged(std::string text) {
        for (std::size_t count = 1 + oneOf(3); count > 0; --count) {
            const std::size_t place = oneOf(text.size());
            if (oneOf(3) == 0)
                text.erase(place, 1 + oneOf(4));
            else if (oneOf(2) == 0)
                text.insert(place, 1, "\r\n \t-:;=\"(b"[oneOf(11)]);
            else
                text.insert(place, text.substr(oneOf(text.size()), oneOf(40)));
        }
        return text;
    }

  private:
    std::size_t oneOf(std::size_t count) { return random_() % count; }

    template <std::size_t count>
    std::string oneOf(const std::array<const char*, count>& texts) {
        return texts[oneOf(count)];
    }

    std::string words(std::size_t most) {
        static constexpr std::array<const char*, 9> some = {
            "word", "caf\xC3\xA9", "=?utf-8?q?=C3=A9?=", "--", "a: b", "\"q q\"", "(c)", "x=", ""};
        std::string text;
        for (std::size_t count = oneOf(most + 1); count > 0; --count) text += oneOf(some) + ' ';
        return text + "end";
    }

    std::string lines(std::size_t most) {
        std::string text;
        for (std::size_t count = oneOf(most); count > 0; --count) text += words(12) + '\n';
        return text;
    }

    std::string fields() {
        static constexpr std::array<const char*, 6> some = {
            "X-A: a\n b\n", "x-a: c\n", "X-Empty:\n", "no colon\n", "X : y\n", "To: a@b,\n\tc@d\n"};
        std::string text;
        for (std::size_t count = oneOf(4); count > 0; --count) text += oneOf(some);
        return text;
    }

    std::string entity(int depth) {
        const std::size_t kind = oneOf(depth < 4 ? 6 : 3);
        if (kind < 3) return fields() + leaf();
        return fields() + (kind == 3 ? embedded(depth) : multipart(depth));
    }

    std::string leaf() {
        static constexpr std::array<const char*, 6> types = {
            "",
            "Content-Type: text/plain; charset=utf-8\n",
            "Content-Type: image/png\n",
            "Content-Type: text/html; charset=x-own\n",
            "Content-Type: text/plain; charset=gb2312\n",
            "Content-Type: application/x; name*0*=utf-8''a; name*1=b\n"};
        switch (oneOf(5)) {
            case 0:
                return oneOf(types) + "Content-Transfer-Encoding: base64\n\n" +
                       repeated(repeated("QUJD", 19) + "\n", oneOf(60)) + "QQ==\n";
            case 1:
                return oneOf(types) + "Content-Transfer-Encoding: Quoted-Printable\n\n" +
                       repeated("=C3=A9 some=\n more=20\n", oneOf(200)) + "end=3D\n";
            case 2:
                return oneOf(types) + "Content-Transfer-Encoding: x-own\n\n" + lines(5);
            default:
                return oneOf(types) + "\n" + lines(60);
        }
    }

    std::string embedded(int depth) {
        return "Content-Type: message/rfc822\n\nSubject: inner\n" + entity(depth + 1);
    }

    std::string multipart(int depth) {
        const std::string boundary = "b" + std::to_string(next_++) + "x";
        std::string text = "Content-Type: multipart/mixed; boundary=\"" + boundary + "\"\n\n";
        // Directly behind an empty line a bare line feed hides the delimiter.
        const bool hasPreamble = oneOf(2) == 0;
        if (hasPreamble) text += "preamble\n" + lines(3) + "\n";
        const std::size_t count = oneOf(5);
        for (std::size_t part = 0; part < count; ++part)
            text += (part == 0 ? "--" : "\n--") + boundary + (oneOf(4) == 0 ? " \n" : "\n") +
                    entity(depth + 1);
        if (count == 0 && !hasPreamble) return text + "--" + boundary + "--\n";
        return text + "\n--" + boundary + "--\n" + lines(3);
    }

    std::mt19937 random_;
    int next_ = 0;
};

TEST(SameTree, OfGeneratedMessages) {
    for (unsigned seed = 0; seed < 500; ++seed)
        EXPECT_TRUE(compareTrees(Generator(seed).message())) << seed;
}

TEST(SameTree, OfDamagedMessagesWhereThePlainDecodersEnd) {
    int compared = 0;
    for (unsigned seed = 0; seed < 1500; ++seed) {
        Generator generator(seed);
        compared += compareTrees(generator.damaged(generator.message())) ? 1 : 0;
    }
    EXPECT_GT(compared, 500);
}

TEST(SameTree, OfMessagesThatAreReadOctetByOctet) {
    for (unsigned seed = 0; seed < 100; ++seed) {
        const std::string text = Generator(seed).message();
        ShortReads source(text, 1);
        std::istream in(&source);
        EXPECT_TRUE(dump(GuardedMessage(in).getMessage()) == guardedDump(text)) << seed;
    }
}

TEST(GuardedStream, ThatIsLargerThanWhatIsReadAheadIsReadToItsEnd) {
    const std::string line = "a line of some text\r\n";
    constexpr std::size_t lines = 300000;  // beyond 4 MiB
    GeneratedSource source("Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\n", line,
                           lines, "--b\r\n\r\nthe last part\r\n--b--\r\n");
    std::istream in(&source);
    const GuardedMessage message(in);
    EXPECT_EQ(message.getDefectCount(), 0U);
    const std::vector<std::string> bodies = partBodies(*message.getMessage().getMessageEntity());
    ASSERT_EQ(bodies.size(), 2U);
    EXPECT_EQ(bodies[0].size(), line.size() * lines - 2);
    EXPECT_EQ(bodies[1], "the last part");
}

TEST(GuardedStream, WhoseLastReadGivesOneOctetIsReadToItsEnd) {
    constexpr std::size_t size = (4 << 20) + 64 * 1024 + 1;  // an octet behind the last whole block
    GeneratedSource source("\r\n", "x", size - 2, "");
    std::istream in(&source);
    const GuardedMessage message(in);
    EXPECT_EQ(bodyOf(*message.getMessage().getMessageEntity()).size(), size - 2);
}

}  // namespace
