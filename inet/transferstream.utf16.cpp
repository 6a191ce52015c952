// SPDX-License-Identifier: Apache-2.0
// Transfer encodings as stream buffers.
//
// Sections: base64, quoted-printable, the choice between them, dot-stuffing, multipart boundaries.
// Each filter moves one octet (base64: one group of three) at a time between its caller and the
// wrapped buffer.
#include "inet/transferstream.utf16.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <string_view>

namespace {

using Traits = std::char_traits<char>;

constexpr int endOfFile = Traits::eof();

/// What overflow answers when it is asked to write nothing. Kept: not end-of-file, so that the
/// caller sees success.
constexpr int nothingWritten = 0;

bool writeText(std::streambuf* target, std::string_view text) {
    const auto length = static_cast<std::streamsize>(text.size());
    return target->sputn(text.data(), length) == length;
}

bool writeChar(std::streambuf* target, char c) { return target->sputc(c) != endOfFile; }

}  // namespace

// ==== base64

namespace {

constexpr char base64Alphabet[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// A group is written only while the line holds no more than this, so lines have 76 characters.
constexpr int base64LastGroupColumn = 72;

constexpr std::array<int, 256> makeBase64Digits() {
    std::array<int, 256> digits{};
    for (int& digit : digits) digit = -1;
    // Kept: the search for a digit takes in the terminator of the alphabet, so NUL is digit 64.
    for (std::size_t i = 0; i < sizeof base64Alphabet; ++i)
        digits[static_cast<unsigned char>(base64Alphabet[i])] = static_cast<int>(i);
    return digits;
}

constexpr std::array<int, 256> base64Digits = makeBase64Digits();

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
    unsigned bits = 0;
    for (int i = 0; i < 3; ++i)
        bits = bits << 8 | (i < count ? static_cast<unsigned char>(pbase()[i]) : 0U);
    for (int i = 0; i < 4; ++i) {
        const char digit = i > count ? '=' : base64Alphabet[bits >> (18 - 6 * i) & 0x3F];
        if (!writeChar(target_, digit)) return false;
    }
    column_ += 4;
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
    for (int& digit : digits) digit = getUnit();  // always four, whatever they are
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

// ==== quoted-printable

namespace {

constexpr char hexchars[] = "0123456789ABCDEF";

/// What a "Q" word may hold unencoded (RFC 2047, 5 (3)).
constexpr char rfc2047safe[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789!*+-/";

/// Characters on a line besides the "=" of a soft break.
constexpr int longestLine = 75;

constexpr int carriageReturn = '\r';

constexpr bool isLiteral(int octet) {
    return (octet >= 33 && octet <= 126 && octet != '=') || octet == ' ' || octet == '\t';
}

/// Kept: the terminator of the set counts as a member, so NUL is literal.
constexpr bool isHeaderLiteral(int octet) {
    return std::string_view(rfc2047safe, sizeof rfc2047safe).find(static_cast<char>(octet)) !=
           std::string_view::npos;
}

/// The value of an upper-case hexadecimal digit, or -1.
int hexValue(int octet) {
    const std::string_view digits(hexchars, 16);
    const std::size_t value =
        octet == endOfFile ? std::string_view::npos : digits.find(Traits::to_char_type(octet));
    return value == std::string_view::npos ? -1 : static_cast<int>(value);
}

}  // namespace

quotedprintablebuf::quotedprintablebuf(std::streambuf* target, bool headerMode)
    : target_(target), headerMode_(headerMode) {}

quotedprintablebuf::~quotedprintablebuf() = default;

void quotedprintablebuf::imbue(const std::locale& locale) { std::streambuf::imbue(locale); }

void quotedprintablebuf::checkSpace(int n) {
    if (headerMode_ || column_ + n <= longestLine) return;
    if (writeText(target_, "=\r\n")) column_ = 0;
}

quotedprintablebuf::int_type quotedprintablebuf::overflow(int_type ch) {
    if (ch == endOfFile) return nothingWritten;
    if (headerMode_) return writeHeaderOctet(ch);
    if (ch == '\n') return writeLineFeed();
    if (!writePendingReturn()) return endOfFile;
    if (ch == carriageReturn) return holdReturn() ? ch : endOfFile;
    previous_ = ch;
    if (!isLiteral(ch)) return writeEscape(ch) ? ch : endOfFile;
    checkSpace(1);
    ++column_;
    return target_->sputc(Traits::to_char_type(ch));
}

quotedprintablebuf::int_type quotedprintablebuf::writeHeaderOctet(int_type ch) {
    if (isHeaderLiteral(ch) || ch == ' ') {
        ++column_;
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
    const char escape[] = {'=', hexchars[ch >> 4 & 0xF], hexchars[ch & 0xF]};
    if (!writeText(target_, {escape, sizeof escape})) return false;
    column_ += 3;
    return true;
}

int quotedprintablebuf::sync() {
    // Kept: a write that fails here is reported as success, unlike in base64buf, and the carriage
    // return stays pending.
    if (previous_ == carriageReturn && !writeEscape(carriageReturn)) return 0;
    if (column_ != 0) {
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

/// Whether an "=" and `first` begin a soft break; the line feed behind a carriage return (or what
/// stands in its place) is taken.
bool quotedprintablebuf::isSoftBreak(int_type first) {
    if (headerMode_) return false;
    return first == '\n' || (first == carriageReturn && target_->sbumpc() == '\n');
}

quotedprintablebuf::int_type quotedprintablebuf::decodeEscape(int_type first) {
    const int high = hexValue(first);
    const int low = hexValue(target_->sbumpc());
    return high < 0 || low < 0 ? endOfFile : high << 4 | low;
}

// ==== the choice

Zeb_String getBestTransferEncoding(const std::string& data) {
    const std::size_t base64Size = data.size() / 3 * 4;
    std::size_t quotedSize = 0;
    bool isSevenBit = true;
    for (const char c : data) {
        const int octet = Traits::to_int_type(c);
        const bool isLineOctet = octet == '\t' || octet == '\r';
        if ((octet <= 31 || octet >= 127) && !isLineOctet && octet != '\n') isSevenBit = false;
        quotedSize += isLiteral(octet) || octet == '\r' || octet == '\n' ? 1U : 3U;
    }
    if (isSevenBit) return u"7bit";
    return quotedSize > base64Size ? u"base64" : u"quoted-printable";
}

// ==== dot-stuffing

dotstuffingbuf::dotstuffingbuf(std::streambuf* target) : target_(target) {}

dotstuffingbuf::~dotstuffingbuf() = default;

void dotstuffingbuf::imbue(const std::locale& locale) { std::streambuf::imbue(locale); }

dotstuffingbuf::int_type dotstuffingbuf::overflow(int_type ch) {
    if (ch == endOfFile) return nothingWritten;
    if (ch == '\n') {
        writeAtLineStart_ = true;
    } else if (ch == '.') {
        // Kept: a dot leaves the flag set, so every dot of a run at the line start is doubled.
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
        target_->sbumpc();  // the line feed, whatever it is
        endReached_ = true;
        return endOfFile;
    }
    readAtLineStart_ = false;
    return next;
}

/// Kept: a peek drops the stuffed dot and leaves the line-start flag set.
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

/// The octets that another buffer has at hand. Its accessors are protected, and reached as members
/// of this class.
class GetArea : public std::streambuf {
  public:
    static std::string_view of(std::streambuf& buffer) {
        const char* const first = (buffer.*&GetArea::gptr)();
        const char* const last = (buffer.*&GetArea::egptr)();
        constexpr std::ptrdiff_t most = std::numeric_limits<int>::max();  // for gbump
        return {first, static_cast<std::size_t>(std::min(last - first, most))};
    }
    static void take(std::streambuf& buffer, std::size_t count) {
        (buffer.*&GetArea::gbump)(static_cast<int>(count));
    }
};

}  // namespace

multipartboundarybuf::multipartboundarybuf(std::streambuf* source, const std::string& boundary)
    : source_(source), delimiter_("\r\n--" + boundary) {}

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
    std::streamsize done = 0;
    while (done < count) {
        done += copyRun(to + done, count - done);
        if (done == count) break;
        const int_type octet = uflow();
        if (octet == endOfFile) break;
        to[done++] = Traits::to_char_type(octet);
    }
    return done;
}

/// Takes what the source has at hand up to the next line end; no octet of it can begin a delimiter.
std::streamsize multipartboundarybuf::copyRun(char* to, std::streamsize count) {
    if (atStart_ || replay_ < matched_ || matched_ == delimiter_.size()) return 0;
    const std::string_view atHand = GetArea::of(*source_);
    const std::string_view wanted = atHand.substr(0, static_cast<std::size_t>(count));
    const std::size_t length = std::min(wanted.find_first_of("\r\n"), wanted.size());
    if (length == 0) return 0;
    wanted.copy(to, length);
    GetArea::take(*source_, length);
    matched_ = replay_ = 0;
    return static_cast<std::streamsize>(length);
}

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
