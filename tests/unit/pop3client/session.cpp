// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/pop3client/session.h"

#include <fcntl.h>

#include <cerrno>
#include <stdexcept>
#include <utility>

#include "tests/unit/socketstream/connection.h"

namespace {

sandbox::Dialogue behindTheGreeting(sandbox::Dialogue moves) {
    moves.insert(moves.begin(), sandbox::say("+OK hi\r\n"));
    return moves;
}

}  // namespace

Session::Session(std::string_view dialogue) : Session(sandbox::parseDialogue(dialogue)) {}

Session::Session(sandbox::Dialogue dialogue) : peer(std::move(dialogue)) {}

bool Session::open() { return openTo(client, peer); }

OpenSession::OpenSession(std::string_view dialogue)
    : OpenSession(sandbox::parseDialogue(dialogue)) {}

OpenSession::OpenSession(sandbox::Dialogue moves) : Session(behindTheGreeting(std::move(moves))) {
    if (!open()) throw std::runtime_error("the client did not open: " + peer.finish());
}

bool openTo(POP3Client& client, const sandbox::ScriptedPeer& peer) {
    return client.open(u"127.0.0.1", portOf(peer).GetBuffer());
}

bool isClosed(int descriptor) { return fcntl(descriptor, F_GETFD) == -1 && errno == EBADF; }

std::vector<std::string> clientReports(const CapturedReports& reports) {
    return reports.texts("pop3client (vtinetlib.dll)");
}
