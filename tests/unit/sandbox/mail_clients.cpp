// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/sandbox/mail_clients.h"

#include <stdexcept>

SmtpClient::SmtpClient(const sandbox::Server& server) : Client(server.smtpPort()) { reply(); }

std::string SmtpClient::reply() {
    std::string lines;
    std::string last;
    do {
        last = line();
        lines += last;
    } while (last.size() > 3 && last[3] == '-');
    return lines;
}

std::string SmtpClient::code(const std::string& command) {
    send(command + "\r\n");
    return reply().substr(0, 3);
}

void SmtpClient::startMail() {
    for (const char* command :
         {"EHLO localhost", "MAIL FROM:<a@example.org>", "RCPT TO:<b@example.org>"})
        if (code(command) != "250") throw std::runtime_error(std::string(command) + " refused");
}

std::string SmtpClient::sendMessage(std::string_view octets) {
    startMail();
    if (code("DATA") != "354") throw std::runtime_error("DATA refused");
    send(octets);
    return code(".");
}

Pop3Client::Pop3Client(const sandbox::Server& server) : Client(server.pop3Port()) {
    line();
    takes("USER any");
    if (!takes("PASS any")) throw std::runtime_error("the password is refused");
}

bool Pop3Client::takes(const std::string& command) {
    return ask(command + "\r\n").starts_with("+OK");
}

std::string Pop3Client::lines(const std::string& command) {
    if (!takes(command)) throw std::runtime_error(command + " refused");
    std::string all;
    std::string last;
    do {
        last = line();
        all += last;
    } while (last != ".\r\n" && !last.empty());
    return all;
}
