// SPDX-License-Identifier: Apache-2.0
// The works of the speed benchmark, done by VMime.
#include <vmime/platforms/posix/posixHandler.hpp>
#include <vmime/utility/encoder/b64Encoder.hpp>
#include <vmime/utility/encoder/qpEncoder.hpp>
#include <vmime/vmime.hpp>

#include "bench/speed/driver.h"

namespace {

const vmime::charset utf8(vmime::charsets::UTF_8);

// ==== parsing

class Reading {
  public:
    explicit Reading(Sink& sink) : sink_(sink) {}

    void readMessage(const vmime::message& message) {
        const vmime::shared_ptr<const vmime::header> header = message.getHeader();
        const auto subject = header->findField("Subject")->getValue<const vmime::text>();
        sink_.take("subject", subject->getConvertedText(utf8));
        readMailbox(*header->findField("From")->getValue<const vmime::mailbox>());
        for (const char* const name : {"To", "Cc"})
            if (header->hasField(name))
                readList(*header->findField(name)->getValue<const vmime::addressList>());
        sink_.take("headers", header->getFieldCount());
        entities_ = 0;
        readEntity(message);
        sink_.take("entities", entities_);
    }

  private:
    void readMailbox(const vmime::mailbox& mailbox) {
        sink_.take("name", mailbox.getName().getConvertedText(utf8));
        sink_.take("address", mailbox.getEmail().toString());
    }

    void readList(const vmime::addressList& addresses) {
        const auto mailboxes = addresses.toMailboxList();
        for (std::size_t i = 0; i < mailboxes->getMailboxCount(); ++i)
            readMailbox(*mailboxes->getMailboxAt(i));
    }

    void readEntity(const vmime::bodyPart& entity) {
        ++entities_;
        const vmime::shared_ptr<const vmime::body> body = entity.getBody();
        const std::size_t count = body->getPartCount();
        for (std::size_t i = 0; i < count; ++i) readEntity(*body->getPartAt(i));
        if (count == 0) readLeaf(*body);
    }

    void readLeaf(const vmime::body& body) {
        std::string octets;
        vmime::utility::outputStreamStringAdapter out(octets);
        body.getContents()->extract(out);
        if (body.getContentType().getType() != vmime::mediaTypes::TEXT)
            return sink_.take("binary", octets);
        std::string text;
        vmime::charset::convert(octets, text, body.getCharset(), utf8);
        sink_.take("text", text);
    }

    Sink& sink_;
    std::size_t entities_ = 0;
};

Task parse(const Records& messages) {
    return [&messages](Sink& sink) {
        Reading reading(sink);
        for (const std::string& octets : messages) {
            const auto message = vmime::make_shared<vmime::message>();
            message->parse(octets);
            reading.readMessage(*message);
        }
    };
}

// ==== encodings

template <typename Encoder>
Task convert(const Records& records,
             std::size_t (Encoder::*work)(vmime::utility::inputStream&,
                                          vmime::utility::outputStream&,
                                          vmime::utility::progressListener*)) {
    return [&octets = records.front(), work](Sink& sink) {
        Encoder encoder;
        encoder.getProperties()["maxlinelength"] = 76;
        encoder.getProperties()["text"] = true;
        std::string result;
        result.reserve(octets.size() * 3 / 2);
        vmime::utility::inputStreamStringAdapter in(octets);
        vmime::utility::outputStreamStringAdapter out(result);
        (encoder.*work)(in, out, nullptr);
        sink.take("result", result);
    };
}

template <typename Encoder>
Task encode(const Records& records) {
    return convert<Encoder>(records, &Encoder::encode);
}

template <typename Encoder>
Task decode(const Records& records) {
    return convert<Encoder>(records, &Encoder::decode);
}

Task decodeWords(const Records& subjects) {
    return [&subjects](Sink& sink) {
        for (const std::string& octets : subjects)
            sink.take("subject", vmime::text::decodeAndUnfold(octets)->getConvertedText(utf8));
    };
}

Task encodeWords(const Records& subjects) {
    return [&subjects](Sink& sink) {
        for (const std::string& octets : subjects)
            sink.take("subject", vmime::text(octets, utf8).generate());
    };
}

// ==== composing

/// From an address and a name.
vmime::shared_ptr<vmime::mailbox> mailboxOf(const std::string* records) {
    return vmime::make_shared<vmime::mailbox>(vmime::text(records[1], utf8),
                                              vmime::emailAddress(records[0]));
}

/// The twelve records of a mail.
std::string composeMail(const std::string* from) {
    vmime::messageBuilder builder;
    builder.setExpeditor(*mailboxOf(from));
    for (int i = 2; i < 8; i += 2) builder.getRecipients().appendAddress(mailboxOf(from + i));
    builder.getCopyRecipients().appendAddress(mailboxOf(from + 8));
    builder.setSubject(vmime::text(from[10], utf8));
    const auto text = builder.getTextPart();
    text->setCharset(utf8);
    text->setText(vmime::make_shared<vmime::stringContentHandler>(from[11]));
    return builder.construct()->generate();
}

Task compose(const Records& records) {
    return [&records](Sink& sink) {
        for (std::size_t i = 0; i < records.size(); i += 12)
            sink.take("mail", composeMail(&records[i]));
    };
}

}  // namespace

Works works() {
    vmime::platform::setHandler<vmime::platforms::posix::posixHandler>();
    using Base64 = vmime::utility::encoder::b64Encoder;
    using Quoted = vmime::utility::encoder::qpEncoder;
    return {{"parse", parse},
            {"base64_encode", encode<Base64>},
            {"base64_decode", decode<Base64>},
            {"quoted_encode", encode<Quoted>},
            {"quoted_decode", decode<Quoted>},
            {"words_decode", decodeWords},
            {"words_encode", encodeWords},
            {"compose", compose}};
}
