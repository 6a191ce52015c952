// SPDX-License-Identifier: Apache-2.0
#include "sandbox/private_network.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string_view>
#include <system_error>

namespace sandbox {
namespace {

constexpr std::uint16_t smtpPort = 25;

/// A file descriptor that is closed at the end of its scope.
class Descriptor {
  public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        if (number_ >= 0) ::close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int number() const { return number_; }

  private:
    int number_;
};

std::string reasonOf(int error) { return std::generic_category().message(error); }

bool writeFile(const char* path, std::string_view text) {
    const Descriptor file(open(path, O_WRONLY | O_CLOEXEC));
    return file.number() >= 0 &&
           write(file.number(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

/// A user namespace has no users until they are mapped; this one knows its maker by the same id.
bool mapUser(uid_t user, gid_t group) {
    const auto same = [](unsigned id) {
        return std::to_string(id) + ' ' + std::to_string(id) + " 1";
    };
    // Kernels without this file let the group be mapped all the same.
    writeFile("/proc/self/setgroups", "deny");
    return writeFile("/proc/self/uid_map", same(user)) &&
           writeFile("/proc/self/gid_map", same(group));
}

bool bringUpLoopback() {
    const Descriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    ifreq request{};
    std::strncpy(request.ifr_name, "lo", sizeof request.ifr_name - 1);
    if (ioctl(socket.number(), SIOCGIFFLAGS, &request) != 0) return false;
    request.ifr_flags = static_cast<short>(request.ifr_flags | IFF_UP | IFF_RUNNING);
    return ioctl(socket.number(), SIOCSIFFLAGS, &request) == 0;
}

/// 0, or why the SMTP port of this address cannot be used.
int smtpPortError(const std::string& address) {
    const Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in name{};
    name.sin_family = AF_INET;
    name.sin_port = htons(smtpPort);
    inet_pton(AF_INET, address.c_str(), &name.sin_addr);
    // As servers do: a connection that ended a moment ago is no obstacle.
    const int on = 1;
    setsockopt(socket.number(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    const bool canListen =
        bind(socket.number(), reinterpret_cast<const sockaddr*>(&name), sizeof name) == 0 &&
        listen(socket.number(), 1) == 0;
    return canListen ? 0 : errno;
}

[[noreturn]] void fail(const std::string& what, int error, const std::string& advice) {
    throw std::runtime_error(what + " (" + reasonOf(error) + "): " + advice);
}

std::string settleIn() {
    const std::string address = "127.0.0.1";
    if (!bringUpLoopback())
        fail("cannot bring up the loopback interface of the private network", errno,
             "let this user make user namespaces, or run as root");
    // exec takes the right to low ports from an ordinary user, not from this setting.
    writeFile("/proc/sys/net/ipv4/ip_unprivileged_port_start", "0");
    if (const int error = smtpPortError(address))
        fail("cannot listen on port 25 of the private network", error, "run as root");
    return address;
}

std::string enterAsRoot() {
    if (unshare(CLONE_NEWNET) == 0) return settleIn();
    // 127.0.0.0/8 has an address for each process; 127.0.x.y is left to others.
    const auto id = static_cast<unsigned>(getpid());
    const std::string address = "127." + std::to_string(1 + (id >> 16) % 254) + '.' +
                                std::to_string((id >> 8) & 0xFF) + '.' + std::to_string(id & 0xFF);
    if (const int error = smtpPortError(address))
        fail("cannot make a network namespace, nor listen on port 25 of " + address, error,
             "give this process CAP_SYS_ADMIN, or CAP_NET_BIND_SERVICE");
    return address;
}

std::string enterAsUser() {
    const uid_t user = geteuid();
    const gid_t group = getegid();
    if (unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0)
        fail("cannot make a network namespace", errno,
             "allow user namespaces (sysctl kernel.unprivileged_userns_clone and "
             "user.max_user_namespaces), or run as root");
    if (!mapUser(user, group))
        fail("cannot map the user into a namespace", errno,
             "lift the restriction of user namespaces, or run as root");
    return settleIn();
}

}  // namespace

std::string enterPrivateNetwork() { return geteuid() == 0 ? enterAsRoot() : enterAsUser(); }

}  // namespace sandbox
