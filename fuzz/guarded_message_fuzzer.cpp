// SPDX-License-Identifier: Apache-2.0
// Guarded decoding of anything, and all questions about what came out.
// Where there is no defect the plain decoders must find the same.
#include <sstream>

#include "fuzz/support/fuzzing.h"
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
    require(counter.count() <= 2 * text.getBody().size(), "text does not blow up");
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

/// All that an entity and those below it hold, each behind its length.
class Dump {
  public:
    void add(MIMEDecoder& entity) {
        for (const auto& [name, value] : entity.getHeaders()) put(utf8(name)).put(value);
        if (const MIMETextDecoder* text = entity.getTextDecoder()) put("text").put(text->getBody());
        if (const MIMEBinaryDecoder* binary = entity.getBinaryDecoder())
            put("binary").put(binary->getBody());
        if (const MIMEMultipartDecoder* multipart = entity.getMultipartDecoder()) {
            put("parts").put(std::to_string(multipart->getParts().size()));
            for (MIMEDecoder* part : multipart->getParts()) add(*part);
        }
        if (const RFC2822Decoder* message = entity.getMessageDecoder()) {
            put("message");
            add(*message->getMessageEntity());
        }
    }
    const std::string& text() const { return text_; }

  private:
    Dump& put(const std::string& text) {
        text_ += std::to_string(text.size()) + ':' + text;
        return *this;
    }

    std::string text_;
};

/// Destroys what lies below a plain decoder, which does not own it, and the decoder.
void release(MIMEDecoder* entity) {
    if (const RFC2822Decoder* message = entity->getMessageDecoder()) {
        release(message->getMessageEntity());
        delete message;
    } else if (const MIMEMultipartDecoder* multipart = entity->getMultipartDecoder()) {
        for (MIMEDecoder* part : multipart->getParts()) release(part);
        delete multipart;
    } else if (const MIMETextDecoder* text = entity->getTextDecoder()) {
        delete text;
    } else {
        delete entity->getBinaryDecoder();
    }
}

void checkAgainstPlain(const std::string& octets, const GuardedMessage& guarded) {
    std::istringstream in(octets);
    RFC2822Decoder plain(in);
    Dump plainDump;
    Dump guardedDump;
    plainDump.add(*plain.getMessageEntity());
    guardedDump.add(*guarded.getMessage().getMessageEntity());
    release(plain.getMessageEntity());
    require(plainDump.text() == guardedDump.text(), "without defects the plain tree is the same");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size) {
    MIMELimits limits;
    limits.depth = 8;  // so that a small input reaches it
    limits.entities = 32;
    limits.headerSize = 256;
    limits.defects = 16;
    const std::string text(octets, octets + size);
    std::istringstream in(text);
    const GuardedMessage message(in, limits);
    require(message.getDefects().size() <= limits.defects, "defects are kept up to the limit");
    require(askMessage(message.getMessage()) <= limits.entities + 1, "entities have a limit");
    for (const MIMEDefect& defect : message.getDefects())
        require(defect.offset <= size, "a defect lies in the message");
    if (message.getDefectCount() == 0) checkAgainstPlain(text, message);
    return 0;
}
