// SPDX-License-Identifier: Apache-2.0
// Wide text: counted UTF-16 code units, one unsigned short each.
//
// Text passed as a pointer is zero-terminated; a null pointer is the empty text. `u"..."`
// literals are accepted wherever such a pointer is. A Zeb_String may hold any units, NULs and
// lone surrogates included. Lengths, counts and indices are in code units.
// One thread at a time per object. Failure: std::bad_alloc; Zeb_Range_Error where it is
// named, and for a text of more units than an int counts.
#pragma once

#include <array>
#include <iosfwd>
#include <span>
#include <string>

#include "host/api.h"
#include "host/format.h"

/// Read access to the units of a wide text, and equality.
class VTHOST_API Zeb_Char_Buffer {
  public:
    /// In code units.
    int GetLength() const { return static_cast<int>(units_.size()); }
    /// Zero-terminated. Owned by the text, valid until the text is changed or destroyed.
    const unsigned short* GetBuffer() const { return units_.c_str(); }
    /// Whether there is no unit.
    bool IsEmpty() const { return units_.empty(); }
    /// Throws Zeb_Range_Error unless 0 <= index < GetLength().
    unsigned short operator[](int index) const;

    /// Unit by unit; NULs count.
    friend bool operator==(const Zeb_Char_Buffer& a, const Zeb_Char_Buffer& b) {
        return a.units_ == b.units_;
    }
    /// `b` ends at its first NUL.
    friend VTHOST_API bool operator==(const Zeb_Char_Buffer& a, const unsigned short* b);
    /// The same for a u"..." literal.
    friend VTHOST_API bool operator==(const Zeb_Char_Buffer& a, const char16_t* b);

  protected:
    friend class AdCharsetCodec;  // fills texts without a copy

    Zeb_Char_Buffer() = default;
    ~Zeb_Char_Buffer() = default;
    Zeb_Char_Buffer(const Zeb_Char_Buffer&) = default;
    Zeb_Char_Buffer(Zeb_Char_Buffer&&) noexcept = default;
    Zeb_Char_Buffer& operator=(const Zeb_Char_Buffer&) = default;
    Zeb_Char_Buffer& operator=(Zeb_Char_Buffer&&) noexcept = default;

    std::basic_string<unsigned short> units_;
};

/// The host's wide string.
class VTHOST_API Zeb_String : public Zeb_Char_Buffer {
  public:
    Zeb_String() = default;
    /// Copies the units up to the first NUL.
    Zeb_String(const unsigned short* text);  // NOLINT(google-explicit-constructor)
    /// The same for a u"..." literal.
    Zeb_String(const char16_t* text);  // NOLINT(google-explicit-constructor)
    /// `unit` repeated; a negative count is 0.
    Zeb_String(unsigned short unit, int count);
    /// `count` units from `units`, which need no terminator. Throws Zeb_Range_Error when the
    /// count is more than an int holds.
    static Zeb_String FromUnits(const unsigned short* units, std::size_t count);
    /// The same for char16_t units.
    static Zeb_String FromUnits(const char16_t* units, std::size_t count);

    /// Copies the units up to the first NUL; they may be the text's own.
    Zeb_String& operator=(const unsigned short* text);
    /// The same for a u"..." literal.
    Zeb_String& operator=(const char16_t* text);

    /// Throws Zeb_Range_Error when the result is longer than an int can count.
    Zeb_String& Append(const Zeb_String& text);
    /// The units up to the first NUL.
    Zeb_String& Append(const unsigned short* text);
    /// The same for a u"..." literal.
    Zeb_String& Append(const char16_t* text);

    /// Replaces the content by `format` with its conversions carried out as by printf:
    /// d i u o x X c s and %%, the flags - 0 + blank #, width and precision (a number or *), and
    /// the length modifiers, which change nothing as each argument knows its own width. "%s"
    /// takes wide text, its width and precision count units; "%c" takes one unit. What is not
    /// known, or has no argument that suits it, is copied literally.
    template <typename... Arguments>
    void Format(const unsigned short* format, const Arguments&... arguments) {
        FormatWith(format, std::array<Format_Argument, sizeof...(arguments)>{arguments...});
    }
    /// The same for a u"..." literal.
    template <typename... Arguments>
    void Format(const char16_t* format, const Arguments&... arguments) {
        FormatWith(Zeb_String(format).GetBuffer(),
                   std::array<Format_Argument, sizeof...(arguments)>{arguments...});
    }
    /// The same with message `messageId` of the catalog (host/catalog.h) as the format;
    /// "Message N" when there is none.
    template <typename... Arguments>
    void Format(unsigned int messageId, const Arguments&... arguments) {
        FormatMessage(messageId, std::array<Format_Argument, sizeof...(arguments)>{arguments...});
    }

    /// Index of the first occurrence at or after `start`, or -1. A negative start is 0.
    int Find(const Zeb_String& text, int start = 0) const;
    /// Index of the last occurrence, or -1.
    int ReverseFind(unsigned short unit) const;

    /// Start and count are cut to what there is; nothing here throws Zeb_Range_Error.
    Zeb_String Mid(int start, int count) const;
    /// The first `count` units.
    Zeb_String Left(int count) const;
    /// Removes `count` units from `start` on.
    void Delete(long start, long count);

    /// Replaces every occurrence, from the left, without looking at what was put in. An empty
    /// `oldText` occurs nowhere. Throws Zeb_Range_Error when the result is too long.
    void Replace(const Zeb_String& oldText, const Zeb_String& newText);
    /// Removes all units.
    void Make_Empty();

    /// Negative, 0 or positive as this text sorts before, equal to or after the argument, unit
    /// by unit; ASCII letters are folded, other letters are not.
    int CompareNoCase(const Zeb_String& text) const;

    /// Both texts joined. Throws Zeb_Range_Error when that is longer than an int can count.
    friend VTHOST_API Zeb_String operator+(const Zeb_String& a, const Zeb_String& b);
    /// Writes the units; needs no locale facet of the character type.
    friend VTHOST_API std::basic_ostream<unsigned short>& operator<<(
        std::basic_ostream<unsigned short>& out, const Zeb_String& text);

  private:
    void FormatWith(const unsigned short* format, std::span<const Format_Argument> arguments);
    void FormatMessage(unsigned int messageId, std::span<const Format_Argument> arguments);
};
