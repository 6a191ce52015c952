// SPDX-License-Identifier: Apache-2.0
// GNU libmicrohttpd speaks HTTP, driven by a loop of our own: its time limit is one of inactivity,
// and a client that sends an octet now and then would keep its connection for ever.
#include "tools/vtmail/page_server.h"

#include <microhttpd.h>
#include <netdb.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <map>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

#include "sandbox/quiet_thread.h"
#include "tools/vtmail/descriptor.h"

namespace page {
namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned mostConnections = 16;
/// Octets of a request line with its header fields that are answered; the library refuses what
/// goes beyond the room for a connection.
constexpr std::size_t mostOfRequest = 8 << 10;
constexpr std::size_t roomForConnection = 32 << 10;

const std::pair<const char*, const char*> safetyFields[] = {
    {"Content-Security-Policy",
     "default-src 'none'; style-src 'self'; base-uri 'none'; form-action 'none'; "
     "frame-ancestors 'none'"},
    {"X-Content-Type-Options", "nosniff"},
    {"Referrer-Policy", "no-referrer"},
    {"Cache-Control", "no-store"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
    {"Cross-Origin-Opener-Policy", "same-origin"},
    {"Connection", "close"},
};

// ---- addresses

struct AddressListDeleter {
    void operator()(addrinfo* list) const { freeaddrinfo(list); }
};

/// Throws std::system_error.
Descriptor listenOn(const std::string& address, std::uint16_t port) {
    const std::string place = address + ":" + std::to_string(port);
    addrinfo wanted = {};
    wanted.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV | AI_PASSIVE;
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo* list = nullptr;
    if (getaddrinfo(address.c_str(), std::to_string(port).c_str(), &wanted, &list) != 0)
        throw std::system_error(EINVAL, std::system_category(), "cannot listen on " + place);
    const std::unique_ptr<addrinfo, AddressListDeleter> found(list);
    Descriptor listener(
        socket(found->ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, found->ai_protocol));
    const int yes = 1;
    setsockopt(listener.number(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    if (bind(listener.number(), found->ai_addr, found->ai_addrlen) != 0 ||
        listen(listener.number(), SOMAXCONN) != 0)
        throw std::system_error(errno, std::system_category(),
                                "cannot listen for the page on " + place);
    return listener;
}

/// Address and port of our end, as figures.
std::pair<std::string, std::string> ownEnd(int socket) {
    sockaddr_storage address = {};
    socklen_t length = sizeof address;
    getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length);
    char host[NI_MAXHOST] = "";
    char port[NI_MAXSERV] = "";
    getnameinfo(reinterpret_cast<sockaddr*>(&address), length, host, sizeof host, port, sizeof port,
                NI_NUMERICHOST | NI_NUMERICSERV);
    const std::string_view name = host;
    const std::string_view ofIpv4 = "::ffff:";  // where a client of IPv4 meets a listener of IPv6
    return {std::string(name.substr(name.starts_with(ofIpv4) ? ofIpv4.size() : 0)), port};
}

/// What a Host field names, without port and brackets.
std::string_view nameIn(std::string_view host) {
    if (host.starts_with('[')) return host.substr(1, host.find(']') - 1);
    return host.substr(0, host.find(':'));
}

// ---- requests and responses

int socketOf(MHD_Connection* connection) {
    return MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd;
}

bool isTooLong(MHD_Connection* connection) {
    return MHD_get_connection_info(connection, MHD_CONNECTION_INFO_REQUEST_HEADER_SIZE)
               ->header_size > mostOfRequest;
}

/// A port is not compared: it may have been forwarded.
bool isForThisMachine(MHD_Connection* connection) {
    const char* const host =
        MHD_lookup_connection_value(connection, MHD_HEADER_KIND, MHD_HTTP_HEADER_HOST);
    if (host == nullptr) return false;
    const std::string_view name = nameIn(host);
    return name == "localhost" || (!name.empty() && name == ownEnd(socketOf(connection)).first);
}

/// RFC 6266, with the name in ASCII for those who know no other.
std::string dispositionOf(const std::string& fileName) {
    static constexpr std::string_view figures = "0123456789ABCDEF";
    std::string ascii;
    std::string encoded;
    for (const char c : fileName) {
        const auto octet = static_cast<unsigned char>(c);
        const bool isPlain = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') ||
                             (c >= 'a' && c <= 'z') || c == '.' || c == '-' || c == '_';
        ascii += isPlain ? c : '_';
        if (isPlain)
            encoded += c;
        else
            (encoded += '%').append({figures[octet >> 4], figures[octet & 15]});
    }
    return "attachment; filename=\"" + ascii + "\"; filename*=UTF-8''" + encoded;
}

void deleteString(void* string) { delete static_cast<std::string*>(string); }

MHD_Result send(MHD_Connection* connection, Reply reply) {
    auto body = std::make_unique<std::string>(std::move(reply.body));
    MHD_Response* const response = MHD_create_response_from_buffer_with_free_callback_cls(
        body->size(), body->data(), deleteString, body.get());
    if (response == nullptr) return MHD_NO;
    static_cast<void>(body.release());
    for (const auto& [name, value] : safetyFields) MHD_add_response_header(response, name, value);
    MHD_add_response_header(response, MHD_HTTP_HEADER_CONTENT_TYPE, reply.type.c_str());
    if (!reply.fileName.empty())
        MHD_add_response_header(response, MHD_HTTP_HEADER_CONTENT_DISPOSITION,
                                dispositionOf(reply.fileName).c_str());
    if (reply.status == MHD_HTTP_METHOD_NOT_ALLOWED)
        MHD_add_response_header(response, MHD_HTTP_HEADER_ALLOW, "GET, HEAD");
    const MHD_Result result =
        MHD_queue_response(connection, static_cast<unsigned>(reply.status), response);
    MHD_destroy_response(response);
    return result;
}

Reply replyTo(MHD_Connection* connection, const std::string& path, std::string_view method,
              const Server::Handler& handler) {
    if (!isForThisMachine(connection))
        return problemReply(403, "Refused",
                            "This page answers on localhost, and under the address that it listens "
                            "on; under no other name.");
    if (isTooLong(connection)) return problemReply(431, "Too much", "The request is too long.");
    if (method != MHD_HTTP_METHOD_GET && method != MHD_HTTP_METHOD_HEAD)
        return problemReply(405, "Not allowed", "This page can be read, nothing else.");
    try {
        return handler(path);
    } catch (const std::exception&) {
        return problemReply(500, "Failed", "There was not enough memory to make this page.");
    }
}

MHD_Result answer(void* handler, MHD_Connection* connection, const char* path, const char* method,
                  const char* /*version*/, const char* /*upload*/, std::size_t* /*uploadSize*/,
                  void** /*context*/) {
    try {
        return send(connection, replyTo(connection, path, method,
                                        *static_cast<const Server::Handler*>(handler)));
    } catch (const std::exception&) {
        return MHD_NO;  // which closes the connection
    }
}

// ---- connections

/// When each connection has to be done.
class Deadlines {
  public:
    explicit Deadlines(Clock::duration patience) : patience_(patience) {}

    void add(int socket) { ends_[socket] = Clock::now() + patience_; }
    void remove(int socket) { ends_.erase(socket); }

    /// Milliseconds until the next one; -1 when there is none.
    int untilNext() const {
        if (ends_.empty()) return -1;
        const auto next = std::ranges::min_element(ends_, {}, &Ends::value_type::second);
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(next->second - Clock::now());
        return static_cast<int>(std::max(left.count(), std::int64_t{0}));
    }

    /// Ends the connections whose time is over; the library closes them then.
    void enforce() {
        std::erase_if(ends_, [now = Clock::now()](const auto& each) {
            if (each.second > now) return false;
            shutdown(each.first, SHUT_RDWR);
            return true;
        });
    }

  private:
    using Ends = std::map<int, Clock::time_point>;

    const Clock::duration patience_;
    Ends ends_;
};

void noteConnection(void* deadlines, MHD_Connection* connection, void** /*context*/,
                    MHD_ConnectionNotificationCode event) {
    auto& all = *static_cast<Deadlines*>(deadlines);
    if (event == MHD_CONNECTION_NOTIFY_STARTED)
        all.add(socketOf(connection));
    else
        all.remove(socketOf(connection));
}

struct DaemonDeleter {
    void operator()(MHD_Daemon* daemon) const { MHD_stop_daemon(daemon); }
};

}  // namespace

class Server::Implementation {
  public:
    Implementation(Descriptor listener, Handler handler, Clock::duration patience)
        : port_(static_cast<std::uint16_t>(std::stoi(ownEnd(listener.number()).second))),
          handler_(std::move(handler)),
          deadlines_(patience),
          daemon_(start(std::move(listener))),
          thread_(sandbox::startQuietThread([this] { run(); })) {}

    ~Implementation() {
        eventfd_write(end_.number(), 1);
        thread_.join();
    }

    Implementation(const Implementation&) = delete;
    Implementation& operator=(const Implementation&) = delete;

    std::uint16_t port() const { return port_; }

  private:
    MHD_Daemon* start(Descriptor listener) {
        MHD_Daemon* const daemon = MHD_start_daemon(
            MHD_USE_EPOLL, 0, nullptr, nullptr, answer, &handler_, MHD_OPTION_LISTEN_SOCKET,
            listener.number(), MHD_OPTION_CONNECTION_LIMIT, mostConnections,
            MHD_OPTION_CONNECTION_MEMORY_LIMIT, roomForConnection, MHD_OPTION_NOTIFY_CONNECTION,
            noteConnection, &deadlines_, MHD_OPTION_SIGPIPE_HANDLED_BY_APP, 1, MHD_OPTION_END);
        if (daemon == nullptr)
            throw std::system_error(errno, std::system_category(), "cannot serve the page");
        static_cast<void>(listener.release());  // the library closes it
        return daemon;
    }

    void run() {
        const int events = MHD_get_daemon_info(daemon_.get(), MHD_DAEMON_INFO_EPOLL_FD)->epoll_fd;
        pollfd watched[] = {{events, POLLIN, 0}, {end_.number(), POLLIN, 0}};
        while (true) {
            poll(watched, 2, timeToWait());
            if (watched[1].revents != 0) return;
            deadlines_.enforce();
            MHD_run(daemon_.get());
            MHD_run(daemon_.get());  // accepts where the first one has closed connections
        }
    }

    int timeToWait() const {
        MHD_UNSIGNED_LONG_LONG soon = 0;
        return MHD_get_timeout(daemon_.get(), &soon) == MHD_YES ? static_cast<int>(soon)
                                                                : deadlines_.untilNext();
    }

    const std::uint16_t port_;
    Handler handler_;
    Deadlines deadlines_;
    const Descriptor end_{eventfd(0, EFD_CLOEXEC)};
    const std::unique_ptr<MHD_Daemon, DaemonDeleter> daemon_;
    std::thread thread_;
};

Server::Server(const std::string& address, std::uint16_t port, Handler handler,
               std::chrono::milliseconds patience)
    : implementation_(std::make_unique<Implementation>(listenOn(address, port), std::move(handler),
                                                       patience)) {}
Server::~Server() = default;

std::string urlOf(const std::string& address, std::uint16_t port) {
    const bool isAnyAddress = address == "0.0.0.0" || address == "::";
    const bool isIpv6 = address.find(':') != std::string::npos;
    const std::string host = isAnyAddress ? "localhost" : isIpv6 ? "[" + address + "]" : address;
    return "http://" + host + ":" + std::to_string(port) + "/";
}

std::uint16_t Server::port() const { return implementation_->port(); }

}  // namespace page
