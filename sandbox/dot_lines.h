// SPDX-License-Identifier: Apache-2.0
// Messages on the wire: a dot before each line that begins with one, and a line "." as the end
// (RFC 5321 4.5.2, RFC 1939 3). Only CR LF ends a line, so that no two readers of the same
// octets can see different ends.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "sandbox/server.h"

namespace sandbox {

/// A message with the dots and the end line that it has on the wire. A last line that does not
/// end gets its CR LF.
std::string dotStuffed(std::string_view message);

/// Takes a message from the wire, in pieces of any size.
class MessageReader {
  public:
    explicit MessageReader(const Limits& limits) : limits_(limits) {}

    /// Takes octets up to the end of the message; returns how many.
    std::size_t take(std::string_view octets);
    bool isAtEnd() const { return seen_ == Seen::End; }

    /// The message. Requires: no limit was passed.
    std::string& message() { return message_; }
    bool isTooLarge() const { return isTooLarge_; }
    bool hasTooLongLine() const { return hasTooLongLine_; }

  private:
    enum class Seen { LineStart, Text, Cr, Dot, DotCr, End };

    std::size_t takeText(std::string_view octets);
    void takeOctet(char octet);
    void keep(std::string_view octets);

    const Limits limits_;
    std::string message_;
    std::size_t lineLength_ = 0;
    bool isTooLarge_ = false;
    bool hasTooLongLine_ = false;
    Seen seen_ = Seen::LineStart;
};

}  // namespace sandbox
