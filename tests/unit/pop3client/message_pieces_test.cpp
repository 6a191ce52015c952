// SPDX-License-Identifier: Apache-2.0
// Where the octets of a message are divided between receives makes no difference.
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "tests/unit/pop3client/session.h"
#include "tests/unit/socketstream/system_calls.h"

namespace {

/// What reading a message comes to.
struct Outcome {
    bool isWhole;
    std::string message;
    std::string nextReply;

    bool operator==(const Outcome&) const = default;
};

/// A line without what is to be taken from its end.
std::string trimmed(std::string line) {
    const std::size_t last = line.find_last_not_of(" \t\r");
    if (last != std::string::npos) line.erase(last + 1);
    return line;
}

/// Reads line by line, as the protocol is told.
Outcome readLineByLine(const std::string& octets) {
    std::istringstream in(octets);
    Outcome outcome{false, "", "Unknown error"};
    std::string line;
    for (bool isFirst = true; std::getline(in, line).good(); isFirst = false) {
        line = trimmed(line);
        outcome.isWhole = line == ".";
        if (outcome.isWhole) break;
        if (!isFirst) outcome.message += '\n';
        outcome.message += line.substr(line.starts_with('.') ? 1 : 0);
    }
    if (std::getline(in, line).good()) outcome.nextReply = trimmed(line);
    return outcome;
}

/// The same by the client, with receives of at most `size` octets.
Outcome read(const std::string& octets, std::size_t size) {
    OpenSession session({sandbox::expectLine("LIST"), sandbox::say("+OK\r\n" + octets)});
    SystemCalls calls;
    calls.recv = [&](int descriptor, void* to, std::size_t length, int flags) {
        return real::recv(descriptor, to, std::min(length, size), flags);
    };
    session.client.sendCommand("LIST");
    std::ostringstream message;
    const bool isWhole = session.client.readLines(message);
    session.client.readReply();
    return {isWhole, message.str(), session.client.getLastReply()};
}

void expectSameInAllPieces(const std::string& octets) {
    const Outcome expected = readLineByLine(octets);
    for (const std::size_t size : {1U, 2U, 3U, 5U, 8U, 13U, 100U, 1023U, 1024U})
        EXPECT_TRUE(read(octets, size) == expected) << size << ": " << octets.substr(0, 100);
}

TEST(Pop3Pieces, makeNoDifference) {
    for (const char* const octets :
         {"a\r\n.\r\nnext\r\n", "\r\n\r\n..\r\n. \t\r\nnext\r\n", "\n\n.\nnext \n", ".\r\n.\r\n",
          " \t\r\n..x \r\n.x\r\r\n.\r\r\nnext\r\n", "a\r\nb", "a\r\n.", "\r\r\n .\r\n.\r\nnext"})
        expectSameInAllPieces(octets);
}

TEST(Pop3Pieces, makeNoDifferenceToAMessageOfManyReceives) {
    std::string octets;
    for (std::size_t i = 0; octets.size() < 10'000; ++i)
        octets += std::string(i % 3, '.') + std::string(i * i % 211, 'x') + " \t\r\n";
    octets.insert(0, "first\r\n");
    for (std::size_t at = octets.find("\n. \t"); at != std::string::npos;
         at = octets.find("\n. \t"))
        octets[at + 1] = 'y';
    expectSameInAllPieces(octets + ".\r\nnext\r\n");
}

TEST(Pop3Pieces, makeNoDifferenceToShortLines) {
    std::string octets;
    for (std::size_t i = 0; octets.size() < 5'000; ++i)
        octets += std::string(i % 5 == 0 ? 2 : 0, '.') + std::string(i * i % 7, 'x') + "\r\n";
    expectSameInAllPieces(octets + ".\r\nnext\r\n");
}

TEST(Pop3Pieces, makeNoDifferenceToLinesAsLongAsAReceive) {
    for (const std::size_t length : {1021U, 1022U, 1023U, 1024U, 1025U, 2047U, 2048U, 5000U})
        expectSameInAllPieces(std::string(length, 'x') + "\r\n.\r\nnext\r\n");
}

TEST(Pop3Pieces, areWrittenBeforeMoreIsReceived) {
    const std::string octets = "one\r\ntwo\r\nthr";
    const std::string reply = "+OK\r\n";
    OpenSession session(
        {sandbox::expectLine("LIST"), sandbox::say(reply + octets + "ee\r\n.\r\n")});
    SystemCalls calls;
    std::ostringstream message;
    std::vector<std::string> written;
    calls.recv = [&, sizes = std::vector<std::size_t>{8, octets.size(), reply.size()}](
                     int descriptor, void* to, std::size_t, int flags) mutable {
        written.push_back(message.str());
        const std::size_t size = sizes.back();
        sizes.pop_back();
        return real::recv(descriptor, to, size, flags | MSG_WAITALL);
    };
    session.client.sendCommand("LIST");
    EXPECT_TRUE(session.client.readLines(message));
    EXPECT_EQ(written, (std::vector<std::string>{"", "", "one\ntwo"}));
}

}  // namespace
