// SPDX-License-Identifier: Apache-2.0
// Sections: fields, lines of a stream, lines of a text, blocks.
#include "inet/headerblock.utf16.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "inet/encodedwords.utf16.h"

namespace {

constexpr int endOfFile = std::char_traits<char>::eof();
constexpr std::size_t nowhere = std::string_view::npos;

bool isLineBlank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

bool isBlank(std::string_view line) { return std::all_of(line.begin(), line.end(), isLineBlank); }

std::string_view withoutBlanksInFront(std::string_view text) {
    return {std::find_if_not(text.begin(), text.end(), isLineBlank), text.end()};
}

std::string_view withoutBlanksBehind(std::string_view text) {
    const auto end = std::find_if_not(text.rbegin(), text.rend(), isLineBlank);
    return text.substr(0, static_cast<std::size_t>(text.rend() - end));
}

bool isFold(int octet) { return octet == ' ' || octet == '\t'; }

}  // namespace

// ==== fields

std::size_t endOfElement(std::string_view list, char separator, std::size_t start) {
    bool isQuoted = false;
    for (std::size_t i = start; i < list.size(); ++i) {
        if (list[i] == '"')
            isQuoted = !isQuoted;
        else if (isQuoted && list[i] == '\\')
            ++i;
        else if (list[i] == separator && !isQuoted)
            return i;
    }
    return list.size();
}

namespace {

constexpr std::size_t fieldCost = sizeof(HeaderMap::value_type) + 64;
constexpr std::size_t parameterOctetCost = 24;

/// Whether it begins with "Content-", in any case.
bool isMimeName(const Zeb_String& name) {
    constexpr std::string_view beginning = "content-";
    const unsigned short* unit = name.GetBuffer();  // zero-terminated
    for (const char c : beginning) {
        const bool isUpper = *unit >= 'A' && *unit <= 'Z';
        if ((isUpper ? *unit + ('a' - 'A') : *unit) != c) return false;
        ++unit;
    }
    return true;
}

/// Whether what is asked of a value later, at the most, costs no more than `left`. Its elements are
/// counted only where it is near that.
bool isCheap(std::string_view text, bool hasParameters, unsigned long long left) {
    if (text.size() * (hasParameters ? parameterCost : addressCost) <= left) return true;
    if (!hasParameters) return countOf(text, ',') * addressCost <= left;
    return std::max(countOf(text, '=') * parameterCost, text.size() * parameterOctetCost) <= left;
}

/// What is asked of a value later costs memory for each of its elements: one of too many is cut
/// behind those that can be paid for. What continues a value may begin within quotes, and pays.
std::size_t affordable(std::string_view text, const Zeb_String& name, bool isContinued,
                       DecodeGuard& guard) {
    const bool hasParameters = isMimeName(name);
    const char separator = hasParameters ? '=' : ',';
    const std::size_t cost = hasParameters ? parameterCost : addressCost;
    if (isCheap(text, hasParameters, guard.leftAtLeast())) {
        if (isContinued) guard.spend(countOf(text, separator) * cost);
        return text.size();
    }
    const unsigned long long left = guard.left();
    const std::size_t whole = text.size();
    if (hasParameters) text = text.substr(0, left / parameterOctetCost);
    std::size_t count = 0;
    std::size_t end = 0;
    for (;; ++end) {
        end = isContinued ? text.find(separator, end) : endOfElement(text, separator, end);
        if (end >= text.size() || count == left / cost) break;
        ++count;
    }
    if (isContinued) guard.spend(count * cost);
    end = std::min(end, text.size());
    // In the middle of a parameter it would be malformed.
    return hasParameters && end < whole ? std::min(end, text.rfind(';', end)) : end;
}

enum class Stored { Whole, InPart, NotAtAll, NoColon };

/// Where a field of this name is or belongs. Numbered names come in order: behind the last one.
HeaderMap::iterator placeOf(const Zeb_String& name, HeaderMap& headers, HeaderMap::iterator last) {
    const auto less = headers.key_comp();
    if (last == headers.end() || !less(last->first, name)) return headers.lower_bound(name);
    ++last;
    return last == headers.end() || less(name, last->first) ? last : headers.lower_bound(name);
}

/// Puts an unfolded field into the map. `last`: the one that was put there last, or the end.
Stored storeField(std::string_view field, HeaderMap& headers, HeaderMap::iterator& last,
                  DecodeGuard* guard) {
    const std::size_t colon = field.find(':');
    if (colon == nowhere) return Stored::NoColon;
    const std::string_view text = withoutBlanksInFront(field.substr(colon + 1));
    if (text.empty()) return Stored::Whole;  // Kept: a field without a value is none
    Zeb_String name = asciiText(field.substr(0, colon));
    const auto less = headers.key_comp();
    const auto place = placeOf(name, headers, last);
    const bool isNew = place == headers.end() || less(name, place->first);
    if (guard != nullptr && isNew && !guard->spend(fieldCost)) return Stored::NotAtAll;
    const std::size_t length =
        guard == nullptr ? text.size() : affordable(text, name, !isNew, *guard);
    if (length == 0) return Stored::InPart;
    if (isNew) {
        last = headers.emplace_hint(place, std::move(name), text.substr(0, length));
    } else {
        // Kept: fields of one name are joined by LF, no comma
        if (!place->second.empty()) place->second += '\n';
        place->second.append(text.substr(0, length));
    }
    return length == text.size() ? Stored::Whole : Stored::InPart;
}

}  // namespace

// ==== lines of a stream

namespace {

class StreamLines {
  public:
    explicit StreamLines(std::istream& in) : in_(in) {}

    /// Takes a line; without its line feed, valid until the next one. False at the end.
    bool next(std::string_view& line) {
        if (!std::getline(in_, line_)) return false;
        line = line_;
        return true;
    }
    /// Whether the next line begins with a blank.
    bool isContinued() { return isFold(in_.peek()); }

  private:
    std::istream& in_;
    std::string line_;
};

/// One header block of a buffer, cut off at a number of octets. The buffer is read no further than
/// its reader looks, but when the block is cut off: then to the end of the block.
class LimitedHeader : public std::streambuf {
  public:
    LimitedHeader(std::streambuf* source, std::size_t limit) : source_(source), left_(limit) {}

    void cut() {
        left_ = 0;
        wasCut_ = true;
    }
    bool wasCut() const { return wasCut_; }

  protected:
    int_type underflow() override { return isOver() ? endOfFile : source_->sgetc(); }
    int_type uflow() override {
        if (isOver()) return endOfFile;
        const int_type octet = source_->sbumpc();
        follow(octet);
        --left_;
        return octet;
    }

  private:
    bool isOver() {
        if (left_ > 0) return false;
        if (!isSkipped_) skipRest();
        isSkipped_ = true;
        return true;
    }

    /// To the end of the block, its blank line included.
    void skipRest() {
        int_type octet = source_->sbumpc();
        while (octet != endOfFile && !(octet == '\n' && lineIsBlank_)) {
            // A line of blanks that continues a field would have dropped it.
            wasCut_ = wasCut_ || (last_ == '\n' && isFold(octet)) ||
                      !(octet == '\n' || octet == '\r' || isFold(octet));
            follow(octet);
            octet = source_->sbumpc();
        }
    }

    void follow(int_type octet) {
        last_ = octet;
        if (octet == '\n')
            lineIsBlank_ = true;
        else if (octet != '\r' && !isFold(octet))
            lineIsBlank_ = false;
    }

    std::streambuf* source_;
    std::size_t left_;
    int_type last_ = '\n';
    bool lineIsBlank_ = true;  // so far
    bool isSkipped_ = false;
    bool wasCut_ = false;
};

class LimitedStreamLines {
  public:
    LimitedStreamLines(std::streambuf& in, std::size_t limit)
        : header_(&in, limit), stream_(&header_), lines_(stream_) {
        stream_.exceptions(std::ios::badbit);  // or getline keeps a lack of memory to itself
    }

    bool next(std::string_view& line) { return lines_.next(line); }
    bool isContinued() { return lines_.isContinued(); }
    /// Drops the rest of the block.
    void cut() { header_.cut(); }
    /// Whether anything was dropped.
    bool wasCut() const { return header_.wasCut(); }

  private:
    LimitedHeader header_;
    std::istream stream_;
    StreamLines lines_;
};

}  // namespace

// ==== lines of a text

namespace {

/// As LimitedStreamLines, without copies.
class TextLines {
  public:
    TextLines(TextSource& text, std::size_t limit) : text_(text), left_(limit) {}

    bool next(std::string_view& line) {
        const std::string_view rest = text_.rest().substr(0, left_);
        const std::size_t end = rest.find('\n');
        line = rest.substr(0, end);
        take(std::min(line.size() + 1, rest.size()));
        if (end != nowhere) return true;
        look(isBlank(line), /*isLineStart=*/line.empty());
        return !line.empty();
    }
    bool isContinued() { return isFold(look(/*lineIsBlank=*/true, /*isLineStart=*/true)); }
    void cut() {
        left_ = 0;
        wasCut_ = true;
    }
    bool wasCut() const { return wasCut_; }

  private:
    void take(std::size_t count) {
        text_.take(count);
        left_ -= count;
    }

    /// The next octet. `lineIsBlank`: what was read of its line; `isLineStart`: nothing was.
    int look(bool lineIsBlank, bool isLineStart) {
        if (left_ > 0) return text_.sgetc();
        if (!std::exchange(isSkipped_, true)) skipRest(lineIsBlank, isLineStart);
        return endOfFile;
    }

    /// To the end of the block, its blank line included.
    void skipRest(bool lineIsBlank, bool isLineStart) {
        for (bool isBlockEnd = false; !isBlockEnd && text_.sgetc() != endOfFile;) {
            const std::string_view rest = text_.rest();
            const std::string_view line = rest.substr(0, rest.find('\n'));
            // A line of blanks that continues a field would have dropped it.
            wasCut_ = wasCut_ || (isLineStart && isFold(text_.sgetc())) || !isBlank(line);
            isBlockEnd = lineIsBlank && isBlank(line) && line.size() < rest.size();
            text_.take(std::min(line.size() + 1, rest.size()));
            lineIsBlank = isLineStart = true;
        }
    }

    TextSource& text_;
    std::size_t left_;
    bool isSkipped_ = false;
    bool wasCut_ = false;
};

}  // namespace

// ==== blocks

namespace {

/// Calls `store` with each field, unfolded.
template <typename Lines, typename Store>
void readFields(Lines& lines, Store store) {
    std::string folded;
    for (std::string_view line; lines.next(line);) {
        line = withoutBlanksBehind(line);
        if (line.empty()) return;  // Kept: a field that a line of blanks continues is dropped
        const bool isFirst = folded.empty();
        if (!isFirst) folded += line;
        if (lines.isContinued()) {
            if (isFirst) folded = line;
            continue;
        }
        store(isFirst ? line : folded);
        folded.clear();
    }
}

template <typename Lines>
void readFields(Lines& lines, HeaderMap& headers) {
    auto last = headers.end();
    readFields(lines, [&](std::string_view field) { storeField(field, headers, last, nullptr); });
}

template <typename Lines>
void readFields(Lines& lines, HeaderMap& headers, DecodeGuard& guard) {
    auto last = headers.end();
    readFields(lines, [&](std::string_view field) {
        const Stored stored = storeField(field, headers, last, &guard);
        if (stored == Stored::NoColon) guard.note(MIMEDefect::Kind::LineWithoutColon);
        if (stored == Stored::InPart) guard.note(MIMEDefect::Kind::HeaderTooLarge);
        if (stored == Stored::NotAtAll) lines.cut();
    });
    if (lines.wasCut()) guard.note(MIMEDefect::Kind::HeaderTooLarge);
}

}  // namespace

void readHeaderBlock(HeaderMap& headers, std::istream& in) {
    StreamLines lines(in);
    readFields(lines, headers);
}

void readHeaderBlock(HeaderMap& headers, std::streambuf& in, DecodeGuard* guard) {
    if (guard == nullptr) {
        std::istream stream(&in);
        stream.exceptions(std::ios::badbit);
        return readHeaderBlock(headers, stream);
    }
    LimitedStreamLines lines(in, guard->limits().headerSize);
    readFields(lines, headers, *guard);
}

void readHeaderBlock(HeaderMap& headers, TextSource& in, DecodeGuard* guard) {
    TextLines lines(in, guard == nullptr ? SIZE_MAX : guard->limits().headerSize);
    if (guard == nullptr)
        readFields(lines, headers);
    else
        readFields(lines, headers, *guard);
}
