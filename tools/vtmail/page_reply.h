// SPDX-License-Identifier: Apache-2.0
// What the page answers, whatever carries it.
#pragma once

#include <string>
#include <string_view>

#include "tools/vtmail/page_html.h"

namespace page {

struct Reply {
    int status = 200;
    std::string type;
    std::string body;
    /// To be stored under this name, never shown; empty for what is to be shown.
    std::string fileName = {};
};

Reply htmlReply(std::string_view title, const Html& content);
/// Octets to be stored, whatever they are.
Reply fileReply(std::string name, std::string octets);
/// Says what is wrong, and leads back to the list.
Reply problemReply(int status, Markup title, Markup sentence);

}  // namespace page
