// SPDX-License-Identifier: Apache-2.0
#include "tests/fault/fault_cell.h"

#include <poll.h>

#include <csignal>

namespace {

constexpr int lookEvery = 2;       // milliseconds between two looks at the server
constexpr std::size_t times = 16;  // what is large goes out in so many pieces

}  // namespace

Answer sayHugeLine(const std::string& start) {
    Answer answer = say("\r\n");
    answer.first = start;
    answer.repeated = std::string(hugeLine / times, 'x');
    answer.times = times;
    return answer;
}

Answer sayManyLines(const std::string& line, const std::string& last) {
    Answer answer = say(last);
    for (std::size_t i = 0; i < manyLines / times; ++i) answer.repeated += line;
    answer.times = times;
    return answer;
}

std::string joinedLines(const std::string& text, const std::string& last) {
    std::string joined;
    for (std::size_t i = 0; i < manyLines; ++i) joined += text + '\n';
    return joined + last;
}

ShortSelect::ShortSelect(const FaultServer& server) : server_(server) {
    calls_.select = [this](int count, fd_set* read, fd_set* write, fd_set* exception,
                           timeval* limit) { return select(count, read, write, exception, limit); };
}

int ShortSelect::select(int count, fd_set* read, fd_set* write, fd_set* exception, timeval* limit) {
    const long wanted = limit->tv_sec;
    if (wanted == 0 || read == nullptr) return real::select(count, read, write, exception, limit);
    const fd_set awaited = *read;
    while (true) {
        const bool isSilent = server_.hasFallenSilent();
        timeval look = {0, lookEvery * 1000L};
        *read = awaited;
        FD_ZERO(exception);
        const int ready = real::select(count, read, write, exception, &look);
        if (ready != 0) return ready;
        if (!isSilent) continue;
        secondsGivenUp_ = wanted;
        return 0;
    }
}

void ShortSelect::connectEveryServiceToTheServer() {
    calls_.getaddrinfo = [port = std::to_string(server_.port())](
                             const char*, const char*, const addrinfo* hints, addrinfo** list) {
        return real::getaddrinfo("127.0.0.1", port.c_str(), hints, list);
    };
}

EndedReceive::EndedReceive(const FaultServer& server) : server_(server) {
    calls_.recv = [this](int descriptor, void* octets, std::size_t length, int flags) {
        return receive(descriptor, octets, length, flags);
    };
}

ssize_t EndedReceive::receive(int descriptor, void* octets, std::size_t length, int flags) {
    pollfd readable = {descriptor, POLLIN, 0};
    while (!hasEndedAWait_) {
        const bool isSilent = server_.hasFallenSilent();
        if (poll(&readable, 1, lookEvery) != 0) break;
        if (!isSilent) continue;
        hasEndedAWait_ = true;
        shutdown(descriptor, SHUT_RDWR);
    }
    return real::recv(descriptor, octets, length, flags);
}

void letBrokenPipesKill() { std::signal(SIGPIPE, SIG_DFL); }
