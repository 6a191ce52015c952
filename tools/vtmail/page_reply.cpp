// SPDX-License-Identifier: Apache-2.0
#include "tools/vtmail/page_reply.h"

#include <utility>

namespace page {

Reply htmlReply(std::string_view title, const Html& content) {
    return {200, "text/html; charset=utf-8", document(title, content)};
}

Reply fileReply(std::string name, std::string octets) {
    return {200, "application/octet-stream", std::move(octets), std::move(name)};
}

Reply problemReply(int status, Markup title, Markup sentence) {
    Html content;
    content << "<h1>" << title << "</h1>\n<p>" << sentence
            << "</p>\n<p><a href=\"/\">To the list of mails</a></p>\n";
    Reply reply = htmlReply(title.octets(), content);
    reply.status = status;
    return reply;
}

}  // namespace page
