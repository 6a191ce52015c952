// SPDX-License-Identifier: Apache-2.0
// What the headers offer to streams. That each of them compiles alone is seen by the build.
#include <gtest/gtest.h>

#include <ostream>
#include <stdexcept>
#include <streambuf>
#include <string>

#include "host/host.h"
#include "tests/unit/host/units.h"

using namespace std::string_view_literals;

namespace {

using WideStream = std::basic_ostream<unsigned short>;

/// Keeps up to `room` units and refuses the rest.
class KeepingBuffer : public std::basic_streambuf<unsigned short> {
  public:
    explicit KeepingBuffer(std::size_t room = SIZE_MAX) : room_(room) {}
    std::basic_string<unsigned short> units;

  protected:
    int_type overflow(int_type unit) override {
        if (units.size() >= room_) return traits_type::eof();
        units.push_back(traits_type::to_char_type(unit));
        return unit;
    }

  private:
    std::size_t room_;
};

class ThrowingBuffer : public std::basic_streambuf<unsigned short> {
  protected:
    int_type overflow(int_type) override { throw std::runtime_error("no room"); }
};

Zeb_String kept(const KeepingBuffer& buffer) {
    return Zeb_String::FromUnits(buffer.units.data(), buffer.units.size());
}

TEST(WideStreamOutput, WritesEveryUnitWithoutAnyLocaleFacet) {
    KeepingBuffer buffer;
    WideStream out(&buffer);
    const Zeb_String text = units(u"caf\u00E9\0\xD800\r\n\u20AC"sv);
    out << text << Zeb_String() << Zeb_String(u"more");
    EXPECT_TRUE(out.good());
    EXPECT_EQ(kept(buffer), text + u"more");
}

TEST(WideStreamOutput, IsALeftOperandAgain) {
    KeepingBuffer buffer;
    WideStream out(&buffer);
    EXPECT_EQ(&out, &(out << Zeb_String(u"a")));
}

TEST(WideStreamOutput, ABufferWithoutRoomSetsTheBadBit) {
    KeepingBuffer buffer(2);
    WideStream out(&buffer);
    out << Zeb_String(u"abc");
    EXPECT_TRUE(out.bad());
    EXPECT_EQ(kept(buffer), u"ab");
}

TEST(WideStreamOutput, ABufferThatThrowsSetsTheBadBit) {
    ThrowingBuffer buffer;
    WideStream out(&buffer);
    out << Zeb_String(u"abc");
    EXPECT_TRUE(out.bad());
}

TEST(WideStreamOutput, AFailedStreamWritesNothing) {
    KeepingBuffer buffer;
    WideStream out(&buffer);
    out.setstate(std::ios_base::failbit);
    out << Zeb_String(u"abc");
    EXPECT_EQ(kept(buffer), u"");
}

TEST(WideStreamOutput, ThrowsWhereItsMaskSaysSo) {
    KeepingBuffer buffer(0);
    WideStream out(&buffer);
    out.exceptions(std::ios_base::badbit);
    EXPECT_THROW(out << Zeb_String(u"abc"), std::ios_base::failure);
}

}  // namespace
