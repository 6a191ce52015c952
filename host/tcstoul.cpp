// SPDX-License-Identifier: Apache-2.0
#include "host/tcstoul.h"

#include <cerrno>
#include <climits>

namespace {

template <typename Unit>
bool isSpace(Unit unit) {
    return unit == ' ' || (unit >= '\t' && unit <= '\r');
}

/// The value of a digit or letter, or 36 for any other unit.
template <typename Unit>
int digitValue(Unit unit) {
    if (unit >= '0' && unit <= '9') return unit - '0';
    if (unit >= 'a' && unit <= 'z') return unit - 'a' + 10;
    if (unit >= 'A' && unit <= 'Z') return unit - 'A' + 10;
    return 36;
}

template <typename Unit>
bool hasHexPrefix(const Unit* text) {
    return text[0] == '0' && (text[1] == 'x' || text[1] == 'X') && digitValue(text[2]) < 16;
}

/// Reads digits at `text` and moves it behind them. Out of range: ULONG_MAX and ERANGE.
template <typename Unit>
unsigned long digits(const Unit*& text, int base, bool& isInRange) {
    const auto radix = static_cast<unsigned long>(base);
    unsigned long value = 0;
    for (; digitValue(*text) < base; ++text) {
        const auto digit = static_cast<unsigned long>(digitValue(*text));
        isInRange = isInRange && value <= (ULONG_MAX - digit) / radix;
        value = value * radix + digit;
    }
    if (isInRange) return value;
    errno = ERANGE;
    return ULONG_MAX;
}

template <typename Unit>
unsigned long parse(const Unit* text, Unit** end, int base) {
    // As in strtoul, the end is handed out writable although the text came in constant.
    const auto stopAt = [end](const Unit* place) {
        if (end) *end = const_cast<Unit*>(place);
    };
    stopAt(text);
    if (base < 0 || base == 1 || base > 36) {
        errno = EINVAL;
        return 0;
    }
    const Unit* place = text;
    while (isSpace(*place)) ++place;
    const bool isNegative = *place == '-';
    if (isNegative || *place == '+') ++place;
    if ((base == 0 || base == 16) && hasHexPrefix(place)) {
        place += 2;
        base = 16;
    } else if (base == 0) {
        base = *place == '0' ? 8 : 10;
    }
    if (digitValue(*place) >= base) return 0;
    bool isInRange = true;
    const unsigned long value = digits(place, base, isInRange);
    stopAt(place);
    return isNegative && isInRange ? 0UL - value : value;
}

}  // namespace

unsigned long _tcstoul(const unsigned short* text, unsigned short** end, int base) {
    return parse(text, end, base);
}

unsigned long _tcstoul(const char16_t* text, char16_t** end, int base) {
    return parse(text, end, base);
}
