// SPDX-License-Identifier: Apache-2.0
#include "inet/encodedwords.utf16.h"

#include <array>
#include <string>
#include <utility>

Zeb_String asciiText(std::string_view octets) {
    std::array<unsigned short, 64> units;
    if (octets.size() <= units.size()) {  // as nearly all tokens and names
        unsigned any = 0;
        for (std::size_t i = 0; i < octets.size(); ++i)
            any |= units[i] = static_cast<unsigned char>(octets[i]);
        if (any < 0x80) return Zeb_String::FromUnits(units.data(), octets.size());
    }
    Zeb_String text;
    AdMbcsString::cvtToTchar(AdCharset::getASCIICharset(), octets.data(), octets.size(), text, 0);
    return text;
}

AdCharset charsetNamed(const Zeb_String& name) {
    return AdCharset(name == u"GB2312" ? Zeb_String(u"GBK") : name);
}

void append(Zeb_String&& text, Zeb_String& out) {
    if (out.IsEmpty())
        out = std::move(text);
    else
        out.Append(text);
}

namespace {

constexpr std::size_t nowhere = std::string_view::npos;
constexpr char blanks[] = " \t\r\n";

constexpr std::array<signed char, 256> digitsOf(std::string_view alphabet) {
    std::array<signed char, 256> digits{};
    for (signed char& digit : digits) digit = -1;
    for (std::size_t i = 0; i < alphabet.size(); ++i)
        digits[static_cast<unsigned char>(alphabet[i])] = static_cast<signed char>(i);
    return digits;
}

constexpr std::array<signed char, 256> base64Digits = [] {
    auto digits = digitsOf("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");
    digits[0] = 0;  // as in base64buf: NUL counts as "A"
    return digits;
}();

constexpr std::array<signed char, 256> hexDigits = digitsOf("0123456789ABCDEF");

int digitOf(const std::array<signed char, 256>& digits, char c) {
    return digits[static_cast<unsigned char>(c)];
}

/// As base64buf reads: what is no digit is skipped, up to the first "=".
void decodeBase64(std::string_view text, std::string& octets) {
    unsigned bits = 0;
    int bitCount = 0;
    for (const char c : text.substr(0, text.find('='))) {
        const int digit = digitOf(base64Digits, c);
        if (digit < 0) continue;
        bits = bits << 6 | static_cast<unsigned>(digit);
        bitCount += 6;
        if (bitCount < 8) continue;
        bitCount -= 8;
        octets += static_cast<char>(bits >> bitCount & 0xFF);
    }
}

/// As quotedprintablebuf reads in header mode: up to the first malformed escape.
void decodeQuoted(std::string_view text, std::string& octets) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        char octet = text[i] == '_' ? ' ' : text[i];
        if (octet == '=') {
            if (text.size() - i < 3) return;
            const int high = digitOf(hexDigits, text[i + 1]);
            const int low = digitOf(hexDigits, text[i + 2]);
            if (high < 0 || low < 0) return;
            octet = static_cast<char>(high << 4 | low);
            i += 2;
        }
        octets += octet;
    }
}

/// The octets of an encoded text; false when the encoding is none of RFC 2047's.
bool decodePayload(std::string_view encoding, std::string_view text, std::string& octets) {
    octets.reserve(text.size());
    if (encoding == "B" || encoding == "b")
        decodeBase64(text, octets);
    else if (encoding == "Q" || encoding == "q")
        decodeQuoted(text, octets);
    else
        return false;
    return true;
}

/// Decodes the word that begins at `start` and appends it. Returns where it ends; `start` when it
/// is none, or cannot be decoded.
std::size_t appendWord(std::string_view text, std::size_t start, Zeb_String& out) {
    std::size_t marks[3];  // the question marks behind charset, encoding and encoded text
    std::size_t from = start + 2;
    for (std::size_t& mark : marks) {
        mark = text.find('?', from);
        if (mark == nowhere) return start;
        from = mark + 1;
    }
    if (from >= text.size() || text[from] != '=') return start;
    const auto between = [&](std::size_t first, std::size_t end) {
        return text.substr(first, end - first);
    };
    std::string octets;
    if (!decodePayload(between(marks[0] + 1, marks[1]), between(marks[1] + 1, marks[2]), octets))
        return start;
    Zeb_String word;
    const AdCharset charset = charsetNamed(asciiText(between(start + 2, marks[0])));
    if (!AdMbcsString::cvtToTchar(charset, octets.data(), octets.size(), word, 0)) return start;
    append(std::move(word), out);
    return from + 1;
}

/// The text between two words, unless it is blank.
void appendGap(std::string_view text, std::size_t start, std::size_t end, Zeb_String& out) {
    const std::string_view gap = text.substr(start, end - start);
    if (gap.find_first_not_of(blanks) != nowhere) append(asciiText(gap), out);
}

}  // namespace

Zeb_String decodeWords(std::string_view text) {
    Zeb_String out;
    std::size_t next = 0;
    for (;;) {
        const std::size_t opener = text.find("=?", next);
        if (opener == nowhere) break;
        appendGap(text, next, opener, out);
        next = appendWord(text, opener, out);
        if (next > opener) continue;
        out.Append(u"=?");
        next = opener + 2;
    }
    appendGap(text, next, text.size(), out);
    return out;
}
