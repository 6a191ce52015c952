// SPDX-License-Identifier: Apache-2.0
// The work of own_driver.cpp, done by VMime.
#include <algorithm>
#include <fstream>
#include <stdexcept>
#include <vmime/platforms/posix/posixHandler.hpp>
#include <vmime/utility/inputStreamAdapter.hpp>
#include <vmime/vmime.hpp>

#include "bench/scaling/cell.h"

namespace {

using Header = vmime::shared_ptr<const vmime::header>;

template <typename Value>
vmime::shared_ptr<const Value> valueOf(const Header& header, const char* name) {
    if (!header->hasField(name)) return {};
    return header->findField(name)->getValue<Value>();
}

void readAddresses(const Header& header, const char* name, Found& found) {
    const auto list = valueOf<vmime::addressList>(header, name);
    if (list) found.addresses += list->toMailboxList()->getMailboxCount();
}

void readFields(const Header& header, Found& found) {
    const auto subject = valueOf<vmime::text>(header, "Subject");
    if (subject) subject->getConvertedText(vmime::charsets::UTF_8);
    readAddresses(header, "To", found);
    readAddresses(header, "Cc", found);
}

/// Octets of a leaf, as text in UTF-8 when it is one.
std::size_t readLeaf(const vmime::body& body) {
    std::string octets;
    vmime::utility::outputStreamStringAdapter out(octets);
    body.getContents()->extract(out);
    if (body.getContentType().getType() != vmime::mediaTypes::TEXT) return octets.size();
    std::string text;
    vmime::charset::convert(octets, text, body.getCharset(), vmime::charsets::UTF_8);
    return octets.size();
}

void readPart(const vmime::bodyPart& part, std::size_t level, Found& found) {
    ++found.entities;
    found.levels = std::max(found.levels, level);
    readFields(part.getHeader(), found);
    const auto body = part.getBody();
    if (body->getPartCount() == 0) {
        try {
            found.octets += readLeaf(*body);
        } catch (const vmime::exception&) {
            ++found.defects["unreadable"];
        }
    }
    for (std::size_t i = 0; i < body->getPartCount(); ++i)
        readPart(*body->getPartAt(i), level + 1, found);
}

Found readFile(const std::string& file) {
    std::ifstream in(file, std::ios::binary | std::ios::ate);
    if (!in) throw std::runtime_error("cannot open " + file);
    const auto size = static_cast<std::size_t>(in.tellg());
    in.seekg(0);
    const auto message = vmime::make_shared<vmime::message>();
    message->parse(vmime::make_shared<vmime::utility::inputStreamAdapter>(in), size);
    Found found;
    readPart(*message, 1, found);
    return found;
}

}  // namespace

int main(int argc, char** argv) {
    vmime::platform::setHandler<vmime::platforms::posix::posixHandler>();
    return runCell(argc, argv, readFile);
}
