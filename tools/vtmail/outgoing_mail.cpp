// SPDX-License-Identifier: Apache-2.0
#include "tools/vtmail/outgoing_mail.h"

#include <algorithm>
#include <cctype>
#include <sstream>

#include "inet/guardedmessage.utf16.h"
#include "tools/vtmail/failure.h"
#include "tools/vtmail/message_view.h"
#include "tools/vtmail/text.h"

namespace {

/// What stands before the "@" without quotes (RFC 5321, Dot-string).
bool isPlainLocalPart(const std::string& address) {
    const std::string local = address.substr(0, address.find('@'));
    return std::all_of(local.begin(), local.end(), [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) != 0 ||
               std::string_view("!#$%&'*+-/=?^_`{|}~.").find(c) != std::string_view::npos;
    });
}

/// Takes a mail apart that is to be sent once more.
class WholeMail {
  public:
    WholeMail(const GuardedMessage& message, std::string what)
        : entity_(*message.getMessage().getMessageEntity()), what_(std::move(what)) {}

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
        std::string text = textOf(root);
        for (std::size_t at = 0; (at = text.find("\r\n", at)) != std::string::npos; ++at)
            text.erase(at, 1);
        return fromUtf8(text, "the text");
    }

  private:
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
    for (const char c : octets)
        if (c == '\r' || c == '\n' || c == '\0' || static_cast<unsigned char>(c) >= 0x80)
            throw Failure(exitCode, what + " " + shown(octets) +
                                        " is no mail address: only ASCII on one line can be sent");
    if (octets.empty()) throw Failure(exitCode, what + " is empty; give a mail address");
    return fromUtf8(octets, what);
}

void takeWholeMail(const std::string& octets, const std::string& what, OutgoingMail& mail) {
    std::istringstream in(octets);
    const GuardedMessage message(in);
    if (message.getDefectCount() > 0)
        throw Failure(EX_DATAERR,
                      what + " is damaged: " + shown(message.getDefects().front().describe()));
    const WholeMail whole(message, what);
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
