// SPDX-License-Identifier: Apache-2.0
// Plain, slow counterparts of the header parsers. Each works on the whole result of the one below
// it instead of pulling tokens, and they share nothing with the library but the charsets.
#pragma once

#include <string>
#include <vector>

#include "tests/unit/rfc2822decoder/header_fixtures.h"

/// What decodeRFC2047Words gives. Does not know NUL in base64.
Zeb_String modelWords(const std::string& text);

std::vector<Token> modelTokens(const std::string& text, LexerMode mode, Blanks blanks);

/// What mailboxesOf gives.
std::string modelMailboxes(const std::string& text);

/// What RFC2184Decode gives.
Zeb_String modelExtended(const Zeb_String& value);

/// What the dump of a MIMEHeaderValue gives. Section numbers that are used have to be small.
std::string modelValue(const std::string& text);
