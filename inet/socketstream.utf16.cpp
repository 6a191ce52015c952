// SPDX-License-Identifier: Apache-2.0
// TCP as a stream.
//
// Sections: errors, the resolver, the buffer's life, waiting, writing, reading, the stream.
#include "inet/socketstream.utf16.h"

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unicode/uidna.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <exception>
#include <utility>
#include <vector>

#include "inet/wiretext.utf16.h"

namespace {

using Traits = std::char_traits<char>;

constexpr int endOfFile = Traits::eof();
constexpr std::size_t bufferSize = 1024;
constexpr char16_t tag[] = u"socketbuf (vtinetlib.dll)";

template <typename... Arguments>
void report(const char16_t* format, const Arguments&... arguments) {
    if (!isReporting()) return;
    Zeb_String text;
    text.Format(format, arguments...);
    AdDiagnostic::Report(tag, text);
}

}  // namespace

// ==== errors

int WSAGetLastError() { return errno; }

socket_error::socket_error(int code, const char* context)
    : std::runtime_error(getMessage(code, context)), code_(code) {}

socket_error::~socket_error() = default;

/// Kept: the message of a socket_error depends on its code alone, the context is not shown.
std::string socket_error::getMessage(int code, const char* /*context*/) {
    constexpr unsigned int otherFailure = 25977;
    // Errno values; 1 to 3 are also the resolver's HOST_NOT_FOUND, TRY_AGAIN and NO_RECOVERY.
    static constexpr struct {
        int code;
        unsigned int message;
    } messages[] = {{1, 25968},   {112, 25969}, {110, 25970}, {89, 25971}, {2, 25972},
                    {100, 25973}, {3, 25974},   {13, 25975},  {14, 25976}};
    Zeb_String text;
    text.Format(otherFailure, code);
    for (const auto& known : messages)
        if (known.code == code) text.Format(known.message);
    AdMbcsString octets;
    octets.cvtFromTchar(AdCharset::getDefaultCharset(), text, 1);
    return octets.getString();
}

void socket_error::raiseException(int code, const char* context) {
    throw socket_error(code, context);
}

// ==== the resolver

namespace {

/// What getaddrinfo is asked; `failure` is 0, or why the names cannot be asked for at all.
struct ResolverQuery {
    std::string host;
    std::string port;
    int failure = 0;
};

/// The ASCII form of a host name (IDNA, RFC 3490). Sets `status` on failure.
Zeb_String asciiHostName(const Zeb_String& host, UErrorCode& status) {
    AdUTF16String utf16;
    if (!utf16.cvtFromTchar(host)) {
        status = U_INVALID_CHAR_FOUND;
        return {};
    }
    const std::u16string source(utf16.getData(), utf16.getData() + utf16.getLength());
    std::array<char16_t, 65> ascii;
    // Kept: names are mapped as by IDNA 2003; the newer UTS #46 maps some of them otherwise.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    const int length =
        uidna_IDNToASCII(source.data(), static_cast<int>(source.size()), ascii.data(),
                         static_cast<int>(ascii.size()), UIDNA_DEFAULT, nullptr, &status);
#pragma GCC diagnostic pop
    if (U_FAILURE(status)) return {};
    return Zeb_String::FromUnits(ascii.data(), static_cast<std::size_t>(length));
}

ResolverQuery makeQuery(const Zeb_String& host, const unsigned short* port) {
    ResolverQuery query;
    UErrorCode status = U_ZERO_ERROR;
    const Zeb_String ascii = asciiHostName(host, status);
    if (U_FAILURE(status)) {
        query.failure = status;
    } else if (!oneLineOctets(ascii, query.host) || !oneLineOctets(port, query.port)) {
        query.failure = U_INVALID_CHAR_FOUND;
    }
    return query;
}

struct AddressListDeleter {
    void operator()(addrinfo* list) const { freeaddrinfo(list); }
};
using AddressList = std::unique_ptr<addrinfo, AddressListDeleter>;

/// The addresses of a host. Throws socket_error when there are none.
AddressList resolve(const Zeb_String& host, const unsigned short* port) {
    const ResolverQuery query = makeQuery(host, port);
    int status = query.failure;
    addrinfo* list = nullptr;
    if (status == 0) {
        addrinfo hints = {};
        hints.ai_socktype = SOCK_STREAM;
        status = getaddrinfo(query.host.c_str(), query.port.c_str(), &hints, &list);
    }
    if (list == nullptr) {
        report(u"getaddrinfo(%s,%s) failed (%d)", host, Zeb_String(port), status);
        socket_error::raiseException(status, "gethostbyname(%s)");
    }
    return AddressList(list);
}

/// A connected socket; or -1 with the reason in `error`.
int connectTo(const addrinfo& address, int& error) {
    const int descriptor =
        socket(address.ai_family, address.ai_socktype | SOCK_CLOEXEC, address.ai_protocol);
    if (descriptor == -1) {
        error = WSAGetLastError();
        report(u"socket() failed (%d)", error);
        return -1;
    }
    if (connect(descriptor, address.ai_addr, address.ai_addrlen) == -1) {
        error = WSAGetLastError();
        close(descriptor);
        report(u"connect() failed (%d)", error);
        return -1;
    }
    return descriptor;
}

/// What is synchronised goes out; without this, it would wait for the acknowledgement of what went
/// before.
void sendAtOnce(int descriptor) {
    const int on = 1;
    setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

}  // namespace

// ==== the buffer's life

socketbuf::socketbuf() = default;

socketbuf::~socketbuf() { closeSilently(); }

void socketbuf::closeSilently() {
    if (is_open()) ::close(descriptor_);
    descriptor_ = -1;
}

socketbuf* socketbuf::open(const Zeb_String& host, const unsigned short* port) {
    closeSilently();
    setg(nullptr, nullptr, nullptr);
    setp(nullptr, nullptr);
    sendsWithRoom_ = uncounted;
    const AddressList addresses = resolve(host, port);
    int error = 0;
    for (const addrinfo* address = addresses.get(); address != nullptr;
         address = address->ai_next) {
        descriptor_ = connectTo(*address, error);
        if (!is_open()) continue;
        sendAtOnce(descriptor_);
        reportConnected();
        return this;
    }
    socket_error::raiseException(error, "connect");
}

/// A report may lack memory: there is no connection then.
void socketbuf::reportConnected() {
    try {
        report(u"connect succeeded");
    } catch (...) {
        closeSilently();
        throw;
    }
}

socketbuf* socketbuf::open(const Zeb_String& host, const char16_t* port) {
    return open(host, Zeb_String(port).GetBuffer());
}

socketbuf* socketbuf::close() {
    if (!is_open()) return this;
    closeSilently();  // first of all: a report may lack memory
    report(u"closing socket");
    return this;
}

void socketbuf::setTimeout(double seconds) {
    const bool isBounded = seconds != 0.0;
    if (isBounded) timeout_ = seconds;
    int nonBlocking = isBounded ? 1 : 0;
    if (ioctl(descriptor_, FIONBIO, &nonBlocking) == -1) {
        const int error = WSAGetLastError();
        report(isBounded ? u"ioctl(FIONBIO,1) failed (%d)" : u"ioctl(FIONBIO,0) failed (%d)",
               error);
        socket_error::raiseException(error, isBounded ? "ioctl(FIONBIO,1)" : "ioctl(FIONBIO,0)");
    }
    timeoutActive_ = isBounded;
    sendsWithRoom_ = isBounded ? std::max(sendsWithRoom_, 0) : uncounted;
}

// ==== waiting

namespace {

/// Descriptor set of any size, for one descriptor; an fd_set ends at 1023.
class DescriptorSet {
  public:
    explicit DescriptorSet(int descriptor) {
        if (descriptor >= FD_SETSIZE)
            large_.resize(static_cast<std::size_t>(descriptor) / FD_SETSIZE + 1);
        FD_SET(descriptor % FD_SETSIZE, large_.empty() ? &small_ : &large_.back());
    }
    fd_set* get() { return large_.empty() ? &small_ : large_.data(); }

  private:
    fd_set small_ = {};
    std::vector<fd_set> large_;
};

/// Truncated to microseconds. What is no time at all becomes one that select refuses.
timeval selectLimit(double seconds) {
    constexpr double longest = 1e9;
    if (std::isnan(seconds) || seconds <= -longest) return {-1, 0};
    if (seconds >= longest) return {static_cast<time_t>(longest), 0};
    const double whole = std::trunc(seconds);
    return {static_cast<time_t>(whole), static_cast<suseconds_t>((seconds - whole) * 1e6)};
}

/// The result of select on one descriptor; no `limit` waits for ever.
int selectOne(int descriptor, bool forRead, bool orUrgent, timeval* limit) {
    if (descriptor < 0) {
        errno = EBADF;
        return -1;
    }
    DescriptorSet ready(descriptor);
    DescriptorSet exceptional(descriptor);
    return select(descriptor + 1, forRead ? ready.get() : nullptr, forRead ? nullptr : ready.get(),
                  orUrgent ? exceptional.get() : nullptr, limit);
}

}  // namespace

bool socketbuf::wait_readwrite(bool forRead) { return wait(forRead, /*orUrgent=*/true); }

/// Urgent data of the peer, which nobody reads, ends every wait at once. So an operation that would
/// still block is not to wait for them again: it would neither go on nor time out.
bool socketbuf::wait(bool forRead, bool orUrgent) {
    timeval limit = timeoutActive_ ? selectLimit(timeout_) : timeval{};
    timeval* const bound = timeoutActive_ ? &limit : nullptr;
    const int result = selectOne(descriptor_, forRead, orUrgent, bound);
    if (result == 0) {
        report(u"select timed out");
        return false;
    }
    if (result == -1) {
        const int error = WSAGetLastError();
        report(u"select() failed (%d)", error);
        socket_error::raiseException(error, "select");
    }
    return true;
}

// ==== writing

namespace {

/// How many put buffers the socket has room for now, whatever its peer does meanwhile. Where this
/// cannot be found out the answer is 1, and the send shows what is wrong.
int findRoom(int descriptor) {
    timeval noTime = {};
    const int ready = selectOne(descriptor, /*forRead=*/false, /*orUrgent=*/false, &noTime);
    if (ready == 0) return 0;
    // A third of what a writable socket may hold is free. With what the system notes beside it, a
    // put buffer takes less than 8 KiB of that, on ways of small segments too.
    constexpr int takenBySend = 8192;
    int mayHold = 0;
    socklen_t length = sizeof mayHold;
    getsockopt(descriptor, SOL_SOCKET, SO_SNDBUF, &mayHold, &length);
    return std::max(1, mayHold / 3 / takenBySend);
}

}  // namespace

int socketbuf::sync() { return send_output(true) ? 0 : -1; }

socketbuf::int_type socketbuf::overflow(int_type c) {
    if (c == endOfFile) return 0;
    if (!sendPending(MSG_MORE)) return endOfFile;  // at least `c` follows
    if (pbase() == nullptr) {
        if (!putBuffer_) putBuffer_ = std::make_unique<char[]>(bufferSize);
        setp(putBuffer_.get(), putBuffer_.get() + bufferSize);
    }
    if (pptr() == epptr()) return endOfFile;
    *pptr() = Traits::to_char_type(c);
    pbump(1);
    return c;
}

bool socketbuf::send_output(bool /*unused*/) { return sendPending(0); }

bool socketbuf::sendPending(int flags) {
    if (pptr() == pbase()) return true;
    const auto length = static_cast<std::size_t>(pptr() - pbase());
    ssize_t sent = sendWithRoom(length, flags);
    bool orUrgent = true;
    while (sent == -1 && WSAGetLastError() == EAGAIN) {
        if (!wait(/*forRead=*/false, std::exchange(orUrgent, false))) return false;
        sent = sendWithRoom(length, flags);
    }
    if (sent == -1) raiseSendFailure(WSAGetLastError());
    // Kept: a short send is a failure, with the octets sent as its code, and is not resumed.
    if (static_cast<std::size_t>(sent) < length) raiseSendFailure(static_cast<int>(sent));
    setp(putBuffer_.get(), putBuffer_.get() + bufferSize);
    return true;
}

/// Sends the first `length` octets of the put area. A non-blocking send into a nearly full socket
/// would be a short one, time and again on a slow way: so one without room is not begun, and
/// counts as one that would block.
ssize_t socketbuf::sendWithRoom(std::size_t length, int flags) {
    if (sendsWithRoom_ != uncounted) {
        if (sendsWithRoom_ == 0) sendsWithRoom_ = findRoom(descriptor_);
        if (sendsWithRoom_ == 0) {
            errno = EAGAIN;
            return -1;
        }
        --sendsWithRoom_;
    }
    return send(descriptor_, pbase(), length, flags | MSG_NOSIGNAL);
}

void socketbuf::raiseSendFailure(int code) {
    report(u"send(%d) failed (%d)", static_cast<int>(pptr() - pbase()), code);
    socket_error::raiseException(code, "send(%d)");
}

// ==== reading

bool socketbuf::hasUnread() {
    if (!is_open()) return false;
    int arrived = 0;
    return gptr() != egptr() || (ioctl(descriptor_, FIONREAD, &arrived) == 0 && arrived > 0);
}

socketbuf::int_type socketbuf::underflow() {
    if (!getBuffer_) getBuffer_ = std::make_unique<char[]>(bufferSize);
    bool orUrgent = true;
    while (gptr() == egptr()) {
        const ssize_t received = recv(descriptor_, getBuffer_.get(), bufferSize, 0);
        if (received == 0) return endOfFile;
        if (received > 0) {
            setg(getBuffer_.get(), getBuffer_.get(), getBuffer_.get() + received);
        } else if (WSAGetLastError() != EAGAIN) {
            const int error = WSAGetLastError();
            report(u"recv() failed (%d)", error);
            socket_error::raiseException(error, "recv");
        } else if (!wait(/*forRead=*/true, std::exchange(orUrgent, false))) {
            return endOfFile;
        }
    }
    return Traits::to_int_type(*gptr());
}

// ==== the stream

socketstream::socketstream() : std::iostream(nullptr) {
    std::ios::rdbuf(&buffer_);
    setstate(badbit);
}

socketstream::~socketstream() = default;

template <typename Operation>
void socketstream::absorbing(Operation operation) {
    try {
        operation();
    } catch (const socket_error&) {
        if ((exceptions() & failbit) != 0) throw;
        setstate(failbit);
    }
}

void socketstream::open(const Zeb_String& host, const unsigned short* port) {
    absorbing([&] {
        if (buffer_.open(host, port) != nullptr)
            clear();
        else
            setstate(failbit);
    });
}

void socketstream::open(const Zeb_String& host, const char16_t* port) {
    open(host, Zeb_String(port).GetBuffer());
}

void socketstream::setTimeout(double seconds) {
    absorbing([&] { buffer_.setTimeout(seconds); });
}

void socketstream::close() {
    buffer_.close();
    setstate(badbit);
}

ClosedByException::ClosedByException(socketstream& connection)
    : connection_(connection), exceptions_(std::uncaught_exceptions()) {}

ClosedByException::~ClosedByException() {
    if (std::uncaught_exceptions() == exceptions_) return;
    try {
        connection_.close();
    } catch (...) {  // NOLINT(bugprone-empty-catch): the report was lost, the socket is closed
    }
}

std::istream& socketgetline(std::istream& in, std::string& line) {
    return std::getline(in, line, in.widen('\n'));
}
