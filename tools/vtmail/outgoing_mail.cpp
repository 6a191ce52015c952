// SPDX-License-Identifier: Apache-2.0
#include "tools/vtmail/outgoing_mail.h"

#include <strings.h>

#include <algorithm>
#include <cctype>
#include <sstream>

#include "inet/guardedmessage.utf16.h"
#include "tools/vtmail/failure.h"
#include "tools/vtmail/message_view.h"
#include "tools/vtmail/text.h"

namespace {

bool isAtomOctet(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 ||
           std::string_view("!#$%&'*+-/=?^_`{|}~.").find(c) != std::string_view::npos;
}

/// Words of RFC 5321 (Dot-string), also with dots in unusual places.
bool isAtoms(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), isAtomOctet);
}

/// What stands before the "@" without quotes.
bool isPlainLocalPart(const std::string& address) {
    const std::string local = address.substr(0, address.find('@'));
    return std::all_of(local.begin(), local.end(), isAtomOctet);
}

/// The length of the quoted string that `text` begins with (RFC 5321, 4.1.2), 0 when there is none.
std::size_t quotedLength(std::string_view text) {
    if (!text.starts_with('"')) return 0;
    for (std::size_t i = 1; i < text.size(); ++i) {
        if (text[i] == '"') return i + 1;
        if (text[i] == '\\') ++i;
    }
    return 0;
}

bool isDomain(std::string_view text) {
    const bool isLiteral = text.size() > 2 && text.starts_with('[') && text.ends_with(']');
    return isLiteral ? text.find_first_of("[]<> ", 1) == text.size() - 1 : isAtoms(text);
}

/// A mailbox of RFC 5321, or the name of a user of the server's alone.
bool isAddress(std::string_view text) {
    const std::size_t quoted = quotedLength(text);
    const std::size_t at = quoted > 0 ? quoted : text.find('@');
    if (quoted == 0 && !isAtoms(text.substr(0, at))) return false;
    if (at >= text.size()) return quoted == 0;
    return text[at] == '@' && isDomain(text.substr(at + 1));
}

bool isAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

bool isOneLine(std::string_view text) {
    return text.find_first_of(std::string_view("\r\n\0", 3)) == std::string_view::npos;
}

/// With another letter for each octet that a header may not have as it is, in the name that stands
/// before an address in brackets. The name is of no interest.
std::string withNameOfAscii(std::string text) {
    const std::size_t bracket = text.rfind('<');
    for (std::size_t i = 0; bracket != std::string::npos && i < bracket; ++i)
        if (static_cast<unsigned char>(text[i]) >= 0x80) text[i] = 'x';
    return text;
}

/// Takes a mail apart that is to be sent once more.
class WholeMail {
  public:
    WholeMail(const GuardedMessage& message, std::string what)
        : entity_(*message.getMessage().getMessageEntity()), what_(std::move(what)) {}

    /// Refuses what the decoders drop and do not call a defect. `octets` are the mail.
    void expectAllIsRead(std::string_view octets) const {
        const std::string_view body = bodyBehindFields(octets);
        const std::string encoding =
            toUtf8(entity_.getMIMEHeader(u"Content-Transfer-Encoding", "7bit").getValue());
        if (strcasecmp(encoding.c_str(), "base64") != 0) return;
        const std::size_t padding = std::min(body.find('='), body.size());
        if (body.find_first_not_of("= \t\r\n", padding) != std::string_view::npos)
            throw Failure(EX_DATAERR, what_ + " has a base64 text that goes on behind its padding");
    }

    /// The addresses of all fields of that name.
    std::vector<Zeb_String> addresses(const char16_t* field) const {
        std::vector<Zeb_String> all;
        std::istringstream lines(entity_.getRawHeader(field));
        for (std::string line; std::getline(lines, line);) {
            if (line.find_first_not_of(" \t\r") != std::string::npos)
                appendAddresses(line, field, all);
        }
        return all;
    }

    Zeb_String subject() const {
        const std::vector<std::string> values = fieldValues(entity_.getRawHeader(u"Subject"));
        if (values.empty()) return {};
        if (values.size() > 1) throw Failure(EX_DATAERR, what_ + " has more than one Subject");
        return fromUtf8(values.front(), "the Subject");
    }

    Zeb_String text(const GuardedMessage& message) const {
        const Entity root = rootOf(message);
        if (!root.decoder->isText() || typeOf(root) != "text/plain")
            throw Failure(EX_DATAERR, what_ + " is " + shown(typeOf(root)) +
                                          ", which would be lost; only a plain text can be sent");
        return fromUtf8(withLineFeeds(textOf(root)), "the text");
    }

  private:
    /// Refuses a line of blanks, which ends the header and takes the field in front of it along,
    /// and a name with a blank behind it, which is another name.
    std::string_view bodyBehindFields(std::string_view octets) const {
        constexpr std::string_view blanks = " \t";
        while (!octets.empty()) {
            const std::size_t end = std::min(octets.find('\n'), octets.size() - 1);
            const std::string_view line = octets.substr(0, end);
            octets.remove_prefix(end + 1);
            if (line.empty() || line == "\r") break;
            if (line.find_first_not_of(" \t\r") == std::string_view::npos)
                throw Failure(EX_DATAERR, what_ + " has a line of blanks in its header; delete it");
            const std::size_t colon = line.find(':');
            const bool hasName = colon != std::string_view::npos && colon > 0 &&
                                 blanks.find(line.front()) == std::string_view::npos;
            if (hasName && blanks.find(line[colon - 1]) != std::string_view::npos)
                throw Failure(EX_DATAERR, what_ + " has a blank behind the name of the field " +
                                              shown(line.substr(0, colon)) + "; delete it");
        }
        return octets;
    }

    /// Each CR LF becomes LF.
    static std::string withLineFeeds(const std::string& text) {
        std::string lines;
        lines.reserve(text.size());
        for (std::size_t i = 0; i < text.size(); ++i)
            if (text[i] != '\r' || text.compare(i, 2, "\r\n") != 0) lines += text[i];
        return lines;
    }

    void appendAddresses(const std::string& list, const char16_t* field,
                         std::vector<Zeb_String>& all) const {
        const std::string name = toUtf8(field) + " of " + what_;
        RFC2822Lexer lexer(list, /*mimeMode=*/false);
        Zeb_String next;
        unsigned kind = 0;
        do {
            RFC2822Address address;
            kind = address.parseOneAddress(lexer, next);
            const std::string octets = toUtf8(address.getSMTPAddress());
            const bool isListEnd = kind == RFC2822TokenKind::End ||
                                   (kind == RFC2822TokenKind::Special && next == u",");
            if (!isListEnd || !isPlainLocalPart(octets))
                throw Failure(EX_DATAERR, name + ": " + shown(list) +
                                              " is no list of plain mail addresses behind " +
                                              std::to_string(all.size()) + " of them");
            all.push_back(checkedAddress(octets, name, EX_DATAERR));
        } while (kind != RFC2822TokenKind::End);
    }

    const MIMEDecoder& entity_;
    std::string what_;
};

}  // namespace

Zeb_String checkedAddress(const std::string& octets, const std::string& what, int exitCode) {
    if (octets.empty()) throw Failure(exitCode, what + " is empty; give a mail address");
    if (isOneLine(octets) && isAscii(octets) && isAddress(octets)) return fromUtf8(octets, what);
    throw Failure(exitCode, what + " " + shown(octets) +
                                " is no mail address; give one such as ines@example.org, in ASCII");
}

Zeb_String givenAddress(const std::string& octets, const std::string& what) {
    RFC2822Lexer lexer(withNameOfAscii(octets), /*mimeMode=*/false);
    RFC2822Address address;
    Zeb_String next;
    const bool isWhole = address.parseOneAddress(lexer, next) == RFC2822TokenKind::End;
    const std::string found = toUtf8(address.getSMTPAddress());
    // What had quotes around its local part has lost them.
    const bool isFound = isWhole && isOneLine(octets) && isPlainLocalPart(found);
    return checkedAddress(isFound ? found : octets, what, EX_DATAERR);
}

void takeWholeMail(const std::string& octets, const std::string& what, OutgoingMail& mail) {
    std::istringstream in(octets);
    const GuardedMessage message(in);
    if (message.getDefectCount() > 0)
        throw Failure(EX_DATAERR,
                      what + " is damaged: " + shown(message.getDefects().front().describe()));
    const WholeMail whole(message, what);
    whole.expectAllIsRead(octets);
    mail.to = whole.addresses(u"To");
    mail.cc = whole.addresses(u"Cc");
    mail.bcc = whole.addresses(u"Bcc");
    mail.subject = whole.subject();
    mail.body = whole.text(message);
    const std::vector<Zeb_String> senders = whole.addresses(u"From");
    if (senders.size() > 1) throw Failure(EX_DATAERR, what + " is From more than one address");
    if (mail.hasOwnSender || senders.empty()) return;
    mail.sender = senders.front();
    mail.hasOwnSender = true;
}
