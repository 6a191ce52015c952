// SPDX-License-Identifier: Apache-2.0
#include "host/tcstoul.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <string>

#include "tests/unit/host/units.h"

namespace {

struct Outcome {
    unsigned long value;
    long stop;
    int error;
    bool operator==(const Outcome&) const = default;
};

[[maybe_unused]] void PrintTo(const Outcome& outcome, std::ostream* out) {
    *out << outcome.value << " up to " << outcome.stop << ", errno " << outcome.error;
}

Outcome narrow(const std::string& text, int base) {
    char* end = nullptr;
    errno = 0;
    const unsigned long value = std::strtoul(text.c_str(), &end, base);
    return {value, end - text.c_str(), errno};
}

template <typename Unit>
Outcome wideNumber(const Unit* text, int base) {
    Unit* end = nullptr;
    errno = 0;
    const unsigned long value = _tcstoul(text, &end, base);
    return {value, end - text, errno};
}

const char* const numbers[] = {
    "0",
    "1",
    "42",
    "007",
    "4294967295",
    "4294967296",
    "18446744073709551615",
    "18446744073709551616",
    "99999999999999999999999",
    "-1",
    "-0",
    "-18446744073709551615",
    "-18446744073709551616",
    "+5",
    "+-5",
    "--5",
    "- 5",
    "",
    " ",
    "+",
    "-",
    "x",
    "abc",
    "12abc",
    "12 34",
    " \t\n\v\f\r12",
    "\b12",
    "0x",
    "0xg",
    "0x1F",
    "0X1f",
    "-0x10",
    "0x0x1",
    "08",
    "0778",
    "zz",
    "ZZ",
    "Az09",
    "0b11",
    "1e3",
    "1.5",
    "1,5",
    "0xffffffffffffffff",
    "0x10000000000000000",
    "1777777777777777777777",
    "2000000000000000000000",
    "x1",
    "0 x1",
};

TEST(Tcstoul, ReadsAsTheCLibraryDoes) {
    int compared = 0;
    for (const int base : {0, 2, 3, 8, 10, 11, 16, 35, 36}) {
        for (const char* text : numbers) {
            std::u16string literal(text, text + std::string(text).size());
            const Outcome expected = narrow(text, base);
            EXPECT_EQ(wideNumber(literal.c_str(), base), expected) << text << ", base " << base;
            EXPECT_EQ(wideNumber(units(literal).GetBuffer(), base), expected)
                << text << ", base " << base;
            ++compared;
        }
    }
    EXPECT_GT(compared, 400);
}

// A unit whose low octet is a digit or a blank is neither.
TEST(Tcstoul, OnlyAsciiCounts) {
    const std::pair<const char16_t*, long> rows[] = {
        {u"\x0131", 0},
        {u"\x0120"
         u"1",
         0},
        {u"\x012B"
         u"1",
         0},
        {u"1\x0132", 1},
        {u"\u0661", 0},
        {u"\uFF11", 0},
        {u"0\x0178"
         u"1",
         1},
        {u"1\xD835\xDFCF", 1},
    };
    for (const auto& [text, stop] : rows)
        EXPECT_EQ(wideNumber(text, 16).stop, stop) << Printable(text);
}

TEST(Tcstoul, EndIsNotNeeded) {
    EXPECT_EQ(25ul, _tcstoul(u"25 dogs", nullptr, 10));
    EXPECT_EQ(25ul, _tcstoul(Zeb_String(u"25").GetBuffer(), nullptr, 10));
}

TEST(Tcstoul, ABaseThatIsNoneGivesZero) {
    for (const int base : {1, 37, -1, INT_MIN, INT_MAX}) {
        errno = 0;
        EXPECT_EQ(0ul, _tcstoul(u"1", nullptr, base)) << base;
        EXPECT_EQ(EINVAL, errno) << base;
    }
}

TEST(Tcstoul, LeavesErrnoAloneOnSuccess) {
    errno = EBADF;
    EXPECT_EQ(7ul, _tcstoul(u"7", nullptr, 10));
    EXPECT_EQ(EBADF, errno);
}

// "Out of range" must not be seen by wrapping around: some multiples come out larger again.
TEST(Tcstoul, EveryNumberOfTwentyDigitsAndMoreIsJudgedRightly) {
    for (int digit = 1; digit <= 9; ++digit) {
        for (std::size_t length = 19; length <= 25; ++length) {
            const std::string text(length, static_cast<char>('0' + digit));
            EXPECT_EQ(wideNumber(std::u16string(text.begin(), text.end()).c_str(), 10),
                      narrow(text, 10))
                << text;
        }
    }
}

}  // namespace
