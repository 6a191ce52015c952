// SPDX-License-Identifier: Apache-2.0
// From wide text to a message in wire form.
//
// Sections: encoded words, unstructured fields, mailboxes, the fields of a message, the message.
#include "inet/rfc2822encoder.utf16.h"

#include <algorithm>
#include <streambuf>
#include <string_view>

#include "inet/base64vector.utf16.h"
#include "inet/transferstream.utf16.h"
#include "inet/wiretext.utf16.h"

namespace {

/// What has no form in the charset is replaced.
AdMbcsString octetsOf(const AdCharset& charset, const Zeb_String& text) {
    AdMbcsString octets;
    octets.cvtFromTchar(charset, text, 1);
    return octets;
}

AdMbcsString utf8Of(const Zeb_String& text) { return octetsOf(AdCharset::getUTF8Charset(), text); }

/// Empty for a name (it comes from the settings) that does not fit into a header line.
std::string mimeNameOf(const AdCharset& charset) {
    std::string name;
    oneLineOctets(charset.getMimeName(), name);
    return name;
}

bool isControl(char c) {
    const int octet = std::char_traits<char>::to_int_type(c);
    return octet <= 31 || octet >= 127;  // Kept: octets of 0x80 and above count as controls
}

bool holdsControl(const std::string& octets) {
    return std::any_of(octets.begin(), octets.end(), isControl);
}

}  // namespace

// ==== encoded words

namespace {

/// Octets that one encoded word of at most 72 characters carries.
constexpr std::size_t wordCapacity = 45;

void appendBase64(std::string& text, std::string_view octets) {
    static constexpr char alphabet[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const std::size_t before = text.size();
    text.resize(before + (octets.size() + 2) / 3 * 4, '=');
    char* to = text.data() + before;
    const auto bitsOf = [](char octet, int shift) {
        return static_cast<unsigned>(static_cast<unsigned char>(octet)) << shift;
    };
    const auto put = [&](unsigned group, int digits) {
        for (int i = 0; i < digits; ++i) *to++ = alphabet[group >> (18 - 6 * i) & 0x3F];
    };
    const std::size_t groups = encodeBase64Groups(octets.data(), octets.size() / 3, to);
    to += 4 * groups;
    const char* from = octets.data() + 3 * groups;
    std::size_t left = octets.size() - 3 * groups;
    for (; left >= 3; left -= 3, from += 3)
        put(bitsOf(from[0], 16) | bitsOf(from[1], 8) | bitsOf(from[2], 0), 4);
    if (left == 2) put(bitsOf(from[0], 16) | bitsOf(from[1], 8), 3);
    if (left == 1) put(bitsOf(from[0], 16), 2);
}

void appendEncodedWord(std::string& text, std::string_view charsetName, std::string_view octets) {
    text.append("=?").append(charsetName).append("?B?");
    appendBase64(text, octets);
    text += "?=";
}

/// Units of a text, in one piece.
struct Piece {
    const unsigned short* units;
    std::size_t count;
};

/// Those of a text from `start` on that are there, as Zeb_String::Mid cuts them.
Piece pieceOf(const Zeb_String& text, int start, int count) {
    const int first = std::clamp(start, 0, text.GetLength());
    const int length = std::clamp(count, 0, text.GetLength() - first);
    return {text.GetBuffer() + first, static_cast<std::size_t>(length)};
}

bool isPair(unsigned short first, unsigned short second) {
    return (first & 0xFC00) == 0xD800 && (second & 0xFC00) == 0xDC00;
}

/// In UTF-8, as it is counted without being converted; a lone surrogate is three octets.
std::size_t octetCount(const Piece& piece) {
    std::size_t octets = 0;
    for (std::size_t i = 0; i < piece.count; ++i) {
        const unsigned short unit = piece.units[i];
        octets += 1U + (unit >= 0x80 ? 1U : 0U) + (unit >= 0x800 ? 1U : 0U);
        if (i > 0 && isPair(piece.units[i - 1], unit)) octets -= 2;
    }
    return octets;
}

/// Whether `second` follows `first`, and both give the same when they are converted as one.
bool canJoin(const Piece& first, const Piece& second) {
    return first.count > 0 && first.units + first.count == second.units &&
           !isPair(first.units[first.count - 1], second.units[0]);
}

void appendUtf8(std::string& out, const Piece& piece) {
    if (piece.count == 0) return;
    AdMbcsString octets;
    octets.cvtFromUTF16(AdCharset::getUTF8Charset(), piece.units, piece.count, 1);
    out += octets.getString();
}

}  // namespace

std::string encode2047B(const std::string& octets) {
    std::string text;
    appendBase64(text, octets);
    return text;
}

void bi_len(int* lo, int* hi, const Zeb_String& text, std::string& chunk) {
    Piece taken{};  // and not yet in the chunk
    std::size_t size = chunk.size();
    while (*lo < *hi) {
        const int mid = *lo + (*hi - *lo) / 2;
        const Piece piece = pieceOf(text, *lo, mid - *lo + 1);
        // A unit is at least one octet of UTF-8: so much is known before any is looked at.
        const bool mayFit = size + piece.count <= wordCapacity;
        const std::size_t octets = mayFit ? octetCount(piece) : 0;
        if (!mayFit || size + octets > wordCapacity) {
            *hi = mid;
            continue;
        }
        if (!canJoin(taken, piece)) {
            appendUtf8(chunk, taken);
            taken = {piece.units, 0};
        }
        taken.count += piece.count;
        size += octets;
        *lo = mid + 1;
        if (size == wordCapacity) break;
    }
    appendUtf8(chunk, taken);
}

// ==== unstructured fields

namespace {

/// Makes a blank of each run of line feeds. Kept: line feeds at the very end become one.
std::string unfolded(const std::string& octets) {
    std::string line;
    line.reserve(octets.size());
    for (std::size_t i = 0; i < octets.size();) {
        const std::size_t run = std::min(octets.find('\n', i), octets.size());
        line.append(octets, i, run - i);
        i = std::min(octets.find_first_not_of('\n', run), octets.size());
        if (i > run) line += i == octets.size() ? '\n' : ' ';
    }
    return line;
}

/// Appends the encoded words of a text that is too long for one, on a line each. Kept: the last
/// unit of a text is a word of its own, and a surrogate pair may be cut, and be shown as two
/// U+FFFD.
void appendEncodedWords(std::string& out, const Zeb_String& text) {
    const int last = text.GetLength() - 1;
    int lo = 0;
    std::string chunk;
    while (lo < last) {
        chunk.clear();
        int hi = last;
        bi_len(&lo, &hi, text, chunk);
        appendEncodedWord(out, "UTF-8", chunk);
        out += "\r\n ";
    }
    chunk.clear();
    appendUtf8(chunk, pieceOf(text, last, 1));
    appendEncodedWord(out, "UTF-8", chunk);
    out += ' ';
}

/// The same of a text in UTF-8 without surrogate pairs: each word takes what fits.
void appendEncodedWords(std::string& out, std::string_view text) {
    const auto startOf = [&](std::size_t at) {  // of the character there
        while ((text[at] & 0xC0) == 0x80) --at;
        return at;
    };
    const std::size_t last = startOf(text.size() - 1);
    for (std::size_t at = 0; at < last;) {
        const std::size_t end = startOf(std::min(at + wordCapacity, last));
        appendEncodedWord(out, "UTF-8", text.substr(at, end - at));
        out += "\r\n ";
        at = end;
    }
    appendEncodedWord(out, "UTF-8", text.substr(last));
    out += ' ';
}

/// Whether there is a character of four octets in well-formed UTF-8.
bool holdsPair(std::string_view text) {
    unsigned char highest = 0;
    for (const char c : text) highest = std::max(highest, static_cast<unsigned char>(c));
    return highest >= 0xF0;
}

void appendUnstructuredText(std::string& out, const Zeb_String& value) {
    const AdMbcsString octets = utf8Of(value);
    const bool isFolded = octets.getString().find('\n') != std::string::npos;
    const std::string unfoldedOctets = isFolded ? unfolded(octets.getString()) : std::string();
    const std::string& line = isFolded ? unfoldedOctets : octets.getString();
    out.reserve(out.size() + 2 * line.size() + 32);
    if (!holdsControl(line)) {
        out += line;
    } else if (line.size() <= wordCapacity) {
        // Kept: behind encoded words stands a blank.
        appendEncodedWord(out, "UTF-8", line);
        out += ' ';
    } else if (!holdsPair(line)) {
        appendEncodedWords(out, line);
    } else {
        Zeb_String text;
        AdMbcsString::cvtToTchar(AdCharset::getUTF8Charset(), line.data(), line.size(), text, 1);
        appendEncodedWords(out, text);
    }
}

}  // namespace

bool encodeRFC2047Unstructured(const AdCharset& /*charset*/, const Zeb_String& name,
                               const Zeb_String& value, std::string& out) {
    std::string nameOctets;
    if (!oneLineOctets(name, nameOctets)) return false;
    out = nameOctets;
    out += ": ";
    // Kept: a field without a value has no line end, so an empty subject runs into "From: ".
    if (!value.IsEmpty()) {
        appendUnstructuredText(out, value);
        out += "\r\n";
    }
    return true;
}

// ==== mailboxes

namespace {

/// A name as RFC 5322 "quoted-string".
void appendQuoted(std::string& text, const std::string& name) {
    text += '"';
    for (const char c : name) {
        if (c == '"' || c == '\\') text += '\\';
        text += c;
    }
    text += '"';
}

}  // namespace

bool encodeRecip(const AdCharset& charset, const Zeb_String& address, const Zeb_String& displayName,
                 std::string& out) {
    out.clear();
    std::string addressOctets;
    if (!oneLineOctets(address, addressOctets)) return false;
    if (!displayName.IsEmpty()) {
        const AdMbcsString name = octetsOf(charset, displayName);
        if (holdsControl(name.getString()))
            appendEncodedWord(out, mimeNameOf(charset), name.getString());
        else
            appendQuoted(out, name.getString());
        out += ' ';
    }
    out.append("<").append(addressOctets).append(">");
    return true;
}

std::string handleRecip(const std::string& prefix, const std::set<std::string>& members) {
    constexpr std::size_t longestLine = 70;
    std::string field;
    std::size_t column = 0;
    for (const std::string& member : members) {
        if (column == 0) {
            field = prefix;
            column = prefix.size();
        } else if (column + member.size() > longestLine) {
            field += ",\r\n ";
            column = 1;
        } else {
            field += ", ";
            column += 2;
        }
        field += member;
        column += member.size();
    }
    return column > 0 ? field + "\r\n" : field;
}

// ==== the fields of a message

RFC2822Encoder::RFC2822Encoder() : charset_(AdCharset::getUTF8Charset()) {}

// Kept: neither a copy nor an assignment takes over the charset.
RFC2822Encoder::RFC2822Encoder(const RFC2822Encoder& other) { *this = other; }

// NOLINTNEXTLINE(cert-oop54-cpp): each member takes itself
RFC2822Encoder& RFC2822Encoder::operator=(const RFC2822Encoder& other) {
    sender_ = other.sender_;
    to_ = other.to_;
    cc_ = other.cc_;
    bcc_ = other.bcc_;
    extraHeaders_ = other.extraHeaders_;
    subject_ = other.subject_;
    body_ = other.body_;
    return *this;
}

RFC2822Encoder::~RFC2822Encoder() = default;

void RFC2822Encoder::setCharset(const AdCharset& charset) { charset_ = charset; }

bool RFC2822Encoder::setSender(const Zeb_String& address, const Zeb_String& name) {
    return encodeRecip(charset_, address, name, sender_);
}

bool RFC2822Encoder::addTo(const Zeb_String& address, const Zeb_String& name) {
    return addMailbox(address, name, to_);
}

bool RFC2822Encoder::addCc(const Zeb_String& address, const Zeb_String& name) {
    return addMailbox(address, name, cc_);
}

bool RFC2822Encoder::addMailbox(const Zeb_String& address, const Zeb_String& name,
                                std::set<std::string>& mailboxes) {
    std::string mailbox;
    if (!encodeRecip(charset_, address, name, mailbox)) return false;
    mailboxes.insert(mailbox);
    return true;
}

bool RFC2822Encoder::setBcc(const Zeb_String& address, const Zeb_String& name) {
    return encodeRecip(charset_, address, name, bcc_);
}

bool RFC2822Encoder::addHeader(const Zeb_String& name, const Zeb_String& value) {
    std::string field;
    if (!encodeRFC2047Unstructured(charset_, name, value, field)) return false;
    extraHeaders_.insert(field);  // Kept: extra fields are copied, and never written
    return true;
}

void RFC2822Encoder::setSubject(const Zeb_String& subject) {
    encodeRFC2047Unstructured(charset_, u"Subject", subject, subject_);
}

void RFC2822Encoder::setBody(const Zeb_String& text) { body_ = text; }

void RFC2822Encoder::appendBody(const Zeb_String& text) { body_.Append(text); }

// ==== the message

namespace {

/// Gives each line feed its carriage return.
std::string withWireLineEnds(const std::string& octets) {
    std::string lines;
    lines.reserve(octets.size() + octets.size() / 32);
    std::size_t start = 0;
    for (std::size_t feed = octets.find('\n'); feed != std::string::npos;
         feed = octets.find('\n', feed + 1)) {
        lines.append(octets, start, feed - start);
        if (feed == 0 || octets[feed - 1] != '\r') lines += '\r';
        start = feed;
    }
    return lines.append(octets, start);
}

void appendTwoDigits(std::string& text, int number) {
    text += static_cast<char>('0' + number / 10);
    text += static_cast<char>('0' + number % 10);
}

void appendDateField(std::string& text) {
    static constexpr const char* months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                             "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const AdDateTime now = AdDateTime::GetCurrentTime();
    text.append("Date: ").append(std::to_string(now.GetDay())).append(" ");
    text.append(months[now.GetMonth() - 1]).append(" ");
    text.append(std::to_string(now.GetYear())).append(" ");
    appendTwoDigits(text, now.GetHour());
    text += ':';
    appendTwoDigits(text, now.GetMinute());
    text += ':';
    appendTwoDigits(text, now.GetSecond());
    std::string zone;
    asciiOctets(now.GetTimezoneOffset(), zone);
    text.append(" ").append(zone).append("\r\n");
}

bool writeAll(std::streambuf& target, const std::string& octets) {
    const auto length = static_cast<std::streamsize>(octets.size());
    return target.sputn(octets.data(), length) == length && target.pubsync() != -1;
}

bool writeBody(const std::string& transferEncoding, const std::string& octets,
               std::streambuf* target) {
    if (transferEncoding == "base64") {
        base64buf filter(target, false);
        return writeAll(filter, octets);
    }
    if (transferEncoding == "quoted-printable") {
        quotedprintablebuf filter(target, false);
        return writeAll(filter, octets);
    }
    return writeAll(*target, octets);
}

std::string transferEncodingOf(const std::string& body, bool eightBit) {
    std::string name = "8bit";
    if (!eightBit) asciiOctets(getBestTransferEncoding(body), name);
    return name;
}

}  // namespace

std::string RFC2822Encoder::headerText(const std::string& transferEncoding) const {
    std::string text;
    text.reserve(1024);
    text = "Mime-Version: 1.0\r\nX-Mailer: Vantorelle Mailer\r\n";
    appendDateField(text);
    text.append("Content-Type: text/plain; charset=").append(mimeNameOf(charset_)).append("\r\n");
    text.append("Content-Transfer-Encoding: ").append(transferEncoding).append("\r\n");
    text += subject_;
    text.append("From: ").append(sender_).append("\r\n");
    text += handleRecip("To: ", to_);
    text += handleRecip("Cc: ", cc_);
    // Kept: a Bcc that was set is written; the caller decides, and AdMailMsg sets none.
    if (!bcc_.empty()) text.append("Bcc: ").append(bcc_).append("\r\n");
    return text.append("\r\n");
}

void RFC2822Encoder::getData(bool eightBit, std::ostream& out) const {
    const std::string body = withWireLineEnds(octetsOf(charset_, body_).getString());
    const std::string transferEncoding = transferEncodingOf(body, eightBit);
    const std::string header = headerText(transferEncoding);
    out.write(header.data(), static_cast<std::streamsize>(header.size()));
    if (!out.good() || !writeBody(transferEncoding, body, out.rdbuf()))
        out.setstate(std::ios::badbit);
}
