// SPDX-License-Identifier: Apache-2.0
#include "inet/encodedwords.utf16.h"

#include <algorithm>
#include <array>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "inet/base64codec.utf16.h"

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
    return name == u"GB2312" ? AdCharset(u"GBK") : AdCharset(name);
}

void append(Zeb_String&& text, Zeb_String& out) {
    if (out.IsEmpty())
        out = std::move(text);
    else
        out.Append(text);
}

namespace {

constexpr std::size_t nowhere = std::string_view::npos;

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

/// As text.find, of what is near.
std::size_t findNear(std::string_view text, char wanted, std::size_t from) {
    while (from < text.size() && text[from] != wanted) ++from;
    return from < text.size() ? from : nowhere;
}

constexpr std::array<signed char, 256> digitsOf(std::string_view alphabet) {
    std::array<signed char, 256> digits{};
    for (signed char& digit : digits) digit = -1;
    for (std::size_t i = 0; i < alphabet.size(); ++i)
        digits[static_cast<unsigned char>(alphabet[i])] = static_cast<signed char>(i);
    return digits;
}

constexpr std::array<signed char, 256> hexDigits = digitsOf("0123456789ABCDEF");

int digitOf(const std::array<signed char, 256>& digits, char c) {
    return digits[static_cast<unsigned char>(c)];
}

/// As base64buf reads: what is no digit is skipped, up to the first "="; the octets of a group that
/// is not whole count, too. Returns the end of what it wrote.
char* decodePayloadB(std::string_view text, std::span<char> room) {
    const OctetRun groups = decodeBase64(text, room.data(), room.size());
    char* to = room.data() + groups.given;
    text.remove_prefix(groups.taken);
    unsigned bits = 0;
    int bitCount = 0;
    for (const char c : text.substr(0, text.find('='))) {
        const int digit = base64Digits[static_cast<unsigned char>(c)];
        if (digit < 0) continue;
        bits = bits << 6 | (static_cast<unsigned>(digit) & 0x3F);
        bitCount += 6;
        if (bitCount < 8) continue;
        bitCount -= 8;
        *to++ = static_cast<char>(bits >> bitCount & 0xFF);
    }
    return to;
}

/// As quotedprintablebuf reads in header mode: up to the first malformed escape. Returns the end of
/// what it wrote.
char* decodePayloadQ(std::string_view text, char* to) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        char octet = text[i] == '_' ? ' ' : text[i];
        if (octet == '=') {
            if (text.size() - i < 3) return to;
            const int high = digitOf(hexDigits, text[i + 1]);
            const int low = digitOf(hexDigits, text[i + 2]);
            if (high < 0 || low < 0) return to;
            octet = static_cast<char>(high << 4 | low);
            i += 2;
        }
        *to++ = octet;
    }
    return to;
}

/// Decodes the words of a text in turn; they share memory, and mostly a charset.
class WordDecoder {
  public:
    explicit WordDecoder(std::string_view text) : text_(text) {}

    Zeb_String decoded() {
        std::size_t next = 0;
        for (;;) {
            const std::size_t opener = text_.find("=?", next);
            if (opener == nowhere) break;
            appendGap(next, opener);
            next = appendWord(opener);
            if (next > opener) continue;
            out_.Append(u"=?");
            next = opener + 2;
        }
        appendGap(next, text_.size());
        return std::move(out_);
    }

  private:
    std::string_view between(std::size_t start, std::size_t end) const {
        return text_.substr(start, end - start);
    }

    /// The text between two words, unless it is blank.
    void appendGap(std::size_t start, std::size_t end) {
        const std::string_view gap = between(start, end);
        if (!std::all_of(gap.begin(), gap.end(), isBlank)) append(asciiText(gap), out_);
    }

    /// Appends the word that begins at `start`. Returns where it ends; `start` when it is none, or
    /// cannot be decoded.
    std::size_t appendWord(std::size_t start) {
        const std::size_t charsetEnd = findNear(text_, '?', start + 2);
        if (charsetEnd == nowhere) return start;
        const std::size_t encodingEnd = findNear(text_, '?', charsetEnd + 1);
        if (encodingEnd == nowhere) return start;
        const std::size_t end = text_.find('?', encodingEnd + 1);
        if (end == nowhere || text_.substr(end, 2) != "?=") return start;
        const std::string_view encoding = between(charsetEnd + 1, encodingEnd);
        const std::string_view payload = between(encodingEnd + 1, end);
        const bool isBase64 = encoding == "B" || encoding == "b";
        if (!isBase64 && encoding != "Q" && encoding != "q") return start;
        const std::span<char> octets = roomFor(payload.size());  // decoded it is no longer
        char* const last =
            isBase64 ? decodePayloadB(payload, octets) : decodePayloadQ(payload, octets.data());
        Zeb_String word;
        if (!AdMbcsString::cvtToTchar(charsetOf(between(start + 2, charsetEnd)), octets.data(),
                                      static_cast<std::size_t>(last - octets.data()), word, 0))
            return start;
        append(std::move(word), out_);
        return end + 2;
    }

    std::span<char> roomFor(std::size_t size) {
        if (size <= room_.size()) return room_;
        largeRoom_.resize(size);
        return largeRoom_;
    }

    const AdCharset& charsetOf(std::string_view name) {
        if (name == "UTF-8" || name == "utf-8") return AdCharset::getUTF8Charset();
        if (!charset_ || name != charsetName_) charset_ = charsetNamed(asciiText(name));
        charsetName_ = name;
        return *charset_;
    }

    std::string_view text_;
    Zeb_String out_;
    std::array<char, 128> room_;    // for the octets of a word
    std::string largeRoom_;         // for those of a larger one
    std::string_view charsetName_;  // of charset_
    std::optional<AdCharset> charset_;
};

}  // namespace

Zeb_String decodeWords(std::string_view text) { return WordDecoder(text).decoded(); }
