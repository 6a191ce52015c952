// SPDX-License-Identifier: Apache-2.0
// The client's side of an SMTP dialogue.
//
// Sections: replies and commands, the connection, a transaction, addresses.
#include "inet/smtpclient.utf16.h"

#include <algorithm>
#include <streambuf>
#include <string_view>

#include "inet/readarea.utf16.h"
#include "inet/transferstream.utf16.h"
#include "inet/wiretext.utf16.h"

namespace {

constexpr double replyTimeout = 300;       // seconds
constexpr double finalReplyTimeout = 600;  // the server takes the message before it answers

/// The code of a reply that is none.
constexpr char noReply[] = "999";

constexpr char16_t lineReceived[] = u"SMTP<-%s";
constexpr char16_t lineSent[] = u"SMTP->%s";

void diag_fmt(const char16_t* format, const std::string& line) {
    reportLine(u"smtpclient (vtinetlib.dll)", format, line);
}

/// One-line octets of a mailbox text; false when it has no such form.
bool mailboxOctets(const Zeb_String& text, AdMbcsString& mailbox) {
    std::string octets;
    if (!oneLineOctets(text, octets)) return false;
    mailbox = AdMbcsString(AdCharset::getASCIICharset(), octets.data(), octets.size());
    return true;
}

using Traits = std::char_traits<char>;

/// Writes what `message` has at hand, and keeps the `last` of it. False when the filter refuses an
/// octet; that one is taken, too.
bool copyAtHand(std::streambuf& message, std::streambuf& filter, char& last) {
    const std::string_view octets = ReadArea::of(message);
    if (octets.empty()) return true;
    const auto length = static_cast<std::streamsize>(octets.size());
    last = octets.back();
    const std::streamsize written = filter.sputn(octets.data(), length);
    ReadArea::take(message, static_cast<std::size_t>(std::min(written + 1, length)));
    return written == length;
}

/// Copies a message through the dot-stuffing filter and ends it. False when the filter refuses.
bool copyDotStuffed(std::streambuf* message, std::streambuf* connection) {
    dotstuffingbuf filter(connection);
    char last = '\n';
    for (;;) {
        if (!copyAtHand(*message, filter, last)) return false;
        const int octet = message->sbumpc();  // has more brought to hand, where there is room
        if (octet == Traits::eof()) break;
        last = Traits::to_char_type(octet);
        if (filter.sputc(last) == Traits::eof()) return false;
    }
    // A last line of dots alone would otherwise swallow the end-of-data line.
    if (last != '\n' && filter.sputn("\r\n", 2) != 2) return false;
    filter.pubsync();  // whether it went out shows in the reply
    return true;
}

/// Lets a stream throw socket_error while it lives.
class ThrowOnFailure {
  public:
    explicit ThrowOnFailure(std::ios& stream) : stream_(stream) {
        stream_.clear(std::ios::badbit);  // what the last connection left must not throw
        stream_.exceptions(std::ios::failbit);
    }
    ~ThrowOnFailure() { stream_.exceptions(std::ios::goodbit); }
    ThrowOnFailure(const ThrowOnFailure&) = delete;
    ThrowOnFailure& operator=(const ThrowOnFailure&) = delete;

  private:
    std::ios& stream_;
};

}  // namespace

SMTPClient::SMTPClient() = default;

SMTPClient::~SMTPClient() = default;

// ==== replies and commands

void SMTPClient::readReply() {
    replyCode_ = noReply;
    replyText_.clear();
    std::string line;
    while (readReplyLine(line)) {
        replyCode_ = line.substr(0, 3);
        if (line.size() == 3) return;
        if (!replyText_.empty()) replyText_ += '\n';
        replyText_.append(line, 4);
        if (line[3] == ' ') return;
        if (line[3] != '-') break;
    }
    replyCode_ = noReply;
}

/// False when there is no line, or none that can hold a code.
bool SMTPClient::readReplyLine(std::string& line) {
    if (!socketgetline(connection_, line).good()) return false;
    removeTrailingBlanks(line);
    diag_fmt(lineReceived, line);
    return line.size() >= 3;
}

bool SMTPClient::isReplyClass(char first) const { return replyCode_.starts_with(first); }

void SMTPClient::sendCommand(const std::string& command) {
    diag_fmt(lineSent, command);
    connection_ << command << "\r\n";
    connection_.flush();
    readReply();
}

// ==== the connection

bool SMTPClient::open(const Zeb_String& host, const unsigned short* port) {
    if (connection_.is_open()) return false;
    const ClosedByException guard(connection_);  // or the client could not be opened again
    extensions_.clear();
    connect(host, port != nullptr ? Zeb_String(port) : Zeb_String(u"smtp"));
    return connection_.good() && greet();
}

bool SMTPClient::open(const Zeb_String& host, const char16_t* port) {
    if (port == nullptr) return open(host);
    return open(host, Zeb_String(port).GetBuffer());
}

void SMTPClient::connect(const Zeb_String& host, const Zeb_String& port) {
    const ThrowOnFailure throwing(connection_);
    connection_.open(host, port.GetBuffer());
    connection_.setTimeout(replyTimeout);
}

bool SMTPClient::greet() {
    readReply();
    if (!isReplyClass('2')) return giveUp();
    sendCommand("EHLO localhost");
    if (replyCode_ == "250") {
        storeExtensions();
        return true;
    }
    sendCommand("HELO localhost");
    return isReplyClass('2') || giveUp();
}

bool SMTPClient::giveUp() {
    close();
    return false;
}

/// Leaves out the server's name. Kept: the last line of an EHLO reply is no extension.
void SMTPClient::storeExtensions() {
    std::size_t start = replyText_.find('\n');
    while (start != std::string::npos) {
        const std::size_t end = replyText_.find('\n', ++start);
        if (end != std::string::npos) extensions_.push_back(replyText_.substr(start, end - start));
        start = end;
    }
}

bool SMTPClient::isExtensionSupported(const Zeb_String& name) const {
    std::string octets;
    // Kept: an extension is its whole line, case and parameters included.
    return asciiOctets(name, octets) &&
           std::find(extensions_.begin(), extensions_.end(), octets) != extensions_.end();
}

void SMTPClient::close() {
    const ClosedByException guard(connection_);
    sendCommand("QUIT");
    connection_.close();
}

// ==== a transaction

unsigned SMTPClient::deliver(const Zeb_String& from, const CStringArray& recipients,
                             std::istream& message) {
    const ClosedByException guard(connection_);  // or QUIT would become a part of the message
    AdMbcsString sender;
    if (!mailboxOctets(from, sender)) return 0;
    sendCommand("MAIL FROM:<" + extractEmailAddress(sender) + ">");
    if (!isReplyClass('2')) return 0;
    const unsigned accepted = sendRecipients(recipients);
    sendCommand("DATA");  // Kept: DATA is sent without a recipient, too
    if (!isReplyClass('3')) return 0;
    return sendMessage(message) ? accepted : 0;
}

unsigned SMTPClient::sendRecipients(const CStringArray& recipients) {
    unsigned accepted = 0;
    for (int i = 0; i < recipients.GetSize(); ++i) {
        AdMbcsString recipient;
        if (!mailboxOctets(recipients[i], recipient)) continue;
        sendCommand("RCPT TO:<" + extractEmailAddress(recipient) + ">");
        if (isReplyClass('2')) ++accepted;
    }
    return accepted;
}

bool SMTPClient::sendMessage(std::istream& message) {
    if (!copyDotStuffed(message.rdbuf(), connection_.rdbuf())) return false;
    connection_.setTimeout(finalReplyTimeout);
    readReply();
    connection_.setTimeout(replyTimeout);
    return isReplyClass('2');
}

// ==== addresses

std::string SMTPClient::extractEmailAddress(const AdMbcsString& mailbox) {
    const std::string& text = mailbox.getString();
    const std::size_t open = text.find('<');
    if (open == std::string::npos || text.back() != '>') return text;
    return text.substr(open + 1, text.size() - open - 2);
}
