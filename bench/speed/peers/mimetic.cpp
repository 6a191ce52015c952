// SPDX-License-Identifier: Apache-2.0
// The works of the speed benchmark, done by mimetic, which converts no text and decodes no words.
#include <mimetic/mimetic.h>

#include <iterator>

#include "bench/speed/driver.h"

namespace {

// ==== encodings

template <typename Codec>
std::string converted(const std::string& octets, std::size_t room, Codec codec) {
    std::string result;
    result.reserve(room);
    mimetic::code(octets.begin(), octets.end(), codec, std::back_inserter(result));
    return result;
}

template <typename Codec, int room>
Task convert(const Records& records) {
    return [&octets = records.front()](Sink& sink) {
        sink.take("result", converted(octets, octets.size() * room, Codec()));
    };
}

// ==== parsing

class Reading {
  public:
    explicit Reading(Sink& sink) : sink_(sink) {}

    void readMessage(const mimetic::MimeEntity& message) {
        const mimetic::Header& header = message.header();
        sink_.take("subject", header.subject());
        for (const mimetic::Mailbox& mailbox : header.from()) readMailbox(mailbox);
        for (const mimetic::Address& address : header.to()) readMailbox(address.mailbox());
        for (const mimetic::Address& address : header.cc()) readMailbox(address.mailbox());
        sink_.take("headers", header.size());
        entities_ = 0;
        readEntity(message);
        sink_.take("entities", entities_);
    }

  private:
    void readMailbox(const mimetic::Mailbox& mailbox) {
        sink_.take("name", mailbox.label());
        sink_.take("address", mailbox.mailbox() + "@" + mailbox.domain());
    }

    void readEntity(const mimetic::MimeEntity& entity) {
        ++entities_;
        const mimetic::ContentType& type = entity.header().contentType();
        if (type.isMultipart())
            for (const mimetic::MimeEntity* const part : entity.body().parts()) readEntity(*part);
        else
            readLeaf(entity, type.type() == "text" ? "text" : "binary");
    }

    void readLeaf(const mimetic::MimeEntity& entity, std::string_view field) {
        const std::string& body = entity.body();
        const mimetic::istring encoding = entity.header().contentTransferEncoding().mechanism();
        if (encoding == "base64")
            sink_.take(field, converted(body, body.size(), mimetic::Base64::Decoder()));
        else if (encoding == "quoted-printable")
            sink_.take(field, converted(body, body.size(), mimetic::QP::Decoder()));
        else
            sink_.take(field, body);
    }

    Sink& sink_;
    std::size_t entities_ = 0;
};

Task parse(const Records& messages) {
    return [&messages](Sink& sink) {
        Reading reading(sink);
        for (const std::string& octets : messages) {
            const mimetic::MimeEntity message(octets.begin(), octets.end());
            reading.readMessage(message);
        }
    };
}

}  // namespace

Works works() {
    return {{"parse", parse},
            {"base64_encode", convert<mimetic::Base64::Encoder, 2>},
            {"base64_decode", convert<mimetic::Base64::Decoder, 1>},
            {"quoted_encode", convert<mimetic::QP::Encoder, 3>},
            {"quoted_decode", convert<mimetic::QP::Decoder, 1>}};
}
