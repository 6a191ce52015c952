// SPDX-License-Identifier: Apache-2.0
// A POP3 session whose octets are cut at every place.
#include <gtest/gtest.h>

#include <sstream>

#include "inet/pop3client.utf16.h"
#include "tests/cuts/scripted_server.h"
#include "tests/support/wide_text.h"

namespace {

/// Lines of all lengths with dots, blanks and carriage returns in awkward places.
std::string messageLines() {
    std::string lines;
    for (std::size_t i = 0; lines.size() < 2900; ++i)
        lines += std::string(i % 3 == 0 ? 0 : 1 + i % 3, '.') + std::string(i % 67, 'x') +
                 (i % 5 == 0 ? " \t" : "") + (i % 7 == 0 ? "\r\r\n" : "\r\n");
    return lines + "\r\nbare\nfeed\r\n.. \r\n";
}

std::vector<std::string> sessionReplies() {
    return {
        "+OK the server is ready <1.2@here>\r\n",
        "+OK who are you\r\n",
        "+OK  two blanks\r\n",
        "+OK 2 3000\r\n",
        "+OK 3000 octets\r\n" + messageLines() + ".\r\n",
        "-ERR no such message\r\n",
        "+OK deleted\t\r\n",
        "what is this\r\n",
        "+OK bye\r\n",
    };
}

/// All that a caller sees of a session, and the octets that went out.
std::string runSession(std::size_t cut, bool* hasCut = nullptr) {
    ScriptedServer server(sessionReplies(), cut);
    POP3Client client;
    std::ostringstream calls;
    std::ostringstream message;
    const auto note = [&](const char* call, int result) {
        calls << call << " " << result << ":" << client.getLastReply() << "\n";
    };
    note("open", client.open(u"127.0.0.1", u"110"));
    note("login", client.auth_pass(u"me", u"secret"));
    note("count", client.countMessages());
    note("message", client.getMessage(1, message));
    note("missing message", client.getMessage(7, message));
    note("delete", client.deleteMessage(1));
    note("delete again", client.deleteMessage(1));
    client.close();
    note("close", 0);
    if (hasCut != nullptr) *hasCut = server.hasCut();
    return calls.str() + message.str() + "|" + server.received();
}

/// What getMessage makes of the lines.
std::string fetched() {
    std::string text;
    std::istringstream lines(messageLines());
    for (std::string line; std::getline(lines, line);) {
        const std::size_t last = line.find_last_not_of(" \t\r");
        if (last != std::string::npos) line.erase(last + 1);
        text += (line.starts_with('.') ? line.substr(1) : line) + "\n";
    }
    text.pop_back();
    return text;
}

TEST(Pop3Cuts, TheWholeSessionIsWhatTheServerSaid) {
    EXPECT_EQ(runSession(ScriptedServer::never),
              "open 1: the server is ready <1.2@here>\nlogin 1:  two blanks\ncount 2: 2 3000\n"
              "message 1: 3000 octets\nmissing message 0: no such message\ndelete 1: deleted\n"
              "delete again 0:what is this\nclose 0: bye\n" +
                  fetched() +
                  "|USER me\r\nPASS secret\r\nSTAT\r\nRETR 1\r\nRETR 7\r\nDELE 1\r\nDELE 1\r\n"
                  "QUIT\r\n");
}

TEST(Pop3Cuts, RepliesMayBeCutAnywhere) {
    const std::size_t length = ScriptedServer::lengthOf(sessionReplies());
    ASSERT_GT(length, 3000U);
    const std::string whole = runSession(ScriptedServer::never);
    for (std::size_t cut = 0; cut < length; ++cut) {
        bool hasCut = false;
        ASSERT_EQ(runSession(cut, &hasCut), whole) << "cut at " << cut;
        ASSERT_TRUE(hasCut) << cut;
    }
}

}  // namespace
