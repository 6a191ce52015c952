// SPDX-License-Identifier: Apache-2.0
// Sections: reading it all, lines that may be delimiters, texts, the measures of a text.
#include "inet/messagetext.utf16.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

// ==== reading it all

std::size_t countOf(std::string_view text, char wanted) {
    constexpr std::size_t most = 255;  // so that an octet can count, in a vector of them
    std::size_t count = 0;
    while (!text.empty()) {
        const std::string_view piece = text.substr(0, most);
        unsigned char inPiece = 0;
        for (const char c : piece) inPiece = static_cast<unsigned char>(inPiece + (c == wanted));
        count += inPiece;
        text.remove_prefix(piece.size());
    }
    return count;
}

std::size_t atHand(std::streambuf& source) {
    constexpr std::streamsize most = 64 << 20;  // it may be mistaken
    return static_cast<std::size_t>(std::clamp<std::streamsize>(source.in_avail(), 0, most));
}

std::string readAll(std::streambuf& source, std::size_t blockSize, std::size_t expected) {
    std::string octets;
    octets.reserve(expected);
    char block[4 * readBlockSize];
    std::size_t count = 0;
    do {
        count =
            static_cast<std::size_t>(source.sgetn(block, static_cast<std::streamsize>(blockSize)));
        octets.append(block, count);
    } while (count == blockSize || count % readBlockSize != 0);
    if (octets.capacity() > 2 * expected) octets.shrink_to_fit();
    return octets;
}

bool readAhead(std::streambuf& source, std::size_t most, std::string& octets) {
    char block[readBlockSize];
    while (octets.size() <= most) {
        const auto count = static_cast<std::size_t>(source.sgetn(block, sizeof block));
        if (count == 0) return true;
        octets.append(block, count);
    }
    return false;
}

// ==== lines that may be delimiters

namespace {

constexpr std::string_view delimiterStart = "\n--";

}  // namespace

DelimiterLines::DelimiterLines(std::string_view text) : text_(text) {
    constexpr std::size_t most = 1 << 18;
    isComplete_ = text.size() <= UINT32_MAX;
    if (!isComplete_) return;
    std::size_t place = text.find(delimiterStart);
    for (; place != std::string_view::npos; place = text.find(delimiterStart, place + 1)) {
        isComplete_ = places_.size() < most;
        if (!isComplete_) break;
        places_.push_back(static_cast<std::uint32_t>(place));
    }
    if (!isComplete_) places_ = {};
}

const char* DelimiterLines::find(std::string_view stretch, std::string_view line) const {
    if (!isComplete_) {
        const std::size_t found = stretch.find(line);
        return found == std::string_view::npos ? nullptr : stretch.data() + found;
    }
    const auto first = static_cast<std::size_t>(stretch.data() - text_.data());
    const auto from = std::lower_bound(places_.begin(), places_.end(), first);
    for (auto place = from; place != places_.end(); ++place) {
        if (*place - first >= stretch.size()) break;
        if (stretch.substr(*place - first).starts_with(line)) return text_.data() + *place;
    }
    return nullptr;
}

// ==== texts

TextSource::TextSource(std::string_view text) : TextSource(nullptr, text, {}) {}

TextSource::TextSource(TextSource& outer) : TextSource(&outer, outer.rest(), {}) {}

TextSource::TextSource(TextSource& outer, std::string_view delimiter, FirstLineFeed first)
    : TextSource(&outer, outer.rest(), delimiter) {
    std::string_view text = outer.rest();
    const std::string_view line = delimiter.substr(1);
    if (first == FirstLineFeed::IsText && text.starts_with('\n')) text.remove_prefix(1);
    if (text.data() == begin_ &&
        text.starts_with(line.substr(1))) {  // at the very start it needs no line end
        end_ = begin_;
        next_ = begin_ + line.size() - 1;
    } else if (const char* const found = outer.lines().find(text, line)) {
        end_ = found > begin_ && found[-1] == '\r' ? found - 1 : found;
        next_ = found + line.size();
    }
}

TextSource::TextSource(TextSource* outer, std::string_view text, std::string_view delimiter)
    : outer_(outer),
      begin_(text.data()),
      end_(text.data() + text.size()),
      delimiter_(delimiter),
      seen_(begin_),
      lineStart_(begin_) {
    moveTo({begin_, false});
}

TextSource::~TextSource() = default;

const DelimiterLines& TextSource::lines() {
    if (outer_ != nullptr) return outer_->lines();
    if (!lines_) lines_ = std::make_unique<DelimiterLines>(std::string_view(begin_, size()));
    return *lines_;
}

TextSource::int_type TextSource::underflow() {
    if (gptr() == end_) isEndSeen_ = true;
    moveTo({gptr(), true});
    return gptr() == end_ ? traits_type::eof() : traits_type::to_int_type(*gptr());
}

void TextSource::take(std::size_t count) { moveTo({gptr() + count, false}); }

void TextSource::takeRest() {
    take(rest().size());
    sgetc();
}

void TextSource::leave() {
    if (outer_ == nullptr) return;
    outer_->moveTo(isEndSeen_ ? outerEnd() : placeInOuter(gptr()));
}

// ==== the measures of a text

/// Blocks that have been asked for when all octets in front of `place` have been handed on.
std::size_t TextSource::blocksTo(const ReadingPlace& place) const {
    const auto offset = static_cast<std::size_t>(place.at - begin_);
    return (offset + (place.isPeeked ? readBlockSize : readBlockSize - 1)) / readBlockSize;
}

const char* TextSource::endOfBlocks(std::size_t count) const {
    return begin_ + std::min(count * readBlockSize, size());
}

void TextSource::moveTo(const ReadingPlace& place) {
    blocks_ = std::max(blocks_, blocksTo(place));
    char* const begin = const_cast<char*>(begin_);  // never written to
    setg(begin, begin + (place.at - begin_), begin + (endOfBlocks(blocks_) - begin_));
}

/// Where the outer text stands when this part has ended.
ReadingPlace TextSource::outerEnd() const {
    return next_ != nullptr ? ReadingPlace{next_, false} : ReadingPlace{end_, true};
}

namespace {

/// The place behind the last `wanted` in a stretch; its start when there is none.
const char* behindLast(char wanted, const char* start, const char* end) {
    const void* const last = memrchr(start, wanted, static_cast<std::size_t>(end - start));
    return last != nullptr ? static_cast<const char*>(last) + 1 : start;
}

}  // namespace

/// The start of the line that `at` is in; null when it is farther off than the delimiter is long.
const char* TextSource::lineStart(const char* at) const {
    const auto reach = static_cast<std::ptrdiff_t>(delimiter_.size());
    const char* const first = at - std::min(at - begin_, reach);
    // A delimiter may be long: what has been looked at for an earlier place is not looked at again.
    const bool isAhead = at >= seen_;
    const char* const from = isAhead ? std::max(first, seen_) : first;
    const char* line = behindLast('\r', behindLast('\n', from, at), at);
    if (line == from && isAhead && seen_ >= first) line = lineStart_;
    seen_ = at;
    lineStart_ = line;
    return line > first || first == begin_ ? line : nullptr;
}

/// How far a line, with the line end in front of it, is what the delimiter is.
const char* TextSource::endOfLikeness(const char* line) const {
    std::string_view wanted = delimiter_;
    if (line == begin_) {
        wanted.remove_prefix(2);  // as if a line end stood in front of the part
    } else if (*--line == '\n') {
        wanted.remove_prefix(1);  // whether a CR stands in front of it or not
    }
    return std::mismatch(line, end_, wanted.begin(), wanted.end()).first;
}

/// Where the outer text stands when all octets in front of `at` have been handed on: further on
/// when they end in what looked like a delimiter.
ReadingPlace TextSource::placeInOuter(const char* at) const {
    const char* const line = delimiter_.empty() || at == begin_ ? nullptr : lineStart(at);
    if (line == nullptr) return {at, false};
    if (line != likeLine_) likeEnd_ = endOfLikeness(likeLine_ = line);
    return likeEnd_ >= at ? ReadingPlace{likeEnd_, true} : ReadingPlace{at, false};
}

TextSource::Meter TextSource::meter(const std::optional<ReadingPlace>& inner) const {
    const std::size_t blocks = inner ? std::max(blocks_, blocksTo(*inner)) : blocks_;
    const char* const end = endOfBlocks(blocks);
    Meter meter{static_cast<unsigned long long>(end - begin_),
                static_cast<unsigned long long>(end - (inner ? inner->at : gptr())), std::nullopt};
    if (outer_ == nullptr) return meter;
    const bool isEnded = blocks * readBlockSize > size();
    meter.below = isEnded ? outerEnd() : placeInOuter(end);
    return meter;
}
