// SPDX-License-Identifier: Apache-2.0
// Transfer encodings as stream buffers.
//
// Sections: base64, quoted-printable, the choice between them, dot-stuffing, multipart boundaries.
// What is in memory base64codec and quotedcodec encode and decode; here are the streams.
// underflow, uflow and overflow move one octet (base64: one group of three) at a time between the
// caller and the wrapped buffer, and define what a filter does. xsgetn does the same in runs, as
// far as the wrapped buffer has octets at hand, and leaves to them what is not plain. xsputn writes
// in blocks; what a target refuses a part of is written again octet by octet.
#include "inet/transferstream.utf16.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <string_view>
#include <typeinfo>

#include "inet/base64codec.utf16.h"
#include "inet/octetmask.utf16.h"
#include "inet/quotedcodec.utf16.h"
#include "inet/readarea.utf16.h"

namespace {

using Traits = std::char_traits<char>;

constexpr int endOfFile = Traits::eof();

/// Kept: asked to write end-of-file, overflow answers 0 and not end-of-file, so that the caller
/// sees success.
constexpr int nothingWritten = 0;

/// The column on the line of a header, once there is anything on it. Such a line has no end, and
/// an int could not count on and on.
constexpr int columnInHeader = 1;

bool writeText(std::streambuf* target, std::string_view text) {
    const auto length = static_cast<std::streamsize>(text.size());
    return target->sputn(text.data(), length) == length;
}

bool writeChar(std::streambuf* target, char c) { return target->sputc(c) != endOfFile; }

multipartboundarybuf* asBodyPart(std::streambuf* buffer) {
    // Of a class derived from it nobody knows what its octets are.
    const bool isPart = buffer != nullptr && typeid(*buffer) == typeid(multipartboundarybuf);
    return isPart ? static_cast<multipartboundarybuf*>(buffer) : nullptr;
}

}  // namespace

/// What a buffer can hand out without reading on: to be looked at, and then taken. That is its get
/// area; of a body part that of the buffer below all parts, as far as no delimiter is near.
class OctetsAtHand {
  public:
    explicit OctetsAtHand(std::streambuf* source) : OctetsAtHand(source, asBodyPart(source)) {}
    /// `part`: `source`, when that is a body part.
    OctetsAtHand(std::streambuf* source, const multipartboundarybuf* part);

    std::string_view look(std::size_t most) const;
    void take(std::size_t count);

  private:
    std::streambuf* source_;
    std::streambuf* bottom_;
    bool isReady_ = true;  // no part owes octets or is at its start or end
};

namespace {

/// Looked at beyond what a read is sure to take: line ends and escapes make that longer.
constexpr std::size_t spareOctets = 16;

/// Reads as xsgetn does: by `readAtHand` what it can in one go, else octet by octet.
template <typename ReadAtHand>
std::streamsize readInRuns(std::streambuf& buffer, char* to, std::streamsize count,
                           ReadAtHand readAtHand) {
    std::streamsize done = 0;
    while (done < count) {
        const auto room = static_cast<std::size_t>(count - done);
        done += static_cast<std::streamsize>(readAtHand(to + done, room));
        if (done == count) break;
        const int octet = buffer.sbumpc();
        if (octet == endOfFile) break;
        to[done++] = Traits::to_char_type(octet);
    }
    return done;
}

/// Stands for a target that has refused a part of a block, while that is written again octet by
/// octet: what the target took it takes once more, it refuses the next octet, and passes on the
/// rest.
class RefusedBlock : public std::streambuf {
  public:
    /// Replaces `target` while it lives.
    RefusedBlock(std::streambuf*& target, std::streamsize taken)
        : place_(target), target_(target), taken_(taken) {
        place_ = this;
    }
    ~RefusedBlock() override { place_ = target_; }
    RefusedBlock(const RefusedBlock&) = delete;
    RefusedBlock& operator=(const RefusedBlock&) = delete;

  protected:
    int_type overflow(int_type ch) override {
        if (taken_ >= 0) return --taken_ >= 0 ? ch : endOfFile;
        return target_->sputc(Traits::to_char_type(ch));
    }

  private:
    std::streambuf*& place_;
    std::streambuf* const target_;
    std::streamsize taken_;  // octets to take, below 0 when one has been refused
};

}  // namespace

// ==== base64

namespace {

/// Groups written at once, 48 lines of 76 digits.
constexpr std::streamsize groupsInBlock = std::streamsize{48} * 19;

}  // namespace

base64buf::base64buf(std::streambuf* target, bool encodedWord)
    : target_(target), encodedWord_(encodedWord) {
    setp(putArea_, putArea_ + sizeof putArea_);
}

base64buf::~base64buf() = default;

void base64buf::imbue(const std::locale& locale) { std::streambuf::imbue(locale); }

bool base64buf::send_output(bool) {
    const auto count = pptr() - pbase();
    if (count == 0) return true;
    if (!encodedWord_ && column_ > base64LastGroupColumn) {
        if (!writeText(target_, "\r\n")) return false;
        column_ = 0;
    }
    char digits[4];
    putBase64Group(pbase(), count, digits);
    for (const char digit : digits)
        if (!writeChar(target_, digit)) return false;
    column_ = encodedWord_ ? columnInHeader : column_ + 4;
    setp(putArea_, putArea_ + sizeof putArea_);
    return true;
}

base64buf::int_type base64buf::overflow(int_type ch) {
    if (ch == endOfFile) return nothingWritten;
    if (pptr() == epptr() && !send_output(false)) return endOfFile;
    *pptr() = Traits::to_char_type(ch);
    pbump(1);
    return ch;
}

std::streamsize base64buf::xsputn(const char* from, std::streamsize count) {
    std::streamsize done = std::streambuf::xsputn(from, std::min(count, epptr() - pptr()));
    while (count - done >= 3) {
        const std::streamsize groups = std::min((count - done) / 3, groupsInBlock);
        const std::streamsize taken = writeGroups(from + done, groups);
        done += taken;
        if (taken < 3 * groups) return done;
    }
    return done + std::streambuf::xsputn(from + done, count - done);
}

/// With a group pending: writes that and those at `from` but the last, which is then pending.
/// Returns how many octets are taken.
std::streamsize base64buf::writeGroups(const char* from, std::streamsize groups) {
    char block[groupsInBlock / 19 * 78 + 78];
    const auto others = static_cast<std::size_t>(groups - 1);
    int column = column_;
    char* end = block;
    if (encodedWord_) {
        end = encodeBase64(from, others, encodeBase64(pbase(), 1, end));
        column = columnInHeader;
    } else {
        end = encodeBase64Lines(from, others, column, encodeBase64Lines(pbase(), 1, column, end));
    }
    const std::streamsize taken = target_->sputn(block, end - block);
    if (taken < end - block) {
        const RefusedBlock refused(target_, taken);
        return std::streambuf::xsputn(from, 3 * groups);
    }
    column_ = column;
    std::copy_n(from + 3 * others, 3, pbase());
    return 3 * groups;
}

int base64buf::sync() {
    if (!send_output(true)) return -1;
    if (column_ != 0) {
        if (!writeText(target_, "\r\n")) return -1;
        column_ = 0;
    }
    return target_->pubsync();
}

int base64buf::getUnit() {
    for (;;) {
        const int_type octet = target_->sbumpc();
        if (octet == endOfFile) return -1;
        if (endSeen_) continue;
        const int digit = base64Digits[static_cast<std::size_t>(octet)];
        if (digit >= 0) return digit;
        endSeen_ = octet == '=';
    }
}

base64buf::int_type base64buf::underflow() {
    if (gptr() != egptr()) return Traits::to_int_type(*gptr());
    std::array<int, 4> digits{};
    for (int& digit : digits) digit = getUnit();  // Kept: four digits are read, whatever they are
    if (digits[0] >= 0 && (digits[1] < 0 || (digits[3] < 0 && !endSeen_))) malformed_ = true;
    if (digits[0] < 0 || digits[1] < 0) return endOfFile;
    int count = 0;
    const auto put = [&](int octet) { getArea_[count++] = static_cast<char>(octet & 0xFF); };
    put(digits[0] << 2 | (digits[1] >> 4 & 0x3));
    if (digits[2] >= 0) {
        put(digits[1] << 4 | (digits[2] >> 2 & 0xF));
        if (digits[3] >= 0) put(digits[2] << 6 | (digits[3] & 0x3F));
    }
    setg(getArea_, getArea_, getArea_ + count);
    return Traits::to_int_type(getArea_[0]);
}

std::streamsize base64buf::xsgetn(char* to, std::streamsize count) {
    return readInRuns(*this, to, count,
                      [this](char* rest, std::size_t room) { return decodeAtHand(rest, room); });
}

std::size_t base64buf::decodeAtHand(char* to, std::size_t room) {
    if (gptr() != egptr() || endSeen_) return 0;
    OctetsAtHand source(target_);
    const OctetRun run = decodeBase64(source.look(room / 2 * 3 + spareOctets), to, room);
    source.take(run.taken);
    if (run.given == 0) return 0;
    std::copy_n(to + run.given - sizeof getArea_, sizeof getArea_, getArea_);  // to be put back
    setg(getArea_, std::end(getArea_), std::end(getArea_));
    return run.given;
}

// ==== quoted-printable

namespace {

/// What a "Q" word may hold unencoded (RFC 2047, 5 (3)).
constexpr char rfc2047safe[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789!*+-/";

/// Kept: NUL, which ends the set, counts as a member, so a "Q" word holds it as it is.
constexpr bool isHeaderLiteral(int octet) {
    return std::string_view(rfc2047safe, sizeof rfc2047safe).find(static_cast<char>(octet)) !=
           std::string_view::npos;
}

constexpr int carriageReturn = '\r';

}  // namespace

quotedprintablebuf::quotedprintablebuf(std::streambuf* target, bool headerMode)
    : target_(target), headerMode_(headerMode) {}

quotedprintablebuf::~quotedprintablebuf() = default;

void quotedprintablebuf::imbue(const std::locale& locale) { std::streambuf::imbue(locale); }

void quotedprintablebuf::checkSpace(int n) {
    if (headerMode_ || column_ + n <= quotedLineLength) return;
    if (writeText(target_, "=\r\n")) column_ = 0;
}

quotedprintablebuf::int_type quotedprintablebuf::overflow(int_type ch) {
    if (ch == endOfFile) return nothingWritten;
    if (headerMode_) return writeHeaderOctet(ch);
    if (ch == '\n') return writeLineFeed();
    if (!writePendingReturn()) return endOfFile;
    if (ch == carriageReturn) return holdReturn() ? ch : endOfFile;
    previous_ = ch;
    if (!isQuotedLiteral(ch)) return writeEscape(ch) ? ch : endOfFile;
    checkSpace(1);
    ++column_;
    return target_->sputc(Traits::to_char_type(ch));
}

std::streamsize quotedprintablebuf::xsputn(const char* from, std::streamsize count) {
    if (headerMode_) return std::streambuf::xsputn(from, count);
    constexpr std::streamsize most = quotedBlockSize;
    std::streamsize done = 0;
    while (done < count) {
        const std::streamsize wanted = std::min(count - done, most);
        const std::streamsize taken = writeBlock(from + done, wanted);
        done += taken;
        if (taken < wanted) break;
    }
    return done;
}

/// Returns how many octets are taken.
std::streamsize quotedprintablebuf::writeBlock(const char* from, std::streamsize count) {
    char block[quotedBlockRoom];
    QuotedLine line{column_, previous_};
    const char* const end = encodeQuoted({from, static_cast<std::size_t>(count)}, line, block);
    const std::streamsize taken = target_->sputn(block, end - block);
    if (taken < end - block) {
        const RefusedBlock refused(target_, taken);
        return std::streambuf::xsputn(from, count);
    }
    column_ = line.column;
    previous_ = line.previous;
    return count;
}

quotedprintablebuf::int_type quotedprintablebuf::writeHeaderOctet(int_type ch) {
    if (isHeaderLiteral(ch) || ch == ' ') {
        column_ = columnInHeader;
        return target_->sputc(ch == ' ' ? '_' : Traits::to_char_type(ch)) == endOfFile ? endOfFile
                                                                                       : ch;
    }
    return writeEscape(ch) ? ch : endOfFile;
}

quotedprintablebuf::int_type quotedprintablebuf::writeLineFeed() {
    if (previous_ == carriageReturn) {
        if (!writeText(target_, "\r\n")) return endOfFile;
        column_ = 0;
    } else if (!writeEscape('\n')) {
        return endOfFile;
    }
    previous_ = '\n';
    return '\n';
}

/// A carriage return held back that no line feed followed.
bool quotedprintablebuf::writePendingReturn() {
    if (previous_ != carriageReturn) return true;
    if (!writeEscape(carriageReturn)) return false;
    previous_ = -1;
    return true;
}

/// White space in front of a line end would be lost on the way: a soft break protects it.
bool quotedprintablebuf::holdReturn() {
    if (previous_ == ' ' || previous_ == '\t') {
        if (!writeText(target_, "=\r\n")) return false;
        column_ = 0;
    }
    previous_ = carriageReturn;
    return true;
}

bool quotedprintablebuf::writeEscape(int_type ch) {
    checkSpace(3);
    const char escape[] = {'=', quotedHexDigits[ch >> 4 & 0xF], quotedHexDigits[ch & 0xF]};
    if (!writeText(target_, {escape, sizeof escape})) return false;
    column_ = headerMode_ ? columnInHeader : column_ + 3;
    return true;
}

int quotedprintablebuf::sync() {
    // Kept: a write that fails in a sync is reported as success, unlike in base64buf, and a
    // carriage return stays pending.
    if (previous_ == carriageReturn && !writeEscape(carriageReturn)) return 0;
    if (column_ != 0) {  // Kept: a sync in header mode writes a soft break, too
        if (!writeText(target_, "=\r\n")) return 0;
        column_ = 0;
    }
    return target_->pubsync();
}

quotedprintablebuf::int_type quotedprintablebuf::underflow() {
    if (gptr() != egptr()) return Traits::to_int_type(*gptr());
    for (;;) {
        int_type ch = target_->sbumpc();
        if (ch == '=') {
            const int_type first = target_->sbumpc();
            if (isSoftBreak(first)) continue;
            ch = first == carriageReturn && !headerMode_ ? endOfFile : decodeEscape(first);
            if (ch == endOfFile && first != endOfFile) malformed_ = true;  // else a soft break
        } else if (headerMode_ && ch == '_') {
            ch = ' ';
        }
        if (ch == endOfFile) return endOfFile;
        getArea_[0] = Traits::to_char_type(ch);
        setg(getArea_, getArea_, getArea_ + 1);
        return ch;
    }
}

std::streamsize quotedprintablebuf::xsgetn(char* to, std::streamsize count) {
    return readInRuns(*this, to, count,
                      [this](char* rest, std::size_t room) { return decodeAtHand(rest, room); });
}

std::size_t quotedprintablebuf::decodeAtHand(char* to, std::size_t room) {
    if (gptr() != egptr() || headerMode_) return 0;
    OctetsAtHand source(target_);
    const OctetRun run = decodeQuoted(source.look(room + spareOctets), to, room);
    source.take(run.taken);
    if (run.given == 0) return 0;
    getArea_[0] = to[run.given - 1];  // to be put back
    setg(getArea_, std::end(getArea_), std::end(getArea_));
    return run.given;
}

/// Whether an "=" and `first` begin a soft break; the line feed behind a carriage return (or what
/// stands in its place) is taken.
bool quotedprintablebuf::isSoftBreak(int_type first) {
    if (headerMode_) return false;
    return first == '\n' || (first == carriageReturn && target_->sbumpc() == '\n');
}

quotedprintablebuf::int_type quotedprintablebuf::decodeEscape(int_type first) {
    const int high = quotedHexValue(first);
    const int low = quotedHexValue(target_->sbumpc());
    return high < 0 || low < 0 ? endOfFile : high << 4 | low;
}

// ==== the choice

Zeb_String getBestTransferEncoding(const std::string& data) {
    const std::size_t base64Size = data.size() / 3 * 4;
    std::size_t strange = 0;  // no text of 7 bits
    std::size_t signs = 0;
    for (const char octet : data) {  // no jumps: the compiler takes several octets at once
        const bool isPrintable = octet >= ' ' && octet <= '~';
        const bool isBlank = octet == '\t' || octet == '\r' || octet == '\n';
        strange += static_cast<std::size_t>(!isPrintable & !isBlank);
        signs += static_cast<std::size_t>(octet == '=');
    }
    if (strange == 0) return u"7bit";
    const std::size_t quotedSize = data.size() + 2 * (strange + signs);
    return quotedSize > base64Size ? u"base64" : u"quoted-printable";
}

// ==== dot-stuffing

dotstuffingbuf::dotstuffingbuf(std::streambuf* target) : target_(target) {}

dotstuffingbuf::~dotstuffingbuf() = default;

void dotstuffingbuf::imbue(const std::locale& locale) { std::streambuf::imbue(locale); }

namespace {

/// Looked over for dots before it is copied; so much stays in the processor's nearest memory.
constexpr std::size_t longestRun = 8192;

/// The front of `octets` up to a line feed that a dot follows, that line feed included. Not empty
/// unless `octets` are.
std::string_view beforeLineDot(std::string_view octets) {
    std::size_t at = 1;  // where the dot may be
    for (; at + octetsInMask <= octets.size(); at += octetsInMask) {
        const char* const block = octets.data() + at;
        const std::uint64_t lineDots = octetMask(block, '.') & octetMask(block - 1, '\n');
        if (lineDots == 0) continue;
        return octets.substr(0, at + static_cast<std::size_t>(std::countr_zero(lineDots)));
    }
    for (; at < octets.size(); ++at)
        if (octets[at] == '.' && octets[at - 1] == '\n') return octets.substr(0, at);
    return octets;
}

}  // namespace

std::streamsize dotstuffingbuf::xsputn(const char* from, std::streamsize count) {
    std::streamsize done = 0;
    while (done < count) {
        std::string_view octets(from + done, static_cast<std::size_t>(count - done));
        if (writeAtLineStart_ && octets[0] == '.') {
            if (overflow('.') == endOfFile) break;
            ++done;
            continue;
        }
        octets = beforeLineDot(octets.substr(0, longestRun));
        const auto length = static_cast<std::streamsize>(octets.size());
        const std::streamsize taken = target_->sputn(octets.data(), length);
        if (taken < length) {
            const RefusedBlock refused(target_, taken);
            return done + std::streambuf::xsputn(octets.data(), length);
        }
        writeAtLineStart_ = octets.ends_with('\n');
        done += length;
    }
    return done;
}

dotstuffingbuf::int_type dotstuffingbuf::overflow(int_type ch) {
    if (ch == endOfFile) return nothingWritten;
    if (ch == '\n') {
        writeAtLineStart_ = true;
    } else if (ch == '.') {
        // Kept: every dot of a run at the start of a line is doubled, not the first one alone.
        if (writeAtLineStart_ && !writeChar(target_, '.')) return endOfFile;
    } else {
        writeAtLineStart_ = false;
    }
    return target_->sputc(Traits::to_char_type(ch));
}

int dotstuffingbuf::sync() {
    if (!writeAtLineStart_ && !writeText(target_, "\r\n")) return -1;
    if (!writeText(target_, ".\r\n")) return -1;
    return target_->pubsync();
}

dotstuffingbuf::int_type dotstuffingbuf::uflow() {
    if (endReached_) return endOfFile;
    const int_type octet = target_->sbumpc();
    if (octet == endOfFile) return endOfFile;
    if (octet == '\n') {
        readAtLineStart_ = true;
        return octet;
    }
    if (octet != '.' || !readAtLineStart_) {
        readAtLineStart_ = false;
        return octet;
    }
    const int_type next = target_->sbumpc();
    if (next == '\r') {
        target_->sbumpc();  // Kept: whatever follows a dot and a CR is taken for the line feed
        endReached_ = true;
        return endOfFile;
    }
    readAtLineStart_ = false;
    return next;
}

/// Kept: a peek at a dot that starts a line takes it, and what follows still starts a line.
dotstuffingbuf::int_type dotstuffingbuf::underflow() {
    if (endReached_) return endOfFile;
    const int_type octet = target_->sgetc();
    if (octet != '.' || !readAtLineStart_) return octet;
    target_->sbumpc();
    const int_type next = target_->sgetc();
    if (next != '\r') return next;
    target_->sbumpc();
    target_->sbumpc();
    endReached_ = true;
    return endOfFile;
}

// ==== multipart boundaries

namespace {

/// No look ahead goes further than this, so that what is looked at and then left costs little.
constexpr std::size_t furthestLook = 2048;

/// Whether a line feed in front of `rest` may begin a delimiter, whatever the boundary.
bool mayBeDelimiter(std::string_view rest) {
    return rest.empty() || (rest[0] == '-' && (rest.size() == 1 || rest[1] == '-'));
}

/// The front of `octets` behind which no part, however deeply nested, has read on to see whether a
/// delimiter follows.
std::string_view settledFront(std::string_view octets) {
    while (octets.ends_with('\n') || octets.ends_with('\r') || octets.ends_with("\n-"))
        octets.remove_suffix(1);
    return octets;
}

/// The front of `octets`, at most `most`, in which no delimiter begins.
std::string_view plainFront(std::string_view octets, std::size_t most) {
    if (settledFront(octets.substr(0, 1)).empty()) return {};  // line ends are looked at once
    std::string_view front = octets.substr(0, std::min(most, furthestLook));
    for (std::size_t at = 0; (at = front.find('\n', at)) != std::string_view::npos; ++at)
        if (mayBeDelimiter(octets.substr(at + 1))) front = front.substr(0, at);
    return settledFront(front);
}

}  // namespace

OctetsAtHand::OctetsAtHand(std::streambuf* source, const multipartboundarybuf* part)
    : source_(source), bottom_(source) {
    for (; part != nullptr; part = part->outer_) {
        isReady_ = isReady_ && part->owesNothing();
        bottom_ = part->source_;
    }
}

std::string_view OctetsAtHand::look(std::size_t most) const {
    if (!isReady_) return {};
    const std::string_view octets = ReadArea::of(*bottom_);
    return bottom_ == source_ ? octets.substr(0, most) : plainFront(octets, most);
}

void OctetsAtHand::take(std::size_t count) {
    const std::string_view octets = ReadArea::of(*bottom_).substr(0, count);
    const std::size_t settled = bottom_ == source_ ? count : settledFront(octets).size();
    ReadArea::take(*bottom_, settled);
    for (std::size_t done = settled; done < count; ++done) source_->sbumpc();
}

multipartboundarybuf::multipartboundarybuf(std::streambuf* source, const std::string& boundary)
    : source_(source), outer_(asBodyPart(source)), delimiter_("\r\n--" + boundary) {}

multipartboundarybuf::~multipartboundarybuf() = default;

void multipartboundarybuf::imbue(const std::locale& locale) { std::streambuf::imbue(locale); }

multipartboundarybuf::int_type multipartboundarybuf::underflow() { return read(false); }

multipartboundarybuf::int_type multipartboundarybuf::uflow() { return read(true); }

multipartboundarybuf::int_type multipartboundarybuf::read(bool takes) {
    if (matched_ == delimiter_.size()) return endOfFile;
    if (replay_ == matched_) {
        const int_type next = match();
        if (matched_ == delimiter_.size()) return endOfFile;
        if (replay_ == matched_) return takes && next != endOfFile ? source_->sbumpc() : next;
    }
    const int_type owed = Traits::to_int_type(delimiter_[replay_]);
    if (takes) ++replay_;
    return owed;
}

std::streamsize multipartboundarybuf::xsgetn(char* to, std::streamsize count) {
    return readInRuns(*this, to, count,
                      [this](char* rest, std::size_t room) { return copyAtHand(rest, room); });
}

std::size_t multipartboundarybuf::copyAtHand(char* to, std::size_t room) {
    OctetsAtHand source(this, this);
    const std::string_view octets = source.look(room);
    octets.copy(to, octets.size());
    source.take(octets.size());
    return octets.size();
}

/// Whether the next octet is that of the source.
bool multipartboundarybuf::owesNothing() const { return !atStart_ && replay_ == matched_; }

/// Takes as much of a delimiter as stands at the front of the source. Returns the octet that broke
/// it, which stays there.
multipartboundarybuf::int_type multipartboundarybuf::match() {
    int_type next = source_->sgetc();
    matched_ = replay_ = 0;
    if (atStart_) {
        atStart_ = false;
        matched_ = replay_ = 2;  // as if a line end had just been read
    } else if (next == '\n') {
        matched_ = 2;  // a line end without its carriage return, which is not owed
        replay_ = 1;
        source_->sbumpc();
        next = source_->sgetc();
    }
    while (matched_ < delimiter_.size() && next == Traits::to_int_type(delimiter_[matched_])) {
        ++matched_;
        source_->sbumpc();
        if (matched_ < delimiter_.size()) next = source_->sgetc();
    }
    return next;
}
