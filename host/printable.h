// SPDX-License-Identifier: Apache-2.0
// Text made safe to show.
#pragma once

#include <string>

#include "host/api.h"
#include "host/zeb_string.h"

/// UTF-8 of `text` for one line of a terminal or a log: control characters, line and paragraph
/// separators, the characters that turn the direction of text, annotation marks, tags and the byte
/// order mark become `\xHH`, `\uHHHH` or
/// `\UHHHHHHHH`, a lone surrogate likewise. Everything else stays as it is.
VTHOST_API std::string Printable(const Zeb_String& text);
