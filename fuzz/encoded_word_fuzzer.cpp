// SPDX-License-Identifier: Apache-2.0
// Encoded words: any text decodes, plain text is itself, and what the encoder writes reads back.
#include <algorithm>
#include <sstream>

#include "fuzz/support/fuzzing.h"
#include "inet/rfc2822decoder.utf16.h"
#include "inet/rfc2822encoder.utf16.h"

namespace {

void checkAnything(const std::string& text) {
    const Zeb_String decoded = decodeRFC2047Words(text);
    // A charset gives at most a surrogate pair for an octet.
    require(static_cast<std::size_t>(decoded.GetLength()) <= 2 * text.size(),
            "decoding does not blow up");
    if (isAscii(text) && isPlainText(text)) require(decoded == wideText(text), "plain text stays");
}

std::string qEncoded(const std::string& octets) {
    std::stringbuf out;
    quotedprintablebuf filter(&out, true);
    filter.sputn(octets.data(), static_cast<std::streamsize>(octets.size()));
    return out.str();
}

void checkWords(const Zeb_String& text) {
    const std::string b = "=?utf-8?b?" + encode2047B(utf8(text)) + "?=";
    const std::string q = "=?UTF-8?Q?" + qEncoded(utf8(text)) + "?=";
    require(decodeRFC2047Words(b) == text, "a B word reads back");
    require(decodeRFC2047Words(q) == text, "a Q word reads back");
    require(decodeRFC2047Words(b + "\r\n\t " + q) == text + text, "blanks between words go");
    require(decodeRFC2047Words("x " + q + " y") == u"x " + text + u" y", "text around words stays");
}

/// Whether the encoder promises it back: no pairs that it may cut, nothing that it replaces, and
/// nothing that reading a header field drops.
bool isKept(const Zeb_String& text) {
    const std::string octets = utf8(text);
    const bool hasPairs = std::any_of(octets.begin(), octets.end(),
                                      [](char c) { return static_cast<unsigned char>(c) >= 0xF0; });
    const bool hasControls =
        std::any_of(octets.begin(), octets.end(), [](char c) { return c >= 0 && c < ' '; });
    return !octets.empty() && !hasPairs && !hasControls && octets.find("=?") == std::string::npos &&
           octets.front() != ' ' && octets.back() != ' ';
}

void checkField(const Zeb_String& text) {
    std::string field;
    require(encodeRFC2047Unstructured(AdCharset(), u"Subject", text, field), "the name is ASCII");
    std::istringstream in(field);
    HeaderMap headers;
    MIMEDecoder::readHeaders(headers, in);
    require(headers.size() == 1, "one field is written");
    if (isKept(text))
        require(decodeRFC2047Words(headers.begin()->second) == text, "a field reads back");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size) {
    const std::string input(octets, octets + size);
    checkAnything(input);
    const Zeb_String text = wideText(input);
    checkWords(text);
    if (isKept(text)) checkField(text);
    return 0;
}
