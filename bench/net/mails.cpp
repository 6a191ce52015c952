// SPDX-License-Identifier: Apache-2.0
#include "bench/net/mails.h"

#include <algorithm>
#include <iterator>

std::string makeMail(std::size_t octets) {
    static constexpr std::string_view lines[] = {
        "The disk of the server in room four is nearly full; somebody should have a look.\r\n",
        "\r\n",
        ".profile was changed\r\n",
        "  - backup: 17 files, 4711 octets\r\n",
        "Done.\r\n",
    };
    std::string mail =
        "From: Monitor <monitor@example.org>\r\nTo: staff@example.org\r\n"
        "Subject: disk nearly full\r\nMIME-Version: 1.0\r\n"
        "Content-Type: text/plain; charset=us-ascii\r\n\r\n";
    for (std::size_t i = 0; mail.size() < octets; ++i) mail += lines[i % std::size(lines)];
    return mail;
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
