// SPDX-License-Identifier: Apache-2.0
// decode_cases FILE...: prints what the decoders make of each message, one line of JSON a file (see
// decoded_json.h). Exit status 0 unless a file cannot be read.
#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>

#include "tests/interop/decoded_json.h"

namespace {

std::string contentOf(const char* path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error(std::string("cannot read ") + path);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace

int main(int argc, char** argv) {
    try {
        for (int i = 1; i < argc; ++i) std::cout << decodedJson(contentOf(argv[i])).dump() << '\n';
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "decode_cases: " << error.what() << '\n';
        return 1;
    }
}
