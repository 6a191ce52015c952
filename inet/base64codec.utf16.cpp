// SPDX-License-Identifier: Apache-2.0
#include "inet/base64codec.utf16.h"

#include <algorithm>
#include <cstdint>

#include "inet/base64vector.utf16.h"

namespace {

constexpr char base64Alphabet[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

constexpr std::array<int, 256> makeBase64Digits() {
    std::array<int, 256> digits{};
    for (int& digit : digits) digit = -1;
    // Kept: NUL, which ends the alphabet, is found in it as digit 64, and so read as "A".
    for (std::size_t i = 0; i < sizeof base64Alphabet; ++i)
        digits[static_cast<unsigned char>(base64Alphabet[i])] = static_cast<int>(i);
    return digits;
}

}  // namespace

constexpr std::array<int, 256> base64Digits = makeBase64Digits();

namespace {

constexpr std::uint32_t noDigit = 1U << 24;  // outside the 24 bits of a group

/// What each octet adds to the bits of a group when it is its first, second, third, fourth digit.
constexpr std::array<std::array<std::uint32_t, 256>, 4> makeBase64Bits() {
    std::array<std::array<std::uint32_t, 256>, 4> bits{};
    for (std::size_t place = 0; place < 4; ++place)
        for (std::size_t octet = 0; octet < 256; ++octet) {
            const int digit = base64Digits[octet];
            const std::uint32_t value = static_cast<std::uint32_t>(digit) & 0x3F;
            bits[place][octet] = digit < 0 ? noDigit : value << (18 - 6 * place);
        }
    return bits;
}

constexpr std::array<std::array<std::uint32_t, 256>, 4> base64Bits = makeBase64Bits();

void putGroup(std::uint32_t bits, char* to) {
    to[0] = static_cast<char>(bits >> 16 & 0xFF);
    to[1] = static_cast<char>(bits >> 8 & 0xFF);
    to[2] = static_cast<char>(bits & 0xFF);
}

/// Decodes groups up to the first that holds anything but digits.
OctetRun decodeDigits(std::string_view octets, char* to, std::size_t room) {
    const std::size_t groups = std::min(octets.size() / 4, room / 3);
    std::size_t done = 0;
    for (; done < groups; ++done) {
        const auto* from = reinterpret_cast<const unsigned char*>(octets.data()) + 4 * done;
        const std::uint32_t bits = base64Bits[0][from[0]] | base64Bits[1][from[1]] |
                                   base64Bits[2][from[2]] | base64Bits[3][from[3]];
        if ((bits & noDigit) != 0) break;
        putGroup(bits, to + 3 * done);
    }
    return {4 * done, 3 * done};
}

/// Decodes the next group and takes what has to be skipped within it; nothing when the group is
/// not whole, or a "=" comes before its end.
OctetRun decodeBrokenGroup(std::string_view octets, char* to) {
    std::uint32_t bits = 0;
    int count = 0;
    for (std::size_t i = 0; i < octets.size() && octets[i] != '='; ++i) {
        const int digit = base64Digits[static_cast<unsigned char>(octets[i])];
        if (digit < 0) continue;
        bits = bits << 6 | (static_cast<std::uint32_t>(digit) & 0x3F);
        if (++count < 4) continue;
        putGroup(bits, to);
        return {i + 1, 3};
    }
    return {0, 0};
}

}  // namespace

OctetRun decodeBase64(std::string_view octets, char* to, std::size_t room) {
    OctetRun all{0, 0};
    while (room - all.given >= 3) {
        all += decodeBase64Lines(octets.substr(all.taken), to + all.given, room - all.given);
        all += decodeDigits(octets.substr(all.taken), to + all.given, room - all.given);
        if (room - all.given < 3) break;
        const OctetRun broken = decodeBrokenGroup(octets.substr(all.taken), to + all.given);
        if (broken.given == 0) break;
        all += broken;
    }
    return all;
}

void putBase64Group(const char* group, std::ptrdiff_t count, char* to) {
    unsigned bits = 0;
    for (int i = 0; i < 3; ++i)
        bits = bits << 8 | (i < count ? static_cast<unsigned char>(group[i]) : 0U);
    for (int i = 0; i < 4; ++i)
        to[i] = i > count ? '=' : base64Alphabet[bits >> (18 - 6 * i) & 0x3F];
}

char* encodeBase64(const char* from, std::size_t groups, char* to) {
    for (std::size_t i = encodeBase64Groups(from, groups, to); i < groups; ++i)
        putBase64Group(from + 3 * i, 3, to + 4 * i);
    return to + 4 * groups;
}

char* encodeBase64Lines(const char* from, std::size_t groups, int& column, char* to) {
    while (groups > 0) {
        if (column > base64LastGroupColumn) {
            to = std::copy_n("\r\n", 2, to);
            column = 0;
        }
        const auto space = static_cast<std::size_t>(base64LastGroupColumn - column) / 4 + 1;
        const std::size_t inLine = std::min(groups, space);
        to = encodeBase64(from, inLine, to);
        from += 3 * inLine;
        groups -= inLine;
        column += static_cast<int>(4 * inLine);
    }
    return to;
}
