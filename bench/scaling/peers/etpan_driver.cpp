// SPDX-License-Identifier: Apache-2.0
// The work of own_driver.cpp, done by libetpan. The message is mapped, which is not counted.
#include <fcntl.h>
#include <libetpan/libetpan.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "bench/scaling/cell.h"

namespace {

void readSubject(const char* text) {
    std::size_t index = 0;
    char* decoded = nullptr;
    if (mailmime_encoded_phrase_parse("us-ascii", text, std::strlen(text), &index, "utf-8",
                                      &decoded) == MAILIMF_NO_ERROR)
        std::free(decoded);
}

std::size_t countOf(const clist* addresses) {
    return addresses == nullptr ? 0 : static_cast<std::size_t>(clist_count(addresses));
}

void readFields(mailimf_fields* fields, Found& found) {
    if (fields == nullptr) return;
    mailimf_single_fields single{};
    mailimf_single_fields_init(&single, fields);
    if (single.fld_subject != nullptr) readSubject(single.fld_subject->sbj_value);
    if (single.fld_from != nullptr)
        found.addresses += countOf(single.fld_from->frm_mb_list->mb_list);
    if (single.fld_to != nullptr) found.addresses += countOf(single.fld_to->to_addr_list->ad_list);
    if (single.fld_cc != nullptr) found.addresses += countOf(single.fld_cc->cc_addr_list->ad_list);
}

void readLeaf(const mailmime& part, Found& found) {
    const mailmime_data* const data = part.mm_data.mm_single;
    if (data == nullptr) return;
    std::size_t index = 0;
    char* octets = nullptr;
    std::size_t size = 0;
    if (mailmime_part_parse(data->dt_data.dt_text.dt_data, data->dt_data.dt_text.dt_length, &index,
                            data->dt_encoding, &octets, &size) != MAILIMF_NO_ERROR)
        return;
    found.octets += size;
    mailmime_decoded_part_free(octets);
}

void readPart(const mailmime& part, std::size_t level, Found& found) {
    ++found.entities;
    found.levels = std::max(found.levels, level);
    if (part.mm_type == MAILMIME_SINGLE) return readLeaf(part, found);
    if (part.mm_type == MAILMIME_MESSAGE) {
        readFields(part.mm_data.mm_message.mm_fields, found);
        const mailmime* const inner = part.mm_data.mm_message.mm_msg_mime;
        if (inner != nullptr) readPart(*inner, level + 1, found);
        return;
    }
    const clist* const parts = part.mm_data.mm_multipart.mm_mp_list;
    for (const clistiter* at = clist_begin(parts); at != nullptr; at = clist_next(at))
        readPart(*static_cast<const mailmime*>(clist_content(at)), level + 1, found);
}

Found readMapped(const char* octets, std::size_t size) {
    std::size_t index = 0;
    mailmime* message = nullptr;
    const int result = mailmime_parse(octets, size, &index, &message);
    if (result == MAILIMF_ERROR_MEMORY) throw std::bad_alloc();
    if (result != MAILIMF_NO_ERROR) throw std::runtime_error("not taken for a message");
    Found found;
    readPart(*message, 0, found);
    mailmime_free(message);
    return found;
}

Found readFile(const std::string& file) {
    const int descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status {};
    if (descriptor < 0 || fstat(descriptor, &status) != 0)
        throw std::runtime_error("cannot open " + file);
    const auto size = static_cast<std::size_t>(status.st_size);
    void* const octets = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, descriptor, 0);
    if (octets == MAP_FAILED) throw std::runtime_error("cannot map " + file);
    const Found found = readMapped(static_cast<const char*>(octets), size);
    munmap(octets, size);
    close(descriptor);
    return found;
}

}  // namespace

int main(int argc, char** argv) { return runCell(argc, argv, readFile); }
