// SPDX-License-Identifier: Apache-2.0
#include "tests/interop/decoded_json.h"

#include <sstream>
#include <vector>

#include "inet/guardedmessage.utf16.h"
#include "inet/rfc2822decoder.utf16.h"
#include "tests/support/wide_text.h"

namespace {
using nlohmann::json;

json entityJson(MIMEDecoder& entity);

json addressJson(const RFC2822Address& address) {
    return {utf8(address.getName()), utf8(address.getSMTPAddress())};
}

json addressesJson(const std::vector<RFC2822Address>& addresses) {
    json all = json::array();
    for (const RFC2822Address& address : addresses) all.push_back(addressJson(address));
    return all;
}

json messageJson(const RFC2822Decoder& message) {
    return {{"subject", utf8(message.getSubject())},
            {"sender", addressJson(message.getSender())},
            {"from", addressesJson(message.parseAddressHeader(u"From"))},
            {"to", addressesJson(message.getTo())},
            {"cc", addressesJson(message.getCc())},
            {"tree", entityJson(*message.getMessageEntity())}};
}

/// JSON is text: each octet as the character of its number, in UTF-8.
std::string octetsJson(const std::string& octets) {
    std::string text;
    text.reserve(octets.size() * 2);
    for (const char c : octets) {
        const auto octet = static_cast<unsigned char>(c);
        if (octet >= 0x80) text += static_cast<char>(0xC0 | octet >> 6);
        text += static_cast<char>(octet < 0x80 ? octet : 0x80 | (octet & 0x3F));
    }
    return text;
}

std::string textJson(const MIMETextDecoder& decoder) {
    std::basic_ostringstream<unsigned short> out;
    decoder.getText(out);
    const std::basic_string<unsigned short> units = out.str();
    return utf8(Zeb_String::FromUnits(units.data(), units.size()));
}

std::string typeOf(const MIMEDecoder& entity) {
    const MIMEHeaderValue type = entity.getMIMEHeader(u"Content-Type", "text/plain");
    return utf8(type.getValue()) + "/" + utf8(type.getSubvalue());
}

std::string fileNameOf(const MIMEDecoder& entity) {
    const Zeb_String name = entity.getMIMEHeader(u"Content-Type", "").getParameter(u"name", u"");
    return utf8(entity.getMIMEHeader(u"Content-Disposition", "").getParameter(u"filename", name));
}

json entityJson(MIMEDecoder& entity) {
    json result = {{"type", typeOf(entity)}, {"file name", fileNameOf(entity)}};
    if (MIMEMultipartDecoder* const multipart = entity.getMultipartDecoder()) {
        result["parts"] = json::array();
        for (MIMEDecoder* const part : multipart->getParts())
            result["parts"].push_back(entityJson(*part));
    } else if (const RFC2822Decoder* const message = entity.getMessageDecoder()) {
        result["message"] = messageJson(*message);
    } else if (const MIMETextDecoder* const text = entity.getTextDecoder()) {
        result["octets"] = octetsJson(text->getBody());
        result["text"] = textJson(*text);
    } else {
        result["octets"] = octetsJson(entity.getBinaryDecoder()->getBody());
    }
    return result;
}

/// Decoders are destroyed as what they are, and do not own their children.
void release(MIMEDecoder* entity) {
    if (MIMEMultipartDecoder* const multipart = entity->getMultipartDecoder()) {
        for (MIMEDecoder* const part : multipart->getParts()) release(part);
        delete multipart;
    } else if (const RFC2822Decoder* const message = entity->getMessageDecoder()) {
        release(message->getMessageEntity());
        delete message;
    } else if (const MIMETextDecoder* const text = entity->getTextDecoder()) {
        delete text;
    } else {
        delete entity->getBinaryDecoder();
    }
}

json plainJson(const std::string& octets) {
    std::istringstream in(octets);
    const RFC2822Decoder message(in);
    json result = messageJson(message);
    release(message.getMessageEntity());
    return result;
}

}  // namespace

json decodedJson(const std::string& octets) {
    std::istringstream in(octets);
    const GuardedMessage guarded(in);
    json result = messageJson(guarded.getMessage());
    const bool isPlain = guarded.getDefectCount() > 0 || plainJson(octets) == result;
    result["plain"] = isPlain;
    result["defects"] = json::array();
    for (const MIMEDefect& defect : guarded.getDefects())
        result["defects"].push_back(defect.describe());
    return result;
}
