// SPDX-License-Identifier: Apache-2.0
#include "bench/net/servers.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string_view>
#include <system_error>

#include "bench/net/mails.h"

namespace {

int checked(int result, const char* what) {
    if (result == -1) throw std::system_error(errno, std::generic_category(), what);
    return result;
}

Taken* sharedTaken() {
    void* const memory =
        mmap(nullptr, sizeof(Taken), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) checked(-1, "mmap");
    return new (memory) Taken;
}

int listenOnLoopback(std::uint16_t& port) {
    const int listener = checked(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket");
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* const name = reinterpret_cast<sockaddr*>(&address);
    checked(bind(listener, name, length), "bind");
    checked(listen(listener, 128), "listen");
    checked(getsockname(listener, name, &length), "getsockname");
    port = ntohs(address.sin_port);
    return listener;
}

/// A batch process does not interrupt the client each time that octets come for it.
void yieldToClient() {
    const sched_param ordinary{};
    sched_setscheduler(0, SCHED_BATCH, &ordinary);
}

[[noreturn]] void serveForEver(int listener, const std::function<void(int, Taken&)>& serve,
                               Taken& taken) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    yieldToClient();
    for (;;) {
        const int connection = accept(listener, nullptr, nullptr);
        if (connection == -1) _exit(EXIT_FAILURE);
        const int on = 1;
        setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        serve(connection, taken);
        close(connection);
    }
}

}  // namespace

Server::Server(const std::function<void(int, Taken&)>& serve) : taken_(sharedTaken()) {
    const int listener = listenOnLoopback(port_);
    process_ = checked(fork(), "fork");
    if (process_ == 0) serveForEver(listener, serve, *taken_);
    close(listener);
}

Server::~Server() {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
    munmap(taken_, sizeof(Taken));
}

namespace {

/// The server's end of a dialogue of lines.
class Dialogue {
  public:
    explicit Dialogue(int connection) : connection_(connection) {}

    bool say(std::string_view octets) {
        while (!octets.empty()) {
            const ssize_t sent = send(connection_, octets.data(), octets.size(), MSG_NOSIGNAL);
            if (sent <= 0) return false;
            octets.remove_prefix(static_cast<std::size_t>(sent));
        }
        return true;
    }

    /// What has come since the last call; empty at the end.
    std::string_view hear() { return hearBehind(0); }

    /// One command line; empty at the end.
    std::string_view hearLine() {
        std::size_t length = 0;
        do {
            const std::string_view more = hearBehind(length);
            if (more.empty()) return {};
            length += more.size();
        } while (room_[length - 1] != '\n' && length < room_.size());
        return {room_.data(), length};
    }

  private:
    std::string_view hearBehind(std::size_t length) {
        const ssize_t count = recv(connection_, room_.data() + length, room_.size() - length, 0);
        if (count <= 0) return {};
        return {room_.data() + length, static_cast<std::size_t>(count)};
    }

    static inline std::array<char, std::size_t{256} << 10> room_;  // one dialogue at a time

    const int connection_;
};

/// Whether the octets so far end with the lone dot. It is looked for at the end only: the client
/// sends nothing behind it before it has the reply.
class LoneDot {
  public:
    bool ends(std::string_view octets) {
        constexpr std::string_view end = "\r\n.\r\n";
        last_.append(octets.substr(octets.size() - std::min(octets.size(), end.size())));
        last_.erase(0, last_.size() - std::min(last_.size(), end.size()));
        return last_ == end;
    }

  private:
    std::string last_ = "\r\n";
};

bool takeMessage(Dialogue& dialogue, Taken& taken) {
    Digest digest;
    LoneDot lone;
    std::uint64_t octets = 0;
    for (std::string_view some = dialogue.hear(); !some.empty(); some = dialogue.hear()) {
        octets += some.size();
        if (taken.isDigesting) digest.add(some);
        if (!lone.ends(some)) continue;
        taken.digest = digest.value();
        taken.octets += octets;
        ++taken.messages;
        return true;
    }
    return false;
}

}  // namespace

void serveSmtp(int connection, Taken& taken) {
    Dialogue dialogue(connection);
    dialogue.say("220 ready\r\n");
    for (;;) {
        const std::string_view line = dialogue.hearLine();
        if (line.empty()) return;
        if (line[0] == 'Q') return void(dialogue.say("221 bye\r\n"));
        if (line[0] == 'D') {
            dialogue.say("354 go on\r\n");
            if (!takeMessage(dialogue, taken)) return;
        }
        const bool isGreeting = line[0] == 'E';
        dialogue.say(isGreeting ? "250-bench\r\n250 8BITMIME\r\n" : "250 ok\r\n");
    }
}

namespace {

bool isOptional(std::string_view command) {
    return command.starts_with("CAPA") || command.starts_with("UIDL");
}

}  // namespace

Mailbox::Mailbox(std::string_view mail, int count)
    : listReply("+OK\r\n"), retrReply("+OK\r\n" + stuffed(mail)) {
    const std::string size = ' ' + std::to_string(mail.size()) + "\r\n";
    for (int i = 1; i <= count; ++i) listReply += std::to_string(i) + size;
    listReply += ".\r\n";
    statReply = "+OK " + std::to_string(count) + size;
}

void servePop3(int connection, const Mailbox& mailbox) {
    Dialogue dialogue(connection);
    dialogue.say("+OK ready\r\n");
    for (;;) {
        const std::string_view line = dialogue.hearLine();
        if (line.empty()) return;
        if (line[0] == 'Q') return void(dialogue.say("+OK bye\r\n"));
        if (line[0] == 'R')
            dialogue.say(mailbox.retrReply);
        else if (line[0] == 'S')
            dialogue.say(mailbox.statReply);
        else if (line[0] == 'L')
            dialogue.say(mailbox.listReply);
        else
            dialogue.say(isOptional(line) ? "-ERR unknown\r\n" : "+OK\r\n");
    }
}

void serveNothing(int connection) {
    Dialogue dialogue(connection);
    while (!dialogue.hear().empty()) {
    }
    dialogue.say(".");
}
