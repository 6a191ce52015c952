// SPDX-License-Identifier: Apache-2.0
// Wide text in tests: readable in failures, and built from UTF-8.
#pragma once

#include <ostream>
#include <string>
#include <string_view>

#include "host/zeb_string.h"

/// Shows a wide text in a failure message: its printable form in quotes.
void PrintTo(const Zeb_String& text, std::ostream* out);

/// The wide text of valid UTF-8; NULs are kept.
Zeb_String wide(std::string_view utf8);
/// UTF-8 of a wide text, a lone surrogate as EF BF BD.
std::string utf8(const Zeb_String& text);
