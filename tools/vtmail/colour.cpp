// SPDX-License-Identifier: Apache-2.0
#include "tools/vtmail/colour.h"

#include <unistd.h>

#include <cstdlib>
#include <cstring>

namespace {

bool isSet(const char* variable) {
    const char* value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

bool showsColours(int descriptor) {
    const char* terminal = std::getenv("TERM");
    const bool isDumb =
        terminal == nullptr || *terminal == '\0' || std::strcmp(terminal, "dumb") == 0;
    return !isSet("NO_COLOR") && !isDumb && isatty(descriptor) != 0;
}

/// Select Graphic Rendition (ECMA-48, 8.3.117).
const char* rendition(Colour colour) {
    switch (colour) {
        case Colour::Bold:
            return "1";
        case Colour::Red:
            return "31";
        case Colour::Green:
            return "32";
        case Colour::Cyan:
            break;
    }
    return "36";
}

}  // namespace

std::string coloured(int descriptor, Colour colour, const std::string& text) {
    if (!showsColours(descriptor)) return text;
    return std::string("\x1B[") + rendition(colour) + "m" + text + "\x1B[m";
}
