// SPDX-License-Identifier: Apache-2.0
#include "host/printable.h"

#include <array>
#include <cstdio>

#include "host/utf8.h"

namespace {

/// Whether showing the code point could do more than show a character: controls, separators of
/// lines and paragraphs, marks that turn the direction of text or annotate it, tags and the byte
/// order mark.
bool isUnsafe(char32_t codePoint) {
    const auto isWithin = [codePoint](char32_t first, char32_t last) {
        return codePoint >= first && codePoint <= last;
    };
    return codePoint < 0x20 || isWithin(0x7F, 0x9F) || codePoint == 0x061C ||
           isWithin(0x200E, 0x200F) || isWithin(0x2028, 0x202E) || isWithin(0x2066, 0x2069) ||
           codePoint == 0xFEFF || isWithin(0xFFF9, 0xFFFB) || isWithin(0xE0000, 0xE007F);
}

void appendEscape(std::string& out, char32_t codePoint) {
    std::array<char, 16> text;
    const char* format = codePoint < 0x100     ? "\\x%02X"
                         : codePoint < 0x10000 ? "\\u%04X"
                                               : "\\U%08X";
    const int length =
        std::snprintf(text.data(), text.size(), format, static_cast<unsigned>(codePoint));
    out.append(text.data(), static_cast<std::size_t>(length));
}

}  // namespace

std::string Printable(const Zeb_String& text) {
    std::string out;
    const unsigned short* units = text.GetBuffer();
    auto left = static_cast<std::size_t>(text.GetLength());
    while (left > 0) {
        const utf::Step step = utf::decodeUtf16(units, left);
        if (!step.isValid || isUnsafe(step.codePoint))
            appendEscape(out, step.codePoint);
        else
            utf::appendUtf8(out, step.codePoint);
        units += step.length;
        left -= step.length;
    }
    return out;
}
