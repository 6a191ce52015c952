// SPDX-License-Identifier: Apache-2.0
// The client's side of a POP3 dialogue.
#include "inet/pop3client.utf16.h"

#include <sstream>

#include "inet/wiretext.utf16.h"

namespace {

constexpr char16_t lineReceived[] = u"POP3<-%s";
constexpr char16_t lineSent[] = u"POP3->%s";

void diag_fmt(const char16_t* format, const std::string& line) {
    reportLine(u"pop3client (vtinetlib.dll)", format, line);
}

}  // namespace

POP3Client::POP3Client() = default;

POP3Client::~POP3Client() = default;

bool POP3Client::readReply() {
    lastReply_ = "Unknown error";
    std::string line;
    if (!socketgetline(connection_, line).good()) return false;
    removeTrailingBlanks(line);
    diag_fmt(lineReceived, line);
    const bool isGood = line.starts_with("+OK");
    const std::size_t prefix = isGood ? 3 : line.starts_with("-ERR") ? 4 : 0;
    lastReply_ = line.substr(prefix);
    return isGood;
}

bool POP3Client::sendCommand(const std::string& command) {
    diag_fmt(lineSent, command);
    connection_ << command << "\r\n";
    connection_.flush();
    return readReply();
}

bool POP3Client::readLines(std::ostream& out) {
    std::string line;
    for (bool isFirst = true; socketgetline(connection_, line).good(); isFirst = false) {
        removeTrailingBlanks(line);
        if (line == ".") return true;
        const std::size_t start = line.starts_with('.') ? 1 : 0;
        if (!isFirst) out.put('\n');
        out.write(line.data() + start, static_cast<std::streamsize>(line.size() - start));
    }
    return false;
}

bool POP3Client::open(const Zeb_String& host, const unsigned short* port) {
    if (connection_.is_open()) return false;
    const ClosedByException guard(connection_);  // or the client could not be opened again
    connection_.open(host, port != nullptr ? port : Zeb_String(u"pop3").GetBuffer());
    if (!connection_.good()) return false;
    if (readReply()) return true;
    close();
    return false;
}

bool POP3Client::open(const Zeb_String& host, const char16_t* port) {
    if (port == nullptr) return open(host);
    return open(host, Zeb_String(port).GetBuffer());
}

bool POP3Client::auth_pass(const Zeb_String& user, const Zeb_String& password) {
    std::string userOctets;
    std::string passwordOctets;
    if (!oneLineOctets(user, userOctets) || !oneLineOctets(password, passwordOctets)) return false;
    return sendCommand("USER " + userOctets) && sendCommand("PASS " + passwordOctets);
}

int POP3Client::countMessages() {
    if (!sendCommand("STAT")) return 0;
    std::istringstream reply(lastReply_);
    int count = 0;
    reply >> count;
    return reply.good() ? count : 0;  // kept: a number that ends the line does not count
}

bool POP3Client::getMessage(int n, std::ostream& out) {
    return sendCommand("RETR " + std::to_string(n)) && readLines(out);
}

bool POP3Client::deleteMessage(int n) { return sendCommand("DELE " + std::to_string(n)); }

void POP3Client::close() {
    if (!connection_.is_open()) return;
    const ClosedByException guard(connection_);
    sendCommand("QUIT");
    connection_.close();
}
