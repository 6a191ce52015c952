// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/socketstream/connection.h"

#include "tests/support/wide_text.h"

Zeb_String portOf(const sandbox::ScriptedPeer& peer) { return wide(std::to_string(peer.port())); }

std::vector<std::string> socketReports(const CapturedReports& reports) {
    return reports.texts("socketbuf (vtinetlib.dll)");
}

Connection::Connection(sandbox::Dialogue dialogue) : peer(std::move(dialogue)) {
    buffer.open(u"127.0.0.1", portOf(peer).GetBuffer());
}

UnreadConnection::UnreadConnection() : peer(std::vector<sandbox::Dialogue>{}) {
    buffer.open(u"127.0.0.1", portOf(peer).GetBuffer());
}
