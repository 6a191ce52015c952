// SPDX-License-Identifier: Apache-2.0
#include "fuzz/support/fuzzed_server.h"

#include <netdb.h>
#include <sys/select.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "fuzz/support/fuzzing.h"

namespace {

constexpr char eventMark = '\xFF';
constexpr int descriptor = 1000;  // of the one connection

FuzzedServer* theServer = nullptr;

FuzzedServer& serverOf(int number) {
    require(theServer != nullptr && number == descriptor && theServer->isConnected(),
            "calls are for an open connection");
    return *theServer;
}

}  // namespace

FuzzedServer::FuzzedServer(std::string script) : script_(std::move(script)) { theServer = this; }

FuzzedServer::~FuzzedServer() { theServer = nullptr; }

bool FuzzedServer::isSmooth(const std::string& script, std::string& smooth) {
    smooth.clear();
    for (std::size_t i = 0; i < script.size(); ++i) {
        if (script[i] != eventMark)
            smooth += script[i];
        else if (++i < script.size() && (script[i] == 'T' || script[i] == 'R' || script[i] == 'S'))
            return false;
    }
    return true;
}

bool FuzzedServer::takeEvent(char event) {
    if (script_.size() < 2 || script_[0] != eventMark || script_[1] != event) return false;
    script_.erase(0, 2);
    return true;
}

long FuzzedServer::fail(int error) {
    errno = error;
    return -1;
}

long FuzzedServer::recv(char* to, std::size_t size) {
    if (takeEvent('R')) return fail(ECONNRESET);
    timesOut_ = takeEvent('T');
    if (timesOut_ || takeEvent('A')) return fail(EAGAIN);
    while (script_.starts_with(eventMark)) script_.erase(0, 2);
    const std::size_t length = std::min({size, script_.find(eventMark), script_.size()});
    script_.copy(to, length);
    script_.erase(0, length);
    return static_cast<long>(length);
}

long FuzzedServer::send(const char* octets, std::size_t size) {
    if (takeEvent('R')) return fail(EPIPE);
    const std::size_t taken = takeEvent('S') ? size / 2 : size;
    received_.append(octets, taken);
    return static_cast<long>(taken);
}

int FuzzedServer::wait() { return std::exchange(timesOut_, false) ? 0 : 1; }

// The linker sends the library's calls here. NOLINTBEGIN(bugprone-reserved-identifier)

extern "C" {

int __real_close(int number);

int __wrap_getaddrinfo(const char* /*host*/, const char* /*port*/, const addrinfo* /*hints*/,
                       addrinfo** list) {
    static sockaddr address = {};
    static addrinfo found = {};
    found.ai_addr = &address;
    found.ai_addrlen = sizeof address;
    *list = &found;
    return 0;
}

void __wrap_freeaddrinfo(addrinfo* /*list*/) {}

int __wrap_socket(int /*family*/, int /*type*/, int /*protocol*/) {
    require(theServer != nullptr && !theServer->isConnected(), "one connection at a time");
    return descriptor;
}

int __wrap_connect(int /*number*/, const sockaddr* /*address*/, socklen_t /*length*/) {
    theServer->connect();
    return 0;
}

int __wrap_setsockopt(int /*number*/, int /*level*/, int /*option*/, const void* /*value*/,
                      socklen_t /*length*/) {
    return 0;
}

int __wrap_ioctl(int number, unsigned long /*request*/, ...) {
    serverOf(number);
    return 0;
}

int __wrap_select(int count, fd_set* forRead, fd_set* /*forWrite*/, fd_set* /*exceptional*/,
                  timeval* /*limit*/) {
    FuzzedServer& server = serverOf(count - 1);
    return forRead != nullptr ? server.wait() : 1;
}

ssize_t __wrap_recv(int number, void* to, std::size_t size, int /*flags*/) {
    return serverOf(number).recv(static_cast<char*>(to), size);
}

ssize_t __wrap_send(int number, const void* octets, std::size_t size, int flags) {
    require((flags & MSG_NOSIGNAL) != 0, "a send raises no signal");
    return serverOf(number).send(static_cast<const char*>(octets), size);
}

int __wrap_close(int number) {
    if (number != descriptor) return __real_close(number);
    serverOf(number).close();
    return 0;
}

}  // NOLINTEND(bugprone-reserved-identifier)
