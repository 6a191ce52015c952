// SPDX-License-Identifier: Apache-2.0
// The works of the speed benchmark, done by GMime.
#include <gmime/gmime.h>

#include <memory>

#include "bench/speed/driver.h"

namespace {

struct Release {
    void operator()(void* object) const { g_object_unref(object); }
    void operator()(char* text) const { g_free(text); }
};
using Text = std::unique_ptr<char, Release>;
template <typename Object>
using Owned = std::unique_ptr<Object, Release>;

std::string_view viewOf(const char* text) { return text == nullptr ? "" : text; }

/// A stream over octets that lie in memory, without a copy.
class MemoryStream {
  public:
    explicit MemoryStream(const std::string& octets)
        : array_{reinterpret_cast<guint8*>(const_cast<char*>(octets.data())),
                 static_cast<guint>(octets.size())},
          stream_(g_mime_stream_mem_new()) {
        g_mime_stream_mem_set_byte_array(GMIME_STREAM_MEM(stream_.get()), &array_);
        g_mime_stream_mem_set_owner(GMIME_STREAM_MEM(stream_.get()), FALSE);
        g_mime_stream_reset(stream_.get());
    }
    GMimeStream* get() const { return stream_.get(); }

  private:
    GByteArray array_;
    Owned<GMimeStream> stream_;
};

std::string_view writtenTo(GMimeStream* stream) {
    const GByteArray* const array = g_mime_stream_mem_get_byte_array(GMIME_STREAM_MEM(stream));
    return {reinterpret_cast<const char*>(array->data), array->len};
}

// ==== parsing

class Reading {
  public:
    explicit Reading(Sink& sink) : sink_(sink) {}

    void readMessage(GMimeMessage* message) {
        sink_.take("subject", viewOf(g_mime_message_get_subject(message)));
        for (const auto type :
             {GMIME_ADDRESS_TYPE_FROM, GMIME_ADDRESS_TYPE_TO, GMIME_ADDRESS_TYPE_CC})
            readMailboxes(g_mime_message_get_addresses(message, type));
        GMimeObject* const entity = g_mime_message_get_mime_part(message);
        const int count =
            g_mime_header_list_get_count(g_mime_object_get_header_list(entity)) +
            g_mime_header_list_get_count(g_mime_object_get_header_list(GMIME_OBJECT(message)));
        sink_.take("headers", static_cast<std::size_t>(count));
        entities_ = 0;
        readEntity(entity);
        sink_.take("entities", entities_);
    }

  private:
    void readMailboxes(InternetAddressList* list) {
        for (int i = 0; i < internet_address_list_length(list); ++i) {
            InternetAddress* const address = internet_address_list_get_address(list, i);
            sink_.take("name", viewOf(internet_address_get_name(address)));
            sink_.take(
                "address",
                viewOf(internet_address_mailbox_get_addr(INTERNET_ADDRESS_MAILBOX(address))));
        }
    }

    void readEntity(GMimeObject* entity) {
        ++entities_;
        if (GMIME_IS_MULTIPART(entity)) {
            GMimeMultipart* const multipart = GMIME_MULTIPART(entity);
            const int count = g_mime_multipart_get_count(multipart);
            for (int i = 0; i < count; ++i) readEntity(g_mime_multipart_get_part(multipart, i));
        } else if (GMIME_IS_TEXT_PART(entity)) {
            const Text text(g_mime_text_part_get_text(GMIME_TEXT_PART(entity)));
            sink_.take("text", viewOf(text.get()));
        } else {
            readBinary(GMIME_PART(entity));
        }
    }

    void readBinary(GMimePart* part) {
        const Owned<GMimeStream> out(g_mime_stream_mem_new());
        g_mime_data_wrapper_write_to_stream(g_mime_part_get_content(part), out.get());
        sink_.take("binary", writtenTo(out.get()));
    }

    Sink& sink_;
    std::size_t entities_ = 0;
};

Task parse(const Records& messages) {
    return [&messages](Sink& sink) {
        Reading reading(sink);
        for (const std::string& octets : messages) {
            const MemoryStream stream(octets);
            const Owned<GMimeParser> parser(g_mime_parser_new_with_stream(stream.get()));
            const Owned<GMimeMessage> message(
                g_mime_parser_construct_message(parser.get(), nullptr));
            reading.readMessage(message.get());
        }
    };
}

// ==== encodings

using Begin = void (*)(GMimeEncoding*, GMimeContentEncoding);

template <Begin begin, GMimeContentEncoding encoding>
Task convert(const Records& records) {
    const auto room = std::make_shared<std::string>(records.front().size() * 3 + 100, '\0');
    return [&octets = records.front(), room](Sink& sink) {
        GMimeEncoding state;
        begin(&state, encoding);
        const std::size_t count =
            g_mime_encoding_flush(&state, octets.data(), octets.size(), room->data());
        sink.take("result", std::string_view(room->data(), count));
    };
}

/// Which wants lines that end with LF.
Task encodeQuoted(const Records& records) {
    const auto lines = std::make_shared<Records>(1);
    for (const char octet : records.front())
        if (octet != '\r') lines->front() += octet;
    const Task task =
        convert<g_mime_encoding_init_encode, GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE>(*lines);
    return [lines, task](Sink& sink) { task(sink); };
}

Task decodeWords(const Records& subjects) {
    return [&subjects](Sink& sink) {
        for (const std::string& octets : subjects) {
            const Text text(g_mime_utils_header_decode_text(nullptr, octets.c_str()));
            sink.take("subject", viewOf(text.get()));
        }
    };
}

Task encodeWords(const Records& subjects) {
    return [&subjects](Sink& sink) {
        for (const std::string& octets : subjects) {
            const Text text(g_mime_utils_header_encode_text(nullptr, octets.c_str(), "utf-8"));
            sink.take("subject", viewOf(text.get()));
        }
    };
}

// ==== composing

void addBody(GMimeMessage* message, const std::string& text) {
    const Owned<GMimeTextPart> part(g_mime_text_part_new());
    g_mime_text_part_set_charset(part.get(), "utf-8");
    g_mime_text_part_set_text(part.get(), text.c_str());
    g_mime_part_set_content_encoding(GMIME_PART(part.get()),
                                     GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE);
    g_mime_message_set_mime_part(message, GMIME_OBJECT(part.get()));
}

/// The twelve records of a mail.
void composeMail(const std::string* from, GMimeStream* out) {
    const Owned<GMimeMessage> message(g_mime_message_new(TRUE));
    const auto add = [&message](GMimeAddressType type, const std::string* mailbox) {
        g_mime_message_add_mailbox(message.get(), type, mailbox[1].c_str(), mailbox[0].c_str());
    };
    add(GMIME_ADDRESS_TYPE_FROM, from);
    for (int i = 2; i < 8; i += 2) add(GMIME_ADDRESS_TYPE_TO, from + i);
    add(GMIME_ADDRESS_TYPE_CC, from + 8);
    g_mime_message_set_subject(message.get(), from[10].c_str(), "utf-8");
    GDateTime* const now = g_date_time_new_now_local();
    g_mime_message_set_date(message.get(), now);
    g_date_time_unref(now);
    addBody(message.get(), from[11]);
    g_mime_object_write_to_stream(GMIME_OBJECT(message.get()), nullptr, out);
}

Task compose(const Records& records) {
    return [&records](Sink& sink) {
        for (std::size_t i = 0; i < records.size(); i += 12) {
            const Owned<GMimeStream> out(g_mime_stream_mem_new());
            composeMail(&records[i], out.get());
            sink.take("mail", writtenTo(out.get()));
        }
    };
}

}  // namespace

Works works() {
    g_mime_init();
    return {{"parse", parse},
            {"base64_encode", convert<g_mime_encoding_init_encode, GMIME_CONTENT_ENCODING_BASE64>},
            {"base64_decode", convert<g_mime_encoding_init_decode, GMIME_CONTENT_ENCODING_BASE64>},
            {"quoted_encode", encodeQuoted},
            {"quoted_decode",
             convert<g_mime_encoding_init_decode, GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE>},
            {"words_decode", decodeWords},
            {"words_encode", encodeWords},
            {"compose", compose}};
}
