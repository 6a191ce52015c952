// SPDX-License-Identifier: Apache-2.0
// Transfer encodings as stream buffers.
//
// Sections: base64, quoted-printable, the choice between them, dot-stuffing, multipart boundaries.
// underflow, uflow and overflow move one octet (base64: one group of three) at a time between the
// caller and the wrapped buffer, and define what a filter does. xsgetn does the same in runs, as
// far as the wrapped buffer has octets at hand, and leaves to them what is not plain. xsputn writes
// in blocks; what a target refuses a part of is written again octet by octet.
#include "inet/transferstream.utf16.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <typeinfo>

#include "inet/base64vector.utf16.h"
#include "inet/octetmask.utf16.h"
#include "inet/readarea.utf16.h"

namespace {

using Traits = std::char_traits<char>;

constexpr int endOfFile = Traits::eof();

/// Kept: asked to write end-of-file, overflow answers 0 and not end-of-file, so that the caller
/// sees success.
constexpr int nothingWritten = 0;

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

/// How far a run of octets went.
struct Run {
    std::size_t taken;  // from the wrapped buffer
    std::size_t given;  // to the reader
};

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

constexpr char base64Alphabet[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// A group is written only while the line holds no more than this, so lines have 76 characters.
constexpr int base64LastGroupColumn = 72;

constexpr std::array<int, 256> makeBase64Digits() {
    std::array<int, 256> digits{};
    for (int& digit : digits) digit = -1;
    // Kept: NUL, which ends the alphabet, is found in it as digit 64, and so read as "A".
    for (std::size_t i = 0; i < sizeof base64Alphabet; ++i)
        digits[static_cast<unsigned char>(base64Alphabet[i])] = static_cast<int>(i);
    return digits;
}

constexpr std::array<int, 256> base64Digits = makeBase64Digits();

constexpr std::uint32_t noDigit = 1U << 24;  // outside the 24 bits of a group

/// What each octet adds to the bits of a group when it is its first, second, third, fourth digit.
constexpr std::array<std::array<std::uint32_t, 256>, 4> makeBase64Bits() {
    std::array<std::array<std::uint32_t, 256>, 4> bits{};
    for (std::size_t place = 0; place < 4; ++place)
        for (std::size_t octet = 0; octet < 256; ++octet) {
            const int digit = base64Digits[octet];
            const std::uint32_t value = static_cast<std::uint32_t>(digit) & 0x3F;
            bits[place][octet] = digit < 0 ? noDigit : value << (18 - 6 * place);
        }
    return bits;
}

constexpr std::array<std::array<std::uint32_t, 256>, 4> base64Bits = makeBase64Bits();

void putGroup(std::uint32_t bits, char* to) {
    to[0] = static_cast<char>(bits >> 16 & 0xFF);
    to[1] = static_cast<char>(bits >> 8 & 0xFF);
    to[2] = static_cast<char>(bits & 0xFF);
}

/// Decodes groups up to the first that holds anything but digits.
Run decodeDigits(std::string_view octets, char* to, std::size_t room) {
    const std::size_t groups = std::min(octets.size() / 4, room / 3);
    std::size_t done = 8 * decodeBase64Blocks(octets.data(), 4 * groups, to, room);
    for (; done < groups; ++done) {
        const auto* from = reinterpret_cast<const unsigned char*>(octets.data()) + 4 * done;
        const std::uint32_t bits = base64Bits[0][from[0]] | base64Bits[1][from[1]] |
                                   base64Bits[2][from[2]] | base64Bits[3][from[3]];
        if ((bits & noDigit) != 0) break;
        putGroup(bits, to + 3 * done);
    }
    return {4 * done, 3 * done};
}

/// Decodes the next group and takes what has to be skipped within it; nothing when the group is
/// not whole, or a "=" comes before its end.
Run decodeBrokenGroup(std::string_view octets, char* to) {
    std::uint32_t bits = 0;
    int count = 0;
    for (std::size_t i = 0; i < octets.size() && octets[i] != '='; ++i) {
        const int digit = base64Digits[static_cast<unsigned char>(octets[i])];
        if (digit < 0) continue;
        bits = bits << 6 | (static_cast<std::uint32_t>(digit) & 0x3F);
        if (++count < 4) continue;
        putGroup(bits, to);
        return {i + 1, 3};
    }
    return {0, 0};
}

/// Decodes whole groups, as many as there are and as have room.
Run decodeGroups(std::string_view octets, char* to, std::size_t room) {
    Run all{0, 0};
    while (room - all.given >= 3) {
        const Run digits = decodeDigits(octets.substr(all.taken), to + all.given, room - all.given);
        all.taken += digits.taken;
        all.given += digits.given;
        if (room - all.given < 3) break;
        const Run broken = decodeBrokenGroup(octets.substr(all.taken), to + all.given);
        if (broken.given == 0) break;
        all.taken += broken.taken;
        all.given += broken.given;
    }
    return all;
}

/// The digits of a group of `count` octets, padded.
void putDigits(const char* group, std::ptrdiff_t count, char* to) {
    unsigned bits = 0;
    for (int i = 0; i < 3; ++i)
        bits = bits << 8 | (i < count ? static_cast<unsigned char>(group[i]) : 0U);
    for (int i = 0; i < 4; ++i)
        to[i] = i > count ? '=' : base64Alphabet[bits >> (18 - 6 * i) & 0x3F];
}

/// Encodes whole groups; returns the end of their digits.
char* encodeGroups(const char* from, std::size_t groups, char* to) {
    for (std::size_t i = encodeBase64Groups(from, groups, to); i < groups; ++i)
        putDigits(from + 3 * i, 3, to + 4 * i);
    return to + 4 * groups;
}

/// Encodes whole groups in lines, of which the first has digits up to `column` already; returns the
/// end of the text.
char* encodeLines(const char* from, std::size_t groups, int& column, char* to) {
    while (groups > 0) {
        if (column > base64LastGroupColumn) {
            to = std::copy_n("\r\n", 2, to);
            column = 0;
        }
        const auto space = static_cast<std::size_t>(base64LastGroupColumn - column) / 4 + 1;
        const std::size_t inLine = std::min(groups, space);
        to = encodeGroups(from, inLine, to);
        from += 3 * inLine;
        groups -= inLine;
        column += static_cast<int>(4 * inLine);
    }
    return to;
}

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
    putDigits(pbase(), count, digits);
    for (const char digit : digits)
        if (!writeChar(target_, digit)) return false;
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
        end = encodeGroups(from, others, encodeGroups(pbase(), 1, end));
        column += static_cast<int>(4 * groups);
    } else {
        end = encodeLines(from, others, column, encodeLines(pbase(), 1, column, end));
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
    const Run run = decodeGroups(source.look(room / 2 * 3 + spareOctets), to, room);
    source.take(run.taken);
    return run.given;
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

/// Kept: NUL, which ends the set, counts as a member, so a "Q" word holds it as it is.
constexpr bool isHeaderLiteral(int octet) {
    return std::string_view(rfc2047safe, sizeof rfc2047safe).find(static_cast<char>(octet)) !=
           std::string_view::npos;
}

/// The values of the digits, else -1. Kept: an escape in lower case is malformed, and ends a read.
constexpr std::array<signed char, 256> makeHexValues() {
    std::array<signed char, 256> values{};
    values.fill(-1);
    for (signed char value = 0; value < 16; ++value)
        values[static_cast<unsigned char>(hexchars[value])] = value;
    return values;
}

constexpr std::array<signed char, 256> hexValues = makeHexValues();

/// Copies the literals that `octets` begin with, at most `most`, and returns how many they are. Up
/// to 15 octets behind them are overwritten.
std::size_t copyLiterals(std::string_view octets, std::size_t most, char* to) {
    constexpr std::size_t step = 16;
    std::size_t done = 0;
    for (; done < most && done + step <= octets.size(); done += step) {
        std::memcpy(to + done, octets.data() + done, step);
        if (const unsigned escaped = escapedMask(octets.data() + done))
            return std::min(done + static_cast<std::size_t>(std::countr_zero(escaped)), most);
    }
    const std::size_t end = std::min(octets.size(), most);
    for (; done < end && isLiteral(Traits::to_int_type(octets[done])); ++done)
        to[done] = octets[done];
    return std::min(done, most);
}

/// Encodes as quotedprintablebuf::overflow does, into a block that refuses nothing.
class BlockEncoder {
  public:
    /// So many octets a block has room for: each may become a soft break and an escape.
    static constexpr std::size_t mostOctets = 1024;

    BlockEncoder(int column, int previous) : column_(column), previous_(previous) {}
    void encode(std::string_view octets);
    int column() const { return column_; }
    int previous() const { return previous_; }
    std::string_view text() const { return {block_, static_cast<std::size_t>(end_ - block_)}; }

  private:
    std::size_t encodeLiterals(std::string_view octets);
    void encodeEscape(int octet);
    void breakLine(std::string_view lineEnd);

    int column_;
    int previous_;
    char block_[6 * mostOctets + 6 + 15];  // a return held back before, and what copyLiterals wants
    char* end_ = block_;
};

void BlockEncoder::encode(std::string_view octets) {
    while (!octets.empty()) {
        const int octet = Traits::to_int_type(octets[0]);
        const bool isLineEnd = octet == '\n' && previous_ == carriageReturn;
        const bool isBehindSpace = previous_ == ' ' || previous_ == '\t';
        std::size_t count = 1;
        if (previous_ == carriageReturn && !isLineEnd) encodeEscape(carriageReturn);
        if (isLineEnd)
            breakLine("\r\n");
        else if (octet == carriageReturn && isBehindSpace)
            breakLine("=\r\n");
        else if (isLiteral(octet))
            count = encodeLiterals(octets);
        else if (octet != carriageReturn)
            encodeEscape(octet);
        previous_ = Traits::to_int_type(octets[count - 1]);
        octets.remove_prefix(count);
    }
}

/// Encodes what has room on the line; returns how many octets that are.
std::size_t BlockEncoder::encodeLiterals(std::string_view octets) {
    if (column_ >= longestLine) breakLine("=\r\n");
    const auto space = static_cast<std::size_t>(longestLine - column_);
    const std::size_t count = copyLiterals(octets, space, end_);
    end_ += count;
    column_ += static_cast<int>(count);
    return count;
}

void BlockEncoder::encodeEscape(int octet) {
    if (column_ + 3 > longestLine) breakLine("=\r\n");
    *end_++ = '=';
    *end_++ = hexchars[octet >> 4 & 0xF];
    *end_++ = hexchars[octet & 0xF];
    column_ += 3;
}

void BlockEncoder::breakLine(std::string_view lineEnd) {
    end_ = std::copy(lineEnd.begin(), lineEnd.end(), end_);
    column_ = 0;
}

/// The value of an upper-case hexadecimal digit, or -1.
int hexValue(int octet) {
    return octet == endOfFile ? -1 : hexValues[static_cast<std::size_t>(octet)];
}

/// The octet that the digits of an escape stand for, or a negative number.
int escapedOctet(const char* digits) {
    const int high = hexValue(Traits::to_int_type(digits[0]));
    const int low = hexValue(Traits::to_int_type(digits[1]));
    return high * 16 | low;
}

/// Decodes the escape or soft break at `octets`, three of which can be looked at. Takes nothing
/// when it is malformed.
Run decodeWholeEscape(const char* octets, char* to) {
    const int octet = escapedOctet(octets + 1);
    if (octet >= 0) {
        *to = static_cast<char>(octet);
        return {3, 1};
    }
    if (octets[1] == '\n') return {2, 0};
    return {octets[1] == '\r' && octets[2] == '\n' ? 3U : 0U, 0};
}

/// The same where less may be at hand: takes nothing then, either.
Run decodeEscapeAtHand(std::string_view octets, char* to) {
    if (octets.size() < 3) return {octets == "=\n" ? 2U : 0U, 0};
    return decodeWholeEscape(octets.data(), to);
}

/// Decodes a body in blocks while 64 octets more are at hand and have room: the literals between
/// two escapes are copied with what follows them, and that is overwritten.
Run decodeQuotedBlocks(std::string_view octets, char* to, std::size_t room) {
    constexpr std::ptrdiff_t size = octetsInMask;
    const char* next = octets.data();
    const char* const last = next + octets.size();
    char* const first = to;
    const char* const end = to + room;
    const auto copyUpTo = [&](const char* stop) {
        std::memcpy(to, next, size);
        to += stop - next;
        next = stop;
    };
    const auto result = [&] {
        return Run{static_cast<std::size_t>(next - octets.data()),
                   static_cast<std::size_t>(to - first)};
    };
    for (const char* block = next; last - block > 2 * size && end - to > 2 * size; block += size) {
        for (std::uint64_t stops = octetMask(block, '='); stops != 0; stops &= stops - 1) {
            copyUpTo(block + std::countr_zero(stops));
            const Run escape = decodeWholeEscape(next, to);
            next += escape.taken;
            to += escape.given;
            if (escape.taken == 0) return result();
        }
        if (next < block + size) copyUpTo(block + size);
    }
    return result();
}

/// Decodes a body up to an escape that is malformed or not whole.
Run decodeQuoted(std::string_view octets, char* to, std::size_t room) {
    Run all = decodeQuotedBlocks(octets, to, room);
    for (;;) {
        const std::string_view wanted = octets.substr(all.taken, room - all.given);
        const std::size_t literals = std::min(wanted.find('='), wanted.size());
        wanted.copy(to + all.given, literals);
        all.taken += literals;
        all.given += literals;
        if (literals == wanted.size()) return all;
        const Run escape = decodeEscapeAtHand(octets.substr(all.taken), to + all.given);
        if (escape.taken == 0) return all;
        all.taken += escape.taken;
        all.given += escape.given;
    }
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

std::streamsize quotedprintablebuf::xsputn(const char* from, std::streamsize count) {
    if (headerMode_) return std::streambuf::xsputn(from, count);
    constexpr std::streamsize most = BlockEncoder::mostOctets;
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
    BlockEncoder block(column_, previous_);
    block.encode({from, static_cast<std::size_t>(count)});
    const auto length = static_cast<std::streamsize>(block.text().size());
    const std::streamsize taken = target_->sputn(block.text().data(), length);
    if (taken < length) {
        const RefusedBlock refused(target_, taken);
        return std::streambuf::xsputn(from, count);
    }
    column_ = block.column();
    previous_ = block.previous();
    return count;
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
    const Run run = decodeQuoted(source.look(room + spareOctets), to, room);
    source.take(run.taken);
    return run.given;
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

/// The front of `octets` up to a line feed that a dot follows, that line feed included.
std::string_view beforeLineDot(std::string_view octets) {
    for (std::size_t at = 0; (at = octets.find('\n', at)) != std::string_view::npos;)
        if (octets.substr(++at).starts_with('.')) return octets.substr(0, at);
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
        octets = beforeLineDot(octets);
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
