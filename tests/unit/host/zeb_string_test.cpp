// SPDX-License-Identifier: Apache-2.0
#include "host/zeb_string.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <utility>
#include <vector>

#include "host/exceptions.h"
#include "tests/unit/host/units.h"

using namespace std::string_view_literals;

namespace {

constexpr const unsigned short* noText = nullptr;
constexpr const char16_t* noLiteral = nullptr;
constexpr unsigned short hiUnits[] = {'h', 'i', 0};

static_assert(!std::is_constructible_v<Zeb_String, const char*>);
static_assert(!std::is_constructible_v<Zeb_String, std::string>);
static_assert(!std::is_convertible_v<Zeb_String, std::string>);

// ---- construction and assignment

TEST(ZebString, IsEmptyAtFirst) {
    const Zeb_String text;
    EXPECT_TRUE(text.IsEmpty());
    EXPECT_EQ(0, text.GetLength());
    EXPECT_EQ(0, text.GetBuffer()[0]);
}

TEST(ZebString, IsBuiltFromWideText) {
    EXPECT_EQ(Zeb_String(hiUnits), u"hi");
    EXPECT_EQ(Zeb_String(u"hi"), hiUnits);
    EXPECT_EQ(2, Zeb_String(u"hi").GetLength());
    EXPECT_FALSE(Zeb_String(u"hi").IsEmpty());
}

TEST(ZebString, NullPointerIsEmptyText) {
    EXPECT_TRUE(Zeb_String(noText).IsEmpty());
    EXPECT_TRUE(Zeb_String(noLiteral).IsEmpty());
    Zeb_String text(u"old");
    text = noText;
    EXPECT_TRUE(text.IsEmpty());
    text = u"old";
    text = noLiteral;
    EXPECT_TRUE(text.IsEmpty());
    text.Append(noText).Append(noLiteral);
    EXPECT_TRUE(text.IsEmpty());
}

TEST(ZebString, RepeatsOneUnit) {
    EXPECT_EQ(Zeb_String(u'x', 3), u"xxx");
    EXPECT_EQ(3, Zeb_String(u'\0', 3).GetLength());
    EXPECT_TRUE(Zeb_String(u'x', 0).IsEmpty());
    EXPECT_TRUE(Zeb_String(u'x', -1).IsEmpty());
    EXPECT_TRUE(Zeb_String(u'x', INT_MIN).IsEmpty());
}

TEST(ZebString, CountedUnitsNeedNoTerminator) {
    const char16_t letters[] = {u'a', u'\0', u'b', u'c'};
    const Zeb_String text = Zeb_String::FromUnits(letters, 3);
    EXPECT_EQ(3, text.GetLength());
    EXPECT_EQ(text[0], u'a');
    EXPECT_EQ(text[1], 0);
    EXPECT_EQ(text[2], u'b');
    EXPECT_EQ(text.GetBuffer()[3], 0);
    EXPECT_EQ(Zeb_String::FromUnits(hiUnits, 1), u"h");
    EXPECT_TRUE(Zeb_String::FromUnits(noText, 0).IsEmpty());
    EXPECT_TRUE(Zeb_String::FromUnits(noLiteral, 0).IsEmpty());
}

TEST(ZebString, MoreUnitsThanAnIntCountsAreARangeError) {
    const std::size_t tooMany = static_cast<std::size_t>(INT_MAX) + 1;
    EXPECT_THROW(Zeb_String::FromUnits(hiUnits, tooMany), Zeb_Range_Error);
    EXPECT_THROW(Zeb_String::FromUnits(u"hi", tooMany), Zeb_Range_Error);
    EXPECT_THROW(Zeb_String::FromUnits(u"hi", SIZE_MAX), Zeb_Range_Error);
}

TEST(ZebString, CopiesAreIndependent) {
    Zeb_String original(u"one");
    const Zeb_String copy(original);
    Zeb_String assigned;
    assigned = original;
    original.Append(u"!");
    EXPECT_EQ(copy, u"one");
    EXPECT_EQ(assigned, u"one");
    EXPECT_EQ(original, u"one!");
}

TEST(ZebString, MovesItsContent) {
    Zeb_String source(u"a text longer than any small buffer");
    Zeb_String target(std::move(source));
    EXPECT_EQ(target, u"a text longer than any small buffer");
    Zeb_String other;
    other = std::move(target);
    EXPECT_EQ(other, u"a text longer than any small buffer");
}

TEST(ZebString, AssignmentReplacesTheContent) {
    Zeb_String text(u"old");
    text = u"new";
    EXPECT_EQ(text, u"new");
    text = hiUnits;
    EXPECT_EQ(text, u"hi");
    text = Zeb_String();
    EXPECT_TRUE(text.IsEmpty());
}

TEST(ZebString, MayBeAssignedPartOfItself) {
    Zeb_String text(u"abcdefghijklmnopqrstuvwxyz");
    const Zeb_String& same = text;
    text = same;
    EXPECT_EQ(text, u"abcdefghijklmnopqrstuvwxyz");
    text = text.GetBuffer() + 20;
    EXPECT_EQ(text, u"uvwxyz");
}

// ---- joining

TEST(ZebString, AppendTakesEveryKindOfWideText) {
    Zeb_String text(u"a");
    text.Append(Zeb_String(u"b")).Append(u"c").Append(hiUnits);
    EXPECT_EQ(text, u"abchi");
}

TEST(ZebString, AppendKeepsNuls) {
    Zeb_String text = units(u"a\0"sv);
    text.Append(units(u"\0b"sv));
    EXPECT_EQ(text, units(u"a\0\0b"sv));
}

TEST(ZebString, MayBeAppendedToItself) {
    Zeb_String text(u"a text longer than any small buffer;");
    text.Append(text);
    EXPECT_EQ(text, u"a text longer than any small buffer;a text longer than any small buffer;");
    text = u"ab";
    for (int i = 0; i < 10; ++i) text.Append(text.GetBuffer());
    EXPECT_EQ(2048, text.GetLength());
}

TEST(ZebString, PlusMakesANewText) {
    const Zeb_String a(u"a");
    const Zeb_String b(u"b");
    EXPECT_EQ(a + b, u"ab");
    EXPECT_EQ(u"x" + b, u"xb");
    EXPECT_EQ(hiUnits + b, u"hib");
    EXPECT_EQ(a + u"x", u"ax");
    EXPECT_EQ(units(u"\0"sv) + units(u"\0"sv), units(u"\0\0"sv));
    EXPECT_EQ(a, u"a");
    EXPECT_EQ(b, u"b");
}

// ---- searching

TEST(ZebString, FindGivesTheFirstOccurrenceAtOrAfterTheStart) {
    struct Row {
        std::u16string_view text;
        std::u16string_view wanted;
        int start;
        int expected;
    };
    const Row rows[] = {
        {u"hello", u"l", 0, 2},
        {u"hello", u"l", 2, 2},
        {u"hello", u"l", 3, 3},
        {u"hello", u"l", 4, -1},
        {u"hello", u"hello", 0, 0},
        {u"hello", u"hello!", 0, -1},
        {u"hello", u"L", 0, -1},
        {u"hello", u"o", 4, 4},
        {u"hello", u"o", 5, -1},
        {u"hello", u"o", 6, -1},
        {u"hello", u"o", INT_MAX, -1},
        {u"hello", u"h", -1, 0},
        {u"hello", u"h", INT_MIN, 0},
        {u"aaab", u"aab", 0, 1},
        {u"", u"a", 0, -1},
        {u"hello", u"", 0, 0},
        {u"hello", u"", 5, 5},
        {u"hello", u"", 6, -1},
        {u"a\0b\0c"sv, u"\0c"sv, 0, 3},
        {u"a\0b"sv, u"b"sv, 0, 2},
        {u"x\xD83D\xDE00", u"\xDE00", 0, 2},
        {u"\x0161", u"a", 0, -1},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(units(row.text).Find(units(row.wanted), row.start), row.expected)
            << Printable(units(row.text)) << " / " << Printable(units(row.wanted)) << " from "
            << row.start;
    }
}

TEST(ZebString, FindStartsAtTheFrontWhenNothingElseIsSaid) {
    EXPECT_EQ(0, Zeb_String(u"abab").Find(u"ab"));
    EXPECT_EQ(1, Zeb_String(u"abab").Find(u"b"));
}

TEST(ZebString, ReverseFindGivesTheLastOccurrence) {
    EXPECT_EQ(3, Zeb_String(u"abab").ReverseFind(u'b'));
    EXPECT_EQ(0, Zeb_String(u"xaaa").ReverseFind(u'x'));
    EXPECT_EQ(-1, Zeb_String(u"abab").ReverseFind(u'c'));
    EXPECT_EQ(-1, Zeb_String(u"\x0161").ReverseFind(u'a'));
    EXPECT_EQ(-1, Zeb_String().ReverseFind(u'a'));
    EXPECT_EQ(-1, Zeb_String(u"ab").ReverseFind(0));
    EXPECT_EQ(2, units(u"\0a\0b"sv).ReverseFind(0));
}

// ---- cutting

TEST(ZebString, MidCutsStartAndCountToWhatThereIs) {
    struct Row {
        int start;
        int count;
        const char16_t* expected;
    };
    const Row rows[] = {
        {0, 5, u"hello"},
        {1, 3, u"ell"},
        {4, 1, u"o"},
        {4, 9, u"o"},
        {5, 1, u""},
        {6, 1, u""},
        {0, 0, u""},
        {2, -1, u""},
        {1, INT_MAX, u"ello"},
        {INT_MAX, 1, u""},
        {INT_MAX, INT_MAX, u""},
        {INT_MIN, INT_MIN, u""},
        {-1, INT_MAX, u"hello"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(Zeb_String(u"hello").Mid(row.start, row.count), row.expected)
            << row.start << ", " << row.count;
    }
}

TEST(ZebString, LeftCutsTheCountToWhatThereIs) {
    const Zeb_String text(u"hello");
    EXPECT_EQ(text.Left(2), u"he");
    EXPECT_EQ(text.Left(5), u"hello");
    EXPECT_EQ(text.Left(6), u"hello");
    EXPECT_EQ(text.Left(INT_MAX), u"hello");
    EXPECT_EQ(text.Left(0), u"");
    EXPECT_EQ(text.Left(-1), u"");
    EXPECT_EQ(text.Left(INT_MIN), u"");
    EXPECT_EQ(units(u"a\0b"sv).Left(2), units(u"a\0"sv));
}

TEST(ZebString, DeleteCutsStartAndCountToWhatThereIs) {
    struct Row {
        long start;
        long count;
        const char16_t* expected;
    };
    const Row rows[] = {
        {0, 1, u"ello"},
        {1, 3, u"ho"},
        {4, 1, u"hell"},
        {4, 9, u"hell"},
        {5, 1, u"hello"},
        {6, 1, u"hello"},
        {0, 5, u""},
        {0, 0, u"hello"},
        {1, -1, u"hello"},
        {1, LONG_MAX, u"h"},
        {LONG_MAX, 1, u"hello"},
        {LONG_MAX, LONG_MAX, u"hello"},
        {LONG_MIN, LONG_MIN, u"hello"},
        {-1, LONG_MAX, u""},
        // A count that a narrower type would see as 0 or 1.
        {0, 0x100000000L, u""},
        {0x100000000L, 1, u"hello"},
    };
    for (const Row& row : rows) {
        Zeb_String text(u"hello");
        text.Delete(row.start, row.count);
        EXPECT_EQ(text, row.expected) << row.start << ", " << row.count;
    }
}

TEST(ZebString, MakeEmptyEmpties) {
    Zeb_String text(u"hello");
    text.Make_Empty();
    EXPECT_TRUE(text.IsEmpty());
    EXPECT_EQ(0, text.GetBuffer()[0]);
    text.Make_Empty();
    EXPECT_TRUE(text.IsEmpty());
}

// ---- replacing

TEST(ZebString, ReplaceTakesEveryOccurrenceFromTheLeft) {
    struct Row {
        std::u16string_view text;
        std::u16string_view oldText;
        std::u16string_view newText;
        std::u16string_view expected;
    };
    const Row rows[] = {
        {u"a-b-c", u"-", u"+", u"a+b+c"},
        {u"a\nb\n", u"\n", u"\r\n", u"a\r\nb\r\n"},
        {u"a\r\nb\r\n", u"\r\n", u"\n", u"a\nb\n"},
        {u"a-b-c", u"-", u"", u"abc"},
        {u"---", u"-", u"", u""},
        {u"aaa", u"aa", u"b", u"ba"},
        {u"aaa", u"a", u"aa", u"aaaaaa"},
        {u"abab", u"ab", u"ba", u"baba"},
        {u"aab", u"ab", u"b", u"ab"},
        {u"abc", u"x", u"y", u"abc"},
        {u"abc", u"", u"y", u"abc"},
        {u"", u"a", u"b", u""},
        {u"abc", u"abc", u"x", u"x"},
        {u"abc", u"abcd", u"x", u"abc"},
        {u"a\0b\0"sv, u"\0"sv, u"--", u"a--b--"},
        {u"a--b", u"--", u"\0"sv, u"a\0b"sv},
        {u"ABC", u"b", u"x", u"ABC"},
    };
    for (const Row& row : rows) {
        Zeb_String text = units(row.text);
        text.Replace(units(row.oldText), units(row.newText));
        EXPECT_EQ(text, units(row.expected))
            << Printable(units(row.text)) << " / " << Printable(units(row.oldText)) << " / "
            << Printable(units(row.newText));
    }
}

TEST(ZebString, ReplaceMayBeGivenTheTextItself) {
    Zeb_String text(u"abcabc");
    text.Replace(text, u"x");
    EXPECT_EQ(text, u"x");
    text = u"a-a";
    text.Replace(u"-", text);
    EXPECT_EQ(text, u"aa-aa");
}

// Moving the rest of the text for each occurrence would take minutes.
TEST(ZebString, ReplaceTakesTimeInProportionToTheText) {
    constexpr int lines = 1 << 20;
    Zeb_String text(u'\n', lines);
    text.Replace(u"\n", u"\r\n");
    EXPECT_EQ(2 * lines, text.GetLength());
    text.Replace(u"\r\n", u"\n");
    EXPECT_EQ(text, Zeb_String(u'\n', lines));
}

// The length is known in advance: gigabytes of text are not built to be thrown away.
TEST(ZebString, ReplaceWithAResultTooLongIsARangeError) {
    Zeb_String text(u'a', 1 << 16);
    EXPECT_THROW(text.Replace(u"a", Zeb_String(u'b', 1 << 15)), Zeb_Range_Error);
    EXPECT_EQ(text, Zeb_String(u'a', 1 << 16));
}

// ---- comparing

TEST(ZebString, CompareNoCaseFoldsAsciiLettersOnly) {
    struct Row {
        std::u16string_view a;
        std::u16string_view b;
        int sign;
    };
    const Row rows[] = {
        {u"", u"", 0},
        {u"Content-Type", u"cONTENT-tYPE", 0},
        {u"abcxyz", u"ABCXYZ", 0},
        {u"a", u"B", -1},
        {u"A", u"b", -1},
        {u"b", u"A", 1},
        {u"", u"a", -1},
        {u"a", u"ab", -1},
        {u"AB", u"a", 1},
        {u"a", u"a\0"sv, -1},
        {u"a\0b"sv, u"A\0B"sv, 0},
        {u"a\0b"sv, u"a\0c"sv, -1},
        {u"@", u"`", -1},
        {u"[", u"{", -1},
        {u"\u00E9", u"\u00C9", 1},
        {u"\u212A", u"k", 1},
        {u"\u0131", u"I", 1},
        {u"\x7FFF", u"\x8000", -1},
        {u"\xD83D\xDE00", u"\xFFFF", -1},
        {u"a\x0141", u"aA", 1},
    };
    for (const Row& row : rows) {
        const auto sign = [](int value) { return (value > 0) - (value < 0); };
        const Zeb_String a = units(row.a);
        const Zeb_String b = units(row.b);
        EXPECT_EQ(sign(a.CompareNoCase(b)), row.sign) << Printable(a) << " / " << Printable(b);
        EXPECT_EQ(sign(b.CompareNoCase(a)), -row.sign) << Printable(b) << " / " << Printable(a);
    }
}

TEST(ZebString, CompareNoCaseTakesWideText) {
    EXPECT_EQ(0, Zeb_String(u"HI").CompareNoCase(hiUnits));
    EXPECT_EQ(0, Zeb_String(u"HI").CompareNoCase(u"hi"));
}

// Maps are ordered by it; the signs between the letters' two ranges must not break the order.
TEST(ZebString, CompareNoCaseIsAnOrder) {
    const std::vector<Zeb_String> texts = {u"A", u"a", u"Z", u"z",  u"[",  u"_", u"^",
                                           u"@", u"`", u"{", u"Az", u"aZ", u"",  u"\u00C9"};
    int triples = 0;
    for (const Zeb_String& a : texts) {
        for (const Zeb_String& b : texts) {
            for (const Zeb_String& c : texts) {
                if (a.CompareNoCase(b) > 0 || b.CompareNoCase(c) > 0) continue;
                EXPECT_LE(a.CompareNoCase(c), 0)
                    << Printable(a) << ' ' << Printable(b) << ' ' << Printable(c);
                ++triples;
            }
        }
    }
    EXPECT_GT(triples, 400);
}

TEST(ZebString, EqualityIsExact) {
    EXPECT_TRUE(Zeb_String(u"hi") == hiUnits);
    EXPECT_TRUE(u"hi" == Zeb_String(u"hi"));
    EXPECT_TRUE(Zeb_String(u"hi") == Zeb_String(u"hi"));
    EXPECT_FALSE(Zeb_String(u"Hi") == hiUnits);
    EXPECT_FALSE(Zeb_String(u"h") == hiUnits);
    EXPECT_FALSE(Zeb_String(u"hi!") == hiUnits);
    EXPECT_TRUE(Zeb_String(u"hi") != u"ho");
    EXPECT_TRUE(Zeb_String() == noText);
    EXPECT_TRUE(Zeb_String() == noLiteral);
    EXPECT_FALSE(Zeb_String(u"a") == noText);
}

TEST(ZebString, TextBehindANulCountsInComparisons) {
    EXPECT_FALSE(units(u"hi\0"sv) == hiUnits);
    EXPECT_FALSE(units(u"hi\0x"sv) == u"hi");
    EXPECT_FALSE(units(u"hi\0x"sv) == units(u"hi\0y"sv));
    EXPECT_TRUE(units(u"hi\0x"sv) == units(u"hi\0x"sv));
}

TEST(ZebString, IndexOutsideTheTextIsARangeError) {
    const Zeb_String text(u"ab");
    EXPECT_EQ(u'a', text[0]);
    EXPECT_EQ(u'b', text[1]);
    for (const int index : {-1, 2, 3, INT_MIN, INT_MAX})
        EXPECT_THROW(text[index], Zeb_Range_Error) << index;
    EXPECT_THROW(Zeb_String()[0], Zeb_Range_Error);
}

}  // namespace
