// SPDX-License-Identifier: Apache-2.0
#include "sandbox/dot_lines.h"

#include <algorithm>

namespace sandbox {

std::string dotStuffed(std::string_view message) {
    std::string wire;
    wire.reserve(message.size() + 16);
    while (!message.empty()) {
        const std::size_t end = std::min(message.find("\r\n"), message.size());
        if (message.front() == '.') wire += '.';
        wire.append(message.substr(0, end)).append("\r\n");
        message.remove_prefix(std::min(end + 2, message.size()));
    }
    return wire + ".\r\n";
}

std::size_t MessageReader::take(std::string_view octets) {
    std::size_t at = 0;
    while (at < octets.size() && !isAtEnd()) {
        if (seen_ == Seen::Text)
            at += takeText(octets.substr(at));
        else
            takeOctet(octets[at++]);
    }
    return at;
}

/// Takes the octets before the next CR, or the CR.
std::size_t MessageReader::takeText(std::string_view octets) {
    const std::size_t count = std::min(octets.find('\r'), octets.size());
    if (count == 0) {
        takeOctet('\r');
        return 1;
    }
    keep(octets.substr(0, count));
    return count;
}

void MessageReader::takeOctet(char octet) {
    if (seen_ == Seen::LineStart && octet == '.') {
        seen_ = Seen::Dot;
    } else if (seen_ == Seen::Dot && octet == '\r') {
        seen_ = Seen::DotCr;
    } else if (seen_ == Seen::DotCr && octet == '\n') {
        seen_ = Seen::End;
    } else if (seen_ == Seen::Cr && octet == '\n') {
        keep("\n");
        lineLength_ = 0;
        seen_ = Seen::LineStart;
    } else {
        if (seen_ == Seen::DotCr) keep("\r");
        keep({&octet, 1});
        seen_ = octet == '\r' ? Seen::Cr : Seen::Text;
    }
}

void MessageReader::keep(std::string_view octets) {
    lineLength_ += octets.size();
    hasTooLongLine_ |= limits_.dataLine != 0 && lineLength_ > limits_.dataLine;
    isTooLarge_ |= limits_.message != 0 && message_.size() + octets.size() > limits_.message;
    if (!isTooLarge_) message_ += octets;
}

}  // namespace sandbox
