// SPDX-License-Identifier: Apache-2.0
// fetch_cases HOST USER PASSWORD FOLDER: empties a mailbox at a POP3 server.
//
// Each message goes to FOLDER/1, FOLDER/2, ... with the octets that POP3Client hands out, and is
// then deleted at the server. Prints JSON: a line {"count": N}, then a line for each message (see
// decoded_json.h). Exit status 0 unless a command failed.
#include <exception>
#include <fstream>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>

#include "inet/pop3client.utf16.h"
#include "tests/interop/decoded_json.h"
#include "tests/support/wide_text.h"

namespace {

void require(bool succeeded, const POP3Client& client, const std::string& what) {
    if (!succeeded) throw std::runtime_error("cannot " + what + ":" + client.getLastReply());
}

void fetch(POP3Client& client, int number, const std::string& folder) {
    const std::string message = " message " + std::to_string(number);
    std::ostringstream octets;
    require(client.getMessage(number, octets), client, "fetch" + message);
    std::ofstream file(folder + "/" + std::to_string(number), std::ios::binary);
    file << octets.view() << std::flush;
    if (!file) throw std::runtime_error("cannot write" + message);
    std::cout << decodedJson(octets.str()).dump() << '\n';
    require(client.deleteMessage(number), client, "delete" + message);
}

void emptyMailbox(char** arguments) {
    POP3Client client;
    require(client.open(wide(arguments[1])), client, "connect");
    require(client.auth_pass(wide(arguments[2]), wide(arguments[3])), client, "log in");
    const int count = client.countMessages();
    std::cout << "{\"count\":" << count << "}\n";
    for (int number = 1; number <= count; ++number) fetch(client, number, arguments[4]);
    client.close();
}

}  // namespace

int main(int argc, char** argv) {
    try {
        if (argc != 5) throw std::runtime_error("usage: fetch_cases HOST USER PASSWORD FOLDER");
        emptyMailbox(argv);
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "fetch_cases: " << error.what() << '\n';
        return 1;
    }
}
