// SPDX-License-Identifier: Apache-2.0
// Encodes or decodes standard input, without any mail around it:
// transfer_encoding encode|decode base64|quoted-printable
#include <iostream>
#include <memory>
#include <streambuf>
#include <string>

#include "inet/transferstream.utf16.h"

namespace {

std::unique_ptr<std::streambuf> filterOver(std::streambuf* wrapped, const std::string& encoding) {
    if (encoding == "base64") return std::make_unique<base64buf>(wrapped, /*encodedWord=*/false);
    if (encoding == "quoted-printable")
        return std::make_unique<quotedprintablebuf>(wrapped, /*headerMode=*/false);
    return nullptr;
}

// An empty source is no failure, but operator<< of a stream takes it for one.
bool copy(std::streambuf* from, std::streambuf* to) {
    char block[4096];
    while (const std::streamsize count = from->sgetn(block, sizeof block))
        if (to->sputn(block, count) != count) return false;
    return to->pubsync() == 0;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string direction = argc == 3 ? argv[1] : "";
    const bool encodes = direction == "encode";
    // What is written through a filter comes out encoded, what is read through it decoded.
    std::streambuf* const wrapped = encodes ? std::cout.rdbuf() : std::cin.rdbuf();
    const auto filter = argc == 3 ? filterOver(wrapped, argv[2]) : nullptr;
    if (!filter || (!encodes && direction != "decode")) {
        std::cerr << "usage: transfer_encoding encode|decode base64|quoted-printable\n";
        return 2;
    }
    const bool done =
        encodes ? copy(std::cin.rdbuf(), filter.get()) : copy(filter.get(), std::cout.rdbuf());
    return done ? 0 : 1;
}
