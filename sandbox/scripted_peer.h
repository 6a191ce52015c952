// SPDX-License-Identifier: Apache-2.0
// A TCP server that follows a script to the octet, to test clients with.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace sandbox {

/// One move of the peer. Made by the functions below.
struct Move {
    enum class Kind {
        Say,
        SayOneByOne,
        ExpectLine,
        ExpectData,
        ReadUntil,
        Close,
        Reset,
        Silence,
    };
    Kind kind;
    std::string octets;
};

/// Sends these octets.
Move say(std::string octets);
/// Sends these octets, each in a segment of its own.
Move sayOneByOne(std::string octets);
/// Reads up to a CR LF and requires this text before it.
Move expectLine(std::string text);
/// Requires exactly these octets next; more may follow them.
Move expectData(std::string octets);
/// Reads up to and with these octets, whatever comes before them.
Move readUntil(std::string octets);
/// Closes the connection in an orderly way (FIN). No move may follow it.
Move close();
/// Tears the connection down (RST). No move may follow it.
Move reset();
/// Holds the connection open and says nothing, until the client closes it or finish() is called.
/// What the client sends meanwhile is read and not judged. No move may follow it.
Move silence();

/// The moves on one connection. Without one of the three last moves above the peer ends it by
/// closing its side, and what the client sends beyond the moves is a difference.
using Dialogue = std::vector<Move>;

/// A dialogue from its text, a move a line:
///
///     S: 220 hello       the peer says this line
///     C: EHLO localhost  the client must say this line
///     bytes 250 \xFF\0   the peer says these octets; escapes as in C
///     close              also: reset, silence
///
/// Blank lines and lines that begin with # mean nothing, nor does indentation. One space after
/// the colon belongs to the notation. Throws std::invalid_argument, which names the line, for
/// anything else.
Dialogue parseDialogue(std::string_view text);

struct PeerOptions {
    std::string address = "127.0.0.1";
    std::uint16_t port = 0;  // 0 picks a free one
    int backlog = 16;
    /// For each move, and for each client to come.
    std::chrono::milliseconds timeLimit = std::chrono::seconds(10);
};

/// Listens from construction and plays its dialogues on a thread of its own, one connection
/// after the other. At the first difference it closes everything, so that no client waits.
/// Without any dialogue it listens and takes no client.
class ScriptedPeer {
  public:
    /// Throws std::system_error when it cannot listen, naming address and port, and
    /// std::invalid_argument when a move follows the end of its connection.
    explicit ScriptedPeer(Dialogue dialogue, const PeerOptions& options = {});
    explicit ScriptedPeer(std::vector<Dialogue> dialogues, const PeerOptions& options = {});
    /// As finish(), but never waits for a time limit.
    ~ScriptedPeer();
    ScriptedPeer(const ScriptedPeer&) = delete;
    ScriptedPeer& operator=(const ScriptedPeer&) = delete;

    std::uint16_t port() const;

    /// Waits until all dialogues are over; a silence, and the wait for the client's close, end
    /// now. Empty when all went by the script, else what differed first, and the transcript.
    std::string finish();

    /// All octets that the clients have sent so far, judged or not, on all connections or on
    /// one, counted from 1.
    std::string received() const;
    std::string received(std::size_t connection) const;

  private:
    class Implementation;
    std::unique_ptr<Implementation> implementation_;
};

}  // namespace sandbox
