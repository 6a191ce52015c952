// SPDX-License-Identifier: Apache-2.0
// An array of wide texts.
#pragma once

#include <vector>

#include "host/api.h"
#include "host/zeb_string.h"

/// Storage of a string array. One thread at a time per object.
class VTHOST_API Sov_String_Array {
  public:
    /// Number of elements.
    int GetSize() const { return static_cast<int>(strings_.size()); }
    /// Both throw Zeb_Range_Error unless 0 <= index < GetSize(). The reference is valid until
    /// the array is changed or destroyed.
    const Zeb_String& operator[](int index) const { return GetAt(index); }
    /// The same as operator[].
    const Zeb_String& GetAt(int index) const;

  protected:
    Sov_String_Array() = default;
    ~Sov_String_Array() = default;
    Sov_String_Array(const Sov_String_Array&) = default;
    Sov_String_Array(Sov_String_Array&&) noexcept = default;
    Sov_String_Array& operator=(const Sov_String_Array&) = default;
    Sov_String_Array& operator=(Sov_String_Array&&) noexcept = default;

    std::vector<Zeb_String> strings_;
};

/// The host's string array.
class VTHOST_API CStringArray : public Sov_String_Array {
  public:
    /// `reserve` is the number of elements to make room for. `growBy` is accepted for the sake
    /// of its callers; the array grows geometrically, so that adding stays cheap at any size.
    explicit CStringArray(int reserve = 0, int growBy = 1);

    /// Appends a copy; returns its index.
    int Add(const Zeb_String& text);
    /// Removes all elements.
    void Make_Empty();
};
