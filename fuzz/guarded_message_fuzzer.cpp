// SPDX-License-Identifier: Apache-2.0
// Guarded decoding of anything, and all questions about what came out.
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

#include "inet/guardedmessage.utf16.h"

namespace {

/// Counts units and keeps none.
class UnitCounter : public std::basic_streambuf<unsigned short> {
  public:
    std::size_t count() const { return count_; }

  protected:
    std::streamsize xsputn(const unsigned short* /*units*/, std::streamsize length) override {
        count_ += static_cast<std::size_t>(length);
        return length;
    }
    int_type overflow(int_type unit) override {
        ++count_;
        return traits_type::not_eof(unit);
    }

  private:
    std::size_t count_ = 0;
};

void require(bool holds) {
    if (!holds) std::abort();
}

std::size_t ask(MIMEDecoder& entity);

std::size_t askMessage(const RFC2822Decoder& message) {
    message.getSubject();
    message.getDate();
    message.getSender();
    message.getTo();
    message.getCc();
    return 1 + ask(*message.getMessageEntity());
}

std::size_t askText(const MIMETextDecoder& text) {
    UnitCounter counter;
    std::basic_ostream<unsigned short> out(&counter);
    text.getText(out);
    require(counter.count() <= 2 * text.getBody().size());
    return 1;
}

/// The number of entities.
std::size_t ask(MIMEDecoder& entity) {
    for (const char16_t* name : {u"Content-Type", u"Content-Disposition"})
        entity.getMIMEHeader(name, "").getParameter(u"name", u"");
    if (const MIMETextDecoder* text = entity.getTextDecoder()) return askText(*text);
    if (const RFC2822Decoder* message = entity.getMessageDecoder()) return askMessage(*message);
    const MIMEMultipartDecoder* multipart = entity.getMultipartDecoder();
    if (multipart == nullptr) return 1;
    std::size_t count = 1;
    for (MIMEDecoder* part : multipart->getParts()) count += ask(*part);
    return count;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size) {
    MIMELimits limits;
    limits.depth = 8;  // so that a small input reaches it
    limits.entities = 32;
    limits.headerSize = 256;
    limits.defects = 16;
    std::istringstream in(std::string(octets, octets + size));
    const GuardedMessage message(in, limits);
    require(message.getDefects().size() <= limits.defects);
    require(askMessage(message.getMessage()) <= limits.entities + 1);
    for (const MIMEDefect& defect : message.getDefects()) require(defect.offset <= size);
    return 0;
}
