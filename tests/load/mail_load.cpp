// SPDX-License-Identifier: Apache-2.0
// mail_load settings HOST SENDER: stores the mail settings for what follows.
// mail_load deliver RECIPIENT FIRST COUNT: sends mails with the numbers from FIRST on as subjects.
// mail_load fetch HOST USER PASSWORD: fetches all of a mailbox and prints the subjects, a line
// each.
//
// The last two print a last line {"early": ..., "late": ...} on stderr: the resident memory in KiB
// and the open descriptors of this process when a quarter of the work was done, and at its end.
// Exit status 0 when every mail was delivered, or fetched.
#include <unistd.h>

#include <algorithm>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>

#include "inet/admailmsg.utf16.h"
#include "inet/guardedmessage.utf16.h"
#include "inet/pop3client.utf16.h"
#include "tests/support/wide_text.h"

namespace {

/// What this process holds, as JSON.
std::string holdings() {
    std::size_t total = 0;
    std::size_t resident = 0;
    std::ifstream("/proc/self/statm") >> total >> resident;
    const std::filesystem::directory_iterator open("/proc/self/fd");
    const auto memory = resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) / 1024;
    return R"({"memory": )" + std::to_string(memory) + R"(, "descriptors": )" +
           std::to_string(std::distance(begin(open), end(open))) + "}";
}

/// Does `work` with the numbers 0 to count - 1 and tells what the process holds then.
void repeat(int count, const std::function<void(int)>& work) {
    std::string early = holdings();  // looking takes memory, the first time
    for (int i = 0; i < count; ++i) {
        if (i == count / 4) early = holdings();
        work(i);
    }
    std::cerr << R"({"early": )" << early << R"(, "late": )" << holdings() << "}\n";
}

void storeSettings(const std::string& host, const std::string& sender) {
    AdMailMsg mail;
    bool areStored = mail.setSetting(u"SMTPHost", wide(host));
    areStored &= mail.setSetting(u"ReplyTo", wide(sender));
    areStored &= mail.setSetting(u"SendActive", u"1");
    if (!areStored) throw std::runtime_error("cannot store the settings");
}

void deliver(const std::string& recipient, int number) {
    AdMailMsg mail;
    mail.AddTo(wide(recipient));
    mail.SetSubject(wide(std::to_string(number)));
    mail.SetBody(wide("Größe " + std::to_string(number) + "\n.\n"));
    if (mail.Deliver() != 1)
        throw std::runtime_error("mail " + std::to_string(number) + " was not delivered");
}

void fetch(POP3Client& client, int number) {
    std::stringstream octets;
    if (!client.getMessage(number, octets))
        throw std::runtime_error("message " + std::to_string(number) + " was not fetched");
    const GuardedMessage message(octets);
    std::cout << utf8(message.getMessage().getSubject()) << '\n';
}

void fetchAll(char** arguments) {
    POP3Client client;
    if (!client.open(wide(arguments[2])) ||
        !client.auth_pass(wide(arguments[3]), wide(arguments[4])))
        throw std::runtime_error("cannot log in:" + client.getLastReply());
    repeat(client.countMessages(), [&](int i) { fetch(client, i + 1); });
    client.close();
}

void run(int argc, char** argv) {
    const std::string command = argc > 1 ? argv[1] : "";
    if (command == "deliver" && argc == 5) {
        const int first = std::stoi(argv[3]);
        repeat(std::stoi(argv[4]), [&](int i) { deliver(argv[2], first + i); });
    } else if (command == "settings" && argc == 4) {
        storeSettings(argv[2], argv[3]);
    } else if (command == "fetch" && argc == 5) {
        fetchAll(argv);
    } else {
        throw std::runtime_error("usage: mail_load settings|deliver|fetch ...");
    }
}

}  // namespace

int main(int argc, char** argv) {
    try {
        run(argc, argv);
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "mail_load: " << error.what() << '\n';
        return 1;
    }
}
