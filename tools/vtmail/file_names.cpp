// SPDX-License-Identifier: Apache-2.0
#include "tools/vtmail/file_names.h"

#include "tools/vtmail/text.h"

namespace file_names {

namespace {

constexpr std::size_t longestExtension = 20;

bool isContinuation(char octet) { return (static_cast<unsigned char>(octet) & 0xC0) == 0x80; }

/// Octets of the first character.
std::size_t characterLength(std::string_view text) {
    std::size_t length = 1;
    while (length < text.size() && isContinuation(text[length])) ++length;
    return length;
}

/// The characters that a terminal shows as they are, each run of dots as one.
std::string withoutTricks(std::string_view text) {
    std::string kept;
    while (!text.empty()) {
        const std::string_view character = text.substr(0, characterLength(text));
        text.remove_prefix(character.size());
        const bool repeatsDot = character == "." && kept.ends_with('.');
        if (!repeatsDot && shown(character) == character) kept += character;
    }
    return kept;
}

/// Where the extension begins; the end when there is none to speak of.
std::size_t extensionStart(std::string_view name) {
    const std::size_t dot = name.rfind('.');
    const bool isExtension =
        dot != std::string_view::npos && dot != 0 && name.size() - dot <= longestExtension;
    return isExtension ? dot : name.size();
}

std::string shortened(const std::string& name) {
    if (name.size() <= longest) return name;
    const std::string extension = name.substr(extensionStart(name));
    std::size_t end = longest - extension.size();
    while (end > 0 && isContinuation(name[end])) --end;
    return name.substr(0, end) + extension;
}

}  // namespace

std::string safe(std::string_view name) {
    const std::size_t separator = name.find_last_of("/\\");
    if (separator != std::string_view::npos) name.remove_prefix(separator + 1);
    std::string kept = withoutTricks(name);
    kept.erase(0, kept.find_first_not_of(". -"));
    kept.erase(kept.find_last_not_of(". ") + 1);
    return shortened(kept);
}

std::string numbered(const std::string& name, unsigned number) {
    const std::size_t stem = extensionStart(name);
    return name.substr(0, stem) + "-" + std::to_string(number) + name.substr(stem);
}

}  // namespace file_names
