// SPDX-License-Identifier: Apache-2.0
// The works of the speed benchmark, done by POCO, which takes apart the outermost multipart only,
// reads no recipients and converts no text.
#include <Poco/Base64Decoder.h>
#include <Poco/Base64Encoder.h>
#include <Poco/MemoryStream.h>
#include <Poco/Net/MailMessage.h>
#include <Poco/Net/MailRecipient.h>
#include <Poco/Net/PartHandler.h>
#include <Poco/Net/QuotedPrintableDecoder.h>
#include <Poco/Net/QuotedPrintableEncoder.h>
#include <Poco/StreamCopier.h>

#include <memory>
#include <sstream>

#include "bench/speed/driver.h"

namespace {

using Poco::Net::MailMessage;
using Poco::Net::MailRecipient;

// ==== parsing

class Leaves : public Poco::Net::PartHandler {
  public:
    explicit Leaves(Sink& sink) : sink_(sink) {}

    void handlePart(const Poco::Net::MessageHeader& header, std::istream& in) override {
        std::string octets;
        Poco::StreamCopier::copyToString(in, octets);
        const bool isText = header.get("Content-Type", "text/plain").starts_with("text/");
        sink_.take(isText ? "text" : "binary", octets);
        ++count;
    }

    std::size_t count = 0;

  private:
    Sink& sink_;
};

Task parse(const Records& messages) {
    return [&messages](Sink& sink) {
        for (const std::string& octets : messages) {
            Poco::MemoryInputStream in(octets.data(), static_cast<std::streamsize>(octets.size()));
            Leaves leaves(sink);
            MailMessage message;
            message.read(in, leaves);
            if (!message.isMultipart()) sink.take("text", message.getContent());
            sink.take("subject", message.getSubject());
            sink.take("name", message.getSender());
            sink.take("headers", message.size());
            sink.take("entities", leaves.count + 1);
        }
    };
}

// ==== encodings

template <typename Encoder>
Task encode(const Records& records) {
    const auto room = std::make_shared<std::string>(records.front().size() * 3 + 100, '\0');
    return [&octets = records.front(), room](Sink& sink) {
        Poco::MemoryOutputStream out(room->data(), static_cast<std::streamsize>(room->size()));
        Encoder encoder(out);
        encoder.write(octets.data(), static_cast<std::streamsize>(octets.size()));
        encoder.close();
        sink.take("result",
                  std::string_view(room->data(), static_cast<std::size_t>(out.charsWritten())));
    };
}

template <typename Decoder>
Task decode(const Records& records) {
    const auto room = std::make_shared<std::string>(records.front().size(), '\0');
    return [&octets = records.front(), room](Sink& sink) {
        Poco::MemoryInputStream in(octets.data(), static_cast<std::streamsize>(octets.size()));
        Decoder decoder(in);
        decoder.read(room->data(), static_cast<std::streamsize>(room->size()));
        sink.take("result",
                  std::string_view(room->data(), static_cast<std::size_t>(decoder.gcount())));
    };
}

Task encodeWords(const Records& subjects) {
    return [&subjects](Sink& sink) {
        for (const std::string& text : subjects)
            sink.take("subject", MailMessage::encodeWord(text, "UTF-8"));
    };
}

// ==== composing

MailRecipient recipientOf(MailRecipient::RecipientType type, const std::string* records) {
    return {type, records[0], MailMessage::encodeWord(records[1], "UTF-8")};
}

/// The twelve records of a mail.
std::string composeMail(const std::string* from) {
    MailMessage message;
    message.setSender(MailMessage::encodeWord(from[1], "UTF-8") + " <" + from[0] + ">");
    for (int i = 2; i < 8; i += 2)
        message.addRecipient(recipientOf(MailRecipient::PRIMARY_RECIPIENT, from + i));
    message.addRecipient(recipientOf(MailRecipient::CC_RECIPIENT, from + 8));
    message.setSubject(MailMessage::encodeWord(from[10], "UTF-8"));
    message.setContentType("text/plain; charset=UTF-8");
    message.setContent(from[11], MailMessage::ENCODING_QUOTED_PRINTABLE);
    std::ostringstream out;
    message.write(out);
    return out.str();
}

Task compose(const Records& records) {
    return [&records](Sink& sink) {
        for (std::size_t i = 0; i < records.size(); i += 12)
            sink.take("mail", composeMail(&records[i]));
    };
}

}  // namespace

Works works() {
    return {{"parse", parse},
            {"base64_encode", encode<Poco::Base64Encoder>},
            {"base64_decode", decode<Poco::Base64Decoder>},
            {"quoted_encode", encode<Poco::Net::QuotedPrintableEncoder>},
            {"quoted_decode", decode<Poco::Net::QuotedPrintableDecoder>},
            {"words_encode", encodeWords},
            {"compose", compose}};
}
