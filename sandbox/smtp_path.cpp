// SPDX-License-Identifier: Apache-2.0
// Each take...() removes from the front of `text` what it is named after and returns it; none
// when that is not there, and then `text` is of no use any more.
#include "sandbox/smtp_path.h"

#include <algorithm>

#include "sandbox/ascii.h"

namespace sandbox {
namespace {

using Text = std::optional<std::string>;

bool isAtomOctet(char octet) {
    return isLetterOrDigit(octet) ||
           std::string_view("!#$%&'*+-/=?^_`{|}~").find(octet) != std::string_view::npos;
}

bool isPrintable(char octet) { return octet >= ' ' && octet <= '~'; }

bool takeOctet(std::string_view& text, char octet) {
    if (!text.starts_with(octet)) return false;
    text.remove_prefix(1);
    return true;
}

/// One or more octets of a kind.
template <typename Kind>
Text takeAll(std::string_view& text, Kind isOfKind) {
    const auto end = std::find_if_not(text.begin(), text.end(), isOfKind);
    const std::string taken(text.begin(), end);
    text.remove_prefix(taken.size());
    return taken.empty() ? std::nullopt : Text(taken);
}

/// Words of octets of a kind with single dots between them.
template <typename Kind>
Text takeDotted(std::string_view& text, Kind isOfKind) {
    Text taken = takeAll(text, [&](char octet) { return isOfKind(octet) || octet == '.'; });
    const bool isWellFormed = taken && !taken->starts_with('.') && !taken->ends_with('.') &&
                              taken->find("..") == std::string::npos;
    return isWellFormed ? taken : std::nullopt;
}

Text takeQuotedString(std::string_view& text) {
    std::size_t at = 1;
    while (at < text.size() && text[at] != '"') {
        if (text[at] == '\\') ++at;
        if (at == text.size() || !isPrintable(text[at])) return std::nullopt;
        ++at;
    }
    if (at >= text.size()) return std::nullopt;
    std::string taken(text.substr(0, at + 1));
    text.remove_prefix(taken.size());
    return taken;
}

/// A literal such as [127.0.0.1].
Text takeAddressLiteral(std::string_view& text) {
    std::string taken(text.substr(0, text.find(']')));
    text.remove_prefix(taken.size());
    const bool isWellFormed = taken.size() > 1 && taken.find_first_of("[ ", 1) == taken.npos &&
                              std::all_of(taken.begin(), taken.end(), isPrintable);
    return isWellFormed && takeOctet(text, ']') ? Text(taken + ']') : std::nullopt;
}

Text takeDomain(std::string_view& text) {
    if (text.starts_with('[')) return takeAddressLiteral(text);
    return takeDotted(text, [](char octet) { return isLetterOrDigit(octet) || octet == '-'; });
}

Text takeMailbox(std::string_view& text) {
    Text local = text.starts_with('"') ? takeQuotedString(text) : takeDotted(text, isAtomOctet);
    if (!local) return std::nullopt;
    if (!takeOctet(text, '@')) return isSameName(*local, "postmaster") ? local : std::nullopt;
    const Text domain = takeDomain(text);
    return domain ? Text(*local + '@' + *domain) : std::nullopt;
}

/// "@one.example,@two.example:" in front of a mailbox; a server shall ignore it.
bool skipSourceRoute(std::string_view& text) {
    if (!text.starts_with('@')) return true;
    do {
        if (!takeOctet(text, '@') || !takeDomain(text)) return false;
    } while (takeOctet(text, ','));
    return takeOctet(text, ':');
}

Text takePath(std::string_view& text) {
    if (!takeOctet(text, '<')) return std::nullopt;
    if (takeOctet(text, '>')) return "";
    if (!skipSourceRoute(text)) return std::nullopt;
    const Text mailbox = takeMailbox(text);
    return mailbox && takeOctet(text, '>') ? mailbox : std::nullopt;
}

std::optional<SmtpParameter> takeParameter(std::string_view& text) {
    if (!takeOctet(text, ' ')) return std::nullopt;
    Text keyword = takeAll(text, [](char octet) { return isLetterOrDigit(octet) || octet == '-'; });
    if (!keyword) return std::nullopt;
    std::transform(keyword->begin(), keyword->end(), keyword->begin(), upper);
    if (!takeOctet(text, '=')) return SmtpParameter{*keyword, std::nullopt};
    const Text value = takeAll(
        text, [](char octet) { return isPrintable(octet) && octet != ' ' && octet != '='; });
    if (!value) return std::nullopt;
    return SmtpParameter{*keyword, value};
}

}  // namespace

std::optional<SmtpPath> parseSmtpPath(std::string_view keyword, std::string_view text) {
    if (!isSameName(text.substr(0, keyword.size()), keyword)) return std::nullopt;
    text.remove_prefix(keyword.size());
    const Text mailbox = takePath(text);
    if (!mailbox) return std::nullopt;
    SmtpPath path{*mailbox, {}};
    while (!text.empty()) {
        auto parameter = takeParameter(text);
        if (!parameter) return std::nullopt;
        path.parameters.push_back(std::move(*parameter));
    }
    return path;
}

}  // namespace sandbox
