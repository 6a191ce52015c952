// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/entitydecoder/entity_fixtures.h"

#include <sstream>
#include <stdexcept>

#include "tests/support/wide_text.h"

namespace {

/// Wide text that is written to it.
class WideTarget : public std::basic_streambuf<unsigned short> {
  public:
    Zeb_String text() const { return Zeb_String::FromUnits(units_.data(), units_.size()); }

  protected:
    int_type overflow(int_type unit) override {
        units_ += static_cast<char16_t>(unit);
        return unit;
    }

  private:
    std::u16string units_;
};

/// Octets in one line, whatever they are.
std::string shown(const std::string& octets) {
    std::string text;
    for (const char octet : octets) {
        if (octet == '\n')
            text += "\\n";
        else if (octet == '\r')
            text += "\\r";
        else
            text += octet;
    }
    return '"' + text + '"';
}

void dumpEntity(MIMEDecoder& entity, const std::string& indent, std::string& out);

void dumpHeaders(const HeaderMap& headers, const std::string& indent, std::string& out) {
    for (const auto& [name, value] : headers)
        out += indent + utf8(name) + ": " + shown(value) + '\n';
}

void dumpContent(MIMEDecoder& entity, const std::string& indent, std::string& out) {
    if (entity.isText()) {
        const MIMETextDecoder& text = *entity.getTextDecoder();
        out += indent + "text " + utf8(text.getCharsetName()) + ' ' + shown(text.getBody()) + '\n';
    } else if (entity.isBinary()) {
        out += indent + "binary " + shown(entity.getBinaryDecoder()->getBody()) + '\n';
    } else if (entity.isMultipart()) {
        out += indent + "multipart\n";
        for (MIMEDecoder* part : partsOf(entity)) dumpEntity(*part, indent + "  ", out);
    } else {
        out += indent + "message\n";
        dumpEntity(*asMessage(entity).getMessageEntity(), indent + "  ", out);
    }
}

void dumpEntity(MIMEDecoder& entity, const std::string& indent, std::string& out) {
    dumpHeaders(entity.getHeaders(), indent, out);
    dumpContent(entity, indent, out);
}

}  // namespace

void ReleaseTree::operator()(MIMEDecoder* entity) const {
    if (entity->isText()) {
        delete entity->getTextDecoder();
    } else if (entity->isBinary()) {
        delete entity->getBinaryDecoder();
    } else if (entity->isMultipart()) {
        for (MIMEDecoder* part : partsOf(*entity)) operator()(part);
        delete entity->getMultipartDecoder();
    } else {
        operator()(asMessage(*entity).getMessageEntity());
        delete entity->getMessageDecoder();
    }
}

std::string crlf(const std::string& text) {
    std::string lines;
    for (const char octet : text) {
        if (octet == '\n') lines += '\r';
        lines += octet;
    }
    return lines;
}

std::string repeated(const std::string& text, std::size_t count) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i) all += text;
    return all;
}

HeaderMap headersOf(const std::string& text) {
    std::istringstream in(text);
    HeaderMap headers;
    MIMEDecoder::readHeaders(headers, in);
    return headers;
}

OwnedEntity entityOf(std::istream& in) { return OwnedEntity(MIMEDecoder::getDecoder(in)); }

OwnedEntity entityOf(const std::string& text) {
    std::istringstream in(text);
    return entityOf(in);
}

OwnedEntity messageOf(const std::string& text) {
    std::istringstream in(text);
    return OwnedEntity(new RFC2822Decoder(in));
}

RFC2822Decoder& asMessage(MIMEDecoder& entity) {
    if (!entity.isMessage()) throw std::logic_error("no message");
    return *entity.getMessageDecoder();
}

const std::vector<MIMEDecoder*>& partsOf(MIMEDecoder& entity) {
    if (!entity.isMultipart()) throw std::logic_error("no multipart");
    return entity.getMultipartDecoder()->getParts();
}

std::string bodyOf(MIMEDecoder& entity) {
    if (entity.isText()) return entity.getTextDecoder()->getBody();
    if (entity.isBinary()) return entity.getBinaryDecoder()->getBody();
    throw std::logic_error("no leaf");
}

std::vector<std::string> partBodies(MIMEDecoder& entity) {
    std::vector<std::string> bodies;
    for (MIMEDecoder* part : partsOf(entity)) bodies.push_back(bodyOf(*part));
    return bodies;
}

std::string textOf(MIMEDecoder& entity) {
    if (!entity.isText()) throw std::logic_error("no text");
    WideTarget target;
    std::basic_ostream<unsigned short> out(&target);
    out.exceptions(std::ios_base::badbit);  // a target that throws is not passed over
    entity.getTextDecoder()->getText(out);
    return utf8(target.text());
}

std::string dump(MIMEDecoder& entity) {
    std::string out;
    dumpEntity(entity, "", out);
    return out;
}

std::string dump(const RFC2822Decoder& message) {
    std::string out = "message\n";
    dumpEntity(*message.getMessageEntity(), "  ", out);
    return out;
}
