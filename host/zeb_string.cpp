// SPDX-License-Identifier: Apache-2.0
#include "host/zeb_string.h"

#include <algorithm>
#include <climits>
#include <ostream>
#include <string_view>

#include "host/exceptions.h"

namespace {

using Units = std::basic_string<unsigned short>;
using UnitsView = std::basic_string_view<unsigned short>;

constexpr std::size_t longest = INT_MAX;

std::size_t checkedLength(std::size_t length) {
    if (length > longest) throw Zeb_Range_Error("text longer than an int can count");
    return length;
}

void appendUnits(Units& units, const unsigned short* text, std::size_t count) {
    checkedLength(units.size() + checkedLength(count));
    units.append(text, count);
}

void appendUnits(Units& units, const char16_t* text, std::size_t count) {
    const std::size_t before = units.size();
    units.resize(checkedLength(before + checkedLength(count)));
    std::copy_n(text, count, units.begin() + static_cast<std::ptrdiff_t>(before));
}

template <typename Unit>
std::size_t lengthOf(const Unit* text) {
    return text ? std::char_traits<Unit>::length(text) : 0;
}

template <typename Unit>
bool equals(UnitsView a, const Unit* b) {
    return std::equal(a.begin(), a.end(), b, b + lengthOf(b));
}

unsigned short foldCase(unsigned short unit) {
    const bool isUpper = unit >= 'A' && unit <= 'Z';
    return static_cast<unsigned short>(isUpper ? unit + ('a' - 'A') : unit);
}

/// How often `wanted`, which is not empty, stands in `text`, counted from the left.
std::size_t occurrences(const Units& text, const Units& wanted) {
    std::size_t count = 0;
    for (std::size_t found = text.find(wanted); found != Units::npos;
         found = text.find(wanted, found + wanted.size()))
        ++count;
    return count;
}

/// `value` cut to the range 0 to `limit`.
std::size_t clamp(long value, std::size_t limit) {
    return value < 0 ? 0 : std::min(static_cast<std::size_t>(value), limit);
}

}  // namespace

unsigned short Zeb_Char_Buffer::operator[](int index) const {
    if (index < 0 || index >= GetLength()) throw Zeb_Range_Error("text index out of range");
    return units_[static_cast<std::size_t>(index)];
}

bool operator==(const Zeb_Char_Buffer& a, const unsigned short* b) { return equals(a.units_, b); }

bool operator==(const Zeb_Char_Buffer& a, const char16_t* b) { return equals(a.units_, b); }

Zeb_String::Zeb_String(const unsigned short* text) { Append(text); }

Zeb_String::Zeb_String(const char16_t* text) { Append(text); }

Zeb_String::Zeb_String(unsigned short unit, int count) {
    units_.assign(clamp(count, longest), unit);
}

Zeb_String Zeb_String::FromUnits(const unsigned short* units, std::size_t count) {
    Zeb_String text;
    if (count > 0) text.units_ = Units(units, checkedLength(count));  // has no room left over
    return text;
}

Zeb_String Zeb_String::FromUnits(const char16_t* units, std::size_t count) {
    Zeb_String text;
    appendUnits(text.units_, units, count);
    return text;
}

Zeb_String& Zeb_String::operator=(const unsigned short* text) { return *this = Zeb_String(text); }

Zeb_String& Zeb_String::operator=(const char16_t* text) { return *this = Zeb_String(text); }

Zeb_String& Zeb_String::Append(const Zeb_String& text) {
    appendUnits(units_, text.units_.data(), text.units_.size());
    return *this;
}

Zeb_String& Zeb_String::Append(const unsigned short* text) {
    if (text) appendUnits(units_, text, lengthOf(text));
    return *this;
}

Zeb_String& Zeb_String::Append(const char16_t* text) {
    if (text) appendUnits(units_, text, lengthOf(text));
    return *this;
}

int Zeb_String::Find(const Zeb_String& text, int start) const {
    const std::size_t found =
        units_.find(text.units_, start < 0 ? 0 : static_cast<std::size_t>(start));
    return found == Units::npos ? -1 : static_cast<int>(found);
}

int Zeb_String::ReverseFind(unsigned short unit) const {
    const std::size_t found = units_.rfind(unit);
    return found == Units::npos ? -1 : static_cast<int>(found);
}

Zeb_String Zeb_String::Mid(int start, int count) const {
    const std::size_t first = clamp(start, units_.size());
    return FromUnits(units_.data() + first, clamp(count, units_.size() - first));
}

Zeb_String Zeb_String::Left(int count) const { return Mid(0, count); }

void Zeb_String::Delete(long start, long count) {
    const std::size_t first = clamp(start, units_.size());
    units_.erase(first, clamp(count, units_.size() - first));
}

void Zeb_String::Replace(const Zeb_String& oldText, const Zeb_String& newText) {
    if (oldText.IsEmpty()) return;
    const Units& from = oldText.units_;
    const Units& to = newText.units_;
    const std::size_t count = occurrences(units_, from);
    // Known in advance, so that a result too long takes no memory.
    Units result;
    result.reserve(checkedLength(units_.size() - count * from.size() + count * to.size()));
    std::size_t done = 0;
    for (std::size_t left = count; left > 0; --left) {
        const std::size_t found = units_.find(from, done);
        result.append(units_, done, found - done).append(to);
        done = found + from.size();
    }
    result.append(units_, done);
    units_.swap(result);
}

void Zeb_String::Make_Empty() { units_.clear(); }

int Zeb_String::CompareNoCase(const Zeb_String& text) const {
    const std::size_t common = std::min(units_.size(), text.units_.size());
    for (std::size_t i = 0; i < common; ++i) {
        if (units_[i] == text.units_[i]) continue;
        const int difference = foldCase(units_[i]) - foldCase(text.units_[i]);
        if (difference != 0) return difference;
    }
    return GetLength() - text.GetLength();
}

Zeb_String operator+(const Zeb_String& a, const Zeb_String& b) {
    Zeb_String sum = a;
    return sum.Append(b);
}

std::basic_ostream<unsigned short>& operator<<(std::basic_ostream<unsigned short>& out,
                                               const Zeb_String& text) {
    return out.write(text.GetBuffer(), text.GetLength());
}
