// SPDX-License-Identifier: Apache-2.0
// The SMTP client against a server that says anything, in any pieces.
#include <set>
#include <sstream>

#include "fuzz/support/fuzzed_server.h"
#include "fuzz/support/fuzzing.h"
#include "inet/smtpclient.utf16.h"

namespace {

constexpr char message[] = "Subject: a\r\n\r\n.b\r\n..\r\nc";
constexpr char messageOnTheWire[] = "Subject: a\r\n\r\n..b\r\n....\r\nc\r\n.\r\n";

/// Every command line that the client may send, but for the lines of a message.
bool isCommand(const std::string& line) {
    static const std::set<std::string> commands = {"EHLO localhost",
                                                   "HELO localhost",
                                                   "MAIL FROM:<a@b>",
                                                   "RCPT TO:<c@d>",
                                                   "RCPT TO:<e@f>",
                                                   "DATA",
                                                   "QUIT"};
    return commands.contains(line);
}

/// The connection may end anywhere, but what is sent is what was meant.
void checkSent(std::string sent) {
    while (!sent.empty()) {
        const std::size_t end = sent.find("\r\n");
        if (end == std::string::npos) return;
        const std::string line = sent.substr(0, end);
        require(isCommand(line), "only commands are sent");
        sent.erase(0, end + 2);
        if (line != "DATA" || !sent.starts_with("Subject")) continue;
        const std::string whole = messageOnTheWire;
        require(sent.starts_with(whole.substr(0, sent.size())), "the message is sent as it is");
        sent.erase(0, whole.size());
    }
}

void deliver(SMTPClient& client, const FuzzedServer& server, std::ostream& log) {
    CStringArray recipients;
    recipients.Add(u"c@d");
    recipients.Add(u"E <e@f>");
    std::istringstream in(message);
    const unsigned accepted = client.deliver(u"a@b", recipients, in);
    log << accepted << client.getReplyCode() << client.getReplyText();
    require(accepted <= 2, "no more accept than there are");
    if (accepted > 0)
        require(server.received().ends_with(messageOnTheWire), "what is accepted was sent whole");
}

void talk(const FuzzedServer& server, std::ostream& log) {
    SMTPClient client;
    const bool isOpen = client.open(u"localhost", u"25");
    log << isOpen << client.getReplyCode() << client.getReplyText();
    for (const std::string& extension : client.getExtensions()) log << extension << '\n';
    log << client.isExtensionSupported(u"8BITMIME");
    require(isOpen == server.isConnected(), "a refused connection is closed");
    if (!isOpen) return;
    deliver(client, server, log);
    deliver(client, server, log);
    client.close();
    require(client.getReplyCode().size() == 3, "a reply has a code");
    require(!server.isConnected(), "a closed connection is closed");
}

/// All that can be seen of a session.
std::string session(const std::string& script) {
    const FuzzedServer server(script);
    std::ostringstream log;
    try {
        talk(server, log);
    } catch (const socket_error& error) {
        log << error.code();
    }
    require(!server.isConnected(), "no descriptor stays open");
    checkSent(server.received());
    log << server.received();
    return log.str();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size) {
    requireThatPiecesDoNotMatter({octets, octets + size}, session);
    return 0;
}
