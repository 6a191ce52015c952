// SPDX-License-Identifier: Apache-2.0
#include "sandbox/escapes.h"

#include <charconv>
#include <stdexcept>

namespace sandbox {
namespace {

constexpr std::string_view letters = "rnt\\\"'";
constexpr std::string_view meanings = "\r\n\t\\\"'";

/// The octet of at most `most` digits at `at`, which is moved behind them.
char numberedOctet(std::string_view text, std::size_t& at, std::size_t most, int base) {
    const std::string_view digits = text.substr(at, most);
    unsigned value = 0;
    const auto [end, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), value, base);
    if (error != std::errc() || value > 0xFF)
        throw std::invalid_argument("not an octet: " + std::string(digits));
    at += static_cast<std::size_t>(end - digits.data());
    return static_cast<char>(value);
}

/// The octet of the escape whose backslash was before `at`, which is moved behind it.
char escapedOctet(std::string_view text, std::size_t& at) {
    if (at == text.size()) throw std::invalid_argument("nothing follows the last backslash");
    const char letter = text[at];
    if (letter >= '0' && letter <= '7') return numberedOctet(text, at, 3, 8);
    ++at;
    if (letter == 'x') return numberedOctet(text, at, 2, 16);
    const std::size_t known = letters.find(letter);
    if (known == std::string_view::npos)
        throw std::invalid_argument(std::string("unknown escape \\") + letter);
    return meanings[known];
}

}  // namespace

std::string escaped(std::string_view octets) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string text;
    for (const char octet : octets) {
        const auto value = static_cast<unsigned char>(octet);
        const std::size_t known = meanings.substr(0, 4).find(octet);
        if (known != std::string_view::npos)
            text += {'\\', letters[known]};
        else if (value < ' ' || value > '~')
            text += {'\\', 'x', digits[value >> 4], digits[value & 0xF]};
        else
            text += octet;
    }
    return text;
}

std::string unescaped(std::string_view text) {
    std::string octets;
    for (std::size_t at = 0; at < text.size();) {
        const char octet = text[at++];
        octets += octet == '\\' ? escapedOctet(text, at) : octet;
    }
    return octets;
}

}  // namespace sandbox
