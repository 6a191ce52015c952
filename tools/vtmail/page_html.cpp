// SPDX-License-Identifier: Apache-2.0
#include "tools/vtmail/page_html.h"

#include <sstream>

#include "tools/vtmail/message_view.h"
#include "tools/vtmail/text.h"

namespace page {
namespace {

std::string escaped(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (const char c : text) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '"':
                out += "&quot;";
                break;
            case '\'':
                out += "&#39;";
                break;
            default:
                out += c;
        }
    }
    return out;
}

}  // namespace

Html& Html::operator<<(Markup markup) {
    octets_ += markup.octets();
    return *this;
}

Html& Html::operator<<(const Html& piece) {
    octets_ += piece.octets_;
    return *this;
}

Html& Html::operator<<(std::size_t number) {
    octets_ += std::to_string(number);
    return *this;
}

Html oneLine(std::string_view text) {
    Html html;
    html.octets_ = escaped(shown(text));
    return html;
}

Html manyLines(std::string_view text) {
    std::ostringstream out;
    ShownText lines(out);
    lines.put(text);
    lines.finish();
    Html html;
    html.octets_ = escaped(out.str());
    return html;
}

std::string_view beginning(std::string_view utf8, std::size_t most) {
    if (utf8.size() <= most) return utf8;
    while (most > 0 && (utf8[most] & 0xC0) == 0x80) --most;
    return utf8.substr(0, most);
}

std::string shortened(std::string_view utf8, std::size_t most) {
    const std::string_view kept = beginning(utf8, most);
    return std::string(kept) + (kept.size() < utf8.size() ? "…" : "");
}

std::string document(std::string_view title, const Html& content) {
    Html all;
    all << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
           "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
           "<meta name=\"color-scheme\" content=\"light dark\">\n"
           "<title>"
        << oneLine(title)
        << "</title>\n<link rel=\"stylesheet\" href=\"/page.css\">\n</head>\n<body>\n"
           "<header><a href=\"/\">vtmail sandbox</a></header>\n<main>\n"
        << content << "</main>\n</body>\n</html>\n";
    return all.octets();
}

}  // namespace page
