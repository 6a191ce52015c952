// SPDX-License-Identifier: Apache-2.0
#include "host/cstringarray.h"

#include <gtest/gtest.h>

#include <climits>
#include <utility>

#include "host/exceptions.h"
#include "tests/unit/host/units.h"

using namespace std::string_view_literals;

namespace {

static_assert(std::is_base_of_v<Sov_String_Array, CStringArray>);

CStringArray letters() {
    CStringArray array(10, 1);
    array.Add(u"a");
    array.Add(u"b");
    return array;
}

TEST(CStringArray, IsEmptyAtFirst) {
    EXPECT_EQ(0, CStringArray().GetSize());
    EXPECT_EQ(0, CStringArray(10, 1).GetSize());
    EXPECT_EQ(0, CStringArray(0, 0).GetSize());
}

TEST(CStringArray, SizesThatMakeNoSenseAreHarmless) {
    for (const int size : {-1, INT_MIN}) {
        CStringArray array(size, size);
        EXPECT_EQ(0, array.Add(u"a")) << size;
        EXPECT_EQ(array[0], u"a") << size;
    }
}

TEST(CStringArray, AddAppendsACopyAndGivesItsIndex) {
    CStringArray array(1, 1);
    Zeb_String text(u"one");
    EXPECT_EQ(0, array.Add(text));
    text.Append(u"!");
    EXPECT_EQ(1, array.Add(text));
    EXPECT_EQ(2, array.Add(u""));
    EXPECT_EQ(3, array.Add(units(u"a\0b"sv)));
    ASSERT_EQ(4, array.GetSize());
    EXPECT_EQ(array[0], u"one");
    EXPECT_EQ(array[1], u"one!");
    EXPECT_EQ(array.GetAt(2), u"");
    EXPECT_EQ(array.GetAt(3), units(u"a\0b"sv));
}

TEST(CStringArray, MayBeGivenAnElementOfItsOwn) {
    CStringArray array(1, 1);
    array.Add(u"a text longer than any small buffer");
    for (int i = 0; i < 100; ++i) array.Add(array[i]);
    EXPECT_EQ(array[100], u"a text longer than any small buffer");
}

TEST(CStringArray, IndexOutsideIsARangeError) {
    const CStringArray array = letters();
    for (const int index : {-1, 2, INT_MIN, INT_MAX}) {
        EXPECT_THROW(array[index], Zeb_Range_Error) << index;
        EXPECT_THROW(array.GetAt(index), Zeb_Range_Error) << index;
    }
    EXPECT_THROW(CStringArray(10, 1).GetAt(0), Zeb_Range_Error);
}

TEST(CStringArray, MakeEmptyEmpties) {
    CStringArray array = letters();
    array.Make_Empty();
    EXPECT_EQ(0, array.GetSize());
    EXPECT_THROW(array[0], Zeb_Range_Error);
    EXPECT_EQ(0, array.Add(u"new"));
    EXPECT_EQ(array[0], u"new");
}

TEST(CStringArray, CopiesAreIndependent) {
    CStringArray original = letters();
    const CStringArray copy(original);
    CStringArray assigned;
    assigned = original;
    original.Add(u"c");
    EXPECT_EQ(2, copy.GetSize());
    EXPECT_EQ(2, assigned.GetSize());
    EXPECT_EQ(copy[1], u"b");
    const CStringArray moved(std::move(original));
    EXPECT_EQ(3, moved.GetSize());
}

// Growing by one element at a time would take minutes.
TEST(CStringArray, AddingTakesTheSameTimeAtAnySize) {
    constexpr int count = 1000000;
    CStringArray array(10, 1);
    for (int i = 0; i < count; ++i) array.Add(u"someone@example.org");
    EXPECT_EQ(count, array.GetSize());
    EXPECT_EQ(array[count - 1], u"someone@example.org");
}

}  // namespace
