// SPDX-License-Identifier: Apache-2.0
// From wide text to a message in wire form.
//
// Sections: encoded words, unstructured fields, mailboxes, the fields of a message, the message.
#include "inet/rfc2822encoder.utf16.h"

#include <algorithm>
#include <streambuf>

#include "inet/transferstream.utf16.h"
#include "inet/wiretext.utf16.h"

namespace {

std::string octetsOf(const AdCharset& charset, const Zeb_String& text) {
    AdMbcsString octets;
    octets.cvtFromTchar(charset, text, 1);
    return octets.getString();
}

std::string utf8Of(const Zeb_String& text) { return octetsOf(AdCharset::getUTF8Charset(), text); }

/// Empty for a name (it comes from the settings) that does not fit into a header line.
std::string mimeNameOf(const AdCharset& charset) {
    std::string name;
    oneLineOctets(charset.getMimeName(), name);
    return name;
}

bool isControl(char c) {
    const int octet = std::char_traits<char>::to_int_type(c);
    return octet <= 31 || octet >= 127;  // kept: an octet of 0x80 or above counts as one
}

bool holdsControl(const std::string& octets) {
    return std::any_of(octets.begin(), octets.end(), isControl);
}

}  // namespace

// ==== encoded words

namespace {

/// Octets that one encoded word of at most 72 characters carries.
constexpr std::size_t wordCapacity = 45;

std::string encodedWord(const std::string& charsetName, const std::string& octets) {
    return "=?" + charsetName + "?B?" + encode2047B(octets) + "?=";
}

}  // namespace

std::string encode2047B(const std::string& octets) {
    static constexpr char alphabet[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((octets.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < octets.size(); i += 3) {
        const std::size_t count = std::min<std::size_t>(octets.size() - i, 3);
        unsigned group = 0;
        for (std::size_t j = 0; j < 3; ++j)
            group = group << 8 | (j < count ? static_cast<unsigned char>(octets[i + j]) : 0U);
        for (std::size_t j = 0; j < 4; ++j)
            text += j <= count ? alphabet[group >> (18 - 6 * j) & 0x3F] : '=';
    }
    return text;
}

void bi_len(int* lo, int* hi, const Zeb_String& text, std::string& chunk) {
    while (*lo < *hi) {
        const int mid = *lo + (*hi - *lo) / 2;
        const int count = std::min(mid - *lo + 1, text.GetLength() - *lo);
        // A unit is at least one octet of UTF-8: so much is known before any is converted.
        const bool mayFit =
            count <= 0 || chunk.size() + static_cast<std::size_t>(count) <= wordCapacity;
        const std::string piece = mayFit ? utf8Of(text.Mid(*lo, mid - *lo + 1)) : std::string();
        if (mayFit && chunk.size() + piece.size() <= wordCapacity) {
            chunk += piece;
            *lo = mid + 1;
            if (chunk.size() == wordCapacity) return;
        } else {
            *hi = mid;
        }
    }
}

// ==== unstructured fields

namespace {

/// Makes a blank of each run of line feeds. A run at the very end becomes one line feed; kept.
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

/// The encoded words of a text that is too long for one, on a line each. The last unit is a word
/// of its own; kept.
std::string encodedWords(const Zeb_String& text) {
    std::string words;
    const int last = text.GetLength() - 1;
    int lo = 0;
    while (lo < last) {
        std::string chunk;
        int hi = last;
        bi_len(&lo, &hi, text, chunk);
        words += encodedWord("UTF-8", chunk) + "\r\n ";
    }
    return words + encodedWord("UTF-8", utf8Of(text.Mid(last, 1))) + " ";
}

std::string unstructuredText(const Zeb_String& value) {
    const std::string line = unfolded(utf8Of(value));
    Zeb_String text;
    AdMbcsString::cvtToTchar(AdCharset::getUTF8Charset(), line.data(), line.size(), text, 1);
    const std::string octets = utf8Of(text);
    if (!holdsControl(octets)) return octets;
    if (octets.size() <= wordCapacity) return encodedWord("UTF-8", octets) + " ";
    return encodedWords(text);
}

}  // namespace

bool encodeRFC2047Unstructured(const AdCharset& /*charset*/, const Zeb_String& name,
                               const Zeb_String& value, std::string& out) {
    std::string nameOctets;
    if (!oneLineOctets(name, nameOctets)) return false;
    out = nameOctets + ": ";
    // Kept: a field without a value has no line end.
    if (!value.IsEmpty()) out += unstructuredText(value) + "\r\n";
    return true;
}

// ==== mailboxes

namespace {

/// A name as RFC 5322 "quoted-string".
std::string quoted(const std::string& name) {
    std::string text = "\"";
    for (const char c : name) {
        if (c == '"' || c == '\\') text += '\\';
        text += c;
    }
    return text + '"';
}

}  // namespace

bool encodeRecip(const AdCharset& charset, const Zeb_String& address, const Zeb_String& displayName,
                 std::string& out) {
    out.clear();
    std::string addressOctets;
    if (!oneLineOctets(address, addressOctets)) return false;
    if (!displayName.IsEmpty()) {
        const std::string name = octetsOf(charset, displayName);
        out = (holdsControl(name) ? encodedWord(mimeNameOf(charset), name) : quoted(name)) + " ";
    }
    out += "<" + addressOctets + ">";
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
    extraHeaders_.insert(field);
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

std::string dateField() {
    static constexpr const char16_t* months[] = {u"",    u"Jan", u"Feb", u"Mar", u"Apr",
                                                 u"May", u"Jun", u"Jul", u"Aug", u"Sep",
                                                 u"Oct", u"Nov", u"Dec"};
    const AdDateTime now = AdDateTime::GetCurrentTime();
    Zeb_String text;
    text.Format(u"Date: %d %s %d %02d:%02d:%02d ", now.GetDay(), months[now.GetMonth()],
                now.GetYear(), now.GetHour(), now.GetMinute(), now.GetSecond());
    text.Append(now.GetTimezoneOffset()).Append(u"\r\n");
    std::string octets;
    asciiOctets(text, octets);
    return octets;
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
    std::string text = "Mime-Version: 1.0\r\nX-Mailer: Vantorelle Mailer\r\n" + dateField();
    text += "Content-Type: text/plain; charset=" + mimeNameOf(charset_) + "\r\n";
    text += "Content-Transfer-Encoding: " + transferEncoding + "\r\n";
    text += subject_;
    text += "From: " + sender_ + "\r\n";
    text += handleRecip("To: ", to_);
    text += handleRecip("Cc: ", cc_);
    // The caller decides whether a blind recipient is named; AdMailMsg sets none.
    if (!bcc_.empty()) text += "Bcc: " + bcc_ + "\r\n";
    return text + "\r\n";
}

void RFC2822Encoder::getData(bool eightBit, std::ostream& out) const {
    const std::string body = withWireLineEnds(octetsOf(charset_, body_));
    const std::string transferEncoding = transferEncodingOf(body, eightBit);
    const std::string header = headerText(transferEncoding);
    out.write(header.data(), static_cast<std::streamsize>(header.size()));
    if (!out.good()) return;
    if (!writeBody(transferEncoding, body, out.rdbuf())) out.setstate(std::ios::badbit);
}
