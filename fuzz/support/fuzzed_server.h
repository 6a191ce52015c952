// SPDX-License-Identifier: Apache-2.0
// A server made of fuzzed octets. The socket calls of the library end here: they are wrapped when
// the fuzzer is linked, so there is no network, no waiting, and a run takes microseconds.
//
// The script is what the server says. The octet 0xFF and the letter behind it are an event:
//   A  recv would block once, and select finds the socket ready
//   T  recv would block once, and select times out
//   R  the connection is reset: the next recv or send fails
//   S  the next send is a short one
//   any other letter: a recv ends here
// Behind the script the server has closed.
#pragma once

#include <string>

#include "fuzz/support/fuzzing.h"

/// At most one at a time; the library's next connection goes to it.
class FuzzedServer {
  public:
    explicit FuzzedServer(std::string script);
    ~FuzzedServer();
    FuzzedServer(const FuzzedServer&) = delete;
    FuzzedServer& operator=(const FuzzedServer&) = delete;

    /// What the client has sent.
    const std::string& received() const { return received_; }
    bool isConnected() const { return isConnected_; }

    /// The script with everything said at once; false when it holds more than pieces and waits.
    static bool isSmooth(const std::string& script, std::string& smooth);

    // For the wrapped calls.
    void connect() { isConnected_ = true; }
    void close() { isConnected_ = false; }
    /// As recv and send: -1 sets errno.
    long recv(char* to, std::size_t size);
    long send(const char* octets, std::size_t size);
    /// As select on one descriptor.
    int wait();

  private:
    bool takeEvent(char event);
    long fail(int error);

    std::string script_;
    std::string received_;
    bool isConnected_ = false;
    bool timesOut_ = false;
};

/// In how many pieces the server says a thing makes no difference to what `session` makes of a
/// script.
template <typename Session>
void requireThatPiecesDoNotMatter(const std::string& script, Session session) {
    const std::string result = session(script);
    if (std::string smooth; FuzzedServer::isSmooth(script, smooth))
        require(result == session(smooth), "pieces do not matter");
}
