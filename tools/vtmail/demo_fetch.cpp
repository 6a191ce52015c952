// SPDX-License-Identifier: Apache-2.0
#include "tools/vtmail/demo_fetch.h"

#include <sstream>

#include "inet/guardedmessage.utf16.h"
#include "tools/vtmail/mailbox.h"
#include "tools/vtmail/message_view.h"
#include "tools/vtmail/text.h"

namespace {

std::string addressesIn(const std::vector<RFC2822Address>& mailboxes) {
    std::string list;
    for (const RFC2822Address& mailbox : mailboxes)
        list += (list.empty() ? "" : ", ") + toUtf8(mailbox.getSMTPAddress());
    return list;
}

/// A blank line arrives as a lone CR, and the last line without its line end.
std::string asWritten(std::string text) {
    std::erase(text, '\r');
    return text + "\n";
}

}  // namespace

std::vector<std::string> fetchedMessages(const std::string& server) {
    MailboxOptions options;
    options.host = server;
    Mailbox mailbox(options);
    mailbox.logIn("demo", "demo");
    std::vector<std::string> messages;
    const int count = mailbox.count();
    for (int n = 1; n <= count; ++n) {
        std::ostringstream message;
        mailbox.retrieve(n, message);
        messages.push_back(message.str());
    }
    mailbox.end();
    return messages;
}

DemoMail decoded(const std::string& message) {
    std::istringstream in(message);
    const GuardedMessage guarded(in);
    const RFC2822Decoder& decoder = guarded.getMessage();
    DemoMail mail;
    mail.sender = toUtf8(decoder.getSender().getSMTPAddress());
    mail.senderName = toUtf8(decoder.getSender().getName());
    mail.to = addressesIn(decoder.getTo());
    mail.cc = addressesIn(decoder.getCc());
    mail.bcc = addressesIn(decoder.parseAddressHeader(u"Bcc"));
    mail.subject = toUtf8(decoder.getSubject());
    for (const Entity& text : readableTexts(guarded)) mail.body += textOf(text);
    mail.body = asWritten(mail.body);
    return mail;
}

std::vector<std::string> differences(const DemoMail& sent, const DemoMail& received) {
    const std::string nobody;
    const struct {
        const char* what;
        const std::string& sent;
        const std::string& received;
    } rows[] = {
        {"sender", sent.sender, received.sender},
        {"name of the sender", sent.senderName, received.senderName},
        {"To", sent.to, received.to},
        {"Cc", sent.cc, received.cc},
        {"blind recipient", nobody, received.bcc},
        {"subject", sent.subject, received.subject},
        {"text", sent.body, received.body},
    };
    std::vector<std::string> found;
    for (const auto& row : rows)
        if (row.sent != row.received)
            found.push_back(std::string(row.what) + ": sent \"" + shown(row.sent) +
                            "\", fetched \"" + shown(row.received) + "\"");
    return found;
}
