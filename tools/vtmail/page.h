// SPDX-License-Identifier: Apache-2.0
// The page on which to look at what has arrived in the sandbox. It works without scripts, and
// nothing that a mail brings is run or loaded by it: HTML is shown as its source text.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "sandbox/server.h"
#include "tools/vtmail/page_reply.h"

namespace page {

/// What the page tells of. `mails` may be called from any thread, and gives them by their numbers.
struct Site {
    std::string address;
    std::uint16_t smtpPort;
    std::function<std::vector<sandbox::Arrival>()> mails;
};

/// The answer to a request for `path`, which begins with a slash:
///
///     /, /before/N             the list, newest first; the mails before mail N
///     /mails/N                 one mail: header fields, defects, text, parts
///     /mails/N/raw             its octets, to be looked at
///     /mails/N/file            its octets, to be stored
///     /mails/N/parts/P         one entity of it, P as in "1.2"
///     /mails/N/parts/P/file    the content of one without parts, to be stored
///     /page.css                the style of all pages
///
/// Any other path is answered 404. Takes time and memory in proportion to the mail; what it shows
/// of long texts and of many parts is limited. Throws std::bad_alloc.
Reply replyTo(const Site& site, const std::string& path);

}  // namespace page
