// SPDX-License-Identifier: Apache-2.0
// A server that answers every line as it is told to, well or badly, also at great length.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

/// What a server says to one line, and what becomes of the connection.
struct Answer {
    enum class Ending { KeepOpen, Close, Reset, Silence };

    std::string octets;
    Ending ending = Ending::KeepOpen;
    bool isOneByOne = false;    // each octet in a segment of its own
    std::string first = {};     // goes out before all else,
    std::string repeated = {};  // and this then so many times, before `octets`
    std::size_t times = 0;
};

/// Serves from construction to destruction, on a thread of its own, one client after the other.
/// Before a client says anything, and for each line that ends with CR LF, `answerTo` gives the
/// answer; to the first its argument is none. The lines of a message are lines like all others.
class FaultServer {
  public:
    using Answers = std::function<Answer(std::optional<std::string_view> line)>;

    explicit FaultServer(Answers answerTo);
    /// Ends what is going on.
    ~FaultServer();
    FaultServer(const FaultServer&) = delete;
    FaultServer& operator=(const FaultServer&) = delete;

    std::uint16_t port() const { return port_; }
    /// Whether an answer was sent that ends in silence. All octets sent before can be read then.
    bool hasFallenSilent() const { return isSilent_; }

  private:
    void run();
    void serve();
    bool answer(std::optional<std::string_view> line);
    bool send(std::string_view octets, std::size_t segment);
    void closeClient();

    const Answers answerTo_;
    int listener_ = -1;
    std::uint16_t port_ = 0;
    std::atomic<bool> isSilent_ = false;
    std::atomic<bool> isOver_ = false;
    std::mutex mutex_;  // guards client_ against the destructor
    int client_ = -1;
    std::thread thread_;
};
