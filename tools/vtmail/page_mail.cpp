// SPDX-License-Identifier: Apache-2.0
#include "tools/vtmail/page_mail.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <istream>
#include <streambuf>
#include <utility>
#include <vector>

#include "tools/vtmail/file_names.h"
#include "tools/vtmail/text.h"

namespace page {
namespace {

/// Octets of text on one page; who wants more downloads it.
constexpr std::size_t mostText = 256 << 10;
/// Entities in the tree of one page.
constexpr std::size_t mostParts = 500;
constexpr std::size_t mostRecipients = 100;

/// Reads octets where they are.
class MemorySource : public std::streambuf {
  public:
    explicit MemorySource(std::string_view octets) {
        char* const begin = const_cast<char*>(octets.data());  // never written to
        setg(begin, begin, begin + octets.size());
    }
};

// ---- times

std::string formatted(const std::tm& time, const char* format) {
    std::array<char, 64> text;
    return {text.data(), std::strftime(text.data(), text.size(), format, &time)};
}

// ---- header fields

void addField(Html& out, const Html& name, const Html& value) {
    out << "<tr><th scope=\"row\">" << name << "</th><td dir=\"auto\">" << value << "</td></tr>\n";
}

void addField(Html& out, Markup name, const std::string& value) {
    Html label;
    addField(out, label << name, oneLine(value));
}

void addHeaderFields(Html& out, const MIMEDecoder& entity) {
    out << "<table class=\"fields\">\n<tbody>\n";
    for (const auto& [name, raw] : entity.getHeaders())
        for (const std::string& value : fieldValues(raw))
            addField(out, oneLine(toUtf8(name)), oneLine(value));
    out << "</tbody>\n</table>\n";
}

void addMainFields(Html& out, const MIMEDecoder& entity) {
    struct Field {
        Markup label;
        const char16_t* name;
    };
    const Field fields[] = {
        {"Date", u"Date"}, {"From", u"From"}, {"Sender", u"Sender"}, {"To", u"To"}, {"Cc", u"Cc"}};
    for (const auto& [label, name] : fields)
        for (const std::string& value : fieldValues(entity.getRawHeader(name)))
            addField(out, label, value);
}

Html recipientsOf(const sandbox::Message& message) {
    Html out;
    const std::size_t count = std::min(message.recipients.size(), mostRecipients);
    for (std::size_t i = 0; i < count; ++i)
        out << (i == 0 ? Markup("") : Markup("<br>")) << oneLine("<" + message.recipients[i] + ">");
    if (count < message.recipients.size())
        out << "<br>and " << message.recipients.size() - count << " more";
    return out;
}

void addEnvelope(Html& out, const sandbox::Arrival& mail) {
    addField(out, "Envelope sender", "<" + mail.message->sender + ">");
    Html label;
    addField(out, label << "Envelope recipients", recipientsOf(*mail.message));
    Html arrived;
    addField(out, arrived << "Arrived", timeElement(mail.time));
    addField(out, "Size", std::to_string(mail.message->data.size()) + " octets");
}

// ---- texts

void addText(Html& out, std::string_view text) {
    out << "<pre dir=\"auto\">" << manyLines(beginning(text, mostText)) << "</pre>\n";
    if (text.size() > mostText)
        out << "<p class=\"quiet\">Only the beginning is shown; download it to see all.</p>\n";
}

/// Adds the text of an entity, and takes from `left` what of it was shown.
void addTextOf(Html& out, const Entity& entity, std::size_t& left) {
    std::string text;
    writeText(entity, [&text](std::string_view piece) {
        if (text.size() <= mostText) text += piece;
    });
    if (typeOf(entity) == "text/html")
        out << "<p class=\"quiet\">This is HTML; its source text is shown, nothing of it is run or "
               "loaded.</p>\n";
    addText(out, text);
    left -= std::min(left, text.size());
}

void addReadableTexts(Html& out, const GuardedMessage& message) {
    std::size_t left = mostText;
    for (const Entity& entity : readableTexts(message)) {
        if (left == 0) {
            out << "<p class=\"quiet\">There is more text in the parts below.</p>\n";
            return;
        }
        out << "<h2>Text " << oneLine(entity.path) << "</h2>\n";
        addTextOf(out, entity, left);
    }
}

// ---- entities

std::string fileNameFor(const Entity& part) {
    const std::string name = file_names::safe(fileNameOf(part));
    if (!name.empty()) return name;
    return "part-" + part.path + (part.decoder->isText() ? ".txt" : ".bin");
}

Html addressOf(const sandbox::Arrival& mail, const Entity& part) {
    Html address;
    return address << "/mails/" << mail.number << "/parts/" << oneLine(part.path);
}

void addDownload(Html& out, const sandbox::Arrival& mail, const Entity& part) {
    out << "<a href=\"" << addressOf(mail, part) << "/file\">Download part " << oneLine(part.path)
        << "</a>";
}

/// The entities of a mail as lists in lists.
class Tree {
  public:
    explicit Tree(const sandbox::Arrival& mail) : mail_(mail) {}

    void add(Html& out, const std::vector<Entity>& entities, Markup list = "<ul>") {
        if (entities.empty() || left_ == 0) return;
        out << list;
        for (const Entity& entity : entities) {
            if (left_ == 0) break;
            --left_;
            out << "<li>";
            addLabel(out, entity);
            add(out, childrenOf(entity));
            out << "</li>\n";
        }
        out << "</ul>\n";
    }

    bool isFull() const { return left_ == 0; }

  private:
    void addLabel(Html& out, const Entity& entity) const {
        out << "<a href=\"" << addressOf(mail_, entity) << "\">" << oneLine(entity.path) << "</a> "
            << oneLine(typeOf(entity));
        if (entity.decoder->isText()) out << ", " << oneLine(charsetOf(entity));
        if (!isLeaf(entity)) return;
        out << ", " << contentOf(entity).size() << " octets";
        if (const std::string name = fileNameOf(entity); !name.empty())
            out << ", <bdi>" << oneLine(name) << "</bdi>";
        out << " · ";
        addDownload(out, mail_, entity);
    }

    const sandbox::Arrival& mail_;
    std::size_t left_ = mostParts;
};

void addParts(Html& out, const sandbox::Arrival& mail, const std::vector<Entity>& entities) {
    Tree tree(mail);
    out << "<h2>Parts</h2>\n";
    tree.add(out, entities, "<ul class=\"tree\">");
    if (tree.isFull())
        out << "<p class=\"quiet\">There may be more parts than are shown here.</p>\n";
}

void addDefects(Html& out, const GuardedMessage& message) {
    if (message.getDefectCount() == 0) return;
    out << "<section class=\"defects\">\n<h2>Defects</h2>\n<ul>\n";
    for (const MIMEDefect& defect : message.getDefects())
        out << "<li>" << oneLine(defect.describe()) << "</li>\n";
    const std::size_t further = message.getDefectCount() - message.getDefects().size();
    if (further > 0) out << "<li>and " << further << " more</li>\n";
    out << "</ul>\n</section>\n";
}

// ---- whole pages

void addLinks(Html& out, const sandbox::Arrival& mail, const Place& place) {
    out << "<nav aria-label=\"Mail\">\n<a href=\"/\">All mails</a>\n";
    if (place.hasNewer) out << "<a href=\"/mails/" << mail.number + 1 << "\">Newer mail</a>\n";
    if (place.hasOlder) out << "<a href=\"/mails/" << mail.number - 1 << "\">Older mail</a>\n";
    out << "<a href=\"/mails/" << mail.number << "/raw\">Raw octets</a>\n<a href=\"/mails/"
        << mail.number << "/file\">Download</a>\n</nav>\n";
}

void addWayBack(Html& out, const sandbox::Arrival& mail) {
    out << "<nav aria-label=\"Mail\">\n<a href=\"/\">All mails</a>\n<a href=\"/mails/"
        << mail.number << "\">Mail " << mail.number << "</a>\n";
}

void addDescription(Html& out, const Entity& part) {
    out << "<table class=\"fields\">\n<tbody>\n";
    addField(out, "Type", typeOf(part));
    if (part.decoder->isText()) addField(out, "Charset", charsetOf(part));
    if (isLeaf(part)) addField(out, "Size", std::to_string(contentOf(part).size()) + " octets");
    if (const std::string name = fileNameOf(part); !name.empty()) addField(out, "File name", name);
    out << "</tbody>\n</table>\n";
}

}  // namespace

std::unique_ptr<GuardedMessage> decoded(std::string_view octets) {
    MemorySource source(octets);
    std::istream in(&source);
    return std::make_unique<GuardedMessage>(in);
}

std::string fieldOf(const GuardedMessage& message, const char16_t* name) {
    std::string all;
    for (const std::string& value :
         fieldValues(message.getMessage().getMessageEntity()->getRawHeader(name)))
        all += (all.empty() ? "" : ", ") + value;
    return all;
}

Html timeElement(std::chrono::system_clock::time_point time) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
    std::tm local = {};
    std::tm universal = {};
    localtime_r(&seconds, &local);
    gmtime_r(&seconds, &universal);
    Html html;
    return html << "<time datetime=\"" << oneLine(formatted(universal, "%Y-%m-%dT%H:%M:%SZ"))
                << "\">" << oneLine(formatted(local, "%Y-%m-%d %H:%M:%S")) << "</time>";
}

Reply mailReply(const sandbox::Arrival& mail, const Place& place) {
    const std::unique_ptr<GuardedMessage> message = decoded(mail.message->data);
    const MIMEDecoder& entity = *message->getMessage().getMessageEntity();
    const std::string given = fieldOf(*message, u"Subject");
    const std::string subject = given.empty() ? noSubject : given;
    Html out;
    addLinks(out, mail, place);
    out << "<h1 dir=\"auto\">" << oneLine(subject) << "</h1>\n<table class=\"fields\">\n<tbody>\n";
    addMainFields(out, entity);
    addEnvelope(out, mail);
    out << "</tbody>\n</table>\n";
    addDefects(out, *message);
    addReadableTexts(out, *message);
    addParts(out, mail, {rootOf(*message)});
    out << "<details>\n<summary>All header fields</summary>\n";
    addHeaderFields(out, entity);
    out << "</details>\n";
    return htmlReply(shortened(subject, 200), out);
}

Reply rawReply(const sandbox::Arrival& mail) {
    Html out;
    addWayBack(out, mail);
    out << "<a href=\"/mails/" << mail.number << "/file\">Download</a>\n</nav>\n<h1>Octets of mail "
        << mail.number << "</h1>\n";
    addText(out, mail.message->data);
    return htmlReply("Octets of mail " + std::to_string(mail.number), out);
}

Reply partReply(const sandbox::Arrival& mail, const Entity& part) {
    Html out;
    addWayBack(out, mail);
    if (isLeaf(part)) addDownload(out, mail, part);
    out << "</nav>\n<h1>Part number " << oneLine(part.path) << " of mail " << mail.number
        << "</h1>\n";
    addDescription(out, part);
    if (part.decoder->isText()) {
        std::size_t left = mostText;
        out << "<h2>Text</h2>\n";
        addTextOf(out, part, left);
    }
    if (!isLeaf(part)) addParts(out, mail, childrenOf(part));
    if (!part.decoder->getHeaders().empty()) {
        out << "<h2>Header fields</h2>\n";
        addHeaderFields(out, *part.decoder);
    }
    return htmlReply("Part number " + part.path + " of mail " + std::to_string(mail.number), out);
}

Reply partFileReply(const Entity& part) { return fileReply(fileNameFor(part), contentOf(part)); }

}  // namespace page
