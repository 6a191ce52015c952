// SPDX-License-Identifier: Apache-2.0
// What the fuzzers share: properties, taking the input apart, sources that give it in pieces.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <streambuf>
#include <string>
#include <string_view>

#include "host/host.h"

/// A property that must hold for every input. Ends the process, which is a finding, when not.
inline void require(bool holds, const char* property) {
    if (holds) return;
    std::fprintf(stderr, "property violated: %s\n", property);
    std::abort();
}

/// The input, taken from the front.
class FuzzInput {
  public:
    FuzzInput(const std::uint8_t* octets, std::size_t size) : rest_(octets, octets + size) {}

    /// 0 when there is none left.
    unsigned takeOctet() {
        if (rest_.empty()) return 0;
        const auto octet = static_cast<unsigned char>(rest_.front());
        rest_.erase(0, 1);
        return octet;
    }
    /// Up to the next NUL, which goes too.
    std::string takeText() {
        const std::size_t end = std::min(rest_.find('\0'), rest_.size());
        std::string text = rest_.substr(0, end);
        rest_.erase(0, end + 1);
        return text;
    }
    const std::string& rest() const { return rest_; }

  private:
    std::string rest_;
};

/// Octets that come in pieces of at most `piece`.
class PieceSource : public std::streambuf {
  public:
    PieceSource(std::string octets, std::size_t piece)
        : octets_(std::move(octets)), piece_(std::max<std::size_t>(piece, 1)) {}

  protected:
    int_type underflow() override {
        const std::size_t count = std::min(piece_, octets_.size() - next_);
        if (count == 0) return traits_type::eof();
        char* const start = octets_.data() + next_;
        setg(start, start, start + count);
        next_ += count;
        return traits_type::to_int_type(*start);
    }

  private:
    std::string octets_;
    std::size_t piece_;
    std::size_t next_ = 0;
};

inline bool isAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

/// Without encoded words, and not of blanks alone, which decoding drops.
inline bool isPlainText(std::string_view text) {
    return text.find("=?") == std::string_view::npos &&
           (text.empty() || text.find_first_not_of(" \t\r\n") != std::string_view::npos);
}

/// UTF-8 to wide text; what is malformed is replaced.
inline Zeb_String wideText(std::string_view octets) {
    Zeb_String text;
    AdMbcsString::cvtToTchar(AdCharset::getUTF8Charset(), octets.data(), octets.size(), text, 1);
    return text;
}

/// UTF-8; a lone surrogate is replaced.
inline std::string utf8(const Zeb_String& text) {
    AdMbcsString octets;
    octets.cvtFromTchar(AdCharset::getUTF8Charset(), text, 1);
    return octets.getString();
}

/// As a quoted string (RFC 5322, 3.2.4).
inline std::string quoted(std::string_view text) {
    std::string out = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') out += '\\';
        out += c;
    }
    return out + '"';
}
