// SPDX-License-Identifier: Apache-2.0
// Results of the header parsers as text, and texts to try them on.
#pragma once

#include <cstddef>
#include <random>
#include <string>
#include <vector>

#include "inet/rfc2822decoder.utf16.h"

enum class LexerMode { Address, Mime };
enum class Blanks { Returned, Skipped };

struct Token {
    unsigned kind;
    Zeb_String text;
};

/// All tokens of a text, up to and including the first End.
std::vector<Token> tokensOf(const std::string& text, LexerMode mode, Blanks blanks);
/// For example: atom "a" | special ")" | end
std::string dump(const std::vector<Token>& tokens);
/// ASCII as it is, control characters and all else as <FFE9>.
std::string shown(const Zeb_String& text);

/// The name in quotes, unless it is empty, and the address: "J Smith" <j@b>
std::string dump(const RFC2822Address& mailbox);
/// The mailboxes of a list, separated by " | ".
std::string mailboxesOf(const std::string& text);

/// VALUE/SUBVALUE; NAME="TEXT"; ... in the order of the names.
std::string dump(const MIMEHeaderValue& value);
/// The parameter `name` of the value "x/y; " + `parameters`, or "(none)".
Zeb_String parameterOf(const std::string& parameters, const char16_t* name);

std::string repeated(const std::string& part, std::size_t count);

/// All texts of at most `length` letters.
std::vector<std::string> allTexts(const std::string& letters, std::size_t length);
/// `count` texts of up to `length` parts; the same ones in every run.
std::vector<std::string> randomTexts(unsigned seed, const std::vector<std::string>& parts,
                                     std::size_t length, int count);
