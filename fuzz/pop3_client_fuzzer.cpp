// SPDX-License-Identifier: Apache-2.0
// The POP3 client against a server that says anything, in any pieces.
#include <set>
#include <sstream>

#include "fuzz/support/fuzzed_server.h"
#include "fuzz/support/fuzzing.h"
#include "inet/pop3client.utf16.h"

namespace {

void checkSent(std::string sent) {
    static const std::set<std::string> commands = {"USER a", "PASS b", "STAT",   "RETR 1",
                                                   "DELE 1", "RETR 2", "DELE 2", "QUIT"};
    for (std::size_t end = 0; (end = sent.find("\r\n")) != std::string::npos;) {
        require(commands.contains(sent.substr(0, end)), "only commands are sent");
        sent.erase(0, end + 2);
    }
}

/// Lines as getMessage promises them: no blanks at their ends but where there is nothing else.
void checkLines(const std::string& text) {
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        const std::size_t last = line.find_last_not_of(" \t\r");
        require(last == std::string::npos || last + 1 == line.size(), "blanks at line ends go");
    }
}

void fetch(POP3Client& client, int number, std::ostream& log) {
    std::ostringstream text;
    const bool isWhole = client.getMessage(number, text);
    checkLines(text.str());
    log << isWhole << text.str() << client.getLastReply();
    if (isWhole) log << client.deleteMessage(number) << client.getLastReply();
}

void talk(const FuzzedServer& server, std::ostream& log) {
    POP3Client client;
    const bool isOpen = client.open(u"localhost", u"110");
    log << isOpen << client.getLastReply();
    require(isOpen == server.isConnected(), "a refused connection is closed");
    if (!isOpen) return;
    require(!client.open(u"localhost", u"110"), "an open client is not opened again");
    if (client.auth_pass(u"a", u"b")) {
        log << client.countMessages();
        fetch(client, 1, log);
        fetch(client, 2, log);
    }
    client.close();
    log << client.getLastReply();
    require(!server.isConnected(), "a closed connection is closed");
}

/// All that can be seen of a session.
std::string session(const std::string& script) {
    const FuzzedServer server(script);
    std::ostringstream log;
    talk(server, log);
    require(!server.isConnected(), "no descriptor stays open");
    checkSent(server.received());
    log << server.received();
    require(log.str().size() <= 4 * script.size() + 512, "nothing comes out that did not go in");
    return log.str();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size) {
    requireThatPiecesDoNotMatter({octets, octets + size}, session);
    return 0;
}
