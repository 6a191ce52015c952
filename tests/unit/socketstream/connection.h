// SPDX-License-Identifier: Apache-2.0
// Connections to scripted peers, for the tests of the socket stream.
#pragma once

#include <string>
#include <vector>

#include "inet/socketstream.utf16.h"
#include "sandbox/scripted_peer.h"
#include "tests/support/captured_reports.h"

/// The decimal port of a peer.
Zeb_String portOf(const sandbox::ScriptedPeer& peer);

/// What the socket buffer has reported.
std::vector<std::string> socketReports(const CapturedReports& reports);

/// A socketbuf whose protected side the tests can call and see.
struct OpenSocketbuf : socketbuf {
    using socketbuf::overflow;
    using socketbuf::sync;
    using socketbuf::underflow;

    std::size_t putCapacity() const { return static_cast<std::size_t>(epptr() - pbase()); }
    std::string pending() const { return {pbase(), pptr()}; }
    std::string unread() const { return {gptr(), egptr()}; }
};

/// A buffer that is connected to a peer of its own.
struct Connection {
    explicit Connection(sandbox::Dialogue dialogue);

    sandbox::ScriptedPeer peer;
    OpenSocketbuf buffer;
};

/// A buffer that is connected to a server which takes no client, and so reads nothing.
struct UnreadConnection {
    UnreadConnection();

    sandbox::ScriptedPeer peer;
    OpenSocketbuf buffer;
};

/// The code of the socket_error that `operation` throws.
template <typename Operation>
int codeThrownBy(Operation operation) {
    try {
        operation();
    } catch (const socket_error& error) {
        return error.code();
    }
    throw std::logic_error("no socket_error was thrown");
}
