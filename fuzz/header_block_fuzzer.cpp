// SPDX-License-Identifier: Apache-2.0
// Header blocks: what is read is clean, does not depend on pieces, and reads back when written.
#include <istream>

#include "fuzz/support/fuzzing.h"
#include "inet/rfc2822decoder.utf16.h"

namespace {

constexpr char blanks[] = " \t\r";

HeaderMap readHeaders(const std::string& text, std::size_t piece) {
    PieceSource source(text, piece);
    std::istream in(&source);
    HeaderMap headers;
    MIMEDecoder::readHeaders(headers, in);
    return headers;
}

void checkValue(std::string_view value) {
    require(!value.empty(), "a field without a value is dropped");
    require(value.find_first_of(blanks) != 0, "a value begins with no blank");
    require(value.find_last_of(blanks) != value.size() - 1, "a value ends with no blank");
}

/// One line for each of the fields that were joined.
std::string written(const std::string& name, std::string_view values) {
    std::string lines;
    for (;;) {
        const std::string_view value = values.substr(0, values.find('\n'));
        checkValue(value);
        lines.append(name).append(": ").append(value).append("\r\n");
        if (value.size() == values.size()) return lines;
        values.remove_prefix(value.size() + 1);
    }
}

bool isContinuation(std::string_view name) {
    return name.starts_with(' ') || name.starts_with('\t');
}

std::string written(const HeaderMap& headers) {
    std::string text;
    for (const auto& [name, values] : headers) {
        const std::string lines = written(utf8(name), values);
        // A name that begins with a blank can only have been the first.
        text.insert(isContinuation(utf8(name)) ? 0 : text.size(), lines);
    }
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size) {
    FuzzInput input(octets, size);
    const std::size_t piece = input.takeOctet();
    const HeaderMap headers = readHeaders(input.rest(), size + 1);
    require(headers == readHeaders(input.rest(), piece), "pieces do not matter");
    for (const auto& [name, values] : headers)
        require(name.Find(u":") < 0 && name.Find(u"\n") < 0, "a name ends at the colon");
    require(headers == readHeaders(written(headers) + "\r\nA: b\r\n", piece),
            "what is written reads back");
    return 0;
}
