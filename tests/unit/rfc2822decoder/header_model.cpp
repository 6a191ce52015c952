// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/rfc2822decoder/header_model.h"

#include <map>
#include <regex>
#include <string_view>

#include "tests/support/wide_text.h"

namespace {

const std::string blanks = " \t\r\n";

bool convert(const Zeb_String& charset, const std::string& octets, Zeb_String& text) {
    return AdMbcsString::cvtToTchar(AdCharset(charset), octets.data(), octets.size(), text, 0);
}

Zeb_String ascii(const std::string& octets) {
    Zeb_String text;
    convert(u"us-ascii", octets, text);
    return text;
}

std::string fromBase64(const std::string& text) {
    const std::string digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string bits;
    for (const char c : text.substr(0, text.find('='))) {
        const std::size_t digit = digits.find(c);
        for (int bit = 5; bit >= 0 && digit < 64; --bit) bits += (digit >> bit & 1) ? '1' : '0';
    }
    std::string octets;
    for (std::size_t at = 0; at + 8 <= bits.size(); at += 8)
        octets += static_cast<char>(std::stoi(bits.substr(at, 8), nullptr, 2));
    return octets;
}

bool isHex(const std::string& text) {
    return text.size() == 2 && text.find_first_not_of("0123456789ABCDEF") == std::string::npos;
}

std::string fromQ(const std::string& text) {
    std::string octets;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] != '=') {
            octets += text[at] == '_' ? ' ' : text[at];
            continue;
        }
        const std::string hex = text.substr(at + 1, 2);
        if (!isHex(hex)) break;
        octets += static_cast<char>(std::stoi(hex, nullptr, 16));
        at += 2;
    }
    return octets;
}

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts(1);
    for (const char c : text) {
        if (c == separator)
            parts.emplace_back();
        else
            parts.back() += c;
    }
    return parts;
}

/// Length of the encoded word at the start of a text that begins with "=?"; 0 when it is none.
std::size_t wordAt(const std::string& text, Zeb_String& word) {
    const std::vector<std::string> parts = split(text.substr(2), '?');
    if (parts.size() < 4 || parts[3].substr(0, 1) != "=") return 0;
    const bool isB = parts[1] == "B" || parts[1] == "b";
    if (!isB && parts[1] != "Q" && parts[1] != "q") return 0;
    const Zeb_String charset = parts[0] == "GB2312" ? Zeb_String(u"GBK") : ascii(parts[0]);
    if (!convert(charset, isB ? fromBase64(parts[2]) : fromQ(parts[2]), word)) return 0;
    return 2 + parts[0].size() + 1 + parts[1].size() + 1 + parts[2].size() + 2;
}

/// Index of the octet that closes the comment or quoted string at `start`, its content in
/// `content`; npos when there is none.
std::size_t closing(const std::string& text, std::size_t start, std::string& content) {
    const bool isComment = text[start] == '(';
    int depth = 1;
    for (std::size_t at = start + 1; at < text.size(); ++at) {
        const char c = text[at];
        if (c == '\\') {
            content += text.substr(++at, 1);
        } else if (c == (isComment ? ')' : '"')) {
            if (--depth == 0) return at;
        } else if (c == '(' && isComment) {
            ++depth;
        } else {
            content += c;
        }
    }
    return std::string::npos;
}

/// Like std::string::substr, but not beyond the end.
std::string tail(const std::string& text, std::size_t start) {
    return start < text.size() ? text.substr(start) : "";
}

}  // namespace

Zeb_String modelWords(const std::string& text) {
    const std::size_t opener = text.find("=?");
    const std::string gap = text.substr(0, opener);
    Zeb_String out;
    if (gap.find_first_not_of(blanks) != std::string::npos) out = ascii(gap);
    if (opener == std::string::npos) return out;
    const std::string rest = text.substr(opener);
    Zeb_String word = u"=?";
    const std::size_t length = wordAt(rest, word);
    if (length == 0) word = u"=?";
    return out + word + modelWords(rest.substr(length == 0 ? 2 : length));
}

std::vector<Token> modelTokens(const std::string& text, LexerMode mode, Blanks blankMode) {
    if (text.empty()) return {{5, u""}};
    const bool isSkipping = blankMode == Blanks::Skipped;
    const std::string specials = mode == LexerMode::Mime ? "()<>@,;:\\\"/[]?=" : "()<>@,;:\\\"[]";
    const auto isAtom = [&](char c) {
        return c > ' ' && c < '\x7F' && specials.find(c) == std::string::npos;
    };
    const auto isBlank = [](char c) { return blanks.find(c) != std::string::npos; };
    const auto followed = [&](const Token& token, std::size_t length) {
        std::vector<Token> tokens = {token};
        for (Token& next : modelTokens(tail(text, length), mode, blankMode))
            tokens.push_back(std::move(next));
        return tokens;
    };
    std::size_t end = 0;
    if (isBlank(text[0])) {
        while (end < text.size() && isBlank(text[end])) ++end;
        if (isSkipping) return modelTokens(tail(text, end), mode, blankMode);
        return followed({0, ascii(text.substr(0, end))}, end);
    }
    if (text[0] == '(' || text[0] == '"') {
        std::string content;
        end = closing(text, 0, content);
        if (end == std::string::npos) return {{6, u""}, {5, u""}};
        if (text[0] == '(' && isSkipping) return followed({2, u")"}, end + 1);
        return followed({text[0] == '(' ? 1U : 3U, modelWords(content)}, end + 1);
    }
    while (end < text.size() && isAtom(text[end])) ++end;
    if (end > 0) return followed({4, modelWords(text.substr(0, end))}, end);
    const int octet = static_cast<unsigned char>(text[0]);
    const int unit = octet < 0x80 ? octet : 0xFF00 + octet;
    return followed({2, Zeb_String(static_cast<unsigned short>(unit), 1)}, 1);
}

std::string modelMailboxes(const std::string& text) {
    const std::vector<Token> tokens = modelTokens(text, LexerMode::Address, Blanks::Skipped);
    std::string kinds;  // a letter a token: q, a, the special itself, or one of e, x, s
    for (const Token& token : tokens) {
        const bool isKnown = token.kind == 2 && std::string("@<>,").find(shown(token.text)) < 4;
        kinds += isKnown ? shown(token.text)[0] : "??sqaex"[token.kind];
    }
    static const std::regex mailbox("(?:([qa])@a|([qa]*)<[qa]@a>)([^x])");
    std::string out;
    std::smatch match;
    for (std::size_t at = 0;; at += static_cast<std::size_t>(match.length())) {
        const auto from = kinds.cbegin() + static_cast<std::ptrdiff_t>(at);
        if (!std::regex_search(from, kinds.cend(), match, mailbox,
                               std::regex_constants::match_continuous))
            return out;
        const std::size_t name = match[1].matched ? 0 : static_cast<std::size_t>(match.length(2));
        const std::size_t address = match[1].matched ? at : at + name + 1;
        std::string words;
        for (std::size_t i = 0; i < name; ++i)
            words += (i > 0 ? " " : "") + shown(tokens[at + i].text);
        out += out.empty() ? "" : " | ";
        if (!words.empty()) out += '"' + words + "\" ";
        out += '<' + shown(tokens[address].text) + '@' + shown(tokens[address + 2].text) + '>';
        if (match[3] != ",") return out;
    }
}

namespace {

/// Each unit that may not stand in an extended value as a control character.
std::string printable(const Zeb_String& text) {
    std::string out;
    for (int i = 0; i < text.GetLength(); ++i)
        out += text[i] > ' ' && text[i] <= '~' ? static_cast<char>(text[i]) : '\x01';
    return out;
}

class ModelValue {
  public:
    explicit ModelValue(const std::string& text)
        : tokens_(modelTokens(text, LexerMode::Mime, Blanks::Skipped)) {
        if (!isKind(4)) return;
        out_ = shown(take());
        if (isSpecial("/")) {
            take();
            if (!isKind(4)) return;
            out_ += '/' + shown(take());
        }
        while (takeParameter()) {
        }
    }

    std::string result() const {
        std::string out = out_;
        for (const auto& [name, text] : parameters_)
            out += "; " + shown(name) + "=\"" + shown(text) + '"';
        return out;
    }

  private:
    bool isKind(unsigned kind) const { return tokens_[at_].kind == kind; }
    bool isSpecial(const char* text) const { return isKind(2) && shown(tokens_[at_].text) == text; }
    Zeb_String take() { return tokens_[at_++].text; }

    /// False when it was the last one, or is malformed.
    bool takeParameter() {
        if (!isSticky_) {
            if (!isSpecial(";")) return false;
            take();
            if (!isKind(4)) return false;
        }
        const Zeb_String name = take();
        if (!isSpecial("=")) return false;
        take();
        if (!isKind(3) && !isKind(4)) return false;
        const bool wasSection = store(name, take());
        if (isKind(5)) assemble();
        if (isKind(4) && wasSection) isSticky_ = true;
        return isKind(2) || (isKind(4) && wasSection);
    }

    bool store(const Zeb_String& name, Zeb_String value) {
        static const std::regex sectionForm("(.*)\\*([+-]?[0-9]+|)");
        std::string text = printable(name);
        const bool isExtended = text.back() == '*';
        if (isExtended) text.pop_back();
        std::smatch match;
        const bool isNumbered = std::regex_match(text, match, sectionForm);
        const int length =
            isNumbered ? static_cast<int>(match.length(1)) : static_cast<int>(text.size());
        const Zeb_String cut = name.Left(length);
        const long number = isNumbered && match.length(2) > 0 ? std::stol(match[2]) : 0;
        if (!isNumbered || number < 0 || number > 0x7FFFFFFF) {
            parameters_[cut] = isExtended ? modelExtended(value) : value;
            return false;
        }
        std::vector<Zeb_String>& pieces = sections_[cut];
        const auto index = static_cast<std::size_t>(number);
        if (pieces.size() <= index) pieces.resize(index + 1);
        pieces[index] = isExtended ? value : escaped(value, number == 0);
        return true;
    }

    static Zeb_String escaped(const Zeb_String& value, bool isFirst) {
        Zeb_String out = isFirst ? u"''" : u"";
        for (int i = 0; i < value.GetLength(); ++i) {
            if (value[i] == '%' || value[i] == ' ')
                out.Append(value[i] == '%' ? u"%25" : u"%20");
            else
                out.Append(value.Mid(i, 1));
        }
        return out;
    }

    void assemble() {
        for (const auto& [name, pieces] : sections_) {
            Zeb_String whole;
            for (const Zeb_String& piece : pieces) whole.Append(piece);
            parameters_[name] = modelExtended(whole);
        }
    }

    const std::vector<Token> tokens_;
    std::size_t at_ = 0;
    bool isSticky_ = false;
    std::string out_;
    MIMEHeaderValue::Parameters parameters_;
    std::map<Zeb_String, std::vector<Zeb_String>, CaseInsensitiveLess> sections_;
};

}  // namespace

Zeb_String modelExtended(const Zeb_String& value) {
    static const std::regex form("([^']*)'[^']*'((?:%[0-9A-F]{2}|[!-$&-~])*)");
    const std::string text = printable(value);
    std::smatch match;
    if (!std::regex_match(text, match, form)) return value;
    Zeb_String charset = value.Left(static_cast<int>(match.length(1)));
    if (charset.IsEmpty()) charset = u"us-ascii";
    if (charset == u"GB2312") charset = u"GBK";
    std::string octets;
    const std::string escapes = match[2];
    for (std::size_t i = 0; i < escapes.size(); i += escapes[i] == '%' ? 3 : 1) {
        const bool isEscape = escapes[i] == '%';
        octets += isEscape ? static_cast<char>(std::stoi(escapes.substr(i + 1, 2), nullptr, 16))
                           : escapes[i];
    }
    Zeb_String decoded;
    return convert(charset, octets, decoded) ? decoded : value;
}

std::string modelValue(const std::string& text) { return ModelValue(text).result(); }
