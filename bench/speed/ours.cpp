// SPDX-License-Identifier: Apache-2.0
// The works of the speed benchmark, done by this library.
#include <cstring>
#include <memory>
#include <ostream>

#include "bench/speed/driver.h"
#include "bench/speed/memory_source.h"
#include "inet/guardedmessage.utf16.h"
#include "inet/rfc2822encoder.utf16.h"
#include "inet/transferstream.utf16.h"

namespace {

void take(Sink& sink, std::string_view field, const Zeb_String& text) {
    sink.take(field, text.GetBuffer(), static_cast<std::size_t>(text.GetLength()));
}

Zeb_String wideOf(const std::string& octets) {
    Zeb_String text;
    AdMbcsString::cvtToTchar(AdCharset::getUTF8Charset(), octets.data(), octets.size(), text);
    return text;
}

// ==== parsing

/// Keeps the units of one text after the other, in a room that grows to the largest.
class TextRoom : public std::basic_streambuf<unsigned short> {
  public:
    void empty() { units_.clear(); }
    const std::basic_string<unsigned short>& units() const { return units_; }

  protected:
    std::streamsize xsputn(const unsigned short* units, std::streamsize count) override {
        units_.append(units, static_cast<std::size_t>(count));
        return count;
    }
    int_type overflow(int_type unit) override {
        units_.push_back(traits_type::to_char_type(unit));
        return traits_type::not_eof(unit);
    }

  private:
    std::basic_string<unsigned short> units_;
};

/// Asks a message and all in it for what it holds.
class Reading {
  public:
    explicit Reading(Sink& sink) : sink_(sink), out_(&room_) {}

    void readMessage(const RFC2822Decoder& message) {
        take(sink_, "subject", message.getSubject());
        readMailbox(message.getSender());
        for (const RFC2822Address& mailbox : message.getTo()) readMailbox(mailbox);
        for (const RFC2822Address& mailbox : message.getCc()) readMailbox(mailbox);
        MIMEDecoder& entity = *message.getMessageEntity();
        sink_.take("headers", entity.getHeaders().size());
        entities_ = 0;
        readEntity(entity);
        sink_.take("entities", entities_);
    }

  private:
    void readMailbox(const RFC2822Address& mailbox) {
        take(sink_, "name", mailbox.getName());
        take(sink_, "address", mailbox.getSMTPAddress());
    }

    void readEntity(MIMEDecoder& entity) {
        ++entities_;
        if (const MIMETextDecoder* const text = entity.getTextDecoder()) {
            room_.empty();
            text->getText(out_);
            sink_.take("text", room_.units().data(), room_.units().size());
        } else if (const MIMEBinaryDecoder* const binary = entity.getBinaryDecoder()) {
            sink_.take("binary", binary->getBody());
        } else if (const MIMEMultipartDecoder* const multipart = entity.getMultipartDecoder()) {
            for (MIMEDecoder* const part : multipart->getParts()) readEntity(*part);
        }
    }

    Sink& sink_;
    TextRoom room_;
    std::basic_ostream<unsigned short> out_;
    std::size_t entities_ = 0;
};

/// A plain decoder does not own its children; each is destroyed as what it is.
void destroy(MIMEDecoder* entity) {
    if (MIMEMultipartDecoder* const multipart = entity->getMultipartDecoder()) {
        for (MIMEDecoder* const part : multipart->getParts()) destroy(part);
        delete multipart;
    } else if (RFC2822Decoder* const message = entity->getMessageDecoder()) {
        destroy(message->getMessageEntity());
        delete message;
    } else if (MIMETextDecoder* const text = entity->getTextDecoder()) {
        delete text;
    } else {
        delete entity->getBinaryDecoder();
    }
}

Task parse(const Records& messages) {
    return [&messages](Sink& sink) {
        Reading reading(sink);
        for (const std::string& octets : messages) {
            MemorySource source(octets);
            std::istream in(&source);
            const RFC2822Decoder message(in);
            reading.readMessage(message);
            destroy(message.getMessageEntity());
        }
    };
}

Task parseGuarded(const Records& messages) {
    return [&messages](Sink& sink) {
        Reading reading(sink);
        for (const std::string& octets : messages) {
            MemorySource source(octets);
            std::istream in(&source);
            const GuardedMessage message(in);
            reading.readMessage(message.getMessage());
        }
    };
}

/// Octets of all leaves, decoded.
std::size_t sizeOfBodies(MIMEDecoder& entity) {
    if (const MIMETextDecoder* const text = entity.getTextDecoder()) return text->getBody().size();
    if (const MIMEBinaryDecoder* const binary = entity.getBinaryDecoder())
        return binary->getBody().size();
    std::size_t sum = 0;
    for (MIMEDecoder* const part : entity.getMultipartDecoder()->getParts())
        sum += sizeOfBodies(*part);
    return sum;
}

/// The tree alone, for its memory.
Task build(const Records& messages) {
    return [&octets = messages.front()](Sink& sink) {
        MemorySource source(octets);
        std::istream in(&source);
        const RFC2822Decoder message(in);
        sink.take("bodies", sizeOfBodies(*message.getMessageEntity()));
        destroy(message.getMessageEntity());
    };
}

Task buildGuarded(const Records& messages) {
    return [&octets = messages.front()](Sink& sink) {
        MemorySource source(octets);
        std::istream in(&source);
        const MIMELimits wide{.entities = 1 << 20, .overhead = 1 << 30};
        const GuardedMessage message(in, wide);
        sink.take("bodies", sizeOfBodies(*message.getMessage().getMessageEntity()));
    };
}

// ==== encodings

/// The octets written to it, in a room that is large enough.
class OctetRoom : public std::streambuf {
  public:
    explicit OctetRoom(std::size_t size) : octets_(size, '\0') { empty(); }
    void empty() { setp(octets_.data(), octets_.data() + octets_.size()); }
    std::string_view written() const {
        return {pbase(), static_cast<std::size_t>(pptr() - pbase())};
    }

  private:
    std::string octets_;
};

template <typename Filter>
Task encode(const Records& records) {
    const auto room = std::make_shared<OctetRoom>(records.front().size() * 3 + 100);
    return [&octets = records.front(), room](Sink& sink) {
        room->empty();
        Filter filter(room.get(), false);
        filter.sputn(octets.data(), static_cast<std::streamsize>(octets.size()));
        filter.pubsync();
        sink.take("result", room->written());
    };
}

template <typename Filter>
Task decode(const Records& records) {
    const auto room = std::make_shared<std::string>(records.front().size(), '\0');
    return [&octets = records.front(), room](Sink& sink) {
        MemorySource source(octets);
        Filter filter(&source, false);
        const auto size = static_cast<std::streamsize>(room->size());
        const auto count = static_cast<std::size_t>(filter.sgetn(room->data(), size));
        sink.take("result", std::string_view(room->data(), count));
    };
}

Task decodeWords(const Records& subjects) {
    return [&subjects](Sink& sink) {
        for (const std::string& text : subjects) take(sink, "subject", decodeRFC2047Words(text));
    };
}

std::shared_ptr<std::vector<Zeb_String>> wideTexts(const Records& records) {
    const auto texts = std::make_shared<std::vector<Zeb_String>>();
    for (const std::string& octets : records) texts->push_back(wideOf(octets));
    return texts;
}

Task encodeWords(const Records& subjects) {
    return [texts = wideTexts(subjects)](Sink& sink) {
        const AdCharset charset;
        const Zeb_String name = u"Subject";
        std::string field;
        for (const Zeb_String& text : *texts) {
            encodeRFC2047Unstructured(charset, name, text, field);
            sink.take("subject", field);
        }
    };
}

// ==== composing

Task compose(const Records& records) {
    const auto room = std::make_shared<OctetRoom>(16384);
    return [texts = wideTexts(records), room](Sink& sink) {
        for (auto at = texts->begin(); at != texts->end(); at += 12) {
            RFC2822Encoder encoder;
            encoder.setSender(at[0], at[1]);
            for (int i = 2; i < 8; i += 2) encoder.addTo(at[i], at[i + 1]);
            encoder.addCc(at[8], at[9]);
            encoder.setSubject(at[10]);
            encoder.setBody(at[11]);
            room->empty();
            std::ostream out(room.get());
            encoder.getData(false, out);
            sink.take("mail", room->written());
        }
    };
}

// ==== the limit

Task copy(const Records& records) {
    const auto room = std::make_shared<std::string>(records.front().size(), '\0');
    return [&octets = records.front(), room](Sink& sink) {
        std::memcpy(room->data(), octets.data(), octets.size());
        sink.take("result", *room);
    };
}

}  // namespace

Works works() {
    return {{"parse", parse},
            {"parse_guarded", parseGuarded},
            {"build", build},
            {"build_guarded", buildGuarded},
            {"base64_encode", encode<base64buf>},
            {"base64_decode", decode<base64buf>},
            {"quoted_encode", encode<quotedprintablebuf>},
            {"quoted_decode", decode<quotedprintablebuf>},
            {"words_decode", decodeWords},
            {"words_encode", encodeWords},
            {"compose", compose},
            {"memcpy", copy}};
}
