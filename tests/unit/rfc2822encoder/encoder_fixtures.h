// SPDX-License-Identifier: Apache-2.0
// Plain, slow counterparts of the encoders, and what the tests of messages share.
#pragma once

#include <cstddef>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/host.h"
#include "inet/rfc2822encoder.utf16.h"
#include "tests/unit/transferstream/test_buffers.h"

/// Wide text of any code units, lone surrogates and NULs included.
Zeb_String units(std::u16string_view text);

/// base64 on one line, six bits at a time.
std::string slowBase64(const std::string& octets);
/// The octets of base64 text; fails the test when the text is not canonical.
std::string decodeBase64(const std::string& text);

/// The octets of each encoded word of one header field, which has to be `name`, ": ", words of
/// UTF-8 and "B" of at most 72 characters on lines of their own, and a blank before its line end;
/// fails the test when the field is anything else.
std::vector<std::string> encodedWords(const std::string& field, const std::string& name);

std::string joined(const std::vector<std::string>& texts);
/// The number of occurrences, which do not overlap.
std::size_t countOf(const std::string& part, const std::string& text);

/// The header field that unstructured text becomes.
std::string field(const Zeb_String& value, const Zeb_String& name = u"Subject");

/// The whole message.
std::string message(const RFC2822Encoder& encoder, bool eightBit = false);
/// Up to the empty line, with the line end before it.
std::string headerOf(const std::string& message);
std::string bodyOf(const std::string& message);
/// The value of the one line of the header that starts with `name` and ": "; fails the test when
/// there is none or more than one.
std::string fieldOf(const std::string& message, const std::string& name);

/// While it lives, the clock of the process stands still and the time zone is `zone` (as in TZ).
class FixedClock {
  public:
    FixedClock(std::time_t now, const char* zone);
    ~FixedClock();
    FixedClock(const FixedClock&) = delete;
    FixedClock& operator=(const FixedClock&) = delete;

    void set(std::time_t now);

  private:
    std::optional<std::string> zoneBefore_;
};
/// Seconds since the epoch of a UTC date and time; months from 1.
std::time_t utcTime(int year, int month, int day, int hour, int minute, int second);
