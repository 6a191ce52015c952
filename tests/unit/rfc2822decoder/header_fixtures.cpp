// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/rfc2822decoder/header_fixtures.h"

#include "tests/support/wide_text.h"

std::vector<Token> tokensOf(const std::string& text, LexerMode mode, Blanks blanks) {
    RFC2822Lexer lexer(text, mode == LexerMode::Mime);
    std::vector<Token> tokens;
    do {
        Token token{0, u"left over"};
        token.kind = lexer.nextToken(token.text, blanks == Blanks::Skipped);
        tokens.push_back(token);
    } while (!(tokens.back().kind == RFC2822TokenKind::End));
    return tokens;
}

std::string dump(const std::vector<Token>& tokens) {
    const char* const kinds[] = {"blank", "comment", "special", "quoted", "atom", "end", "error"};
    std::string out;
    for (const Token& token : tokens) {
        if (!out.empty()) out += " | ";
        out += kinds[token.kind];
        const bool mayBeEmpty = token.kind != 5 && token.kind != 6;
        if (mayBeEmpty || !token.text.IsEmpty()) out += " \"" + shown(token.text) + '"';
    }
    return out;
}

std::string shown(const Zeb_String& text) {
    std::string out;
    for (int i = 0; i < text.GetLength(); ++i) {
        const unsigned short unit = text[i];
        if (unit >= ' ' && unit <= '~') {
            out += static_cast<char>(unit);
            continue;
        }
        out += '<';
        for (const int shift : {12, 8, 4, 0}) out += "0123456789ABCDEF"[unit >> shift & 15];
        out += '>';
    }
    return out;
}

std::string dump(const RFC2822Address& mailbox) {
    const std::string name = shown(mailbox.getName());
    return (name.empty() ? "" : '"' + name + "\" ") + '<' + shown(mailbox.getSMTPAddress()) + '>';
}

std::string mailboxesOf(const std::string& text) {
    std::string out;
    for (const RFC2822Address& mailbox : RFC2822Address::parseAddresses(text))
        out += (out.empty() ? "" : " | ") + dump(mailbox);
    return out;
}

std::string dump(const MIMEHeaderValue& value) {
    std::string out = shown(value.getValue());
    if (!value.getSubvalue().IsEmpty()) out += '/' + shown(value.getSubvalue());
    for (const auto& [name, text] : value.getParameters())
        out += "; " + shown(name) + "=\"" + shown(text) + '"';
    return out;
}

Zeb_String parameterOf(const std::string& parameters, const char16_t* name) {
    return MIMEHeaderValue("x/y; " + parameters).getParameter(name, u"(none)");
}

std::string repeated(const std::string& part, std::size_t count) {
    std::string text;
    for (; count > 0; --count) text += part;
    return text;
}

std::vector<std::string> allTexts(const std::string& letters, std::size_t length) {
    std::vector<std::string> texts = {""};
    std::size_t from = 0;
    for (; length > 0; --length) {
        const std::size_t end = texts.size();
        for (; from < end; ++from)
            for (const char letter : letters) texts.push_back(texts[from] + letter);
    }
    return texts;
}

std::vector<std::string> randomTexts(unsigned seed, const std::vector<std::string>& parts,
                                     std::size_t length, int count) {
    std::mt19937 random(seed);
    std::vector<std::string> texts;
    for (; count > 0; --count) {
        std::string text;
        for (std::size_t left = random() % (length + 1); left > 0; --left)
            text += parts[random() % parts.size()];
        texts.push_back(text);
    }
    return texts;
}
