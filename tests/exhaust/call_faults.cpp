// SPDX-License-Identifier: Apache-2.0
#include "tests/exhaust/call_faults.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace {

using Kind = Outcome::Kind;

struct CallState {
    bool isArmed;
    bool hasHappened;
    Call call;
    Kind kind;
    int error;
    long left;  // before the one that fails
    long descriptors;
};
// Servers of the same program, on their own threads, keep the system's functions.
constinit thread_local CallState calls{};

bool isDue(Call call) {
    if (!calls.isArmed || (calls.call != Call::Any && calls.call != call)) return false;
    if (calls.left-- > 0) return false;
    calls.isArmed = false;
    calls.hasHappened = true;
    if (calls.kind == Kind::Killed) kill(getpid(), SIGKILL);
    return true;
}

/// The result of a call that fails.
int failed() {
    if (calls.kind == Kind::Nothing) return 0;
    errno = calls.error;
    return -1;
}

template <typename Function>
Function* systems(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

int opened(int descriptor) {
    if (descriptor != -1) ++calls.descriptors;
    return descriptor;
}

/// How many octets a transfer may take that would take `all` otherwise.
std::size_t shortened(Call call, std::size_t all) {
    const bool isReading = call == Call::Recv || call == Call::Read;
    return isReading ? std::min<std::size_t>(all, 1) : all / 2;
}

/// A transfer of octets: `perform` takes how many.
template <typename Perform>
ssize_t transfer(Call call, std::size_t length, Perform perform) {
    if (!isDue(call)) return perform(length);
    return calls.kind == Kind::Short ? perform(shortened(call, length)) : failed();
}

template <typename Perform>
int plain(Call call, Perform perform) {
    return isDue(call) ? failed() : perform();
}

}  // namespace

// Not hidden: the shared objects are to find them here.
#pragma GCC visibility push(default)
extern "C" {

int socket(int family, int type, int protocol) {
    static const auto real = systems<decltype(socket)>("socket");
    return plain(Call::Socket, [&] { return opened(real(family, type, protocol)); });
}

int connect(int descriptor, const sockaddr* address, socklen_t length) {
    static const auto real = systems<decltype(connect)>("connect");
    return plain(Call::Connect, [&] { return real(descriptor, address, length); });
}

int setsockopt(int descriptor, int level, int option, const void* value,
               socklen_t length) noexcept {
    static const auto real = systems<decltype(setsockopt)>("setsockopt");
    return plain(Call::Setsockopt, [&] { return real(descriptor, level, option, value, length); });
}

int select(int count, fd_set* read, fd_set* write, fd_set* exception, timeval* limit) {
    static const auto real = systems<decltype(select)>("select");
    return plain(Call::Select, [&] { return real(count, read, write, exception, limit); });
}

ssize_t send(int descriptor, const void* octets, std::size_t length, int flags) {
    static const auto real = systems<decltype(send)>("send");
    return transfer(Call::Send, length,
                    [&](std::size_t some) { return real(descriptor, octets, some, flags); });
}

ssize_t recv(int descriptor, void* octets, std::size_t length, int flags) {
    static const auto real = systems<decltype(recv)>("recv");
    return transfer(Call::Recv, length,
                    [&](std::size_t some) { return real(descriptor, octets, some, flags); });
}

int ioctl(int descriptor, unsigned long request, ...) noexcept {
    static const auto real = systems<decltype(ioctl)>("ioctl");
    va_list arguments;
    va_start(arguments, request);
    void* const value = va_arg(arguments, void*);
    va_end(arguments);
    return plain(Call::Ioctl, [&] { return real(descriptor, request, value); });
}

int close(int descriptor) {
    static const auto real = systems<decltype(close)>("close");
    const bool fails = isDue(Call::Close);  // or the process dies here
    --calls.descriptors;
    const int result = real(descriptor);
    return fails ? failed() : result;
}

int open(const char* path, int flags, ...) {
    static const auto real = systems<decltype(open)>("open");
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return plain(Call::Open, [&] { return opened(real(path, flags, mode)); });
}

ssize_t read(int descriptor, void* octets, std::size_t length) {
    static const auto real = systems<decltype(read)>("read");
    return transfer(Call::Read, length,
                    [&](std::size_t some) { return real(descriptor, octets, some); });
}

ssize_t write(int descriptor, const void* octets, std::size_t length) {
    static const auto real = systems<decltype(write)>("write");
    return transfer(Call::Write, length,
                    [&](std::size_t some) { return real(descriptor, octets, some); });
}

int fsync(int descriptor) {
    static const auto real = systems<decltype(fsync)>("fsync");
    return plain(Call::Fsync, [&] { return real(descriptor); });
}

int fstat(int descriptor, struct stat* status) noexcept {
    static const auto real = systems<int(int, struct stat*)>("fstat");
    return plain(Call::Fstat, [&] { return real(descriptor, status); });
}

int lstat(const char* path, struct stat* status) noexcept {
    static const auto real = systems<int(const char*, struct stat*)>("lstat");
    return plain(Call::Lstat, [&] { return real(path, status); });
}

int mkdir(const char* path, mode_t mode) noexcept {
    static const auto real = systems<decltype(mkdir)>("mkdir");
    return plain(Call::Mkdir, [&] { return real(path, mode); });
}

int access(const char* path, int mode) noexcept {
    static const auto real = systems<decltype(access)>("access");
    return plain(Call::Access, [&] { return real(path, mode); });
}

int flock(int descriptor, int operation) noexcept {
    static const auto real = systems<int(int, int)>("flock");
    return plain(Call::Flock, [&] { return real(descriptor, operation); });
}

int fchown(int descriptor, uid_t owner, gid_t group) noexcept {
    static const auto real = systems<decltype(fchown)>("fchown");
    return plain(Call::Fchown, [&] { return real(descriptor, owner, group); });
}

int fchmod(int descriptor, mode_t mode) noexcept {
    static const auto real = systems<decltype(fchmod)>("fchmod");
    return plain(Call::Fchmod, [&] { return real(descriptor, mode); });
}

int unlink(const char* path) noexcept {
    static const auto real = systems<decltype(unlink)>("unlink");
    return plain(Call::Unlink, [&] { return real(path); });
}

int rename(const char* from, const char* to) noexcept {
    static const auto real = systems<decltype(rename)>("rename");
    return plain(Call::Rename, [&] { return real(from, to); });
}

}  // extern "C"
#pragma GCC visibility pop

const char* nameOf(Call call) {
    static constexpr const char* names[] = {
        "socket", "connect", "setsockopt", "select", "send",   "recv",    "ioctl", "close",
        "open",   "read",    "write",      "fsync",  "fstat",  "lstat",   "mkdir", "access",
        "flock",  "fchown",  "fchmod",     "unlink", "rename", "any call"};
    return names[static_cast<std::size_t>(call)];
}

std::string describe(Call call, const Outcome& outcome) {
    const std::string name = nameOf(call);
    switch (outcome.kind) {
        case Kind::Error:
            return name + ": " + std::strerror(outcome.error);
        case Kind::Short:
            return name + " is short";
        case Kind::Nothing:
            return name + " gives 0";
        default:
            return name + ": killed before it";
    }
}

namespace {

std::vector<Outcome> errors(std::initializer_list<int> numbers) {
    std::vector<Outcome> outcomes;
    for (const int number : numbers) outcomes.push_back({Kind::Error, number});
    return outcomes;
}

std::vector<Outcome> with(const Outcome& one, std::vector<Outcome> outcomes) {
    outcomes.push_back(one);
    return outcomes;
}

}  // namespace

const std::vector<Fault>& allFaults() {
    static const std::vector<Fault> faults = {
        {Call::Socket, errors({EMFILE, ENFILE, ENOBUFS, ENOMEM, EACCES, EAFNOSUPPORT})},
        {Call::Connect, errors({ECONNREFUSED, ETIMEDOUT, EHOSTUNREACH, ENETUNREACH, EINTR,
                                EADDRNOTAVAIL, EAGAIN})},
        {Call::Setsockopt, errors({ENOPROTOOPT, EINVAL})},
        {Call::Ioctl, errors({EBADF, EINVAL, ENOTTY})},
        {Call::Select, with({Kind::Nothing}, errors({EINTR, EBADF, EINVAL, ENOMEM}))},
        {Call::Send, with({Kind::Short}, errors({EPIPE, ECONNRESET, EAGAIN, EINTR, ENOBUFS, ENOMEM,
                                                 ETIMEDOUT, EHOSTUNREACH}))},
        {Call::Recv, with({Kind::Short}, with({Kind::Nothing}, errors({ECONNRESET, ETIMEDOUT,
                                                                       EAGAIN, EINTR, ENOMEM})))},
        {Call::Open, errors({EACCES, EMFILE, ENFILE, ENOMEM, EINTR, ELOOP, EIO, ENOSPC, EDQUOT})},
        {Call::Read, with({Kind::Short}, errors({EIO, EINTR, EISDIR}))},
        {Call::Write, with({Kind::Short}, errors({EIO, ENOSPC, EDQUOT, EFBIG, EINTR}))},
        {Call::Fsync, errors({EIO, ENOSPC, EDQUOT})},
        {Call::Close, errors({EIO, EINTR, ENOSPC, EDQUOT})},
        {Call::Fstat, errors({EIO, ENOMEM, EOVERFLOW})},
        {Call::Lstat, errors({EIO, EACCES, ENOMEM})},
        {Call::Mkdir, errors({EACCES, EIO, ENOSPC, EDQUOT, EROFS})},
        {Call::Access, errors({EACCES, EIO, EROFS})},
        {Call::Flock, errors({EINTR, ENOLCK, EIO})},
        {Call::Fchown, errors({EPERM, EIO, EINVAL})},
        {Call::Fchmod, errors({EPERM, EIO, EROFS})},
        {Call::Unlink, errors({EACCES, EIO, EBUSY, EROFS})},
        {Call::Rename, errors({EIO, ENOSPC, EDQUOT, EACCES, EPERM, EROFS})},
    };
    return faults;
}

CallFault::CallFault(Call call, long number, const Outcome& outcome) {
    calls.call = call;
    calls.kind = outcome.kind;
    calls.error = outcome.error;
    calls.left = number;
    calls.hasHappened = false;
    calls.isArmed = true;
}

CallFault::~CallFault() { calls.isArmed = false; }

bool CallFault::hasHappened() { return calls.hasHappened; }

long descriptorsOfThread() { return calls.descriptors; }
