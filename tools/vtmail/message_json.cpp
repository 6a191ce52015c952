// SPDX-License-Identifier: Apache-2.0
#include "tools/vtmail/message_json.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "tools/vtmail/message_view.h"
#include "tools/vtmail/text.h"

using nlohmann::json;

namespace {

json headersOf(const MIMEDecoder& entity) {
    json headers = json::object();
    for (const auto& [name, raw] : entity.getHeaders())
        headers[inSmallLetters(toUtf8(name))] = fieldValues(raw);
    return headers;
}

json addressesOf(const RFC2822Decoder& message, const char16_t* field) {
    json addresses = json::array();
    for (const RFC2822Address& address : message.parseAddressHeader(field))
        addresses.push_back(
            {{"name", toUtf8(address.getName())}, {"address", toUtf8(address.getSMTPAddress())}});
    return addresses;
}

const char* kindOf(const Entity& entity) {
    if (entity.decoder->isMultipart()) return "multipart";
    if (entity.decoder->isMessage()) return "message";
    return entity.decoder->isText() ? "text" : "binary";
}

json treeOf(const Entity& entity) {
    json node = {{"path", entity.path}, {"type", typeOf(entity)}, {"kind", kindOf(entity)}};
    if (const std::string name = fileNameOf(entity); !name.empty()) node["fileName"] = name;
    if (entity.decoder->isText()) node["charset"] = charsetOf(entity);
    if (const RFC2822Decoder* const message = entity.decoder->getMessageDecoder())
        node["headers"] = headersOf(*message->getMessageEntity());
    if (isLeaf(entity)) {
        node["size"] = contentOf(entity).size();
        return node;
    }
    json& parts = node["parts"] = json::array();
    for (const Entity& child : childrenOf(entity)) parts.push_back(treeOf(child));
    return node;
}

/// Blanks in front of a line for each level. A deep tree would consist of them.
int indentOf(const GuardedMessage& message) {
    constexpr std::ptrdiff_t deep = 12;
    const std::vector<Entity> all = entitiesOf(message);
    const bool isDeep = std::any_of(all.begin(), all.end(), [](const Entity& entity) {
        return std::count(entity.path.begin(), entity.path.end(), '.') > deep;
    });
    return isDeep ? 0 : 2;
}

json defectsOf(const GuardedMessage& message) {
    json defects = json::array();
    for (const MIMEDefect& defect : message.getDefects())
        defects.push_back({{"kind", defect.name()},
                           {"entity", defect.entity},
                           {"offset", defect.offset},
                           {"description", defect.describe()}});
    return defects;
}

}  // namespace

std::string toJson(const GuardedMessage& message) {
    const RFC2822Decoder& decoder = message.getMessage();
    const json all = {
        {"headers", headersOf(*decoder.getMessageEntity())},
        {"addresses",
         {{"from", addressesOf(decoder, u"From")},
          {"sender", addressesOf(decoder, u"Sender")},
          {"to", addressesOf(decoder, u"To")},
          {"cc", addressesOf(decoder, u"Cc")}}},
        {"tree", treeOf(rootOf(message))},
        {"defects", defectsOf(message)},
        {"defectCount", message.getDefectCount()},
    };
    // ASCII alone: control and direction characters of the mail are escapes in it.
    return all.dump(indentOf(message), ' ', /*ensure_ascii=*/true);
}
