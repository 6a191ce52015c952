// SPDX-License-Identifier: Apache-2.0
// Address lists and the lexer below them.
#include <algorithm>

#include "fuzz/support/fuzzing.h"
#include "inet/rfc2822decoder.utf16.h"

namespace {

bool isLast(unsigned kind) {
    return kind == RFC2822TokenKind::End || kind == RFC2822TokenKind::Error;
}

void checkTokens(const std::string& text, bool mimeMode) {
    RFC2822Lexer lexer(text, mimeMode);
    Zeb_String all;
    Zeb_String token;
    std::size_t count = 0;
    unsigned kind = 0;
    while (!isLast(kind = lexer.nextToken(token, false))) {
        require(++count <= text.size(), "every token takes an octet");
        all.Append(token);
    }
    require(kind == lexer.nextToken(token, true) || kind == RFC2822TokenKind::Error,
            "the end stays the end");
    if (isAscii(text) && text.find_first_of("\"(") == std::string::npos &&
        text.find("=?") == std::string::npos)
        require(all == wideText(text), "tokens without quotes are the text");
}

bool isAtom(const std::string& text) {
    return !text.empty() && isPlainText(text) && std::all_of(text.begin(), text.end(), [](char c) {
        return c > ' ' && c <= '~' &&
               std::string_view("()<>@,;:\\\"[]").find(c) == std::string_view::npos;
    });
}

/// "NAME" <"LOCAL"@DOMAIN>; empty when there is no such form.
std::string written(const RFC2822Address& address) {
    const std::string whole = utf8(address.getSMTPAddress());
    const std::string name = utf8(address.getName());
    const std::size_t at = whole.rfind('@');
    const std::string local = whole.substr(0, at);
    const std::string domain = whole.substr(at + 1);
    if (!isPlainText(name) || !isPlainText(local) || !isAtom(domain)) return {};
    return (name.empty() ? "" : quoted(name)) + " <" + quoted(local) + '@' + domain + '>';
}

bool isSame(const RFC2822Address& a, const RFC2822Address& b) {
    return a.getName() == b.getName() && a.getSMTPAddress() == b.getSMTPAddress();
}

void checkWritten(const RFC2822Address& address) {
    const std::string text = written(address);
    if (text.empty()) return;
    const auto again = RFC2822Address::parseAddresses(text + ", " + text);
    require(again.size() == 2, "a list that is written reads back whole");
    require(isSame(again[0], address) && isSame(again[1], address), "what is written reads back");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size) {
    const std::string text(octets, octets + size);
    checkTokens(text, false);
    checkTokens(text, true);
    const auto addresses = RFC2822Address::parseAddresses(text);
    const auto commas = static_cast<std::size_t>(std::count(text.begin(), text.end(), ','));
    require(addresses.size() <= commas + 1, "commas part addresses");
    if (!addresses.empty())
        require(isSame(addresses.front(), RFC2822Address(text)), "the first is that of the list");
    for (const RFC2822Address& address : addresses) {
        require(address.getSMTPAddress().Find(u"@") >= 0, "an address has both parts");
        checkWritten(address);
    }
    return 0;
}
