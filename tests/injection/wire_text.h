// SPDX-License-Identifier: Apache-2.0
// What a receiver makes of the octets on the wire, and what a sender has to put there; plain and
// slow, and independent of the library.
#pragma once

#include <string>
#include <utility>
#include <vector>

using Fields = std::vector<std::pair<std::string, std::string>>;

struct WireMessage {
    Fields fields;  // name and value, folds as they are
    std::string body;
};

/// A message in wire form, taken apart; fails the test when a line of its header is none: an octet
/// that ends lines elsewhere, a NUL, or no field name.
WireMessage takeApart(const std::string& message);
/// The names, joined by blanks.
std::string namesOf(const Fields& fields);
/// The value of the first field of this name; "none" when there is none.
std::string valueOf(const Fields& fields, const std::string& name);

/// The body after its transfer encoding.
std::string decodedBody(const WireMessage& message);

std::string base64Of(const std::string& octets);
/// Fails the test for what is no base64.
std::string fromBase64(const std::string& text);

/// Each line feed with a carriage return before it.
std::string withWireLineEnds(const std::string& octets);
/// The octets that a message of whole or unended lines is sent as, the end-of-data line included.
std::string dotStuffed(const std::string& message);
