// SPDX-License-Identifier: Apache-2.0
// What the system answers to the network code, for tests. In programs that link
// vt_connection_fixtures these functions are called through here.
#pragma once

#include <netdb.h>
#include <sys/select.h>
#include <sys/socket.h>

#include <functional>
#include <string>
#include <vector>

/// The system's own functions, for a stand-in that only looks on.
namespace real {
int getaddrinfo(const char* host, const char* port, const addrinfo* hints, addrinfo** list);
int socket(int family, int type, int protocol);
int connect(int descriptor, const sockaddr* address, socklen_t length);
int setsockopt(int descriptor, int level, int option, const void* value, socklen_t length);
int ioctl(int descriptor, unsigned long request, int* value);
ssize_t send(int descriptor, const void* octets, std::size_t length, int flags);
ssize_t recv(int descriptor, void* octets, std::size_t length, int flags);
int select(int count, fd_set* read, fd_set* write, fd_set* exception, timeval* limit);
}  // namespace real

/// While it lives, the calling thread's system calls are made by its members. One at a time.
struct SystemCalls {
    SystemCalls();
    ~SystemCalls();
    SystemCalls(const SystemCalls&) = delete;
    SystemCalls& operator=(const SystemCalls&) = delete;

    std::function<decltype(real::getaddrinfo)> getaddrinfo = real::getaddrinfo;
    std::function<decltype(real::socket)> socket = real::socket;
    std::function<decltype(real::connect)> connect = real::connect;
    std::function<decltype(real::setsockopt)> setsockopt = real::setsockopt;
    std::function<decltype(real::ioctl)> ioctl = real::ioctl;
    std::function<decltype(real::send)> send = real::send;
    std::function<decltype(real::recv)> recv = real::recv;
    std::function<decltype(real::select)> select = real::select;
};

/// The result -1 with this errno.
int failingWith(int error);

/// A resolver that knows every host by these numeric addresses, in this order.
std::function<decltype(real::getaddrinfo)> resolvingTo(std::vector<std::string> addresses);

/// How many descriptors the process has open.
std::size_t openDescriptors();
