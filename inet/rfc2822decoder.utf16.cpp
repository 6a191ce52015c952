// SPDX-License-Identifier: Apache-2.0
// From a received message to text.
//
// Sections: encoded words, the lexer, addresses, MIME values, entities, leaves, multiparts,
// messages.
#include "inet/rfc2822decoder.utf16.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <streambuf>
#include <string_view>
#include <type_traits>
#include <utility>

#include "inet/decodeguard.utf16.h"
#include "inet/encodedwords.utf16.h"
#include "inet/headerblock.utf16.h"
#include "inet/messagetext.utf16.h"
#include "inet/wiretext.utf16.h"

namespace {

using Traits = std::char_traits<char>;

constexpr int endOfFile = Traits::eof();
constexpr std::size_t nowhere = std::string::npos;

constexpr char rfc2822whitespace[] = " \t\r\n";
/// `name` in lower case.
bool isName(const Zeb_String& text, std::string_view name) {
    const auto isSame = [](int unit, char letter) {
        return unit == letter || (letter >= 'a' && letter <= 'z' && unit == letter - 'a' + 'A');
    };
    const unsigned short* const units = text.GetBuffer();
    return std::equal(units, units + text.GetLength(), name.begin(), name.end(), isSame);
}

}  // namespace

// ==== encoded words

Zeb_String decodeRFC2047Words(const std::string& text) { return decodeWords(text); }

// ==== the lexer

namespace {

bool isWhitespace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

using OctetSet = std::array<bool, 256>;

/// What atoms are made of; octets of 0x80 and above are in none.
constexpr OctetSet atomWithout(std::string_view specials) {
    OctetSet octets{};
    for (char c = '!'; c <= '~'; ++c)
        octets[static_cast<std::size_t>(c)] = specials.find(c) == nowhere;
    return octets;
}

// Kept: a period is no special but part of an atom.
constexpr OctetSet rfc2822atom = atomWithout("()<>@,;:\\\"[]");
constexpr OctetSet rfc2045atom = atomWithout("()<>@,;:\\\"/[]?=");

/// Each quoted pair is the octet behind its backslash.
std::string withoutBackslashes(std::string_view quoted) {
    std::string text;
    text.reserve(quoted.size());
    for (std::size_t i = 0; i < quoted.size(); ++i) {
        if (quoted[i] == '\\') ++i;
        text += quoted[i];
    }
    return text;
}

}  // namespace

RFC2822Lexer::RFC2822Lexer(const std::string& text, bool mimeMode)
    : copy_(text), text_(copy_), mimeMode_(mimeMode) {}

RFC2822Lexer::RFC2822Lexer(const View& view) : text_(view.text), mimeMode_(view.mimeMode) {}

RFC2822Lexer::~RFC2822Lexer() = default;

unsigned RFC2822Lexer::nextToken(Zeb_String& token, bool skipBlanks) {
    const auto found = [](RFC2822TokenKind kind) { return static_cast<unsigned>(kind); };
    token.Make_Empty();
    Zeb_String* const blanks = skipBlanks ? nullptr : &token;
    while (position_ < text_.size()) {
        const char c = text_[position_];
        if (isWhitespace(c)) {
            takeWhitespace(blanks);
            if (!skipBlanks) return found(RFC2822TokenKind::Whitespace);
        } else if (c == '(') {
            if (!takeComment(blanks)) return found(RFC2822TokenKind::Error);
            if (!skipBlanks) return found(RFC2822TokenKind::Comment);
        } else if (c == '"') {
            return found(takeQuotedString(token) ? RFC2822TokenKind::QuotedString
                                                 : RFC2822TokenKind::Error);
        } else if (isAtomOctet(c)) {
            takeAtom(token);
            return found(RFC2822TokenKind::Atom);
        } else {
            takeSpecial(token);
            return found(RFC2822TokenKind::Special);
        }
    }
    return found(RFC2822TokenKind::End);
}

void RFC2822Lexer::takeWhitespace(Zeb_String* token) {
    const std::size_t end =
        std::min(text_.find_first_not_of(rfc2822whitespace, position_), text_.size());
    if (token != nullptr) *token = asciiText(text_.substr(position_, end - position_));
    position_ = end;
}

/// False when the comment has no end. Kept: of a skipped comment its ")" is left as a token.
bool RFC2822Lexer::takeComment(Zeb_String* token) {
    std::string content;
    int depth = 1;
    for (++position_; position_ < text_.size(); ++position_) {
        char c = text_[position_];
        if (c == '(') {
            ++depth;
        } else if (c == ')') {
            if (--depth > 0) continue;
            if (token == nullptr) return true;
            *token = decodeWords(content);
            ++position_;
            return true;
        } else {
            if (c == '\\' && ++position_ < text_.size()) c = text_[position_];
            if (token != nullptr) content += c;
        }
    }
    position_ = text_.size();
    return false;
}

/// False when the closing quote is missing.
bool RFC2822Lexer::takeQuotedString(Zeb_String& token) {
    const std::size_t start = ++position_;
    while (position_ < text_.size() && text_[position_] != '"')
        position_ += text_[position_] == '\\' ? 2 : 1;
    if (position_ >= text_.size()) {
        position_ = text_.size();
        return false;
    }
    const std::string_view quoted = text_.substr(start, position_ - start);
    const bool hasPairs = quoted.find('\\') != nowhere;
    token = hasPairs ? decodeWords(withoutBackslashes(quoted)) : decodeWords(quoted);
    ++position_;
    return true;
}

bool RFC2822Lexer::isAtomOctet(char c) const {
    const std::size_t octet = static_cast<unsigned char>(c);
    return mimeMode_ ? rfc2045atom[octet] : rfc2822atom[octet];
}

void RFC2822Lexer::takeAtom(Zeb_String& token) {
    const std::string_view rest = text_.substr(position_);
    const OctetSet& atom = mimeMode_ ? rfc2045atom : rfc2822atom;
    const auto isOther = [&](char c) { return !atom[static_cast<unsigned char>(c)]; };
    const auto end = std::find_if(rest.begin(), rest.end(), isOther);
    const std::string_view found(rest.begin(), end);
    position_ += found.size();
    token = decodeWords(found);
}

void RFC2822Lexer::takeSpecial(Zeb_String& token) {
    const auto octet = static_cast<signed char>(text_[position_++]);
    // Kept: an octet of 0x80 or above is its sign-extended unit, such as U+FFE9 for 0xE9.
    token = Zeb_String(static_cast<unsigned short>(octet), 1);
}

// ==== addresses

namespace {

constexpr auto malformed = static_cast<unsigned>(RFC2822TokenKind::Error);

std::size_t elementsOf(std::string_view list, char separator) {
    if (list.find('"') == nowhere) return 1 + countOf(list, separator);
    std::size_t count = 1;
    std::size_t end = endOfElement(list, separator, 0);
    for (; end < list.size(); end = endOfElement(list, separator, end + 1)) ++count;
    return count;
}

bool isWord(unsigned kind) {
    return kind == RFC2822TokenKind::QuotedString || kind == RFC2822TokenKind::Atom;
}

/// Both with an "@" between them; mostly with all memory at once.
Zeb_String joined(Zeb_String&& localPart, const Zeb_String& domain) {
    std::array<unsigned short, 128> units;
    const auto count = [](const Zeb_String& text) {
        return static_cast<std::size_t>(text.GetLength());
    };
    if (count(localPart) + count(domain) >= units.size())
        return std::move(localPart.Append(u"@").Append(domain));
    auto end = std::copy_n(localPart.GetBuffer(), count(localPart), units.begin());
    *end++ = u'@';
    end = std::copy_n(domain.GetBuffer(), count(domain), end);
    return Zeb_String::FromUnits(units.data(), static_cast<std::size_t>(end - units.begin()));
}

bool isSpecial(unsigned kind, const Zeb_String& token, char special) {
    return kind == RFC2822TokenKind::Special && *token.GetBuffer() == special;
}

}  // namespace

RFC2822Address::RFC2822Address() = default;
RFC2822Address::RFC2822Address(const RFC2822Address&) = default;
RFC2822Address& RFC2822Address::operator=(const RFC2822Address&) = default;
RFC2822Address::~RFC2822Address() = default;

RFC2822Address::RFC2822Address(const std::string& text) { *this = text; }

RFC2822Address& RFC2822Address::operator=(const std::string& text) {
    RFC2822Lexer lexer(RFC2822Lexer::View{text, /*mimeMode=*/false});
    Zeb_String ignored;
    parseOneAddress(lexer, ignored);
    return *this;
}

unsigned RFC2822Address::parseOneAddress(RFC2822Lexer& lexer, Zeb_String& next) {
    smtpAddress_.Make_Empty();
    name_.Make_Empty();
    Zeb_String token;
    unsigned kind = lexer.nextToken(token, true);
    if (isWord(kind)) {
        Zeb_String first = std::exchange(token, {});
        kind = lexer.nextToken(token, true);
        if (isSpecial(kind, token, '@')) {
            if (lexer.nextToken(token, true) != RFC2822TokenKind::Atom) return malformed;
            smtpAddress_ = joined(std::move(first), token);
            return lexer.nextToken(next, true);
        }
        name_ = std::move(first);
        for (; isWord(kind); kind = lexer.nextToken(token, true)) name_.Append(u" ").Append(token);
    }
    return isSpecial(kind, token, '<') ? parseAngleAddress(lexer, next) : malformed;
}

/// Behind the opening bracket.
unsigned RFC2822Address::parseAngleAddress(RFC2822Lexer& lexer, Zeb_String& next) {
    Zeb_String localPart;
    Zeb_String token;
    if (!isWord(lexer.nextToken(localPart, true))) return malformed;
    if (!isSpecial(lexer.nextToken(token, true), token, '@')) return malformed;
    if (lexer.nextToken(token, true) != RFC2822TokenKind::Atom) return malformed;
    // Kept: an address whose bracket is not closed is malformed, and set all the same.
    smtpAddress_ = joined(std::move(localPart), token);
    if (!isSpecial(lexer.nextToken(token, true), token, '>')) return malformed;
    return lexer.nextToken(next, true);
}

std::vector<RFC2822Address> RFC2822Address::parseAddresses(const std::string& text) {
    RFC2822Lexer lexer(RFC2822Lexer::View{text, /*mimeMode=*/false});
    std::vector<RFC2822Address> addresses;
    constexpr std::size_t shortest = 4;  // "a@b,"
    addresses.reserve(std::min(elementsOf(text, ','), text.size() / shortest + 1));
    Zeb_String next;
    unsigned kind = 0;
    do {
        kind = addresses.emplace_back().parseOneAddress(lexer, next);
    } while (isSpecial(kind, next, ','));  // Kept: a list ends at its first malformed mailbox
    if (kind == malformed) addresses.pop_back();
    return addresses;
}

// ==== MIME values

namespace {

/// A parameter name taken apart (RFC 2231, 3 and 4).
struct ParameterName {
    Zeb_String name;
    bool isExtended = false;
    std::optional<int> section;
};

ParameterName takenApart(const Zeb_String& text) {
    ParameterName result{text, false, std::nullopt};
    const int last = text.GetLength() - 1;
    result.isExtended = text.ReverseFind(u'*') == last && last >= 0;
    if (result.isExtended) result.name.Delete(last, 1);
    const int star = result.name.ReverseFind(u'*');
    if (star < 0) return result;
    const Zeb_String number = result.name.Mid(star + 1, result.name.GetLength());
    unsigned short* end = nullptr;
    const unsigned long section = _tcstoul(number.GetBuffer(), &end, 10);
    if (end != number.GetBuffer() + number.GetLength()) return result;
    result.name = result.name.Left(star);
    // Kept: a section number of 2^31 or more is dropped.
    constexpr unsigned long largest = 0x7FFFFFFF;
    if (section <= largest) result.section = static_cast<int>(section);
    return result;
}

/// The parameters of one value, put together.
class ParameterCollector {
  public:
    explicit ParameterCollector(MIMEHeaderValue::Parameters& parameters)
        : parameters_(parameters) {}

    /// Returns whether it is a section of a continued parameter.
    bool take(const Zeb_String& name, Zeb_String value) {
        const ParameterName known = takenApart(name);
        if (!known.section) {
            parameters_[known.name] = known.isExtended ? RFC2184Decode(value) : std::move(value);
            return false;
        }
        sections_[known.name][*known.section] =
            known.isExtended ? std::move(value) : inExtendedForm(std::move(value), *known.section);
        return true;
    }

    /// To be called when the text has ended without a fault.
    void assemble() {
        for (auto& [name, pieces] : sections_) {
            Zeb_String whole;
            for (auto& [number, piece] : pieces) append(std::move(piece), whole);
            pieces.clear();
            parameters_[name] = RFC2184Decode(whole);
        }
    }

  private:
    static Zeb_String inExtendedForm(Zeb_String value, int section) {
        value.Replace(u"%", u"%25");
        value.Replace(u" ", u"%20");
        return section == 0 ? u"''" + value : value;
    }

    MIMEHeaderValue::Parameters& parameters_;
    // Kept by number, so that a large one costs nothing; a missing piece is an empty one.
    std::map<Zeb_String, std::map<int, Zeb_String>, CaseInsensitiveLess> sections_;
};

/// Reads parameters up to the end or the first fault; `token` is the special behind the value.
void parseParameters(RFC2822Lexer& lexer, Zeb_String token, ParameterCollector& collector) {
    bool needsSeparator = true;
    for (;;) {
        Zeb_String name = token;
        if (needsSeparator) {
            if (!(token == u";")) return;
            if (lexer.nextToken(name, true) != RFC2822TokenKind::Atom) return;
        }
        if (!isSpecial(lexer.nextToken(token, true), token, '=')) return;
        Zeb_String value;
        if (!isWord(lexer.nextToken(value, true))) return;
        const bool isSection = collector.take(name, std::move(value));
        const unsigned kind = lexer.nextToken(token, true);
        if (kind == RFC2822TokenKind::End) return collector.assemble();
        if (kind == RFC2822TokenKind::Special) continue;
        if (kind != RFC2822TokenKind::Atom || !isSection) return;
        // Kept: once missing behind a section of a parameter, a ";" is expected nowhere more.
        needsSeparator = false;
    }
}

}  // namespace

MIMEHeaderValue::MIMEHeaderValue() = default;
MIMEHeaderValue::MIMEHeaderValue(const MIMEHeaderValue&) = default;
MIMEHeaderValue& MIMEHeaderValue::operator=(const MIMEHeaderValue&) = default;
MIMEHeaderValue::~MIMEHeaderValue() = default;

MIMEHeaderValue::MIMEHeaderValue(const std::string& text) { parse(text); }

MIMEHeaderValue& MIMEHeaderValue::operator=(const std::string& text) {
    value_.Make_Empty();
    subvalue_.Make_Empty();
    parameters_.clear();
    parse(text);
    return *this;
}

void MIMEHeaderValue::parse(const std::string& text) {
    RFC2822Lexer lexer(RFC2822Lexer::View{text, /*mimeMode=*/true});
    Zeb_String token;
    if (lexer.nextToken(token, true) != RFC2822TokenKind::Atom) return;
    value_ = token;
    unsigned kind = lexer.nextToken(token, true);
    if (isSpecial(kind, token, '/')) {
        if (lexer.nextToken(token, true) != RFC2822TokenKind::Atom) return;
        subvalue_ = token;
        kind = lexer.nextToken(token, true);
    }
    if (kind != RFC2822TokenKind::Special) return;
    ParameterCollector collector(parameters_);
    parseParameters(lexer, token, collector);
}

Zeb_String MIMEHeaderValue::getParameter(const Zeb_String& name,
                                         const Zeb_String& defaultValue) const {
    const auto found = parameters_.find(name);
    return found != parameters_.end() ? found->second : defaultValue;
}

namespace {

/// The value of a digit, or -1. Kept: an extended value with escapes in lower case stays.
int hexValue(char digit) {
    if (digit >= '0' && digit <= '9') return digit - '0';
    return digit >= 'A' && digit <= 'F' ? digit - 'A' + 10 : -1;
}

/// Resolves "%" escapes; false for what may not stand in an extended value.
bool resolveEscapes(const std::string& text, std::string& octets) {
    octets.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%') {
            if (i + 2 >= text.size()) return false;
            const int high = hexValue(text[i + 1]);
            const int low = hexValue(text[i + 2]);
            if (high < 0 || low < 0) return false;
            octets += static_cast<char>(16 * high + low);
            i += 2;
        } else if (text[i] >= '!' && text[i] <= '~') {
            octets += text[i];
        } else {
            return false;
        }
    }
    return true;
}

/// The octets that an extended value stands for, from `start` on.
bool extendedOctets(const Zeb_String& value, int start, std::string& octets) {
    AdMbcsString ascii;
    return ascii.cvtFromUTF16(AdCharset::getASCIICharset(), value.GetBuffer() + start,
                              static_cast<std::size_t>(value.GetLength() - start), 0) &&
           resolveEscapes(ascii.getString(), octets);
}

}  // namespace

Zeb_String RFC2184Decode(const Zeb_String& value) {
    const int first = value.Find(u"'");
    const int second = first < 0 ? -1 : value.Find(u"'", first + 1);
    if (second < 0) return value;
    std::string octets;
    if (!extendedOctets(value, second + 1, octets)) return value;
    const AdCharset charset =
        first == 0 ? AdCharset::getASCIICharset() : charsetNamed(value.Left(first));
    Zeb_String text;
    return AdMbcsString::cvtToTchar(charset, octets.data(), octets.size(), text, 0) ? text : value;
}

// ==== entities

namespace {

enum class TransferEncoding { Identity, Base64, QuotedPrintable, Unknown };

TransferEncoding transferEncodingOf(const HeaderMap& headers) {
    const auto field = headers.find(u"Content-Transfer-Encoding");
    if (field == headers.end()) return TransferEncoding::Identity;
    const Zeb_String name = MIMEHeaderValue(field->second).getValue();
    if (isName(name, "base64")) return TransferEncoding::Base64;
    if (isName(name, "quoted-printable")) return TransferEncoding::QuotedPrintable;
    const bool isIdentity = isName(name, "7bit") || isName(name, "8bit") || isName(name, "binary");
    return isIdentity ? TransferEncoding::Identity : TransferEncoding::Unknown;
}

/// A transfer decoding that notes malformed data and goes on behind it.
template <typename Filter>
class ResumingSource : public std::streambuf {
  public:
    ResumingSource(std::streambuf* raw, MIMEDefect::Kind defect, DecodeGuard& guard)
        : filter_(raw, false), raw_(raw), defect_(defect), guard_(guard) {}

  protected:
    int_type underflow() override {
        int_type octet = filter_.sgetc();
        while (isEnd(octet) && canGoOn()) octet = filter_.sgetc();
        return octet;
    }
    int_type uflow() override {
        int_type octet = filter_.sbumpc();
        while (isEnd(octet) && canGoOn()) octet = filter_.sbumpc();
        return octet;
    }
    std::streamsize xsgetn(char* to, std::streamsize count) override {
        std::streamsize done = filter_.sgetn(to, count);
        while (done < count && canGoOn()) done += filter_.sgetn(to + done, count - done);
        return done;
    }

  private:
    static bool isEnd(int_type octet) { return octet == traits_type::eof(); }

    /// A filter that stopped at malformed data has taken at least one octet of it.
    bool canGoOn() {
        if (!filter_.takeMalformed()) return false;
        guard_.note(defect_);
        return !isEnd(raw_->sgetc());
    }

    Filter filter_;
    std::streambuf* raw_;
    const MIMEDefect::Kind defect_;
    DecodeGuard& guard_;
};

/// About how many octets they are decoded, or a few more.
template <typename Filter>
std::size_t decodedSize(std::string_view octets) {
    if (std::is_same_v<Filter, base64buf>) return octets.size() / 4 * 3 + 3;
    return octets.size() - std::min(octets.size(), 2 * countOf(octets, '='));
}

}  // namespace

/// What an entity is read from, and the type that its header declares.
class EntityInput {
  public:
    EntityInput(const HeaderMap& headers, std::streambuf* octets, TextSource* text = nullptr)
        : source(octets), wholeText(text) {
        const auto found = headers.find(u"Content-Type");
        hasType = found != headers.end();
        if (hasType) type = found->second;
    }

    /// For containers: all parameters would stay in memory, on each level, while the parts are
    /// read.
    void dropParameters() { type = MIMEHeaderValue(); }
    /// The same, but for the boundary, which a multipart needs.
    void keepBoundaryAlone() {
        boundary_ = boundary();
        dropParameters();
    }
    Zeb_String boundary() const {
        return boundary_ ? *boundary_ : type.getParameter(u"boundary", u"");
    }

    std::streambuf* const source;
    TextSource* const wholeText;  // the same, when it is in memory
    bool hasType = false;
    MIMEHeaderValue type;

  private:
    std::optional<Zeb_String> boundary_;  // when it was kept alone
};

/// What a decoder reads its body from: its transfer decoding, with a guard one that goes on behind
/// malformed data. The filter goes with it: a tree of many parts would keep one for each.
class BodySource {
  public:
    BodySource(const MIMEDecoder& decoder, const EntityInput& input, DecodeGuard* guard)
        : raw_(input.source), text_(input.wholeText) {
        const TransferEncoding encoding = transferEncodingOf(decoder.getHeaders());
        if (encoding == TransferEncoding::QuotedPrintable)
            decode<quotedprintablebuf>(MIMEDefect::Kind::MalformedQuotedPrintable, guard);
        else if (encoding == TransferEncoding::Base64)
            decode<base64buf>(MIMEDefect::Kind::MalformedBase64, guard);
        else if (encoding == TransferEncoding::Unknown && guard != nullptr)
            guard->note(MIMEDefect::Kind::UnknownTransferEncoding);
    }

    std::streambuf* get() const { return filter_ ? filter_.get() : raw_; }
    /// The body, when it is in memory as it is; else null.
    TextSource* text() const { return text_; }
    /// All of it.
    std::string read() const;

  private:
    template <typename Filter>
    void decode(MIMEDefect::Kind defect, DecodeGuard* guard) {
        if (text_ != nullptr) expectedSize_ = decodedSize<Filter>(text_->rest());
        text_ = nullptr;
        if (guard == nullptr)
            filter_ = std::make_unique<Filter>(raw_, false);
        else
            filter_ = std::make_unique<ResumingSource<Filter>>(raw_, defect, *guard);
    }

    std::streambuf* raw_;
    TextSource* text_;
    std::size_t expectedSize_ = 0;  // of the decoded body, in octets, when it is filtered
    std::unique_ptr<std::streambuf> filter_;
};

std::string BodySource::read() const {
    if (text_ != nullptr) {
        std::string body(text_->rest());
        text_->takeRest();
        return body;
    }
    if (!filter_) return readAll(*raw_, readBlockSize, 0);
    return readAll(*filter_, 4 * readBlockSize, expectedSize_);
}

MIMEDecoder::MIMEDecoder(const HeaderMap& headers, std::istream& in)
    : headers_(headers), source_(in.rdbuf()) {}

MIMEDecoder::MIMEDecoder(HeaderMap&& headers, const EntityInput& input)
    : headers_(std::move(headers)), source_(input.source) {}

MIMEDecoder::~MIMEDecoder() = default;

bool MIMEDecoder::isText() const { return false; }
bool MIMEDecoder::isBinary() const { return false; }
bool MIMEDecoder::isMultipart() const { return false; }
bool MIMEDecoder::isMessage() const { return false; }
MIMETextDecoder* MIMEDecoder::getTextDecoder() { return nullptr; }
MIMEBinaryDecoder* MIMEDecoder::getBinaryDecoder() { return nullptr; }
MIMEMultipartDecoder* MIMEDecoder::getMultipartDecoder() { return nullptr; }
RFC2822Decoder* MIMEDecoder::getMessageDecoder() { return nullptr; }

void MIMEDecoder::readHeaders(HeaderMap& headers, std::istream& in) {
    readHeaderBlock(headers, in);
}

MIMEDecoder* MIMEDecoder::getDecoder(std::istream& in) {
    HeaderMap headers;
    readHeaders(headers, in);
    return build(std::move(headers), *in.rdbuf(), nullptr, nullptr);
}

namespace {

// What a guard reckons with.
static_assert(sizeof(MIMETextDecoder) + 72 <= DecodeGuard::entityCost);
static_assert(sizeof(RFC2822Address) + 32 <= addressCost);
static_assert(3 * (sizeof(MIMEHeaderValue::Parameters::value_type) + 48) <= parameterCost);

enum class EntityKind { Text, Binary, Multipart, Message };

EntityKind declaredKind(const EntityInput& input) {
    if (!input.hasType) return EntityKind::Text;
    const Zeb_String type = input.type.getValue();
    if (isName(type, "multipart")) return EntityKind::Multipart;
    if (isName(type, "message")) return EntityKind::Message;
    return isName(type, "text") ? EntityKind::Text : EntityKind::Binary;
}

/// With a guard a container beyond a limit is left as it is.
EntityKind kindOf(const EntityInput& input, DecodeGuard* guard) {
    const EntityKind kind = declaredKind(input);
    const bool isMessage = kind == EntityKind::Message;
    if (guard == nullptr || !(isMessage || kind == EntityKind::Multipart)) return kind;
    constexpr std::size_t messageAndItsEntity = 2;
    if (isMessage && guard->isAtEntityLimit(messageAndItsEntity)) return EntityKind::Binary;
    if (!guard->isAtDepthLimit()) return kind;
    guard->note(MIMEDefect::Kind::TooDeep);
    return EntityKind::Binary;
}

}  // namespace

template <typename Decoder>
MIMEDecoder* MIMEDecoder::construct(HeaderMap&& headers, const EntityInput& in,
                                    DecodeGuard* guard) {
    if (guard == nullptr) return new Decoder(std::move(headers), in, nullptr);
    const std::size_t place = guard->makePlace();
    auto* const decoder = new Decoder(std::move(headers), in, guard);
    guard->adopt(place, decoder);
    return decoder;
}

MIMEDecoder* MIMEDecoder::build(HeaderMap&& headers, std::streambuf& source, TextSource* text,
                                DecodeGuard* guard) {
    EntityInput in(headers, &source, text);
    const EntityKind kind = kindOf(in, guard);
    if (kind == EntityKind::Multipart) in.keepBoundaryAlone();
    if (kind == EntityKind::Message) in.dropParameters();
    switch (kind) {
        case EntityKind::Multipart:
            return construct<MIMEMultipartDecoder>(std::move(headers), in, guard);
        case EntityKind::Message:
            return construct<RFC2822Decoder>(std::move(headers), in, guard);
        case EntityKind::Text:
            return construct<MIMETextDecoder>(std::move(headers), in, guard);
        default:
            return construct<MIMEBinaryDecoder>(std::move(headers), in, guard);
    }
}

MIMEDecoder* MIMEDecoder::buildFrom(std::streambuf& source, DecodeGuard* guard) {
    HeaderMap headers;
    readHeaderBlock(headers, source, guard);
    return build(std::move(headers), source, nullptr, guard);
}

MIMEDecoder* MIMEDecoder::buildFrom(TextSource& source, DecodeGuard* guard) {
    const DecodeGuard::Input input(guard, source);
    HeaderMap headers;
    readHeaderBlock(headers, source, guard);
    MIMEDecoder* const decoder = build(std::move(headers), source, &source, guard);
    if (guard != nullptr) source.takeRest();
    return decoder;
}

/// With a guard each decoder reads its source to the end, so blocks may be read ahead: else each
/// octet would cost a call for each level that it lies deep.
MIMEDecoder* MIMEDecoder::buildInBlocks(BlockSource& source, DecodeGuard& guard) {
    const DecodeGuard::Input input(&guard, source);
    std::streambuf& octets = source;
    MIMEDecoder* const decoder = buildFrom(octets, &guard);
    source.drain();
    return decoder;
}

const std::string* MIMEDecoder::findHeader(const Zeb_String& name) const {
    const auto found = headers_.find(name);
    return found != headers_.end() ? &found->second : nullptr;
}

std::string MIMEDecoder::getRawHeader(const Zeb_String& name) const {
    const std::string* const value = findHeader(name);
    return value != nullptr ? *value : std::string();
}

MIMEHeaderValue MIMEDecoder::getMIMEHeader(const Zeb_String& name,
                                           const std::string& defaultValue) const {
    const std::string* const value = findHeader(name);
    return MIMEHeaderValue(value != nullptr ? *value : defaultValue);
}

std::streambuf* MIMEDecoder::getTransferStreambuf() {
    const TransferEncoding encoding = transferEncodingOf(headers_);
    if (encoding == TransferEncoding::Base64 && !filter_)
        filter_ = std::make_unique<base64buf>(source_, false);
    if (encoding == TransferEncoding::QuotedPrintable && !filter_)
        filter_ = std::make_unique<quotedprintablebuf>(source_, false);
    // Kept: a body in a transfer encoding that is not known is read as it stands.
    return filter_ ? filter_.get() : source_;
}

// ==== leaves

MIMETextDecoder::MIMETextDecoder(const HeaderMap& headers, std::istream& in)
    : MIMETextDecoder(HeaderMap(headers), EntityInput(headers, in.rdbuf()), nullptr) {}

/// So many units of its name stay with the tree; no charset has a name that long.
constexpr int mostOfAnUnknownCharset = 128;

MIMETextDecoder::MIMETextDecoder(HeaderMap&& headers, const EntityInput& input, DecodeGuard* guard)
    : MIMEDecoder(std::move(headers), input),
      charsetName_(input.type.getParameter(u"charset", u"US-ASCII")) {
    if (guard != nullptr && !charsetNamed(charsetName_).isKnown()) {
        guard->note(MIMEDefect::Kind::UnknownCharset);
        charsetName_ = charsetName_.Left(mostOfAnUnknownCharset);
    }
    body_ = BodySource(*this, input, guard).read();
}

MIMETextDecoder::~MIMETextDecoder() = default;

bool MIMETextDecoder::isText() const { return true; }
MIMETextDecoder* MIMETextDecoder::getTextDecoder() { return this; }

void MIMETextDecoder::getText(std::basic_ostream<unsigned short>& out) const {
    Zeb_String text;
    AdMbcsString::cvtToTchar(charsetNamed(charsetName_), body_.data(), body_.size(), text, 1);
    out << text;
}

MIMEBinaryDecoder::MIMEBinaryDecoder(const HeaderMap& headers, std::istream& in)
    : MIMEBinaryDecoder(HeaderMap(headers), EntityInput(headers, in.rdbuf()), nullptr) {}

MIMEBinaryDecoder::MIMEBinaryDecoder(HeaderMap&& headers, const EntityInput& input,
                                     DecodeGuard* guard)
    : MIMEDecoder(std::move(headers), input), body_(BodySource(*this, input, guard).read()) {}

MIMEBinaryDecoder::~MIMEBinaryDecoder() = default;

bool MIMEBinaryDecoder::isBinary() const { return true; }
MIMEBinaryDecoder* MIMEBinaryDecoder::getBinaryDecoder() { return this; }

// ==== multiparts

namespace {

/// In front of the boundary in a delimiter.
constexpr std::string_view anyDelimiter = "\r\n--";

std::string delimiterOf(const EntityInput& input) {
    std::string boundary;
    asciiOctets(input.boundary(), boundary);
    return boundary.insert(0, anyDelimiter);
}

std::string boundaryOf(const std::string& delimiter) {
    return delimiter.substr(anyDelimiter.size());
}

void skipToEnd(std::streambuf& source) {
    char block[100];
    while (source.sgetn(block, sizeof block) > 0) {
    }
}

void skipPreamble(std::streambuf& source, const std::string& delimiter, DecodeGuard* guard) {
    multipartboundarybuf preamble(&source, boundaryOf(delimiter));
    // Kept: a bare LF at the very start hides the delimiter behind it, unless it is peeked at.
    const bool isHidden =
        guard != nullptr && preamble.sgetc() == '\n' && preamble.sbumpc() == endOfFile;
    if (isHidden) guard->note(MIMEDefect::Kind::BlankLineBeforeParts);
    skipToEnd(preamble);
}

void skipPreamble(TextSource& body, const std::string& delimiter, DecodeGuard* guard) {
    using FirstLineFeed = TextSource::FirstLineFeed;
    TextSource preamble(body, delimiter,
                        guard == nullptr ? FirstLineFeed::IsText : FirstLineFeed::BeginsDelimiter);
    const bool isHidden =
        guard != nullptr && body.rest().starts_with('\n') && preamble.rest().empty();
    preamble.takeRest();
    preamble.leave();
    if (isHidden) guard->note(MIMEDefect::Kind::BlankLineBeforeParts);
}

/// Reads on to the next part: the rest of its delimiter line. False behind the last part.
bool findPart(std::streambuf& source, DecodeGuard* guard) {
    if (source.sgetc() == '-') {  // Kept: one hyphen behind a boundary is the close delimiter
        skipToEnd(source);
        return false;
    }
    for (;;) {
        const int octet = source.sbumpc();
        if (octet == '\n') return true;
        // Kept: without a guard a multipart that is cut off is read for ever.
        if (octet == endOfFile && guard != nullptr) {
            guard->note(MIMEDefect::Kind::UnclosedMultipart);
            return false;
        }
    }
}

}  // namespace

MIMEMultipartDecoder::MIMEMultipartDecoder(const HeaderMap& headers, std::istream& in)
    : MIMEMultipartDecoder(HeaderMap(headers), EntityInput(headers, in.rdbuf()), nullptr) {}

MIMEMultipartDecoder::MIMEMultipartDecoder(HeaderMap&& headers, const EntityInput& input,
                                           DecodeGuard* guard)
    : MIMEDecoder(std::move(headers), input) {
    const BodySource body(*this, input, guard);
    std::streambuf& source = *body.get();
    const std::string delimiter = delimiterOf(input);
    if (delimiter == anyDelimiter && guard != nullptr) guard->note(MIMEDefect::Kind::NoBoundary);
    // A line end in the boundary is for the filter to find.
    const bool isOneLine = delimiter.find_first_of("\r\n", 2) == nowhere;
    TextSource* const text = isOneLine ? body.text() : nullptr;
    text != nullptr ? skipPreamble(*text, delimiter, guard)
                    : skipPreamble(source, delimiter, guard);
    while (findPart(source, guard)) {
        if (guard != nullptr && guard->isAtEntityLimit(1)) {
            skipToEnd(source);
            break;
        }
        const DecodeGuard::Level level(guard, parts_.size() + 1);
        parts_.push_back(text != nullptr ? buildPart(*text, delimiter, guard)
                                         : buildPart(source, delimiter, guard));
    }
}

MIMEDecoder* MIMEMultipartDecoder::buildPart(TextSource& body, const std::string& delimiter,
                                             DecodeGuard* guard) {
    TextSource part(body, delimiter, TextSource::FirstLineFeed::BeginsDelimiter);
    MIMEDecoder* const decoder = buildFrom(part, guard);
    part.leave();
    return decoder;
}

MIMEDecoder* MIMEMultipartDecoder::buildPart(std::streambuf& body, const std::string& delimiter,
                                             DecodeGuard* guard) {
    multipartboundarybuf part(&body, boundaryOf(delimiter));
    if (guard == nullptr) return buildFrom(part, nullptr);
    part.sgetc();  // as the plain decoders begin: a delimiter behind a line end is found then
    BlockSource blocks(&part);
    return buildInBlocks(blocks, *guard);
}

MIMEMultipartDecoder::~MIMEMultipartDecoder() = default;

bool MIMEMultipartDecoder::isMultipart() const { return true; }
MIMEMultipartDecoder* MIMEMultipartDecoder::getMultipartDecoder() { return this; }

// ==== messages

namespace {

/// How much of a message is kept while it is read. With a guard not all of a large one is: a part
/// of it that is dropped takes no memory then. What the source has at hand is in memory already.
std::size_t mostInMemory(std::size_t atHand, DecodeGuard* guard) {
    constexpr std::size_t leastAhead = 4 << 20;
    return guard == nullptr ? SIZE_MAX : std::max(atHand, leastAhead);
}

}  // namespace

RFC2822Decoder::RFC2822Decoder(std::istream& in) : RFC2822Decoder(in, nullptr) {}

RFC2822Decoder::RFC2822Decoder(const HeaderMap& headers, std::istream& in)
    : RFC2822Decoder(HeaderMap(headers), EntityInput(headers, in.rdbuf()), nullptr) {}

RFC2822Decoder::RFC2822Decoder(std::istream& in, DecodeGuard* guard)
    : MIMEDecoder(HeaderMap(), in) {
    std::string octets;
    octets.reserve(atHand(*source_));
    const bool isWhole = readAhead(*source_, mostInMemory(octets.capacity(), guard), octets);
    const DecodeGuard::Level level(guard, 1);
    if (isWhole || guard == nullptr) {  // without a guard it always is
        TextSource text(octets);
        entity_ = buildFrom(text, guard);
    } else {
        BlockSource blocks(source_, std::move(octets));
        entity_ = buildInBlocks(blocks, *guard);
    }
    if (guard == nullptr) messageText_.swap(octets);
}

RFC2822Decoder::RFC2822Decoder(HeaderMap&& headers, const EntityInput& input, DecodeGuard* guard)
    : MIMEDecoder(std::move(headers), input) {
    const BodySource body(*this, input, guard);
    const DecodeGuard::Level level(guard, 1);
    if (guard == nullptr) {
        messageText_ = body.read();
        TextSource text(messageText_);
        entity_ = buildFrom(text, nullptr);
    } else if (body.text() != nullptr) {
        TextSource text(*body.text());
        entity_ = buildFrom(text, guard);
        text.leave();
    } else {
        BlockSource blocks(body.get());
        entity_ = buildInBlocks(blocks, *guard);
    }
}

RFC2822Decoder::~RFC2822Decoder() = default;

bool RFC2822Decoder::isMessage() const { return true; }
RFC2822Decoder* RFC2822Decoder::getMessageDecoder() { return this; }

Zeb_String RFC2822Decoder::getHeader(const Zeb_String& name) const {
    const std::string* const value = entity_->findHeader(name);
    return value != nullptr ? decodeRFC2047Words(*value) : Zeb_String();
}

Zeb_String RFC2822Decoder::getSubject() const { return getHeader(u"Subject"); }
Zeb_String RFC2822Decoder::getDate() const { return getHeader(u"Date"); }

std::vector<RFC2822Address> RFC2822Decoder::parseAddressHeader(const Zeb_String& name) const {
    const std::string* const value = entity_->findHeader(name);
    if (value == nullptr) return {};
    return RFC2822Address::parseAddresses(*value);
}

RFC2822Address RFC2822Decoder::getSender() const {
    for (const char16_t* name : {u"Sender", u"From"}) {
        const std::vector<RFC2822Address> addresses = parseAddressHeader(name);
        // Kept: of a field with several mailboxes none is the sender.
        if (addresses.size() == 1) return addresses.front();
    }
    return {};
}

std::vector<RFC2822Address> RFC2822Decoder::getTo() const { return parseAddressHeader(u"To"); }
std::vector<RFC2822Address> RFC2822Decoder::getCc() const { return parseAddressHeader(u"Cc"); }
