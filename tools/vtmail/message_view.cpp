// SPDX-License-Identifier: Apache-2.0
#include "tools/vtmail/message_view.h"

#include <algorithm>
#include <functional>
#include <sstream>

#include "tools/vtmail/failure.h"
#include "tools/vtmail/text.h"
#include "tools/vtmail/text_pieces.h"

namespace {

bool isAttachment(const Entity& entity) {
    const MIMEHeaderValue disposition =
        entity.decoder->getMIMEHeader(u"Content-Disposition", "inline");
    return disposition.getValue().CompareNoCase(u"attachment") == 0;
}

void appendTree(const Entity& entity, std::vector<Entity>& all) {
    all.push_back(entity);
    for (const Entity& child : childrenOf(entity)) appendTree(child, all);
}

/// Hands on what is written to it as UTF-8, block by block.
class Utf8Sink : public std::basic_streambuf<unsigned short> {
  public:
    explicit Utf8Sink(const std::function<void(std::string_view)>& write) : write_(write) {}

    void finish() { flush(units_.size()); }

  protected:
    int_type overflow(int_type unit) override {
        if (!traits_type::eq_int_type(unit, traits_type::eof())) {
            const unsigned short each = traits_type::to_char_type(unit);
            xsputn(&each, 1);
        }
        return traits_type::not_eof(unit);
    }
    std::streamsize xsputn(const unsigned short* units, std::streamsize count) override {
        for (std::streamsize at = 0; at < count;) {
            const std::streamsize length = std::min(count - at, blockSize);
            units_.insert(units_.end(), units + at, units + at + length);
            at += length;
            flush(units_.size() - (isHighSurrogate(units_.back()) ? 1 : 0));
        }
        return count;
    }

  private:
    static constexpr std::streamsize blockSize = 32768;

    static bool isHighSurrogate(unsigned short unit) { return (unit & 0xFC00) == 0xD800; }
    void flush(std::size_t count) {
        write_(toUtf8(Zeb_String::FromUnits(units_.data(), count)));
        units_.erase(units_.begin(), units_.begin() + static_cast<std::ptrdiff_t>(count));
    }

    const std::function<void(std::string_view)>& write_;
    std::vector<unsigned short> units_;
};

}  // namespace

Entity rootOf(const GuardedMessage& message) {
    return {"1", message.getMessage().getMessageEntity()};
}

std::vector<Entity> childrenOf(const Entity& entity) {
    if (RFC2822Decoder* const message = entity.decoder->getMessageDecoder())
        return {{entity.path + ".1", message->getMessageEntity()}};
    std::vector<Entity> children;
    if (MIMEMultipartDecoder* const multipart = entity.decoder->getMultipartDecoder())
        for (MIMEDecoder* const part : multipart->getParts())
            children.push_back({entity.path + "." + std::to_string(children.size() + 1), part});
    return children;
}

std::vector<Entity> entitiesOf(const GuardedMessage& message) {
    std::vector<Entity> all;
    appendTree(rootOf(message), all);
    return all;
}

bool isLeaf(const Entity& entity) { return entity.decoder->isText() || entity.decoder->isBinary(); }

std::string typeOf(const Entity& entity) {
    const MIMEHeaderValue type = entity.decoder->getMIMEHeader(u"Content-Type", "text/plain");
    if (type.getValue().IsEmpty()) return "application/octet-stream";
    const std::string subtype = toUtf8(type.getSubvalue());
    return inSmallLetters(toUtf8(type.getValue()) + (subtype.empty() ? "" : "/" + subtype));
}

std::string charsetOf(const Entity& entity) {
    const MIMETextDecoder* const text = entity.decoder->getTextDecoder();
    return text != nullptr ? toUtf8(text->getCharsetName()) : std::string();
}

std::string fileNameOf(const Entity& entity) {
    const MIMEDecoder& decoder = *entity.decoder;
    const Zeb_String name =
        decoder.getMIMEHeader(u"Content-Disposition", "").getParameter(u"filename", u"");
    if (!name.IsEmpty()) return toUtf8(name);
    return toUtf8(decoder.getMIMEHeader(u"Content-Type", "").getParameter(u"name", u""));
}

const std::string& contentOf(const Entity& entity) {
    const MIMETextDecoder* const text = entity.decoder->getTextDecoder();
    return text != nullptr ? text->getBody() : entity.decoder->getBinaryDecoder()->getBody();
}

void writeText(const Entity& entity, const std::function<void(std::string_view)>& write) {
    const MIMETextDecoder& decoder = *entity.decoder->getTextDecoder();
    if (writeInPieces(decoder.getBody(), decoder.getCharsetName(), write)) return;
    Utf8Sink sink(write);
    std::basic_ostream<unsigned short> out(&sink);
    out.exceptions(std::ios::badbit);  // or a lack of memory would end the text unnoticed
    try {
        decoder.getText(out);
    } catch (const Zeb_Range_Error&) {
        throw Failure(EX_DATAERR, "the text of entity " + entity.path + " is too long to convert");
    }
    sink.finish();
}

std::string textOf(const Entity& entity) {
    std::string text;
    writeText(entity, [&text](std::string_view piece) { text += piece; });
    return text;
}

std::vector<Entity> readableTexts(const GuardedMessage& message) {
    std::vector<Entity> texts = entitiesOf(message);
    std::erase_if(texts, [](const Entity& entity) {
        return !entity.decoder->isText() || isAttachment(entity);
    });
    const auto isPlain = [](const Entity& entity) { return typeOf(entity) == "text/plain"; };
    if (std::any_of(texts.begin(), texts.end(), isPlain))
        std::erase_if(texts, std::not_fn(isPlain));
    else if (!texts.empty())
        texts.erase(texts.begin() + 1, texts.end());
    return texts;
}

std::vector<std::string> fieldValues(const std::string& raw) {
    std::vector<std::string> values;
    std::istringstream lines(raw);
    for (std::string line; std::getline(lines, line);)
        values.push_back(toUtf8(decodeRFC2047Words(line)));
    return values;
}

void ShownText::put(std::string_view utf8) {
    held_ += utf8;
    std::size_t end = held_.size();
    while (end > 0 && (held_[end - 1] & 0xC0) == 0x80) --end;
    // The last character may go on, and a carriage return may belong to a line end.
    if (end > 0 && (end < held_.size() || (held_[end - 1] & 0x80) != 0 || held_[end - 1] == '\r'))
        --end;
    constexpr std::size_t longest = 4;  // octets of a character
    if (held_.size() - end > longest) end = held_.size();
    write(std::string_view(held_).substr(0, end));
    held_.erase(0, end);
}

void ShownText::finish() {
    write(held_);
    held_.clear();
    if (!isLineEnded_) out_ << "\n";
    isLineEnded_ = true;
}

void ShownText::write(std::string_view whole) {
    while (!whole.empty()) {
        const std::size_t end = std::min(whole.find_first_of("\n\t"), whole.size());
        std::string_view piece = whole.substr(0, end);
        const bool isLineEnd = end < whole.size() && whole[end] == '\n';
        if (isLineEnd && piece.ends_with('\r')) piece.remove_suffix(1);
        out_ << shown(piece) << whole.substr(end, 1);
        isLineEnded_ = isLineEnd;
        whole.remove_prefix(std::min(end + 1, whole.size()));
    }
}

std::string inSmallLetters(std::string text) {
    for (char& c : text)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return text;
}
