// SPDX-License-Identifier: Apache-2.0
// The mails that bench/net sends and fetches, the same in every run.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// A mail of about `octets` octets in wire form (CR LF line ends, the last line ended). No line
/// ends with a blank; some begin with one dot.
std::string makeMail(std::size_t octets);

/// A mail as it goes over the wire: dots at the start of lines doubled, the lone dot behind it
/// (RFC 5321, 4.5.2; RFC 1939, 3).
std::string stuffed(std::string_view mail);

/// FNV-1a, 64 bits.
class Digest {
  public:
    void add(std::string_view octets);
    std::uint64_t value() const { return value_; }

  private:
    std::uint64_t value_ = 14695981039346656037U;
};

/// Digest of a fetched mail but for its carriage returns and the line ends at its very end: there
/// the libraries differ.
std::uint64_t textDigest(std::string_view mail);
