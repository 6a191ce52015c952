// SPDX-License-Identifier: Apache-2.0
#include "tests/support/wide_text.h"

#include "host/host.h"

void PrintTo(const Zeb_String& text, std::ostream* out) { *out << '"' << Printable(text) << '"'; }

Zeb_String wide(std::string_view utf8) {
    Zeb_String text;
    AdMbcsString::cvtToTchar(AdCharset::getUTF8Charset(), utf8.data(), utf8.size(), text, 1);
    return text;
}

std::string utf8(const Zeb_String& text) {
    AdMbcsString octets;
    octets.cvtFromTchar(AdCharset::getUTF8Charset(), text, 1);
    return octets.getString();
}
