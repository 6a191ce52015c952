// SPDX-License-Identifier: Apache-2.0
#include "tools/vtmail/page.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>

#include "tools/vtmail/page_mail.h"

namespace page {
namespace {

using Arrivals = std::vector<sandbox::Arrival>;
using Segments = std::vector<std::string_view>;

constexpr std::size_t mailsOnAPage = 100;
/// Octets of a mail in which the list looks for its header fields.
constexpr std::size_t mostHeader = 64 << 10;
constexpr std::size_t longestInList = 200;

// ---- the list

/// The octets up to the first blank line.
std::string_view headerOf(std::string_view mail) {
    mail = mail.substr(0, mostHeader);
    const std::size_t end = mail.find("\r\n\r\n");
    return end == std::string_view::npos ? mail : mail.substr(0, end + 2);
}

std::string recipientsOf(const sandbox::Message& message) {
    if (message.recipients.empty()) return {};
    const std::string first = shortened(message.recipients.front(), longestInList);
    const std::size_t others = message.recipients.size() - 1;
    return others == 0 ? first : first + " and " + std::to_string(others) + " more";
}

std::string orElse(const std::string& text, const std::string& other) {
    return shortened(text.empty() ? other : text, longestInList);
}

void addRow(Html& out, const sandbox::Arrival& mail) {
    const std::unique_ptr<GuardedMessage> header = decoded(headerOf(mail.message->data));
    out << "<tr><th scope=\"row\" dir=\"auto\"><a href=\"/mails/" << mail.number << "\">"
        << oneLine(orElse(fieldOf(*header, u"Subject"), noSubject))
        << "</a></th><td data-name=\"From\" dir=\"auto\">"
        << oneLine(orElse(fieldOf(*header, u"From"), "<" + mail.message->sender + ">"))
        << "</td><td data-name=\"To\">" << oneLine(recipientsOf(*mail.message))
        << "</td><td data-name=\"Arrived\">" << timeElement(mail.time)
        << "</td><td data-name=\"Octets\" class=\"number\">" << mail.message->data.size()
        << "</td></tr>\n";
}

void addTable(Html& out, Arrivals::const_iterator begin, Arrivals::const_iterator end) {
    out << "<table class=\"mails\">\n<thead>\n<tr><th scope=\"col\">Subject</th>"
           "<th scope=\"col\" class=\"from\">From</th><th scope=\"col\" class=\"to\">To</th>"
           "<th scope=\"col\" class=\"arrived\">Arrived</th>"
           "<th scope=\"col\" class=\"number\">Octets</th></tr>\n</thead>\n<tbody>\n";
    while (end != begin) addRow(out, *--end);
    out << "</tbody>\n</table>\n";
}

void addHint(Html& out, const Site& site) {
    const std::string host =
        site.address.find(':') == std::string::npos ? site.address : "[" + site.address + "]";
    const std::string place = host + ":" + std::to_string(site.smtpPort);
    out << "<p>No mail has arrived yet. Send one by SMTP to " << oneLine(site.address) << ", port "
        << std::size_t{site.smtpPort} << ", for example so:</p>\n<pre>"
        << "printf 'Subject: Hello\\n\\nIt works.\\n' | curl --crlf --upload-file - \\\n"
           "    --mail-from me@example.org --mail-rcpt you@example.org smtp://"
        << oneLine(place) << "</pre>\n<p>Then <a href=\"/\">look again</a>.</p>\n";
}

/// The mails up to `end`, as many as a page holds.
Reply listReply(const Site& site, const Arrivals& mails, Arrivals::const_iterator end) {
    Html out;
    out << "<h1>Mails</h1>\n";
    if (mails.empty()) {
        addHint(out, site);
        return htmlReply("No mails", out);
    }
    const auto count = std::min<std::ptrdiff_t>(end - mails.begin(), mailsOnAPage);
    out << "<p class=\"quiet\">" << mails.size() << " in all, newest first. <a href=\"/\">"
        << (end == mails.end() ? Markup("Look again") : Markup("To the newest")) << "</a></p>\n";
    addTable(out, end - count, end);
    if (end - count != mails.begin())
        out << "<nav aria-label=\"Older\"><a href=\"/before/" << (end - count)->number
            << "\">Older mails</a></nav>\n";
    return htmlReply("Mails (" + std::to_string(mails.size()) + ")", out);
}

// ---- the way to a page

Reply notFound() {
    return problemReply(404, "Not found", "There is no such page, or no such mail or part of one.");
}

Segments segmentsOf(std::string_view path) {
    Segments segments;
    while (!path.empty()) {
        path.remove_prefix(1);  // the slash
        segments.push_back(path.substr(0, path.find('/')));
        path.remove_prefix(segments.back().size());
    }
    return segments;
}

Arrivals::const_iterator find(const Arrivals& mails, std::string_view number) {
    std::size_t wanted = 0;  // stays, or is not written that way, where there is no number
    std::from_chars(number.data(), number.data() + number.size(), wanted);
    const auto found = std::ranges::lower_bound(mails, wanted, {}, &sandbox::Arrival::number);
    return found != mails.end() && std::to_string(found->number) == number ? found : mails.end();
}

Reply partOf(const sandbox::Arrival& mail, std::string_view path, bool isFile) {
    const std::unique_ptr<GuardedMessage> message = decoded(mail.message->data);
    const std::vector<Entity> all = entitiesOf(*message);
    const auto part = std::ranges::find(all, path, &Entity::path);
    if (part == all.end() || (isFile && !isLeaf(*part))) return notFound();
    return isFile ? partFileReply(*part) : partReply(mail, *part);
}

/// What `rest` names of a mail: the segments behind its number.
Reply replyOfMail(const Arrivals& mails, Arrivals::const_iterator mail, const Segments& rest) {
    if (rest.empty())
        return mailReply(*mail,
                         {.hasOlder = mail != mails.begin(), .hasNewer = mail + 1 != mails.end()});
    if (rest == Segments{"raw"}) return rawReply(*mail);
    if (rest == Segments{"file"})
        return fileReply("message-" + std::to_string(mail->number) + ".eml", mail->message->data);
    const bool isFile = rest.size() == 3 && rest[2] == "file";
    if (rest[0] == "parts" && (rest.size() == 2 || isFile)) return partOf(*mail, rest[1], isFile);
    return notFound();
}

}  // namespace

Reply replyTo(const Site& site, const std::string& path) {
    if (path == "/page.css") return {200, "text/css; charset=utf-8", std::string(styleSheet())};
    const Arrivals mails = site.mails();
    if (path == "/") return listReply(site, mails, mails.end());
    const Segments segments = segmentsOf(path);
    if (segments.size() == 2 && segments[0] == "before" && find(mails, segments[1]) != mails.end())
        return listReply(site, mails, find(mails, segments[1]));
    if (segments.size() >= 2 && segments[0] == "mails")
        if (const auto mail = find(mails, segments[1]); mail != mails.end())
            return replyOfMail(mails, mail, {segments.begin() + 2, segments.end()});
    return notFound();
}

}  // namespace page
