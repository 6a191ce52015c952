// SPDX-License-Identifier: Apache-2.0
// A client and the server of its dialogue, for the tests of the POP3 client.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "inet/pop3client.utf16.h"
#include "sandbox/scripted_peer.h"
#include "tests/support/captured_reports.h"

/// A client whose server follows a dialogue (sandbox::parseDialogue).
struct Session {
    explicit Session(std::string_view dialogue);
    explicit Session(sandbox::Dialogue dialogue);

    bool open();

    sandbox::ScriptedPeer peer;
    POP3Client client;
};

/// A client that is open; its server then goes on with a dialogue.
struct OpenSession : Session {
    explicit OpenSession(std::string_view dialogue);
    explicit OpenSession(sandbox::Dialogue moves);
};

/// Whether the client opens a connection to this peer.
bool openTo(POP3Client& client, const sandbox::ScriptedPeer& peer);

/// Whether the process has this descriptor no more.
bool isClosed(int descriptor);

/// What the client has reported.
std::vector<std::string> clientReports(const CapturedReports& reports);
