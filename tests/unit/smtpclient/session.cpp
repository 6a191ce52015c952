// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/smtpclient/session.h"

#include <sstream>
#include <stdexcept>
#include <utility>

#include "tests/support/wide_text.h"
#include "tests/unit/socketstream/connection.h"

namespace {

sandbox::Dialogue behindTheOpening(sandbox::Dialogue moves) {
    sandbox::Dialogue dialogue = sandbox::parseDialogue(openingDialogue);
    dialogue.insert(dialogue.end(), std::make_move_iterator(moves.begin()),
                    std::make_move_iterator(moves.end()));
    return dialogue;
}

}  // namespace

Session::Session(std::string_view dialogue) : Session(sandbox::parseDialogue(dialogue)) {}

Session::Session(sandbox::Dialogue dialogue) : peer(std::move(dialogue)) {}

bool Session::open() { return client.open(u"127.0.0.1", portOf(peer).GetBuffer()); }

OpenSession::OpenSession(std::string_view dialogue)
    : OpenSession(sandbox::parseDialogue(dialogue)) {}

OpenSession::OpenSession(sandbox::Dialogue moves) : Session(behindTheOpening(std::move(moves))) {
    if (!open()) throw std::runtime_error("the client did not open: " + peer.finish());
}

unsigned OpenSession::deliver(const std::vector<std::string>& recipients,
                              const std::string& message) {
    std::istringstream octets(message);
    return client.deliver(u"from@here", hostArray(recipients), octets);
}

CStringArray hostArray(const std::vector<std::string>& texts) {
    CStringArray array;
    for (const std::string& text : texts) array.Add(wide(text));
    return array;
}

std::vector<std::string> clientReports(const CapturedReports& reports) {
    return reports.texts("smtpclient (vtinetlib.dll)");
}
