// SPDX-License-Identifier: Apache-2.0
// From a received message to text.
//
// Sections: encoded words, the lexer, addresses, MIME values, entities, leaves, multiparts,
// messages.
#include "inet/rfc2822decoder.utf16.h"

#include <algorithm>
#include <optional>
#include <streambuf>
#include <string_view>
#include <utility>

#include "inet/decodeguard.utf16.h"
#include "inet/wiretext.utf16.h"

namespace {

using Traits = std::char_traits<char>;

constexpr int endOfFile = Traits::eof();
constexpr std::size_t nowhere = std::string::npos;

constexpr char rfc2822whitespace[] = " \t\r\n";
constexpr char rfc2822specials[] = "()<>@,;:\\\"[]";
constexpr char rfc2045specials[] = "()<>@,;:\\\"/[]?=";

/// Octets that are no ASCII are read all the same, as the lenient conversion reads them.
Zeb_String asciiText(std::string_view octets) {
    Zeb_String text;
    AdMbcsString::cvtToTchar(AdCharset::getASCIICharset(), octets.data(), octets.size(), text, 0);
    return text;
}

/// Kept: text that is declared as GB2312 often holds characters of its superset.
AdCharset charsetNamed(const Zeb_String& name) {
    return AdCharset(name == u"GB2312" ? Zeb_String(u"GBK") : name);
}

bool isName(const Zeb_String& text, const char16_t* name) { return text.CompareNoCase(name) == 0; }

}  // namespace

// ==== encoded words

namespace {

/// Octets that are kept elsewhere, for reading.
class OctetsSource : public std::streambuf {
  public:
    explicit OctetsSource(std::string_view octets) {
        char* const begin = const_cast<char*>(octets.data());  // never written to
        setg(begin, begin, begin + octets.size());
    }
};

std::string filtered(std::streambuf& filter) {
    std::string octets;
    for (int octet = filter.sbumpc(); octet != endOfFile; octet = filter.sbumpc())
        octets += Traits::to_char_type(octet);
    return octets;
}

/// The octets of an encoded text; false when the encoding is none of RFC 2047's.
bool decodePayload(std::string_view encoding, std::string_view text, std::string& octets) {
    OctetsSource source(text);
    if (encoding == "B" || encoding == "b") {
        base64buf filter(&source, true);
        octets = filtered(filter);
    } else if (encoding == "Q" || encoding == "q") {
        quotedprintablebuf filter(&source, true);
        octets = filtered(filter);
    } else {
        return false;
    }
    return true;
}

void append(Zeb_String&& text, Zeb_String& out) {
    if (out.IsEmpty())
        out = std::move(text);
    else
        out.Append(text);
}

/// Decodes the word that begins at `start` and appends it. Returns where it ends; `start` when it
/// is none, or cannot be decoded.
std::size_t appendWord(std::string_view text, std::size_t start, Zeb_String& out) {
    std::size_t marks[3];  // the question marks behind charset, encoding and encoded text
    std::size_t from = start + 2;
    for (std::size_t& mark : marks) {
        mark = text.find('?', from);
        if (mark == nowhere) return start;
        from = mark + 1;
    }
    if (from >= text.size() || text[from] != '=') return start;
    const auto between = [&](std::size_t first, std::size_t end) {
        return text.substr(first, end - first);
    };
    std::string octets;
    if (!decodePayload(between(marks[0] + 1, marks[1]), between(marks[1] + 1, marks[2]), octets))
        return start;
    Zeb_String word;
    const AdCharset charset = charsetNamed(asciiText(between(start + 2, marks[0])));
    if (!AdMbcsString::cvtToTchar(charset, octets.data(), octets.size(), word, 0)) return start;
    append(std::move(word), out);
    return from + 1;
}

/// The text between two words, unless it is blank.
void appendGap(std::string_view text, std::size_t start, std::size_t end, Zeb_String& out) {
    const std::string_view gap = text.substr(start, end - start);
    if (gap.find_first_not_of(rfc2822whitespace) != nowhere) append(asciiText(gap), out);
}

Zeb_String decodeWords(std::string_view text) {
    Zeb_String out;
    std::size_t next = 0;
    for (;;) {
        const std::size_t opener = text.find("=?", next);
        if (opener == nowhere) break;
        appendGap(text, next, opener, out);
        next = appendWord(text, opener, out);
        if (next > opener) continue;
        out.Append(u"=?");
        next = opener + 2;
    }
    appendGap(text, next, text.size(), out);
    return out;
}

}  // namespace

Zeb_String decodeRFC2047Words(const std::string& text) { return decodeWords(text); }

// ==== the lexer

namespace {

bool isWhitespace(char c) { return c != '\0' && Traits::find(rfc2822whitespace, 4, c) != nullptr; }

}  // namespace

RFC2822Lexer::RFC2822Lexer(const std::string& text, bool mimeMode)
    : copy_(text), text_(copy_), mimeMode_(mimeMode) {}

RFC2822Lexer::RFC2822Lexer(bool mimeMode, std::string_view text)
    : text_(text), mimeMode_(mimeMode) {}

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
        } else if (isAtomOctet(position_, 0x20)) {
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

/// False when the comment has no end. Kept: without a token for it, its ")" is left.
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
    std::string content;
    for (++position_; position_ < text_.size(); ++position_) {
        char c = text_[position_];
        if (c == '"') {
            token = decodeWords(content);
            ++position_;
            return true;
        }
        if (c == '\\' && ++position_ < text_.size()) c = text_[position_];
        content += c;
    }
    position_ = text_.size();
    return false;
}

/// Octets count as signed: those of 0x80 and above are in no atom.
bool RFC2822Lexer::isAtomOctet(std::size_t position, signed char lowest) const {
    const char c = text_[position];
    const auto octet = static_cast<signed char>(c);
    const std::string_view specials = mimeMode_ ? rfc2045specials : rfc2822specials;
    return octet >= lowest && octet != 0x7F && specials.find(c) == std::string_view::npos;
}

void RFC2822Lexer::takeAtom(Zeb_String& token) {
    const std::size_t start = position_++;
    while (position_ < text_.size() && isAtomOctet(position_, 0x21)) ++position_;
    token = decodeWords(text_.substr(start, position_ - start));
}

void RFC2822Lexer::takeSpecial(Zeb_String& token) {
    const auto octet = static_cast<signed char>(text_[position_++]);
    token = Zeb_String(static_cast<unsigned short>(octet), 1);  // kept: sign-extended
}

// ==== addresses

namespace {

constexpr auto malformed = static_cast<unsigned>(RFC2822TokenKind::Error);

/// Where an element of a list ends, from the start of one on: at a separator that is not quoted.
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

std::size_t elementsOf(std::string_view list, char separator) {
    std::size_t count = 1;
    std::size_t end = endOfElement(list, separator, 0);
    for (; end < list.size(); end = endOfElement(list, separator, end + 1)) ++count;
    return count;
}

bool isWord(unsigned kind) {
    return kind == RFC2822TokenKind::QuotedString || kind == RFC2822TokenKind::Atom;
}

bool isSpecial(unsigned kind, const Zeb_String& token, const char16_t* special) {
    return kind == RFC2822TokenKind::Special && token == special;
}

}  // namespace

RFC2822Address::RFC2822Address() = default;
RFC2822Address::RFC2822Address(const RFC2822Address&) = default;
RFC2822Address& RFC2822Address::operator=(const RFC2822Address&) = default;
RFC2822Address::~RFC2822Address() = default;

RFC2822Address::RFC2822Address(const std::string& text) { *this = text; }

RFC2822Address& RFC2822Address::operator=(const std::string& text) {
    RFC2822Lexer lexer(/*mimeMode=*/false, text);
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
        Zeb_String first = std::move(token);
        kind = lexer.nextToken(token, true);
        if (isSpecial(kind, token, u"@")) {
            if (lexer.nextToken(token, true) != RFC2822TokenKind::Atom) return malformed;
            smtpAddress_ = std::move(first.Append(u"@").Append(token));
            return lexer.nextToken(next, true);
        }
        name_ = std::move(first);
        for (; isWord(kind); kind = lexer.nextToken(token, true)) name_.Append(u" ").Append(token);
    }
    return isSpecial(kind, token, u"<") ? parseAngleAddress(lexer, next) : malformed;
}

/// Behind the opening bracket.
unsigned RFC2822Address::parseAngleAddress(RFC2822Lexer& lexer, Zeb_String& next) {
    Zeb_String localPart;
    Zeb_String token;
    if (!isWord(lexer.nextToken(localPart, true))) return malformed;
    if (!isSpecial(lexer.nextToken(token, true), token, u"@")) return malformed;
    if (lexer.nextToken(token, true) != RFC2822TokenKind::Atom) return malformed;
    // Kept: also when the bracket is not closed.
    smtpAddress_ = std::move(localPart.Append(u"@").Append(token));
    if (!isSpecial(lexer.nextToken(token, true), token, u">")) return malformed;
    return lexer.nextToken(next, true);
}

std::vector<RFC2822Address> RFC2822Address::parseAddresses(const std::string& text) {
    RFC2822Lexer lexer(/*mimeMode=*/false, text);
    std::vector<RFC2822Address> addresses;
    constexpr std::size_t shortest = 4;  // "a@b,"
    addresses.reserve(std::min(elementsOf(text, ','), text.size() / shortest + 1));
    Zeb_String next;
    unsigned kind = 0;
    do {
        RFC2822Address address;
        kind = address.parseOneAddress(lexer, next);
        if (kind != malformed) addresses.push_back(address);
    } while (isSpecial(kind, next, u","));
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
    constexpr unsigned long largest = 0x7FFFFFFF;  // kept: beyond it the number is dropped
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
        if (!isSpecial(lexer.nextToken(token, true), token, u"=")) return;
        Zeb_String value;
        if (!isWord(lexer.nextToken(value, true))) return;
        const bool isSection = collector.take(name, std::move(value));
        const unsigned kind = lexer.nextToken(token, true);
        if (kind == RFC2822TokenKind::End) return collector.assemble();
        if (kind == RFC2822TokenKind::Special) continue;
        if (kind != RFC2822TokenKind::Atom || !isSection) return;
        // Kept: once missing behind a section, the separator is expected nowhere any more.
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
    RFC2822Lexer lexer(/*mimeMode=*/true, text);
    Zeb_String token;
    if (lexer.nextToken(token, true) != RFC2822TokenKind::Atom) return;
    value_ = token;
    unsigned kind = lexer.nextToken(token, true);
    if (isSpecial(kind, token, u"/")) {
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

/// The value of an upper-case hexadecimal digit, or -1; lower-case ones are refused, kept.
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

TransferEncoding transferEncodingOf(const MIMEDecoder& decoder) {
    const Zeb_String name = decoder.getMIMEHeader(u"Content-Transfer-Encoding", "7bit").getValue();
    if (isName(name, u"base64")) return TransferEncoding::Base64;
    if (isName(name, u"quoted-printable")) return TransferEncoding::QuotedPrintable;
    const bool isIdentity =
        isName(name, u"7bit") || isName(name, u"8bit") || isName(name, u"binary");
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

}  // namespace

/// What a decoder reads its body from: its transfer decoding, with a guard one that goes on behind
/// malformed data. The filter goes with it: a tree of many parts would keep one for each.
class BodySource {
  public:
    BodySource(const MIMEDecoder& decoder, DecodeGuard* guard) : raw_(decoder.source_) {
        const TransferEncoding encoding = transferEncodingOf(decoder);
        if (encoding == TransferEncoding::QuotedPrintable)
            decode<quotedprintablebuf>(MIMEDefect::Kind::MalformedQuotedPrintable, guard);
        else if (encoding == TransferEncoding::Base64)
            decode<base64buf>(MIMEDefect::Kind::MalformedBase64, guard);
        else if (encoding == TransferEncoding::Unknown && guard != nullptr)
            guard->note(MIMEDefect::Kind::UnknownTransferEncoding);
    }

    std::streambuf* get() const { return filter_ ? filter_.get() : raw_; }

  private:
    template <typename Filter>
    void decode(MIMEDefect::Kind defect, DecodeGuard* guard) {
        if (guard == nullptr)
            filter_ = std::make_unique<Filter>(raw_, false);
        else
            filter_ = std::make_unique<ResumingSource<Filter>>(raw_, defect, *guard);
    }

    std::streambuf* raw_;
    std::unique_ptr<std::streambuf> filter_;
};

MIMEDecoder::MIMEDecoder(const HeaderMap& headers, std::istream& in)
    : MIMEDecoder(HeaderMap(headers), in) {}

MIMEDecoder::MIMEDecoder(HeaderMap&& headers, std::istream& in)
    : headers_(std::move(headers)), source_(in.rdbuf()) {}

MIMEDecoder::~MIMEDecoder() = default;

bool MIMEDecoder::isText() const { return false; }
bool MIMEDecoder::isBinary() const { return false; }
bool MIMEDecoder::isMultipart() const { return false; }
bool MIMEDecoder::isMessage() const { return false; }
MIMETextDecoder* MIMEDecoder::getTextDecoder() { return nullptr; }
MIMEBinaryDecoder* MIMEDecoder::getBinaryDecoder() { return nullptr; }
MIMEMultipartDecoder* MIMEDecoder::getMultipartDecoder() { return nullptr; }
RFC2822Decoder* MIMEDecoder::getMessageDecoder() { return nullptr; }

namespace {

constexpr char lineBlanks[] = " \t\r";

// What things cost in memory beside their octets, at most, with what the allocator needs.
static_assert(sizeof(MIMETextDecoder) + 72 <= DecodeGuard::entityCost);
constexpr std::size_t fieldCost = sizeof(HeaderMap::value_type) + 64;
constexpr std::size_t addressCost = sizeof(RFC2822Address) + 32;
constexpr std::size_t parameterOctetCost = 16;
constexpr std::size_t parameterCost = 3 * (sizeof(MIMEHeaderValue::Parameters::value_type) + 48);

/// What is asked of a value later costs memory for each of its elements: one of too many is cut
/// behind those that can be paid for. What continues a value may begin within quotes, and pays.
std::size_t affordable(std::string_view text, const Zeb_String& name, bool isContinued,
                       DecodeGuard& guard) {
    const bool hasParameters = isName(name.Left(8), u"Content-");
    const char separator = hasParameters ? '=' : ',';
    const std::size_t cost = hasParameters ? parameterCost : addressCost;
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

/// Puts an unfolded field into the map.
Stored storeField(std::string_view field, HeaderMap& headers, DecodeGuard* guard) {
    const std::size_t colon = field.find(':');
    if (colon == nowhere) return Stored::NoColon;
    const std::size_t start = field.find_first_not_of(lineBlanks, colon + 1);
    if (start == nowhere) return Stored::Whole;  // kept: a field without a value is none
    Zeb_String name = asciiText(field.substr(0, colon));
    const auto known = headers.find(name);
    const bool isNew = known == headers.end();
    if (guard != nullptr && isNew && !guard->spend(fieldCost)) return Stored::NotAtAll;
    const std::string_view text = field.substr(start);
    const std::size_t length =
        guard == nullptr ? text.size() : affordable(text, name, !isNew, *guard);
    if (length == 0) return Stored::InPart;
    std::string& value = isNew ? headers[std::move(name)] : known->second;
    if (!value.empty()) value += '\n';
    value.append(text.substr(0, length));
    return length == text.size() ? Stored::Whole : Stored::InPart;
}

void tell(Stored stored, DecodeGuard& guard, LimitedHeader& header) {
    if (stored == Stored::NoColon) guard.note(MIMEDefect::Kind::LineWithoutColon);
    if (stored == Stored::InPart) guard.note(MIMEDefect::Kind::HeaderTooLarge);
    if (stored == Stored::NotAtAll) header.cut();
}

/// With a guard `in` reads from `limited`.
void readFields(HeaderMap& headers, std::istream& in, DecodeGuard* guard, LimitedHeader* limited) {
    std::string line;
    std::string field;
    while (std::getline(in, line)) {
        const std::size_t last = line.find_last_not_of(lineBlanks);
        if (last == nowhere) return;  // kept: a field that such a line continues is dropped
        line.resize(last + 1);
        if (field.empty())
            field.swap(line);
        else
            field.append(line);
        const int next = in.peek();
        if (next == ' ' || next == '\t') continue;
        const Stored stored = storeField(field, headers, guard);
        if (guard != nullptr) tell(stored, *guard, *limited);
        field.clear();
    }
}

void readHeaderBlock(HeaderMap& headers, std::istream& in, DecodeGuard* guard) {
    if (guard == nullptr) return readFields(headers, in, nullptr, nullptr);
    LimitedHeader header(in.rdbuf(), guard->limits().headerSize);
    std::istream limited(&header);
    limited.exceptions(std::ios::badbit);  // as in buildFrom
    readFields(headers, limited, guard, &header);
    if (header.wasCut()) guard->note(MIMEDefect::Kind::HeaderTooLarge);
}

}  // namespace

void MIMEDecoder::readHeaders(HeaderMap& headers, std::istream& in) {
    readHeaderBlock(headers, in, nullptr);
}

MIMEDecoder* MIMEDecoder::getDecoder(std::istream& in) { return build(in, nullptr); }

namespace {

enum class EntityKind { Text, Binary, Multipart, Message };

EntityKind declaredKind(const HeaderMap& headers) {
    const auto found = headers.find(u"Content-Type");
    if (found == headers.end()) return EntityKind::Text;
    const Zeb_String type = MIMEHeaderValue(found->second).getValue();
    if (isName(type, u"multipart")) return EntityKind::Multipart;
    if (isName(type, u"message")) return EntityKind::Message;
    return isName(type, u"text") ? EntityKind::Text : EntityKind::Binary;
}

/// With a guard a container beyond a limit is left as it is.
EntityKind kindOf(const HeaderMap& headers, DecodeGuard* guard) {
    const EntityKind kind = declaredKind(headers);
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
MIMEDecoder* MIMEDecoder::construct(HeaderMap&& headers, std::istream& in, DecodeGuard* guard) {
    if (guard == nullptr) return new Decoder(std::move(headers), in, nullptr);
    const std::size_t place = guard->makePlace();
    auto* const decoder = new Decoder(std::move(headers), in, guard);
    guard->adopt(place, decoder);
    return decoder;
}

MIMEDecoder* MIMEDecoder::build(std::istream& in, DecodeGuard* guard) {
    HeaderMap headers;
    readHeaderBlock(headers, in, guard);
    switch (kindOf(headers, guard)) {
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
    std::istream in(&source);
    in.exceptions(std::ios::badbit);  // or getline keeps a lack of memory to itself
    return build(in, guard);
}

/// With a guard each decoder reads its source to the end, so blocks may be read ahead: else each
/// octet would cost a call for each level that it lies deep.
MIMEDecoder* MIMEDecoder::buildInBlocks(std::streambuf& source, DecodeGuard* guard) {
    source.sgetc();  // as the plain decoders begin: a delimiter behind a line end is found then
    BlockSource blocks(&source, nullptr);
    const DecodeGuard::Input input(guard, blocks);
    MIMEDecoder* const decoder = buildFrom(blocks, guard);
    blocks.drain();
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
    const TransferEncoding encoding = transferEncodingOf(*this);
    if (encoding == TransferEncoding::Base64 && !filter_)
        filter_ = std::make_unique<base64buf>(source_, false);
    if (encoding == TransferEncoding::QuotedPrintable && !filter_)
        filter_ = std::make_unique<quotedprintablebuf>(source_, false);
    // Kept: an encoding that is not known is read as it stands.
    return filter_ ? filter_.get() : source_;
}

std::string MIMEDecoder::readBody(std::streambuf* source) {
    std::string body;
    char block[1024];
    for (std::streamsize count = 0; (count = source->sgetn(block, sizeof block)) > 0;)
        body.append(block, static_cast<std::size_t>(count));
    return body;
}

// ==== leaves

MIMETextDecoder::MIMETextDecoder(const HeaderMap& headers, std::istream& in)
    : MIMETextDecoder(HeaderMap(headers), in, nullptr) {}

MIMETextDecoder::MIMETextDecoder(HeaderMap&& headers, std::istream& in, DecodeGuard* guard)
    : MIMEDecoder(std::move(headers), in),
      charsetName_(getMIMEHeader(u"Content-Type", "").getParameter(u"charset", u"US-ASCII")) {
    if (guard != nullptr && !charsetNamed(charsetName_).isKnown())
        guard->note(MIMEDefect::Kind::UnknownCharset);
    body_ = readBody(BodySource(*this, guard).get());
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
    : MIMEBinaryDecoder(HeaderMap(headers), in, nullptr) {}

MIMEBinaryDecoder::MIMEBinaryDecoder(HeaderMap&& headers, std::istream& in, DecodeGuard* guard)
    : MIMEDecoder(std::move(headers), in), body_(readBody(BodySource(*this, guard).get())) {}

MIMEBinaryDecoder::~MIMEBinaryDecoder() = default;

bool MIMEBinaryDecoder::isBinary() const { return true; }
MIMEBinaryDecoder* MIMEBinaryDecoder::getBinaryDecoder() { return this; }

// ==== multiparts

namespace {

void skipToEnd(std::streambuf& source) {
    char block[100];
    while (source.sgetn(block, sizeof block) > 0) {
    }
}

void skipPreamble(std::streambuf& source, const std::string& boundary, DecodeGuard* guard) {
    multipartboundarybuf preamble(&source, boundary);
    // Kept: a delimiter behind a bare LF at the very start is only found when the LF is peeked at.
    const bool isHidden =
        guard != nullptr && preamble.sgetc() == '\n' && preamble.sbumpc() == endOfFile;
    if (isHidden) guard->note(MIMEDefect::Kind::BlankLineBeforeParts);
    skipToEnd(preamble);
}

/// Reads on to the next part: the rest of its delimiter line. False behind the last part.
bool findPart(std::streambuf& source, DecodeGuard* guard) {
    if (source.sgetc() == '-') {  // kept: one hyphen is taken for the close delimiter
        skipToEnd(source);
        return false;
    }
    for (;;) {
        const int octet = source.sbumpc();
        if (octet == '\n') return true;
        // Kept: without a guard the end of the source is not looked for.
        if (octet == endOfFile && guard != nullptr) {
            guard->note(MIMEDefect::Kind::UnclosedMultipart);
            return false;
        }
    }
}

}  // namespace

MIMEMultipartDecoder::MIMEMultipartDecoder(const HeaderMap& headers, std::istream& in)
    : MIMEMultipartDecoder(HeaderMap(headers), in, nullptr) {}

MIMEMultipartDecoder::MIMEMultipartDecoder(HeaderMap&& headers, std::istream& in,
                                           DecodeGuard* guard)
    : MIMEDecoder(std::move(headers), in) {
    const BodySource body(*this, guard);
    std::streambuf& source = *body.get();
    const std::string delimiter = boundary();
    if (delimiter.empty() && guard != nullptr) guard->note(MIMEDefect::Kind::NoBoundary);
    skipPreamble(source, delimiter, guard);
    while (findPart(source, guard)) {
        if (guard != nullptr && guard->isAtEntityLimit(1)) {
            skipToEnd(source);
            break;
        }
        const DecodeGuard::Level level(guard, parts_.size() + 1);
        multipartboundarybuf part(&source, delimiter);
        parts_.push_back(guard == nullptr ? buildFrom(part, nullptr) : buildInBlocks(part, guard));
    }
}

MIMEMultipartDecoder::~MIMEMultipartDecoder() = default;

bool MIMEMultipartDecoder::isMultipart() const { return true; }
MIMEMultipartDecoder* MIMEMultipartDecoder::getMultipartDecoder() { return this; }

std::string MIMEMultipartDecoder::boundary() const {
    std::string octets;
    asciiOctets(getMIMEHeader(u"Content-Type", "").getParameter(u"boundary", u""), octets);
    return octets;
}

// ==== messages

RFC2822Decoder::RFC2822Decoder(std::istream& in) : RFC2822Decoder(HeaderMap(), in, nullptr) {}

RFC2822Decoder::RFC2822Decoder(const HeaderMap& headers, std::istream& in)
    : RFC2822Decoder(HeaderMap(headers), in, nullptr) {}

RFC2822Decoder::RFC2822Decoder(HeaderMap&& headers, std::istream& in, DecodeGuard* guard)
    : MIMEDecoder(std::move(headers), in) {
    const BodySource body(*this, guard);
    BlockSource message(body.get(), guard == nullptr ? &messageText_ : nullptr);
    const DecodeGuard::Input input(guard, message);
    const DecodeGuard::Level level(guard, 1);
    entity_ = buildFrom(message, guard);
    message.drain();
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
        if (addresses.size() == 1) return addresses.front();
    }
    return {};
}

std::vector<RFC2822Address> RFC2822Decoder::getTo() const { return parseAddressHeader(u"To"); }
std::vector<RFC2822Address> RFC2822Decoder::getCc() const { return parseAddressHeader(u"Cc"); }
