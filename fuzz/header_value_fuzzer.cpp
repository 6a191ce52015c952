// SPDX-License-Identifier: Apache-2.0
// Structured header values: anything parses, and what is written by the rules reads back.
#include <algorithm>
#include <string_view>

#include "fuzz/support/fuzzing.h"
#include "inet/rfc2822decoder.utf16.h"

namespace {

constexpr auto nowhere = std::string_view::npos;

bool isSame(const MIMEHeaderValue& a, const MIMEHeaderValue& b) {
    return a.getValue() == b.getValue() && a.getSubvalue() == b.getSubvalue() &&
           a.getParameters() == b.getParameters();
}

/// Whether a parameter has a form without the extensions of RFC 2231. Where no separator is
/// expected any more a special can be a name, which cannot be written behind one.
bool isPlain(const std::string& name, const std::string& text) {
    const auto isTokenOctet = [](char c) {
        return c > ' ' && c < '\x7F' && std::string_view("*()<>@,;:\\\"/[]?=").find(c) == nowhere;
    };
    return !name.empty() && std::all_of(name.begin(), name.end(), isTokenOctet) &&
           isPlainText(text);
}

/// Written with quoted strings; false when that has no form for this value.
bool isWritten(const MIMEHeaderValue& value, std::string& out) {
    out = utf8(value.getValue());
    if (!value.getSubvalue().IsEmpty()) out += '/' + utf8(value.getSubvalue());
    for (const auto& [name, text] : value.getParameters()) {
        const std::string octets = utf8(text);
        if (!isPlain(utf8(name), octets) || !(wideText(octets) == text)) return false;
        out += "; " + utf8(name) + '=' + quoted(octets);
    }
    return true;
}

void checkAnything(const std::string& text) {
    const MIMEHeaderValue value(text);
    MIMEHeaderValue assigned("x/y; z=1");
    assigned = text;
    require(isSame(value, assigned), "assigning is constructing");
    for (const auto& [name, parameter] : value.getParameters())
        require(value.getParameter(name, u"none") == parameter, "a parameter is found by its name");
    require(!value.getValue().IsEmpty() || value.getParameters().empty(),
            "without a value there are no parameters");
    if (std::string again; isWritten(value, again))
        require(isSame(value, MIMEHeaderValue(again)), "what is written reads back");
}

std::string percentEscaped(std::string_view octets) {
    constexpr char digits[] = "0123456789ABCDEF";
    std::string out;
    for (const char c : octets) {
        const auto octet = static_cast<unsigned char>(c);
        out += {'%', digits[octet >> 4], digits[octet & 0xF]};
    }
    return out;
}

/// The parameter "n" in sections of `length` octets, in order or backwards.
std::string inSections(const std::string& extended, std::size_t length, bool isBackwards) {
    std::string sections;
    for (std::size_t start = 0, number = 0; start < extended.size(); start += length, ++number) {
        const std::string section =
            "; n*" + std::to_string(number) + "*=" + extended.substr(start, length);
        sections.insert(isBackwards ? 0 : sections.size(), section);
    }
    return "a/b" + sections;
}

void checkExtended(const std::string& octets, std::size_t length) {
    const Zeb_String text = wideText(octets);
    const std::string extended = "utf-8''" + percentEscaped(utf8(text));
    require(RFC2184Decode(wideText(extended)) == text, "an extended value reads back");
    for (const bool isBackwards : {false, true}) {
        const MIMEHeaderValue value(inSections(extended, length, isBackwards));
        require(value.getParameter(u"N", u"none") == text, "sections read back, in any order");
    }
}

void checkDecodingAnything(const Zeb_String& text) {
    const Zeb_String decoded = RFC2184Decode(text);
    const int first = text.Find(u"'");
    if (first < 0 || text.Find(u"'", first + 1) < 0)
        require(decoded == text, "what is no extended value stays");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size) {
    FuzzInput input(octets, size);
    const std::size_t length = std::max(8U, input.takeOctet());
    checkAnything(input.rest());
    checkDecodingAnything(wideText(input.rest()));
    checkExtended(input.rest(), length);
    return 0;
}
