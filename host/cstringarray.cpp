// SPDX-License-Identifier: Apache-2.0
#include "host/cstringarray.h"

#include "host/exceptions.h"

const Zeb_String& Sov_String_Array::GetAt(int index) const {
    if (index < 0 || index >= GetSize()) throw Zeb_Range_Error("array index out of range");
    return strings_[static_cast<std::size_t>(index)];
}

CStringArray::CStringArray(int reserve, int /*growBy*/) {
    if (reserve > 0) strings_.reserve(static_cast<std::size_t>(reserve));
}

int CStringArray::Add(const Zeb_String& text) {
    strings_.push_back(text);
    return GetSize() - 1;
}

void CStringArray::Make_Empty() { strings_.clear(); }
