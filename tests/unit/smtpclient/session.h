// SPDX-License-Identifier: Apache-2.0
// A client and the server of its dialogue, for the tests of the SMTP client.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "inet/smtpclient.utf16.h"
#include "sandbox/scripted_peer.h"
#include "tests/support/captured_reports.h"

/// A dialogue up to the point where the server is ready for a transaction.
constexpr char openingDialogue[] = R"(
    S: 220 hi
    C: EHLO localhost
    S: 250 hi
)";

/// A client whose server follows a dialogue (sandbox::parseDialogue).
struct Session {
    explicit Session(std::string_view dialogue);
    explicit Session(sandbox::Dialogue dialogue);

    bool open();

    sandbox::ScriptedPeer peer;
    SMTPClient client;
};

/// A client that is open; its server then goes on with a dialogue.
struct OpenSession : Session {
    explicit OpenSession(std::string_view dialogue);
    explicit OpenSession(sandbox::Dialogue moves);

    /// Delivers a message in wire form.
    unsigned deliver(const std::vector<std::string>& recipients, const std::string& message);
};

/// The texts as an array of the host.
CStringArray hostArray(const std::vector<std::string>& texts);

/// What the client has reported.
std::vector<std::string> clientReports(const CapturedReports& reports);
