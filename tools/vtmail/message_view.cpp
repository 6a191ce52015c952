// SPDX-License-Identifier: Apache-2.0
#include "tools/vtmail/message_view.h"

#include <algorithm>
#include <functional>
#include <sstream>

#include "tools/vtmail/failure.h"
#include "tools/vtmail/text.h"

namespace {

bool isAttachment(const Entity& entity) {
    const MIMEHeaderValue disposition =
        entity.decoder->getMIMEHeader(u"Content-Disposition", "inline");
    return disposition.getValue().CompareNoCase(u"attachment") == 0;
}

void appendTree(const Entity& entity, std::vector<Entity>& all) {
    all.push_back(entity);
    for (const Entity& child : childrenOf(entity)) appendTree(child, all);
}

}  // namespace

Entity rootOf(const GuardedMessage& message) {
    return {"1", message.getMessage().getMessageEntity()};
}

std::vector<Entity> childrenOf(const Entity& entity) {
    if (RFC2822Decoder* const message = entity.decoder->getMessageDecoder())
        return {{entity.path + ".1", message->getMessageEntity()}};
    std::vector<Entity> children;
    if (MIMEMultipartDecoder* const multipart = entity.decoder->getMultipartDecoder())
        for (MIMEDecoder* const part : multipart->getParts())
            children.push_back({entity.path + "." + std::to_string(children.size() + 1), part});
    return children;
}

std::vector<Entity> entitiesOf(const GuardedMessage& message) {
    std::vector<Entity> all;
    appendTree(rootOf(message), all);
    return all;
}

bool isLeaf(const Entity& entity) { return entity.decoder->isText() || entity.decoder->isBinary(); }

std::string typeOf(const Entity& entity) {
    const MIMEHeaderValue type = entity.decoder->getMIMEHeader(u"Content-Type", "text/plain");
    if (type.getValue().IsEmpty()) return "application/octet-stream";
    const std::string subtype = toUtf8(type.getSubvalue());
    return inSmallLetters(toUtf8(type.getValue()) + (subtype.empty() ? "" : "/" + subtype));
}

std::string charsetOf(const Entity& entity) {
    const MIMETextDecoder* const text = entity.decoder->getTextDecoder();
    return text != nullptr ? toUtf8(text->getCharsetName()) : std::string();
}

std::string fileNameOf(const Entity& entity) {
    const MIMEDecoder& decoder = *entity.decoder;
    const Zeb_String name =
        decoder.getMIMEHeader(u"Content-Disposition", "").getParameter(u"filename", u"");
    if (!name.IsEmpty()) return toUtf8(name);
    return toUtf8(decoder.getMIMEHeader(u"Content-Type", "").getParameter(u"name", u""));
}

const std::string& contentOf(const Entity& entity) {
    const MIMETextDecoder* const text = entity.decoder->getTextDecoder();
    return text != nullptr ? text->getBody() : entity.decoder->getBinaryDecoder()->getBody();
}

std::string textOf(const Entity& entity) {
    std::basic_stringbuf<unsigned short> buffer;
    std::basic_ostream<unsigned short> out(&buffer);
    try {
        entity.decoder->getTextDecoder()->getText(out);
    } catch (const Zeb_Range_Error&) {
        throw Failure(EX_DATAERR, "the text of entity " + entity.path + " is too long to convert");
    }
    const std::basic_string_view<unsigned short> units = buffer.view();
    return toUtf8(Zeb_String::FromUnits(units.data(), units.size()));
}

std::vector<Entity> readableTexts(const GuardedMessage& message) {
    std::vector<Entity> texts = entitiesOf(message);
    std::erase_if(texts, [](const Entity& entity) {
        return !entity.decoder->isText() || isAttachment(entity);
    });
    const auto isPlain = [](const Entity& entity) { return typeOf(entity) == "text/plain"; };
    if (std::any_of(texts.begin(), texts.end(), isPlain))
        std::erase_if(texts, std::not_fn(isPlain));
    else if (!texts.empty())
        texts.erase(texts.begin() + 1, texts.end());
    return texts;
}

std::vector<std::string> fieldValues(const std::string& raw) {
    std::vector<std::string> values;
    std::istringstream lines(raw);
    for (std::string line; std::getline(lines, line);)
        values.push_back(toUtf8(decodeRFC2047Words(line)));
    return values;
}

std::string shownText(std::string_view utf8) {
    std::string out;
    while (!utf8.empty()) {
        const std::size_t end = std::min(utf8.find_first_of("\n\t"), utf8.size());
        const char separator = end < utf8.size() ? utf8[end] : '\n';
        std::string_view piece = utf8.substr(0, end);
        if (separator == '\n' && piece.ends_with('\r')) piece.remove_suffix(1);
        out += shown(piece) + separator;
        utf8.remove_prefix(std::min(end + 1, utf8.size()));
    }
    if (!out.empty() && out.back() != '\n') out += '\n';
    return out;
}

std::string inSmallLetters(std::string text) {
    for (char& c : text)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return text;
}
