// SPDX-License-Identifier: Apache-2.0
#include "host/iso2022jp.h"

#include <string_view>

#include "host/utf8.h"

namespace {

constexpr char escape = '\x1B';
constexpr std::string_view toAscii = "\x1B(B";
constexpr std::string_view toKanji = "\x1B$B";

bool isText(char octet) {
    return (octet >= ' ' && octet <= '~') || octet == '\t' || octet == '\r' || octet == '\n';
}

/// From 0; large when it is no octet of a character.
std::size_t numberOf(char octet) {
    return static_cast<unsigned char>(octet) - std::size_t{iso2022jp::firstOctet};
}

/// As all below, returns whether it knows what it read, and moves `to` behind the units.
bool widenAscii(std::string_view text, unsigned short*& to) {
    for (const char octet : text) {
        if (!isText(octet)) return false;
        *to++ = static_cast<unsigned char>(octet);
    }
    return true;
}

bool widenKanji(std::string_view text, const iso2022jp::Kanji& kanji, unsigned short*& to) {
    if (text.size() % 2 != 0) return false;
    for (std::size_t i = 0; i < text.size(); i += 2) {
        const std::size_t row = numberOf(text[i]);
        const std::size_t cell = numberOf(text[i + 1]);
        if (row >= iso2022jp::rowLength || cell >= iso2022jp::rowLength) return false;
        *to = kanji[row * iso2022jp::rowLength + cell];
        if (*to++ == utf::replacement) return false;
    }
    return true;
}

}  // namespace

bool iso2022jp::widen(const Kanji& kanji, std::string_view text,
                      std::basic_string<unsigned short>& out) {
    out.resize(text.size());  // no octet makes more than a unit
    unsigned short* to = out.data();
    std::size_t length = text.find(escape);
    if (!widenAscii(text.substr(0, length), to)) return false;
    while (length < text.size()) {
        text.remove_prefix(length);
        const bool isKanji = text.substr(0, toKanji.size()) == toKanji;
        if (!isKanji && text.substr(0, toAscii.size()) != toAscii) return false;
        text.remove_prefix(toKanji.size());
        length = text.find(escape);
        if (length == 0) return false;  // nothing between two sequences is a fault
        const std::string_view run = text.substr(0, length);
        if (!(isKanji ? widenKanji(run, kanji, to) : widenAscii(run, to))) return false;
    }
    out.resize(static_cast<std::size_t>(to - out.data()));
    return true;
}
