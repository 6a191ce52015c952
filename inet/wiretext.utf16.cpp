// SPDX-License-Identifier: Apache-2.0
#include "inet/wiretext.utf16.h"

#include <algorithm>
#include <string_view>

namespace {
constexpr AdDiagnosticId mailDiagnostics = 11;
}  // namespace

bool asciiOctets(const Zeb_String& text, std::string& octets) {
    AdMbcsString ascii;
    const bool hasForm = ascii.cvtFromTchar(AdCharset::getASCIICharset(), text, 0);
    octets = ascii.getString();  // empty without a form
    return hasForm;
}

bool oneLineOctets(const Zeb_String& text, std::string& octets) {
    const auto breaksLine = [](char c) { return c == '\r' || c == '\n' || c == '\0'; };
    if (!asciiOctets(text, octets)) return false;
    if (std::none_of(octets.begin(), octets.end(), breaksLine)) return true;
    octets.clear();
    return false;
}

void removeTrailingBlanks(std::string& line) { line.resize(withoutTrailingBlanks(line).size()); }

bool isReporting() {
    return AdDiagnostic::m_DiagnosticFlags[mailDiagnostics] != 0 &&
           AdDiagnostic::IsEnabled(mailDiagnostics) != 0;
}

void reportLine(const char16_t* tag, const char16_t* format, const std::string& line) {
    if (!isReporting()) return;
    Zeb_String wide;
    AdMbcsString::cvtToTchar(AdCharset::getASCIICharset(), line.data(), line.size(), wide, 0);
    if (!isReporting()) return;  // it may have been switched off meanwhile
    Zeb_String text;
    text.Format(format, wide);
    AdDiagnostic::Report(tag, text);
}
