// SPDX-License-Identifier: Apache-2.0
// Texts that hold one UTF-16 unit each at an awkward place, and what their octets have to be.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/zeb_string.h"

/// Units to try: all 65,536 of them; or, without full effort, those below 256, those of which one
/// half is an octet that ends lines or texts, and some of the others.
const std::vector<char16_t>& enumeratedUnits();

/// Units that a terminal could take for more than a character: controls, separators of lines, what
/// turns the direction of text; and surrogates, which are no characters.
bool isDangerous(char16_t unit);

struct PlacedUnit {
    char16_t unit;
    std::u16string text;
    Zeb_String wide() const { return Zeb_String::FromUnits(text.data(), text.size()); }
    /// For failures.
    std::string name() const;
};

/// Calls `check` with `before` + `after` and the unit at the first place, between the two, and at
/// the last place, for each of enumeratedUnits; stops at the first failure of the test.
void forEachPlacedUnit(const std::u16string& before, const std::u16string& after,
                       const std::function<void(const PlacedUnit&)>& check);

/// UTF-8 as ICU makes it, a lone surrogate as U+FFFD.
std::string icuUtf8(const std::u16string& text);
/// The octets in another charset as ICU makes them; none when it cannot hold the text.
std::optional<std::string> icuOctets(const char* charset, const std::u16string& text);

/// The octets of a text that fits into a protocol line: ASCII without CR, LF and NUL.
std::optional<std::string> lineOctets(const std::u16string& text);
