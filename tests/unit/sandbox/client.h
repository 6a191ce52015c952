// SPDX-License-Identifier: Apache-2.0
// A TCP client for the tests of the sandbox: blocking, and no wait is longer than ten seconds.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

class Client {
  public:
    /// Throws std::runtime_error when nobody listens.
    explicit Client(std::uint16_t port, const std::string& address = "127.0.0.1");
    ~Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    void send(std::string_view octets);
    /// Sends the octets and reads one line.
    std::string ask(std::string_view octets);

    /// The next line, with its CR LF; less than that when the connection ended before.
    std::string line();
    /// Up to and with `end`; less than that when the connection ended before.
    std::string until(std::string_view end);
    /// All that comes until the connection ends.
    std::string rest();
    /// What one read gives.
    std::string segment();
    /// Whether nothing comes for so many milliseconds while the connection stays open.
    bool isSilentFor(int milliseconds);

    /// Whether the end of the connection, once it was read, was a reset.
    bool wasReset() const { return wasReset_; }
    /// Tells the other side that no more will be sent.
    void endSending();

  private:
    bool waitForOctets(int milliseconds) const;
    bool receive();

    int socket_;
    std::string pending_;
    bool wasReset_ = false;
};
