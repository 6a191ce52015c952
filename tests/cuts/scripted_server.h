// SPDX-License-Identifier: Apache-2.0
// A server inside the process: what it says comes in two pieces, cut where the test wants.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "tests/unit/socketstream/system_calls.h"

/// While it lives, connections of the calling thread end at this server, which says its greeting at
/// once, and one reply for each line it gets but those of a message. No octet crosses a socket, so
/// each run is the same to the octet.
class ScriptedServer {
  public:
    static constexpr std::size_t never = std::numeric_limits<std::size_t>::max();

    /// `replies` with their line ends, the greeting first. What is read never spans octet `cut` of
    /// all that the server says: the octets from there on are not there yet when the client reads
    /// the ones before, and a client that does not block is told so.
    explicit ScriptedServer(std::vector<std::string> replies, std::size_t cut = never);

    /// All that the client has sent.
    const std::string& received() const { return received_; }
    /// In how many pieces, in octets.
    const std::vector<std::size_t>& sends() const { return sends_; }
    /// Whether the cut fell between two pieces of one reply.
    bool hasCut() const { return hasCut_; }
    /// The octets of all replies.
    static std::size_t lengthOf(const std::vector<std::string>& replies);

  private:
    ssize_t give(void* octets, std::size_t length);
    ssize_t take(const void* octets, std::size_t length);
    void answer();

    const std::vector<std::string> replies_;
    const std::size_t cut_;
    std::size_t replied_ = 0;
    std::string said_;
    std::size_t given_ = 0;
    bool hasCut_ = false;
    bool isNonBlocking_ = false;
    bool takesMessage_ = false;
    std::string received_;
    std::size_t judged_ = 0;
    std::vector<std::size_t> sends_;
    SystemCalls calls_;
};
