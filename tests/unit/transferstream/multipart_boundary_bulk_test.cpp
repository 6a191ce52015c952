// SPDX-License-Identifier: Apache-2.0
// Reading a body part in blocks gives what reading it octet by octet gives, whatever its source has
// at hand.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>

#include "inet/transferstream.utf16.h"

namespace {

/// Has at most so many octets at hand; with 0 it has no get area at all.
class BulkSource : public std::streambuf {
  public:
    BulkSource(const std::string& octets, std::size_t atHand) : octets_(octets), atHand_(atHand) {}

    std::string rest() {
        std::string text(gptr(), egptr());
        return text + octets_.substr(next_);
    }

  protected:
    int_type underflow() override {
        if (next_ == octets_.size()) return traits_type::eof();
        if (atHand_ == 0) return traits_type::to_int_type(octets_[next_]);
        const std::size_t count = std::min(atHand_, octets_.size() - next_);
        setg(octets_.data() + next_, octets_.data() + next_, octets_.data() + next_ + count);
        next_ += count;
        return traits_type::to_int_type(*gptr());
    }
    int_type uflow() override {
        if (atHand_ > 0) return std::streambuf::uflow();
        return next_ == octets_.size() ? traits_type::eof()
                                       : traits_type::to_int_type(octets_[next_++]);
    }

  private:
    std::string octets_;
    const std::size_t atHand_;
    std::size_t next_ = 0;
};

/// What a part holds, and what its source has left.
struct BulkOutcome {
    std::string part;
    std::string rest;
    bool operator==(const BulkOutcome&) const = default;
};

void PrintTo(const BulkOutcome& outcome, std::ostream* out) {
    *out << testing::PrintToString(outcome.part) << ", left "
         << testing::PrintToString(outcome.rest);
}

BulkOutcome octetByOctet(const std::string& text) {
    BulkSource source(text, 0);
    multipartboundarybuf part(&source, "b");
    std::string octets;
    for (int octet = part.sbumpc(); octet != std::char_traits<char>::eof(); octet = part.sbumpc())
        octets += static_cast<char>(octet);
    return {octets, source.rest()};
}

BulkOutcome inBlocks(const std::string& text, std::size_t atHand, std::size_t blockSize) {
    BulkSource source(text, atHand);
    multipartboundarybuf part(&source, "b");
    std::string octets;
    std::string block(blockSize, '\0');
    for (std::streamsize count = 1; count > 0;) {
        count = part.sgetn(block.data(), static_cast<std::streamsize>(blockSize));
        octets.append(block, 0, static_cast<std::size_t>(count));
    }
    return {octets, source.rest()};
}

void forEachText(std::size_t length, const std::function<void(const std::string&)>& use) {
    constexpr std::string_view letters = "\r\n-bx";
    std::string text(length, letters[0]);
    std::size_t combinations = 1;
    for (std::size_t i = 0; i < length; ++i) combinations *= letters.size();
    for (std::size_t number = 0; number < combinations; ++number) {
        std::size_t digits = number;
        for (char& letter : text) {
            letter = letters[digits % letters.size()];
            digits /= letters.size();
        }
        use(text);
    }
}

TEST(MultipartBoundaryBulk, AllTextsUpToSevenOctetsInEveryBlocking) {
    for (std::size_t length = 0; length <= 7; ++length)
        forEachText(length, [](const std::string& text) {
            const BulkOutcome expected = octetByOctet(text);
            for (const std::size_t atHand : {0U, 1U, 2U, 3U, 100U})
                for (const std::size_t blockSize : {1U, 2U, 3U, 100U})
                    ASSERT_EQ(inBlocks(text, atHand, blockSize), expected)
                        << testing::PrintToString(text) << " at hand " << atHand << " block "
                        << blockSize;
        });
}

TEST(MultipartBoundaryBulk, PeeksAndBlocksMayAlternate) {
    forEachText(6, [](const std::string& text) {
        BulkSource bytewise(text, 0);
        BulkSource blockwise(text, 100);
        multipartboundarybuf expected(&bytewise, "b");
        multipartboundarybuf part(&blockwise, "b");
        for (int i = 0; i < 4; ++i) {
            ASSERT_EQ(part.sgetc(), expected.sgetc()) << testing::PrintToString(text);
            char block[2] = {};
            const auto count = static_cast<std::size_t>(part.sgetn(block, 2));
            for (std::size_t j = 0; j < count; ++j)
                ASSERT_EQ(std::char_traits<char>::to_int_type(block[j]), expected.sbumpc());
            if (count == 2) continue;
            ASSERT_EQ(expected.sbumpc(), std::char_traits<char>::eof());
        }
        ASSERT_EQ(blockwise.rest(), bytewise.rest()) << testing::PrintToString(text);
    });
}

}  // namespace
