// SPDX-License-Identifier: Apache-2.0
#include "tests/cuts/guarded_check.h"

#include <istream>
#include <sstream>
#include <streambuf>

#include "inet/guardedmessage.utf16.h"

namespace {

/// Reads octets that stay where they are.
class ViewSource : public std::streambuf {
  public:
    explicit ViewSource(std::string_view octets) {
        char* const begin = const_cast<char*>(octets.data());  // only read
        setg(begin, begin, begin + octets.size());
    }
};

/// Goes through a tree and adds up what it holds.
class Walk {
  public:
    explicit Walk(std::size_t messageSize) : messageSize_(messageSize) {}

    void visit(MIMEDecoder* entity) {
        const int kinds =
            entity->isText() + entity->isBinary() + entity->isMultipart() + entity->isMessage();
        if (kinds != 1) fault_ = "an entity is of no kind, or of two";
        ++entities_;
        visitHeaders(*entity);
        if (MIMETextDecoder* const text = entity->getTextDecoder()) visitText(*text);
        if (MIMEBinaryDecoder* const binary = entity->getBinaryDecoder())
            octets_ += binary->getBody().size();
        if (RFC2822Decoder* const message = entity->getMessageDecoder()) visitMessage(*message);
        if (MIMEMultipartDecoder* const multipart = entity->getMultipartDecoder())
            for (MIMEDecoder* const part : multipart->getParts()) visit(part);
    }

    void visitMessage(const RFC2822Decoder& message) {
        const Zeb_String subject = message.getSubject();
        if (!subject.IsEmpty() && message.getMessageEntity()->getRawHeader(u"Subject").empty())
            fault_ = "a subject comes from nowhere";
        message.getDate();
        message.getSender();
        if (message.getTo().size() + message.getCc().size() > messageSize_)
            fault_ = "there are more mailboxes than octets";
        visit(message.getMessageEntity());
    }

    std::string fault() const {
        if (!fault_.empty()) return fault_;
        // Each takes a line of its own, which is at least its delimiter.
        if (entities_ > messageSize_ / 2 + 2) return "there are more entities than lines";
        if (octets_ > messageSize_) return "the bodies are larger than the message";
        return {};
    }

  private:
    void visitHeaders(const MIMEDecoder& entity) {
        for (const auto& [name, value] : entity.getHeaders())
            if (value.size() > messageSize_) fault_ = "a field is larger than the message";
        // Its type has been asked for already: that chose its kind.
        const MIMEHeaderValue disposition = entity.getMIMEHeader(u"Content-Disposition", "inline");
        if (disposition.getParameters().size() > messageSize_)
            fault_ = "there are more parameters than octets";
    }

    void visitText(const MIMETextDecoder& text) {
        octets_ += text.getBody().size();
        std::basic_stringbuf<unsigned short> units;
        std::basic_ostream<unsigned short> out(&units);
        text.getText(out);
        // An octet is at most two units; a text of octets is never lost.
        if (units.view().size() > 2 * text.getBody().size()) fault_ = "a text has grown";
    }

    const std::size_t messageSize_;
    std::size_t entities_ = 0;
    std::size_t octets_ = 0;
    std::string fault_;
};

std::string faultOf(const std::vector<MIMEDefect>& defects, std::size_t messageSize) {
    for (const MIMEDefect& defect : defects) {
        if (defect.offset > messageSize) return "a defect lies behind the end";
        if (!defect.entity.starts_with('1')) return "a defect lies in no entity";
        if (std::string_view(defect.name()).empty()) return "a defect has no name";
    }
    return {};
}

}  // namespace

std::string faultOf(std::string_view octets) {
    ViewSource source(octets);
    std::istream in(&source);
    const GuardedMessage message(in);
    if (source.in_avail() > 0) return "it was not read to its end";
    if (message.getDefectCount() < message.getDefects().size()) return "defects are miscounted";
    const std::string fault = faultOf(message.getDefects(), octets.size());
    if (!fault.empty()) return fault;
    Walk walk(octets.size());
    walk.visitMessage(message.getMessage());
    return walk.fault();
}
