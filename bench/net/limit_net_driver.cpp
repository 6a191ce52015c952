// SPDX-License-Identifier: Apache-2.0
// What the way itself allows: 50 MiB over loopback TCP, in writes of one size.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <stdexcept>
#include <string_view>

#include "bench/net/cell.h"
#include "bench/net/servers.h"

namespace {

class Connection {
  public:
    explicit Connection(std::uint16_t port) : descriptor_(socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (connect(descriptor_, reinterpret_cast<sockaddr*>(&address), sizeof address) == -1)
            throw std::runtime_error("cannot connect");
        const int on = 1;
        setsockopt(descriptor_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    }
    ~Connection() { close(descriptor_); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void write(std::string_view octets) {
        const ssize_t sent = send(descriptor_, octets.data(), octets.size(), MSG_NOSIGNAL);
        if (sent != static_cast<ssize_t>(octets.size())) throw std::runtime_error("cannot send");
    }
    void awaitAnswer() {
        char answer = 0;
        shutdown(descriptor_, SHUT_WR);
        if (recv(descriptor_, &answer, 1, 0) != 1) throw std::runtime_error("no answer");
    }

  private:
    const int descriptor_;
};

void writeAll(std::uint16_t port, std::string_view text, std::size_t size) {
    Connection connection(port);
    for (std::size_t at = 0; at < text.size(); at += size) connection.write(text.substr(at, size));
    connection.awaitAnswer();
}

void measureWrites(const std::string& row, std::size_t size) {
    const std::string text(std::size_t{50} << 20, 'x');
    const Server server([](int connection, Taken&) { serveNothing(connection); });
    const Cost cost = costOf([&] { writeAll(server.port(), text, size); });
    printCost(row, cost, text.size(), 1);
}

}  // namespace

int main(int argc, char** argv) {
    const std::string row = argc == 2 ? argv[1] : "";
    beginNetCell();
    try {
        if (row == "tcp_64k") return measureWrites(row, std::size_t{64} << 10), EXIT_SUCCESS;
        if (row == "tcp_1k") return measureWrites(row, std::size_t{1} << 10), EXIT_SUCCESS;
        throw std::runtime_error("one argument: tcp_64k or tcp_1k");
    } catch (const std::exception& error) {
        std::cerr << argv[0] << ": " << error.what() << '\n';
        return EXIT_FAILURE;
    }
}
