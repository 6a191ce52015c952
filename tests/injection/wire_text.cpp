// SPDX-License-Identifier: Apache-2.0
#include "tests/injection/wire_text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string_view>

namespace {

constexpr std::string_view alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::string_view lineEnd = "\r\n";

void addLine(WireMessage& message, const std::string& line) {
    EXPECT_EQ(line.find_first_of(std::string_view("\r\n\0", 3)), std::string::npos) << line;
    if (line.starts_with(' ') && !message.fields.empty()) {
        message.fields.back().second += "\r\n" + line;
        return;
    }
    const std::size_t colon = line.find(": ");
    EXPECT_NE(colon, std::string::npos) << line;
    if (colon == std::string::npos) return;
    message.fields.emplace_back(line.substr(0, colon), line.substr(colon + 2));
}

int hexValue(char digit) {
    const std::size_t place = std::string_view("0123456789ABCDEF").find(digit);
    EXPECT_NE(place, std::string_view::npos);
    return static_cast<int>(place);
}

std::string fromQuotedPrintable(const std::string& text) {
    std::string octets;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '=') {
            octets += text[i];
        } else if (text.compare(i + 1, 2, lineEnd) == 0) {
            i += 2;
        } else {
            octets += static_cast<char>(hexValue(text.at(i + 1)) << 4 | hexValue(text.at(i + 2)));
            i += 2;
        }
    }
    return octets;
}

}  // namespace

WireMessage takeApart(const std::string& message) {
    WireMessage parts;
    std::size_t start = 0;
    for (;;) {
        const std::size_t end = message.find(lineEnd, start);
        if (end == std::string::npos) {
            ADD_FAILURE() << "the header does not end: " << message;
            return parts;
        }
        if (end == start) break;
        addLine(parts, message.substr(start, end - start));
        start = end + 2;
    }
    parts.body = message.substr(start + 2);
    return parts;
}

std::string namesOf(const Fields& fields) {
    std::string names;
    for (const auto& [name, value] : fields) names += (names.empty() ? "" : " ") + name;
    return names;
}

std::string valueOf(const Fields& fields, const std::string& name) {
    for (const auto& field : fields)
        if (field.first == name) return field.second;
    return "none";
}

std::string decodedBody(const WireMessage& message) {
    const std::string encoding = valueOf(message.fields, "Content-Transfer-Encoding");
    if (encoding == "quoted-printable") return fromQuotedPrintable(message.body);
    if (encoding != "base64") return message.body;
    std::string text = message.body;
    std::erase_if(text, [](char c) { return c == '\r' || c == '\n'; });
    return fromBase64(text);
}

std::string base64Of(const std::string& octets) {
    std::string text;
    unsigned held = 0;
    int bits = 0;
    for (const char octet : octets) {
        held = held << 8 | static_cast<unsigned char>(octet);
        for (bits += 8; bits >= 6; bits -= 6) text += alphabet[held >> (bits - 6) & 0x3F];
    }
    if (bits > 0) text += alphabet[held << (6 - bits) & 0x3F];
    return text.append((4 - text.size() % 4) % 4, '=');
}

std::string fromBase64(const std::string& text) {
    std::string octets;
    unsigned held = 0;
    int bits = 0;
    for (const char c : std::string_view(text).substr(0, text.find('='))) {
        const std::size_t value = alphabet.find(c);
        EXPECT_NE(value, std::string_view::npos) << text;
        held = held << 6 | static_cast<unsigned>(value);
        bits += 6;
        if (bits < 8) continue;
        bits -= 8;
        octets += static_cast<char>(held >> bits & 0xFF);
    }
    EXPECT_EQ(base64Of(octets), text);
    return octets;
}

std::string withWireLineEnds(const std::string& octets) {
    std::string lines;
    char before = '\0';
    for (const char octet : octets) {
        if (octet == '\n' && before != '\r') lines += '\r';
        lines += before = octet;
    }
    return lines;
}

std::string dotStuffed(const std::string& message) {
    std::string wire;
    bool isAtStart = true;
    for (const char octet : message) {
        // Kept: every dot of a run at the begin of a line is doubled.
        if (octet == '.' && isAtStart) wire += '.';
        isAtStart = octet == '\n' || (octet == '.' && isAtStart);
        wire += octet;
    }
    return wire + (message.ends_with('\n') || message.empty() ? ".\r\n" : "\r\n.\r\n");
}
