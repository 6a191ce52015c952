// SPDX-License-Identifier: Apache-2.0
// One argument of Zeb_String::Format, with its type.
#pragma once

#include <concepts>
#include <type_traits>

#include "host/api.h"

class Zeb_Char_Buffer;

/// An argument remembers what it is, so that a conversion which does not suit it can never read
/// memory that is not there. It refers to texts and does not copy them: it lives no longer than
/// the call to Format. An 8-bit text is no argument: octets become wide text through a charset.
class VTHOST_API Format_Argument {
  public:
    /// What the argument was built from.
    enum class Kind { Integer, Text };

    // None of these is explicit: they stand for the "..." of printf.

    /// An integer of any width; a bool is 0 or 1.
    template <std::integral Integer>
    Format_Argument(Integer value)  // NOLINT(google-explicit-constructor)
        : kind(Kind::Integer) {
        // printf reads a narrow integer through its promoted type.
        const auto promoted = +value;
        using Unsigned = std::make_unsigned_t<decltype(+value)>;
        bits = static_cast<Unsigned>(promoted);
        magnitude = bits;
        if constexpr (std::is_signed_v<decltype(+value)>) {
            isNegative = promoted < 0;
            if (isNegative) magnitude = Unsigned{} - static_cast<Unsigned>(promoted);
        }
    }
    /// An enumerator counts as its number.
    template <typename Enum>
    requires std::is_enum_v<Enum> Format_Argument(
        Enum value)  // NOLINT(google-explicit-constructor)
        : Format_Argument(static_cast<std::underlying_type_t<Enum>>(value)) {}

    /// Zero-terminated; a null pointer is shown as "(null)".
    Format_Argument(const unsigned short* text);  // NOLINT(google-explicit-constructor)
    /// The same for a u"..." literal.
    Format_Argument(const char16_t* text);  // NOLINT(google-explicit-constructor)
    /// Up to its first NUL, as printf would read it.
    Format_Argument(const Zeb_Char_Buffer& text);  // NOLINT(google-explicit-constructor)

    /// Decides which of the members below count.
    Kind kind;
    /// Whether the integer was below 0.
    bool isNegative = false;
    /// The value as "%x" shows it: two's complement in the width of the promoted argument.
    unsigned long long bits = 0;
    /// The value without its sign.
    unsigned long long magnitude = 0;
    /// Exactly one of the two is set when the kind is Text, none for a null pointer.
    const unsigned short* units = nullptr;
    /// Zero-terminated, not owned.
    const char16_t* literal = nullptr;
};
