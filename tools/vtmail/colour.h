// SPDX-License-Identifier: Apache-2.0
// Colour at a terminal.
#pragma once

#include <string>

enum class Colour { Bold, Red, Green, Cyan };

/// The text in a colour when the descriptor is a terminal that knows some, and NO_COLOR does not
/// ask for none; else as it is.
std::string coloured(int descriptor, Colour colour, const std::string& text);
