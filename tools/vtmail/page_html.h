// SPDX-License-Identifier: Apache-2.0
// HTML that no text of a mail gets into but escaped.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace page {

/// A literal of this program; nothing else becomes one.
class Markup {
  public:
    template <std::size_t size>
    consteval Markup(const char (&literal)[size]) : octets_(literal, size - 1) {}

    std::string_view octets() const { return octets_; }

  private:
    std::string_view octets_;
};

/// A piece of a page.
class Html {
  public:
    Html& operator<<(Markup markup);
    Html& operator<<(const Html& piece);
    Html& operator<<(std::size_t number);

    const std::string& octets() const { return octets_; }

  private:
    friend Html oneLine(std::string_view text);
    friend Html manyLines(std::string_view text);

    std::string octets_;
};

/// Any octets, taken as UTF-8: what means something in HTML is escaped, also within quotes, and
/// control and direction characters are made visible, as on a terminal.
Html oneLine(std::string_view text);
/// The same; line ends and tabs stay.
Html manyLines(std::string_view text);

/// The first octets of UTF-8, at most so many, whole characters.
std::string_view beginning(std::string_view utf8, std::size_t most);
/// The same, with an ellipsis where something is missing.
std::string shortened(std::string_view utf8, std::size_t most);

/// A whole page. Its title is made safe, too.
std::string document(std::string_view title, const Html& content);

/// The style sheet of all pages, which they have from /page.css.
std::string_view styleSheet();

}  // namespace page
