// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <istream>

#include "inet/transferstream.utf16.h"
#include "tests/unit/transferstream/test_buffers.h"

using namespace std::string_literals;

namespace {

/// Source without a get area, which knows of each octet that is asked of it.
class WatchedSource : public std::streambuf {
  public:
    explicit WatchedSource(std::string text) : text_(std::move(text)) {}

    std::string rest() const { return text_.substr(pos_); }
    std::size_t taken() const { return pos_; }
    int takesAtTheEnd() const { return takesAtTheEnd_; }

  protected:
    int_type underflow() override {
        return pos_ < text_.size() ? asInt(text_[pos_]) : traits_type::eof();
    }
    int_type uflow() override {
        if (pos_ < text_.size()) return asInt(text_[pos_++]);
        ++takesAtTheEnd_;
        return traits_type::eof();
    }

  private:
    std::string text_;
    std::size_t pos_ = 0;
    int takesAtTheEnd_ = 0;
};

/// The reader in its plainest form, over a text of its own.
class SlowPartReader {
  public:
    SlowPartReader(std::string text, const std::string& boundary)
        : text_(std::move(text)), delimiter_("\r\n--" + boundary) {}

    int take() { return read(true); }
    int peek() { return read(false); }
    std::size_t taken() const { return pos_; }

  private:
    int read(bool takes) {
        if (matched_ == delimiter_.size()) return endOfFile;
        if (replay_ < matched_) return owed(takes);
        begin();
        while (look() == asInt(delimiter_[matched_])) {
            ++pos_;
            if (++matched_ == delimiter_.size()) return endOfFile;
        }
        if (replay_ < matched_) return owed(takes);
        const int octet = look();
        if (takes && octet != endOfFile) ++pos_;
        return octet;
    }
    void begin() {
        matched_ = 0;
        replay_ = 0;
        if (atStart_) {
            atStart_ = false;
            matched_ = 2;
            replay_ = 2;
        } else if (look() == '\n') {
            ++pos_;
            matched_ = 2;
            replay_ = 1;
        }
    }
    int owed(bool takes) {
        const int octet = asInt(delimiter_[replay_]);
        if (takes) ++replay_;
        return octet;
    }
    int look() const { return pos_ < text_.size() ? asInt(text_[pos_]) : endOfFile; }

    std::string text_;
    std::string delimiter_;
    std::size_t pos_ = 0;
    std::size_t matched_ = 0;
    std::size_t replay_ = 0;
    bool atStart_ = true;
};

/// What takes alone must yield, said without a machine: the data ends in front of the first LF
/// that the delimiter follows, and of the CR before that LF. The first octet, when it is a line
/// end, is data in any case.
std::string dataOf(const std::string& text, const std::string& boundary) {
    if (text.starts_with("--" + boundary)) return "";
    const std::size_t lineFeed = text.find("\n--" + boundary, 1);
    if (lineFeed == std::string::npos) return text;
    const bool hasReturn = lineFeed > 1 && text[lineFeed - 1] == '\r';
    return text.substr(0, hasReturn ? lineFeed - 1 : lineFeed);
}

/// Reads `steps` times, with a take for each bit that is set, round and round over `period` bits.
/// Empty when the reader does as the plain one does.
std::string difference(const std::string& text, const std::string& boundary, unsigned takes,
                       std::size_t period, std::size_t steps) {
    WatchedSource source(text);
    multipartboundarybuf filter(&source, boundary);
    SlowPartReader slow(text, boundary);
    for (std::size_t step = 0; step < steps; ++step) {
        const bool isTake = (takes >> step % period & 1U) != 0;
        const int got = isTake ? filter.sbumpc() : filter.sgetc();
        const int expected = isTake ? slow.take() : slow.peek();
        if (got != expected || source.taken() != slow.taken() || source.takesAtTheEnd() != 0)
            return testing::PrintToString(text) + ", takes " + std::to_string(takes) + ", step " +
                   std::to_string(step) + ": " + std::to_string(got) + " for " +
                   std::to_string(expected) + ", rest " + testing::PrintToString(source.rest());
    }
    return "";
}

/// All texts of `length` octets that matter to a reader with the boundary "b".
std::vector<std::string> textsOf(std::size_t length) {
    const std::string alphabet = "\r\n-bx";
    std::vector<std::string> texts = {""};
    for (std::size_t i = 0; i < length; ++i) {
        std::vector<std::string> longer;
        longer.reserve(texts.size() * alphabet.size());
        for (const std::string& text : texts)
            for (const char octet : alphabet) longer.push_back(text + octet);
        texts = std::move(longer);
    }
    return texts;
}

struct BoundaryRow {
    const char* name;
    std::string input;
    std::string boundary;
    std::string expected;
    std::string rest;
};

void PrintTo(const BoundaryRow& row, std::ostream* out) { *out << row.name; }

const BoundaryRow boundaryRows[] = {
    {"endsBeforeTheLineEndOfTheDelimiter", "hello\r\n--b\r\nnext", "b", "hello", "\r\nnext"},
    {"findsADelimiterAtTheVeryStart", "--b\r\nnext", "b", "", "\r\nnext"},
    {"acceptsABareLineFeedBeforeTheDelimiter", "x\n--b", "b", "x", ""},
    {"handsOutAPartialDelimiterAtTheEnd", "a\r\n--c", "b", "a\r\n--c", ""},
    {"findsADelimiterRightBehindAPartialOne", "a\r\n-\r\n--b", "b", "a\r\n-", ""},
    {"leavesTheHyphensOfAClosingDelimiter", "a\r\n--b--\r\n", "b", "a", "--\r\n"},
    {"leavesTheBlanksBehindTheBoundary", "a\r\n--b \t\r\n", "b", "a", " \t\r\n"},
    {"needsNoWholeLine", "a\r\n--bb\r\n", "b", "a", "b\r\n"},
    {"needsNoWholeLineAtTheStart", "--bb\r\n", "b", "", "b\r\n"},
    {"endsAtTheFirstDelimiter", "a\r\n--b\r\n--b\r\n", "b", "a", "\r\n--b\r\n"},
    {"findsNoDelimiterWithinALine", "a--b\r\n", "b", "a--b\r\n", ""},
    {"findsNoDelimiterBehindABareReturn", "a\r--b\r\n", "b", "a\r--b\r\n", ""},
    {"findsNoDelimiterOfOtherCase", "a\r\n--B\r\n", "b", "a\r\n--B\r\n", ""},
    {"findsNoDelimiterBehindABlank", "a\r\n --b", "b", "a\r\n --b", ""},
    {"restartsAtTheReturnThatBrokeAMatch", "a\r\r\n--b", "b", "a\r", ""},
    {"restartsAtTheLineFeedThatBrokeAMatch", "a\r\n\n--b", "b", "a\r\n", ""},
    {"restartsBehindTheFirstHyphens", "--\r\n--b", "b", "--", ""},
    {"restartsBehindABareLineFeed", "a\n\r\n--b", "b", "a\n", ""},
    {"keepsAnEmptyLineBeforeTheDelimiter", "a\r\n\r\n--b", "b", "a\r\n", ""},
    {"handsOutAReturnAtTheEnd", "a\r", "b", "a\r", ""},
    {"handsOutALineFeedAtTheEnd", "a\n", "b", "a\n", ""},
    {"handsOutHyphensAtTheStart", "--", "b", "--", ""},
    {"yieldsNothingOfNothing", "", "b", "", ""},
    {"takesTheReturnOfALineEndAtTheStart", "\r\n--b", "b", "\r", ""},
    {"missesADelimiterBehindALineFeedAtTheStart", "\n--b", "b", "\n--b", ""},
    {"findsTheNextBehindALineFeedAtTheStart", "\n--b\n--b", "b", "\n--b", ""},
    {"knowsLongBoundaries", "a\r\n--=_b1\r\n--=_b2\r\n", "=_b2", "a\r\n--=_b1", "\r\n"},
    {"knowsBoundariesThatBeginWithHyphens", "a\r\n--b\r\n---b", "-b", "a\r\n--b", ""},
    {"takesTwoHyphensForAnEmptyBoundary", "a\r\n--b", "", "a", "b"},
    {"takesTwoHyphensAtTheStartForAnEmptyBoundary", "--", "", "", ""},
    {"missesOneHyphenForAnEmptyBoundary", "a\r\n-", "", "a\r\n-", ""},
    {"findsABoundaryWithALineEnd", "a\r\n--b\r\nc!", "b\r\nc", "a", "!"},
    {"handsOutALineEndWithinTheBoundary", "a\r\n--b\r\nd", "b\r\nc", "a\r\n--b\r\nd", ""},
    {"takesNoBareLineFeedForOneWithinTheBoundary", "a\n--b\nc", "b\r\nc", "a\n--b\nc", ""},
    {"findsABoundaryWithALineFeedAlone", "a\n--b\nc", "b\nc", "a", ""},
    {"findsABoundaryWithAReturnAlone", "a\n--b\rc", "b\rc", "a", ""},
    {"searchesForNoOverlap", "a\r\n--\r\n--\r\n--x", "\r\n--x", "a\r\n--\r\n--\r\n--x", ""},
    {"comparesOctetsUnsigned", "a\r\n--\xFF.", "\xFF", "a", "."},
    {"takesNoEndForAnOctetOf255", "a\r\n--", "\xFF", "a\r\n--", ""},
    {"takesNoEndForASecondOctetOf255", "a\r\n--\xFF", "\xFF\xFF", "a\r\n--\xFF", ""},
    {"handsOutOctetsOf255", "\xFF\r\n--\xFF\xFE", "\xFF\xFF", "\xFF\r\n--\xFF\xFE", ""},
    {"findsABoundaryWithANul", "a\r\n--\0b."s, "\0b"s, "a", "."},
    {"passesNulOn", "a\0\r\n--b"s, "b", "a\0"s, ""},
};

class MultipartBoundary : public testing::TestWithParam<BoundaryRow> {};

TEST_P(MultipartBoundary, Takes) {
    WatchedSource source(GetParam().input);
    multipartboundarybuf filter(&source, GetParam().boundary);
    EXPECT_EQ(readBlocks(filter, 0), GetParam().expected);
    EXPECT_EQ(source.rest(), GetParam().rest);
    EXPECT_EQ(source.takesAtTheEnd(), 0);
}

TEST_P(MultipartBoundary, EverySplitOfSourceAndRead) {
    for (const std::size_t block : blockSizes)
        for (const std::size_t piece : {1U, 2U, 3U, 16U, 1024U}) {
            PiecewiseSource source(GetParam().input, piece);
            multipartboundarybuf filter(&source, GetParam().boundary);
            EXPECT_EQ(readBlocks(filter, block), GetParam().expected) << block << ' ' << piece;
            EXPECT_EQ(source.rest(), GetParam().rest) << block << ' ' << piece;
        }
}

TEST_P(MultipartBoundary, EndIsForGood) {
    WatchedSource source(GetParam().input);
    multipartboundarybuf filter(&source, GetParam().boundary);
    readBlocks(filter, 0);
    for (int round = 0; round < 3; ++round) {
        char octet = 0;
        EXPECT_EQ(filter.sgetc(), endOfFile);
        EXPECT_EQ(filter.sbumpc(), endOfFile);
        EXPECT_EQ(filter.sgetn(&octet, 1), 0);
    }
    EXPECT_EQ(source.rest(), GetParam().rest);
    EXPECT_EQ(source.takesAtTheEnd(), 0);
}

INSTANTIATE_TEST_SUITE_P(Table, MultipartBoundary, testing::ValuesIn(boundaryRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(MultipartBoundaryPeek, TakesNothingOfPlainData) {
    WatchedSource source("ab");
    multipartboundarybuf filter(&source, "b");
    for (const char expected : "ab"s) {
        EXPECT_EQ(filter.sgetc(), asInt(expected));
        EXPECT_EQ(filter.sgetc(), asInt(expected));
        EXPECT_EQ(filter.sbumpc(), asInt(expected));
    }
    EXPECT_EQ(filter.sgetc(), endOfFile);
    EXPECT_EQ(source.takesAtTheEnd(), 0);
}

TEST(MultipartBoundaryPeek, TakesWhatMatchesFromTheSource) {
    WatchedSource source("a\r\n-x");
    multipartboundarybuf filter(&source, "b");
    EXPECT_EQ(filter.sbumpc(), asInt('a'));
    EXPECT_EQ(filter.sgetc(), asInt('\r'));
    EXPECT_EQ(source.rest(), "x");
    EXPECT_EQ(filter.sgetc(), asInt('\r'));
    EXPECT_EQ(readBlocks(filter, 0), "\r\n-x");
}

TEST(MultipartBoundaryPeek, TakesADelimiter) {
    WatchedSource source("a\r\n--b\r\n");
    multipartboundarybuf filter(&source, "b");
    EXPECT_EQ(filter.sbumpc(), asInt('a'));
    EXPECT_EQ(filter.sgetc(), endOfFile);
    EXPECT_EQ(source.rest(), "\r\n");
    EXPECT_EQ(filter.sbumpc(), endOfFile);
    EXPECT_EQ(source.rest(), "\r\n");
}

TEST(MultipartBoundaryPeek, TakesADelimiterAtTheVeryStart) {
    WatchedSource source("--b\r\n");
    multipartboundarybuf filter(&source, "b");
    EXPECT_EQ(filter.sgetc(), endOfFile);
    EXPECT_EQ(source.rest(), "\r\n");
}

TEST(MultipartBoundaryPeek, AtALineFeedAtTheStartMakesItBelongToTheDelimiter) {
    WatchedSource source("\n--b\n");
    multipartboundarybuf filter(&source, "b");
    EXPECT_EQ(filter.sgetc(), asInt('\n'));
    EXPECT_EQ(source.rest(), "\n--b\n");
    EXPECT_EQ(filter.sbumpc(), endOfFile);
    EXPECT_EQ(source.rest(), "\n");
}

TEST(MultipartBoundaryPeek, AtALineEndAtTheStartMakesItBelongToTheDelimiter) {
    WatchedSource source("\r\n--b\n");
    multipartboundarybuf filter(&source, "b");
    EXPECT_EQ(filter.sgetc(), asInt('\r'));
    EXPECT_EQ(source.rest(), "\r\n--b\n");
    EXPECT_EQ(filter.sbumpc(), endOfFile);
    EXPECT_EQ(source.rest(), "\n");
}

TEST(MultipartBoundaryPeek, AtTheStartHidesNoDelimiterBehindData) {
    WatchedSource source("a\n--b");
    multipartboundarybuf filter(&source, "b");
    EXPECT_EQ(filter.sgetc(), asInt('a'));
    EXPECT_EQ(readBlocks(filter, 0), "a");
}

TEST(MultipartBoundaryPeek, AtAnEmptySourceTakesNothing) {
    WatchedSource source("");
    multipartboundarybuf filter(&source, "b");
    EXPECT_EQ(filter.sgetc(), endOfFile);
    EXPECT_EQ(filter.sgetc(), endOfFile);
    EXPECT_EQ(source.takesAtTheEnd(), 0);
}

TEST(MultipartBoundarySource, PauseWithinADelimiterBreaksIt) {
    PausingSource source("a\r\n|--b");
    multipartboundarybuf filter(&source, "b");
    EXPECT_EQ(readBlocks(filter, 0), "a\r\n--b");
}

TEST(MultipartBoundarySource, PauseBeforeADelimiterIsTheEndForOneRead) {
    PausingSource source("a|b\r\n--b");
    multipartboundarybuf filter(&source, "b");
    EXPECT_EQ(readBlocks(filter, 0), "a");
    EXPECT_EQ(readBlocks(filter, 0), "b");
}

TEST(MultipartBoundarySource, PauseAtTheVeryStartHidesADelimiter) {
    PausingSource source("|--b");
    multipartboundarybuf filter(&source, "b");
    EXPECT_EQ(filter.sbumpc(), endOfFile);
    EXPECT_EQ(readBlocks(filter, 0), "--b");
}

TEST(MultipartBoundarySource, ServesOnePartAfterTheOther) {
    WatchedSource source("--b\r\none\r\n--b\ntwo\n--b--");
    std::vector<std::string> parts;
    for (int i = 0; i < 3; ++i) {
        multipartboundarybuf filter(&source, "b");
        parts.push_back(readBlocks(filter, 0));
    }
    EXPECT_EQ(parts, (std::vector<std::string>{"", "\r\none", "\ntwo"}));
    EXPECT_EQ(source.rest(), "--");
}

TEST(MultipartBoundarySource, IsReadByLines) {
    WatchedSource source("one\r\ntwo\r\n\r\n--b\r\n");
    multipartboundarybuf filter(&source, "b");
    std::istream in(&filter);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    EXPECT_EQ(lines, (std::vector<std::string>{"one\r", "two\r"}));
    EXPECT_EQ(source.rest(), "\r\n");
}

TEST(MultipartBoundarySource, OfADifferentLocaleIsLeftAlone) {
    Target source;
    multipartboundarybuf filter(&source, "b");
    filter.pubimbue(std::locale::classic());
    EXPECT_EQ(source.imbues(), 0);
}

TEST(MultipartBoundarySource, IsNotWrittenTo) {
    Target source;
    multipartboundarybuf filter(&source, "b");
    EXPECT_EQ(filter.sputc('x'), endOfFile);
    EXPECT_EQ(filter.sputn("xy", 2), 0);
    EXPECT_EQ(source.offers(), 0U);
}

TEST(MultipartBoundarySource, LosesWhatMatchedWhenTheReaderGoes) {
    WatchedSource source("a\r\n-x");
    {
        multipartboundarybuf filter(&source, "b");
        EXPECT_EQ(filter.sbumpc(), asInt('a'));
        EXPECT_EQ(filter.sbumpc(), asInt('\r'));
    }
    EXPECT_EQ(source.rest(), "x");
}

TEST(MultipartBoundarySource, OfMebioctetsFullOfPartialDelimitersIsReadInLinearTime) {
    const std::string data = repeated("\r\n--boundar\r\n-\n--bound\r\r\n", 200'000);
    PiecewiseSource source(data + "\r\n--boundary", 4096);
    multipartboundarybuf filter(&source, "boundary");
    EXPECT_TRUE(readBlocks(filter, 1024) == data);
    EXPECT_EQ(source.rest(), "");
}

TEST(MultipartBoundaryModel, AllShortTextsTakenYieldTheirData) {
    std::size_t count = 0;
    for (std::size_t length = 0; length <= 7; ++length)
        for (const std::string& text : textsOf(length)) {
            WatchedSource source(text);
            multipartboundarybuf filter(&source, "b");
            ASSERT_EQ(readBlocks(filter, 0), dataOf(text, "b")) << testing::PrintToString(text);
            ++count;
        }
    EXPECT_EQ(count, 97'656U);
}

class MultipartBoundaryTexts : public testing::TestWithParam<std::size_t> {};

TEST_P(MultipartBoundaryTexts, AgreeWithThePlainReaderInAllReads) {
    const std::size_t steps = GetParam() + 2;
    for (const std::string& text : textsOf(GetParam()))
        for (unsigned takes = 0; takes < 1U << steps; ++takes)
            ASSERT_EQ(difference(text, "b", takes, steps, steps), "");
}

INSTANTIATE_TEST_SUITE_P(Length, MultipartBoundaryTexts,
                         testing::Range(std::size_t{0}, std::size_t{6}));

TEST(MultipartBoundaryModel, LongerTextsAgreeInReadsThatRepeat) {
    constexpr std::size_t period = 4;
    for (const std::size_t length : {6U, 7U})
        for (const std::string& text : textsOf(length))
            for (unsigned takes = 0; takes < 1U << period; ++takes)
                ASSERT_EQ(difference(text, "b", takes, period, 18), "");
}

TEST(MultipartBoundaryModel, RandomTextsAndReadsAgreeForManyBoundaries) {
    const std::string boundaries[] = {"",     "b",        "bb",   "-b",   "\r\n", "\n--b",
                                      "\xFF", "\xFF\xFE", "b\0"s, "b\rb", "--"};
    std::mt19937 random(54);
    for (const std::string& boundary : boundaries)
        for (int round = 0; round < 3000; ++round) {
            const std::string piece = "\r\n--" + boundary;
            std::string text = randomText(random, piece + "\r\n-x", random() % 20);
            text += piece.substr(0, random() % (piece.size() + 1));
            text += randomText(random, piece, random() % 8);
            ASSERT_EQ(difference(text, boundary, static_cast<unsigned>(random()), 31, 60), "");
        }
}

}  // namespace
