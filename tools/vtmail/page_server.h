// SPDX-License-Identifier: Apache-2.0
// HTTP/1.1 for the page: GET and HEAD, from the machine that it runs on.
//
// A browser that shows a page of a stranger must not become that stranger's way in: only requests
// that name this machine by "localhost" or by the address that they came to are answered, so that
// no foreign name can be made to point here (DNS rebinding), and every answer forbids scripts,
// frames, foreign content, guessing of types, caching and use by other sites.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "tools/vtmail/page_reply.h"

namespace page {

/// Where a browser finds it. What listens on all addresses is named by "localhost".
std::string urlOf(const std::string& address, std::uint16_t port);

/// Serves from construction to destruction, on a thread of its own. Each connection is for one
/// request; 16 are served at once, others wait.
class Server {
  public:
    /// Called on the server's thread with the path of a request.
    using Handler = std::function<Reply(const std::string& path)>;

    /// Listens on an IP address; port 0 picks a free one. A connection that is not done after
    /// `patience` is closed. Throws std::system_error when it cannot listen.
    Server(const std::string& address, std::uint16_t port, Handler handler,
           std::chrono::milliseconds patience = std::chrono::seconds(60));
    /// Ends all connections.
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    std::uint16_t port() const;

  private:
    class Implementation;
    std::unique_ptr<Implementation> implementation_;
};

}  // namespace page
