// SPDX-License-Identifier: Apache-2.0
#include "bench/net/mails.h"

#include <algorithm>

namespace {

constexpr std::string_view head =
    "From: Monitor <monitor@example.org>\r\nTo: staff@example.org\r\n"
    "Subject: disk nearly full\r\nMIME-Version: 1.0\r\n"
    "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\n";

constexpr std::string_view paragraph =
    "The disk of the server in room four is nearly full, and somebody should have\r\n"
    "a look at it soon: the backup of tonight needs as much room again as there is\r\n"
    "left now. These have grown most since yesterday:\r\n"
    "\r\n"
    ".cache/thumbnails (17 files)\r\n"
    "  - /var/log/messages, which nobody has rotated for a month, for whatever reason\r\n"
    "\r\n";

constexpr std::string_view attachment =
    "--b\r\nContent-Type: application/octet-stream\r\n"
    "Content-Transfer-Encoding: base64\r\n\r\n";

/// A line as base64 has them, of 76 letters.
std::string letters(unsigned number) {
    std::string line(76, '\0');
    for (char& letter : line) letter = static_cast<char>('A' + (number = number * 5 + 1) % 26);
    return line + "\r\n";
}

}  // namespace

std::string makeMail(std::size_t octets) {
    constexpr std::size_t mostText = 4096;
    std::string mail(head);
    while (mail.size() < std::min(octets, mostText)) mail += paragraph;
    if (mail.size() < octets) mail += attachment;
    for (unsigned number = 0; mail.size() < octets; ++number) mail += letters(number);
    return mail += "--b--\r\n";
}

std::string stuffed(std::string_view mail) {
    std::string wire;
    wire.reserve(mail.size() + mail.size() / 16 + 3);
    bool isLineStart = true;
    for (const char octet : mail) {
        if (isLineStart && octet == '.') wire += '.';
        wire += octet;
        isLineStart = octet == '\n';
    }
    return wire += ".\r\n";
}

void Digest::add(std::string_view octets) {
    for (const char octet : octets)
        value_ = (value_ ^ static_cast<unsigned char>(octet)) * 1099511628211U;
}

std::uint64_t textDigest(std::string_view mail) {
    const std::size_t last = mail.find_last_not_of("\r\n");
    mail = mail.substr(0, last == std::string_view::npos ? 0 : last + 1);
    Digest digest;
    for (std::size_t at = 0; at < mail.size();) {
        const std::size_t end = std::min(mail.find('\r', at), mail.size());
        digest.add(mail.substr(at, end - at));
        at = end + 1;
    }
    return digest.value();
}
