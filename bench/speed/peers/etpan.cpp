// SPDX-License-Identifier: Apache-2.0
// The works of the speed benchmark, done by libetpan. It has nothing that encodes words, so that
// composing is left out too.
#include <libetpan/libetpan.h>

#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "bench/speed/driver.h"

namespace {

void require(int result) {
    if (result != MAILIMF_NO_ERROR) throw std::runtime_error("not taken for what it is");
}

void takeWords(Sink& sink, std::string_view field, const char* text, std::size_t size) {
    std::size_t index = 0;
    char* decoded = nullptr;
    require(mailmime_encoded_phrase_parse("us-ascii", text, size, &index, "utf-8", &decoded));
    sink.take(field, decoded);
    std::free(decoded);
}

// ==== parsing

class Reading {
  public:
    explicit Reading(Sink& sink) : sink_(sink) {}

    void readMessage(const mailmime& message) {
        const auto& [fields, entity] = message.mm_data.mm_message;
        readFields(fields);
        // Of the fields of MIME, Content-Type lies apart from the others.
        const int count =
            clist_count(fields->fld_list) + clist_count(entity->mm_mime_fields->fld_list) + 1;
        sink_.take("headers", static_cast<std::size_t>(count));
        entities_ = 0;
        readEntity(*entity);
        sink_.take("entities", entities_);
    }

  private:
    void readFields(mailimf_fields* fields) {
        mailimf_single_fields single{};
        mailimf_single_fields_init(&single, fields);
        const char* const subject = single.fld_subject->sbj_value;
        takeWords(sink_, "subject", subject, std::strlen(subject));
        const clist* const from = single.fld_from->frm_mb_list->mb_list;
        for (const clistiter* at = clist_begin(from); at != nullptr; at = clist_next(at))
            readMailbox(*static_cast<const mailimf_mailbox*>(clist_content(at)));
        readAddresses(single.fld_to->to_addr_list->ad_list);
        if (single.fld_cc != nullptr) readAddresses(single.fld_cc->cc_addr_list->ad_list);
    }

    void readAddresses(const clist* addresses) {
        for (const clistiter* at = clist_begin(addresses); at != nullptr; at = clist_next(at)) {
            const auto* const address = static_cast<const mailimf_address*>(clist_content(at));
            if (address->ad_type == MAILIMF_ADDRESS_MAILBOX)
                readMailbox(*address->ad_data.ad_mailbox);
        }
    }

    void readMailbox(const mailimf_mailbox& mailbox) {
        const char* const name = mailbox.mb_display_name;
        takeWords(sink_, "name", name, std::strlen(name));
        sink_.take("address", mailbox.mb_addr_spec);
    }

    void readEntity(const mailmime& entity) {
        ++entities_;
        if (entity.mm_type == MAILMIME_SINGLE) return readLeaf(entity);
        const clist* const parts = entity.mm_data.mm_multipart.mm_mp_list;
        for (const clistiter* at = clist_begin(parts); at != nullptr; at = clist_next(at))
            readEntity(*static_cast<const mailmime*>(clist_content(at)));
    }

    void readLeaf(const mailmime& entity) {
        const mailmime_data& data = *entity.mm_data.mm_single;
        std::size_t index = 0;
        char* octets = nullptr;
        std::size_t size = 0;
        require(mailmime_part_parse(data.dt_data.dt_text.dt_data, data.dt_data.dt_text.dt_length,
                                    &index, data.dt_encoding, &octets, &size));
        const mailmime_discrete_type* const type =
            entity.mm_content_type->ct_type->tp_data.tp_discrete_type;
        if (type->dt_type == MAILMIME_DISCRETE_TYPE_TEXT)
            readText(mailmime_content_charset_get(entity.mm_content_type), octets, size);
        else
            sink_.take("binary", std::string_view(octets, size));
        mailmime_decoded_part_free(octets);
    }

    void readText(const char* charset, const char* octets, std::size_t size) {
        char* text = nullptr;
        std::size_t textSize = 0;
        if (charconv_buffer("utf-8", charset, octets, size, &text, &textSize) !=
            MAIL_CHARCONV_NO_ERROR)
            throw std::runtime_error("a text that is not converted");
        sink_.take("text", std::string_view(text, textSize));
        charconv_buffer_free(text);
    }

    Sink& sink_;
    std::size_t entities_ = 0;
};

mailmime* treeOf(const std::string& octets) {
    std::size_t index = 0;
    mailmime* message = nullptr;
    require(mailmime_parse(octets.data(), octets.size(), &index, &message));
    return message;
}

Task parse(const Records& messages) {
    return [&messages](Sink& sink) {
        Reading reading(sink);
        for (const std::string& octets : messages) {
            mailmime* const message = treeOf(octets);
            reading.readMessage(*message);
            mailmime_free(message);
        }
    };
}

/// The tree alone, for its memory.
Task build(const Records& messages) {
    return [&messages](Sink&) {
        for (const std::string& octets : messages) mailmime_free(treeOf(octets));
    };
}

// ==== encodings

using Write = int (*)(MMAPString* out, int* column, const char* octets, std::size_t size);

int writeQuoted(MMAPString* out, int* column, const char* octets, std::size_t size) {
    return mailmime_quoted_printable_write_mem(out, column, 1, octets, size);
}

template <Write write>
Task encode(const Records& records) {
    return [&octets = records.front()](Sink& sink) {
        MMAPString* const out = mmap_string_sized_new(octets.size() * 3 / 2);
        int column = 0;
        require(write(out, &column, octets.data(), octets.size()));
        sink.take("result", std::string_view(out->str, out->len));
        mmap_string_free(out);
    };
}

template <int encoding>
Task decode(const Records& records) {
    return [&octets = records.front()](Sink& sink) {
        std::size_t index = 0;
        char* decoded = nullptr;
        std::size_t size = 0;
        require(
            mailmime_part_parse(octets.data(), octets.size(), &index, encoding, &decoded, &size));
        sink.take("result", std::string_view(decoded, size));
        mailmime_decoded_part_free(decoded);
    };
}

Task decodeWords(const Records& subjects) {
    return [&subjects](Sink& sink) {
        for (const std::string& text : subjects)
            takeWords(sink, "subject", text.data(), text.size());
    };
}

}  // namespace

Works works() {
    return {{"parse", parse},
            {"build", build},
            {"base64_encode", encode<mailmime_base64_write_mem>},
            {"base64_decode", decode<MAILMIME_MECHANISM_BASE64>},
            {"quoted_encode", encode<writeQuoted>},
            {"quoted_decode", decode<MAILMIME_MECHANISM_QUOTED_PRINTABLE>},
            {"words_decode", decodeWords}};
}
