// SPDX-License-Identifier: Apache-2.0
// Fetches all mails of a mailbox into files: fetch_mail HOST PORT USER, the password on standard
// input. The mails stay on the server.
#include <fstream>
#include <iostream>
#include <string>

#include "inet/pop3client.utf16.h"

namespace {

Zeb_String wide(const std::string& utf8) {
    Zeb_String text;
    AdMbcsString::cvtToTchar(AdCharset::getUTF8Charset(), utf8.data(), utf8.size(), text);
    return text;
}

int complain(const POP3Client& mailbox, const std::string& what) {
    std::cerr << what << ":" << Printable(wide(mailbox.getLastReply())) << "\n";
    return 1;
}

bool fetch(POP3Client& mailbox, int number) {
    const std::string name = "mail-" + std::to_string(number) + ".eml";
    std::ofstream file(name, std::ios::binary);
    if (!mailbox.getMessage(number, file) || !file.flush()) return false;
    std::cout << name << "\n";
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    std::string password;
    if (argc != 4 || !std::getline(std::cin, password)) {
        std::cerr << "usage: fetch_mail HOST PORT USER <PASSWORD\n";
        return 2;
    }
    POP3Client mailbox;
    if (!mailbox.open(wide(argv[1]), wide(argv[2]).GetBuffer()))
        return complain(mailbox, "no connection");
    if (!mailbox.auth_pass(wide(argv[3]), wide(password))) return complain(mailbox, "not let in");
    const int count = mailbox.countMessages();
    for (int number = 1; number <= count; ++number)
        if (!fetch(mailbox, number)) return complain(mailbox, "mail " + std::to_string(number));
    mailbox.close();
}
