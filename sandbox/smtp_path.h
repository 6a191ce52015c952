// SPDX-License-Identifier: Apache-2.0
// The arguments of MAIL and RCPT (RFC 5321 4.1.2).
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sandbox {

struct SmtpParameter {
    std::string keyword;               // in capitals
    std::optional<std::string> value;  // what follows "="
};

struct SmtpPath {
    std::string mailbox;  // without < and > and without a source route; empty for <>
    std::vector<SmtpParameter> parameters;
};

/// Reads "FROM:<a@b.example> SIZE=100", given `keyword` "FROM:"; its letters may be of either
/// case. None when the text is anything else: a space too many, a missing bracket, a mailbox
/// with octets above 0x7F or without a domain ("postmaster" excepted).
std::optional<SmtpPath> parseSmtpPath(std::string_view keyword, std::string_view text);

}  // namespace sandbox
