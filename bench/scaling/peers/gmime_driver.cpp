// SPDX-License-Identifier: Apache-2.0
// The work of own_driver.cpp, done by GMime.
#include <fcntl.h>
#include <gmime/gmime.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>

#include "bench/scaling/cell.h"

namespace {

void readEntity(GMimeObject* entity, std::size_t level, Found& found);

void readMessage(GMimeMessage* message, std::size_t level, Found& found) {
    g_mime_message_get_subject(message);
    for (const auto type : {GMIME_ADDRESS_TYPE_FROM, GMIME_ADDRESS_TYPE_TO, GMIME_ADDRESS_TYPE_CC})
        found.addresses += static_cast<std::size_t>(
            internet_address_list_length(g_mime_message_get_addresses(message, type)));
    readEntity(g_mime_message_get_mime_part(message), level, found);
}

void readPart(GMimePart* part, Found& found) {
    g_mime_part_get_filename(part);
    if (GMIME_IS_TEXT_PART(part)) {
        char* const text = g_mime_text_part_get_text(GMIME_TEXT_PART(part));
        if (text != nullptr) found.octets += std::char_traits<char>::length(text);
        g_free(text);
        return;
    }
    GMimeDataWrapper* const content = g_mime_part_get_content(part);
    if (content == nullptr) return;
    GMimeStream* const out = g_mime_stream_mem_new();
    found.octets += static_cast<std::size_t>(
        std::max<ssize_t>(0, g_mime_data_wrapper_write_to_stream(content, out)));
    g_object_unref(out);
}

void readEntity(GMimeObject* entity, std::size_t level, Found& found) {
    if (entity == nullptr) return;
    ++found.entities;
    found.levels = std::max(found.levels, level);
    g_mime_object_get_content_type_parameter(entity, "name");
    if (GMIME_IS_MULTIPART(entity)) {
        GMimeMultipart* const multipart = GMIME_MULTIPART(entity);
        for (int i = 0; i < g_mime_multipart_get_count(multipart); ++i)
            readEntity(g_mime_multipart_get_part(multipart, i), level + 1, found);
    } else if (GMIME_IS_MESSAGE_PART(entity)) {
        GMimeMessage* const message = g_mime_message_part_get_message(GMIME_MESSAGE_PART(entity));
        if (message != nullptr) readMessage(message, level + 1, found);
    } else if (GMIME_IS_PART(entity)) {
        readPart(GMIME_PART(entity), found);
    }
}

Found readFile(const std::string& file) {
    const int descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) throw std::runtime_error("cannot open " + file);
    GMimeStream* const stream = g_mime_stream_fs_new(descriptor);
    GMimeParser* const parser = g_mime_parser_new_with_stream(stream);
    GMimeMessage* const message = g_mime_parser_construct_message(parser, nullptr);
    Found found;
    if (message != nullptr) {
        readMessage(message, 1, found);
        g_object_unref(message);
    }
    g_object_unref(parser);
    g_object_unref(stream);
    if (message == nullptr) throw std::runtime_error("not taken for a message");
    return found;
}

}  // namespace

int main(int argc, char** argv) {
    g_mime_init();
    return runCell(argc, argv, readFile);
}
