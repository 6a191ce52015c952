// SPDX-License-Identifier: Apache-2.0
#include "tools/vtmail/text_pieces.h"

#include <algorithm>
#include <string>

#include "host/host.h"
#include "tools/vtmail/text.h"

namespace {

constexpr std::size_t pieceSize = 65536;
constexpr const char* familiesOfSingleOctets[] = {"ISO-8859-", "windows-125", "KOI8-"};

/// Where a piece at the start of UTF-8 ends. What follows does not belong to it: that begins a
/// character, or comes behind more octets 10xxxxxx than a character has.
std::size_t endOfPiece(std::string_view octets) {
    if (octets.size() <= pieceSize) return octets.size();
    for (std::size_t end = pieceSize; end > pieceSize - 4; --end)
        if ((octets[end] & 0xC0) != 0x80) return end;
    return pieceSize;
}

/// Calls `take` with piece after piece until one returns false; whether none did.
template <typename Take>
bool forEachPiece(std::string_view octets, Take take) {
    while (!octets.empty()) {
        const std::size_t end = endOfPiece(octets);
        if (!take(octets.substr(0, end))) return false;
        octets.remove_prefix(end);
    }
    return true;
}

bool isUtf8(std::string_view octets) {
    return forEachPiece(octets, [](std::string_view piece) {
        Zeb_String text;
        return AdMbcsString::cvtToTchar(AdCharset::getUTF8Charset(), piece.data(), piece.size(),
                                        text, 0);
    });
}

/// Whether each octet is a character, whatever stands around it.
bool isOfSingleOctets(const std::string& name) {
    return std::any_of(std::begin(familiesOfSingleOctets), std::end(familiesOfSingleOctets),
                       [&name](const char* family) { return name.starts_with(family); });
}

}  // namespace

bool writeInPieces(std::string_view octets, const Zeb_String& charset,
                   const std::function<void(std::string_view)>& write) {
    AdCharset read(charset);
    std::string name = toUtf8(read.getMimeName());
    // Text of a charset that nobody knows is read as unlabelled text is.
    if (!read.isKnown() || name == "US-ASCII") {
        name = isUtf8(octets) ? "UTF-8" : "windows-1252";
        read = AdCharset(fromUtf8(name, "the charset"));
    }
    if (name != "UTF-8" && !isOfSingleOctets(name)) return false;
    return forEachPiece(octets, [&](std::string_view piece) {
        Zeb_String text;
        AdMbcsString::cvtToTchar(read, piece.data(), piece.size(), text, 1);
        write(toUtf8(text));
        return true;
    });
}
