// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/socketstream/system_calls.h"

#include <sys/ioctl.h>

#include <cerrno>
#include <cstdarg>
#include <filesystem>
#include <iterator>
#include <utility>

namespace {
// Servers of the same program, on their own threads, keep the system's functions.
thread_local SystemCalls* current = nullptr;
}  // namespace

// The linker gives the system's function the name __real_X and sends calls of X to __wrap_X.
extern "C" {

int __real_getaddrinfo(const char*, const char*, const addrinfo*, addrinfo**);
int __real_socket(int, int, int);
int __real_connect(int, const sockaddr*, socklen_t);
int __real_setsockopt(int, int, int, const void*, socklen_t);
int __real_ioctl(int, unsigned long, ...);
ssize_t __real_send(int, const void*, std::size_t, int);
ssize_t __real_recv(int, void*, std::size_t, int);
int __real_select(int, fd_set*, fd_set*, fd_set*, timeval*);

int __wrap_getaddrinfo(const char* host, const char* port, const addrinfo* hints, addrinfo** list) {
    return current ? current->getaddrinfo(host, port, hints, list)
                   : real::getaddrinfo(host, port, hints, list);
}

int __wrap_socket(int family, int type, int protocol) {
    return current ? current->socket(family, type, protocol) : real::socket(family, type, protocol);
}

int __wrap_connect(int descriptor, const sockaddr* address, socklen_t length) {
    return current ? current->connect(descriptor, address, length)
                   : real::connect(descriptor, address, length);
}

int __wrap_setsockopt(int descriptor, int level, int option, const void* value, socklen_t length) {
    return current ? current->setsockopt(descriptor, level, option, value, length)
                   : real::setsockopt(descriptor, level, option, value, length);
}

int __wrap_ioctl(int descriptor, unsigned long request, ...) {
    va_list arguments;
    va_start(arguments, request);
    int* value = va_arg(arguments, int*);
    va_end(arguments);
    return current ? current->ioctl(descriptor, request, value)
                   : real::ioctl(descriptor, request, value);
}

ssize_t __wrap_send(int descriptor, const void* octets, std::size_t length, int flags) {
    return current ? current->send(descriptor, octets, length, flags)
                   : real::send(descriptor, octets, length, flags);
}

ssize_t __wrap_recv(int descriptor, void* octets, std::size_t length, int flags) {
    return current ? current->recv(descriptor, octets, length, flags)
                   : real::recv(descriptor, octets, length, flags);
}

int __wrap_select(int count, fd_set* read, fd_set* write, fd_set* exception, timeval* limit) {
    return current ? current->select(count, read, write, exception, limit)
                   : real::select(count, read, write, exception, limit);
}

}  // extern "C"

namespace real {

int getaddrinfo(const char* host, const char* port, const addrinfo* hints, addrinfo** list) {
    return __real_getaddrinfo(host, port, hints, list);
}

int socket(int family, int type, int protocol) { return __real_socket(family, type, protocol); }

int connect(int descriptor, const sockaddr* address, socklen_t length) {
    return __real_connect(descriptor, address, length);
}

int setsockopt(int descriptor, int level, int option, const void* value, socklen_t length) {
    return __real_setsockopt(descriptor, level, option, value, length);
}

int ioctl(int descriptor, unsigned long request, int* value) {
    return __real_ioctl(descriptor, request, value);
}

ssize_t send(int descriptor, const void* octets, std::size_t length, int flags) {
    return __real_send(descriptor, octets, length, flags);
}

ssize_t recv(int descriptor, void* octets, std::size_t length, int flags) {
    return __real_recv(descriptor, octets, length, flags);
}

int select(int count, fd_set* read, fd_set* write, fd_set* exception, timeval* limit) {
    return __real_select(count, read, write, exception, limit);
}

}  // namespace real

SystemCalls::SystemCalls() { current = this; }

SystemCalls::~SystemCalls() { current = nullptr; }

int failingWith(int error) {
    errno = error;
    return -1;
}

std::function<decltype(real::getaddrinfo)> resolvingTo(std::vector<std::string> addresses) {
    return [addresses = std::move(addresses)](const char*, const char* port, const addrinfo* hints,
                                              addrinfo** list) {
        for (const std::string& address : addresses) {
            const int status = real::getaddrinfo(address.c_str(), port, hints, list);
            if (status != 0) return status;
            while (*list != nullptr) list = &(*list)->ai_next;
        }
        return 0;
    };
}

std::size_t openDescriptors() {
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(descriptors), end(descriptors)));
}
