// SPDX-License-Identifier: Apache-2.0
// A mail in memory for libraries that speak of streams.
#pragma once

#include <streambuf>
#include <string>

/// Reads a text where it stands; it must outlive this.
class TextSource : public std::streambuf {
  public:
    explicit TextSource(const std::string& text) {
        char* const first = const_cast<char*>(text.data());  // only read
        setg(first, first, first + text.size());
    }
};

/// Appends to a text, which must outlive this.
class TextSink : public std::streambuf {
  public:
    explicit TextSink(std::string& text) : text_(text) {}

  protected:
    std::streamsize xsputn(const char* octets, std::streamsize count) override {
        text_.append(octets, static_cast<std::size_t>(count));
        return count;
    }
    int_type overflow(int_type octet) override {
        if (octet != traits_type::eof()) text_ += traits_type::to_char_type(octet);
        return traits_type::not_eof(octet);
    }

  private:
    std::string& text_;
};
