// SPDX-License-Identifier: Apache-2.0
#include "tools/vtmail/connection_fault.h"

#include <cstdlib>
#include <cstring>

int numberAtEnd(const std::string& report) {
    const std::size_t open = report.rfind('(');
    if (open == std::string::npos) return 0;
    return static_cast<int>(std::strtol(report.c_str() + open + 1, nullptr, 10));
}

std::string meaningOf(const std::string& report) {
    if (report.empty()) return "the server closed the connection";
    if (report == "select timed out") return "the server did not answer in time";
    const int number = numberAtEnd(report);
    // Behind send() it may be the number of octets that were taken.
    if (strerrorname_np(number) == nullptr) return "the connection was lost: it is stuck";
    return std::string("the connection was lost: ") + std::strerror(number);
}

std::string shortened(const std::string& text) {
    std::size_t length = 400;
    if (text.size() <= length) return text;
    while ((text[length] & 0xC0) == 0x80) --length;
    return text.substr(0, length) + "...";
}
