// SPDX-License-Identifier: Apache-2.0
// A TCP connection as a standard stream.
//
// Units: octets. One thread at a time per object.
// Failure: a system call that fails throws socket_error from the buffer; standard stream
// operations absorb it into the stream's state. A time-out or a peer that has closed is no error
// but the end of the data. A peer that has gone never raises SIGPIPE.
// A signal that interrupts a wait is an error (EINTR), with SA_RESTART too: the system never takes
// up a select again. A host whose timers send signals holds them back (pthread_sigmask) from the
// threads that handle mail. Descriptors may have any number and are closed in programs that start.
// Every step is reported to the host's diagnostics (id 11, tag "socketbuf (vtinetlib.dll)").
#pragma once

#include <sys/types.h>

#include <istream>
#include <memory>
#include <stdexcept>
#include <streambuf>
#include <string>

#include "host/host.h"
#include "inet/api.h"

/// The calling thread's errno; all socket code reads error numbers through it.
VTINETLIB_API int WSAGetLastError();

/// A failed network operation. Thrown by value, caught by reference.
class VTINETLIB_API socket_error : public std::runtime_error {
  public:
    /// `code`: an errno value, a getaddrinfo status, an ICU status (host name that has no ASCII
    /// form) or the octet count of a short send. what() is getMessage(code, context).
    socket_error(int code, const char* context);
    ~socket_error() override;

    /// As given to the constructor.
    int code() const { return code_; }

    /// A sentence for people, in the host's default charset. It depends on the code alone; the
    /// context is accepted and not used, as every call site relies on.
    static std::string getMessage(int code, const char* context);
    /// Throws a socket_error.
    [[noreturn]] static void raiseException(int code, const char* context);

  private:
    int code_;
};

/// Stream buffer over one socket, with a get and a put buffer of 1024 octets each, allocated on
/// first use. Reading never disturbs pending output. A full put buffer may wait in the system for
/// the octets behind it, up to 0.2 seconds; what is synchronised (pubsync) goes out at once.
class VTINETLIB_API socketbuf : public std::streambuf {
  public:
    socketbuf();
    /// Closes without a report. Pending output is not sent.
    ~socketbuf() override;
    socketbuf(const socketbuf&) = delete;
    socketbuf& operator=(const socketbuf&) = delete;

    /// Connects to the first address of `host` that accepts. `port` is a service name ("smtp") or
    /// a decimal number. A host name is turned into its ASCII form (IDNA) first. Starts with empty
    /// buffers. Returns this; throws socket_error. The wait for a connection is the system's.
    socketbuf* open(const Zeb_String& host, const unsigned short* port);
    /// The same for a u"..." literal.
    socketbuf* open(const Zeb_String& host, const char16_t* port);

    /// Returns this. Pending output is not sent; a closed buffer stays as it is.
    socketbuf* close();
    /// Whether there is a connection.
    bool is_open() const { return descriptor_ != -1; }

    /// Bounds every later wait to `seconds` (fractions count). 0 waits without limit, as a new
    /// buffer does. A negative time makes the next wait fail. The time outlives the connection,
    /// but the next one reads and writes blocking until it is set again; only wait_readwrite keeps
    /// to it. Throws socket_error.
    void setTimeout(double seconds);

    /// Waits until the socket can be read or written. False on time-out; throws socket_error.
    bool wait_readwrite(bool forRead);

    /// Sends all pending output. False on time-out; throws socket_error, also for a short send:
    /// its code is then the number of octets sent. The argument is not used.
    bool send_output(bool);

  protected:
    int sync() override;
    int_type overflow(int_type c) override;
    int_type underflow() override;

  private:
    friend class POP3Client;
    /// Whether octets have arrived that were not read.
    VTINETLIB_HIDDEN bool hasUnread();
    VTINETLIB_HIDDEN bool wait(bool forRead, bool orUrgent);
    VTINETLIB_HIDDEN void closeSilently();
    VTINETLIB_HIDDEN void reportConnected();
    VTINETLIB_HIDDEN bool sendPending(int flags);
    VTINETLIB_HIDDEN ssize_t sendWithRoom(std::size_t length, int flags);
    [[noreturn]] VTINETLIB_HIDDEN void raiseSendFailure(int code);

    int descriptor_ = -1;
    bool timeoutActive_ = false;
    double timeout_ = 0;
    static constexpr int uncounted = -1;  // of a blocking socket
    int sendsWithRoom_ = uncounted;       // so many more of them cannot be short ones
    std::unique_ptr<char[]> getBuffer_;
    std::unique_ptr<char[]> putBuffer_;
};

/// Stream that owns one socketbuf. Bad until open succeeds and again after close.
class VTINETLIB_API socketstream : public std::iostream {
  public:
    socketstream();
    ~socketstream() override;

    /// As socketbuf::open; the state is good afterwards. A socket_error is thrown on when the
    /// exception mask holds failbit; otherwise it sets failbit and open returns.
    void open(const Zeb_String& host, const unsigned short* port);
    /// The same for a u"..." literal.
    void open(const Zeb_String& host, const char16_t* port);
    /// As socketbuf::setTimeout, with the same rule for a socket_error.
    void setTimeout(double seconds);
    /// As socketbuf::close; the state is bad afterwards.
    void close();
    /// Whether there is a connection.
    bool is_open() const { return buffer_.is_open(); }
    /// The buffer, which the stream owns.
    socketbuf* rdbuf() const { return const_cast<socketbuf*>(&buffer_); }

  private:
    template <typename Operation>
    VTINETLIB_HIDDEN void absorbing(Operation operation);

    socketbuf buffer_;
};

/// Reads up to the next line feed, which is taken and not stored; a carriage return before it
/// stays in `line`. Returns `in`.
VTINETLIB_API std::istream& socketgetline(std::istream& in, std::string& line);

// Internal to the library; not exported.

/// Closes a connection when an exception ends the scope: what was begun on it cannot be gone on
/// with, and the server would take the next command for a part of that.
class ClosedByException {
  public:
    /// The connection must outlive this.
    explicit ClosedByException(socketstream& connection);
    ~ClosedByException();
    ClosedByException(const ClosedByException&) = delete;
    ClosedByException& operator=(const ClosedByException&) = delete;

  private:
    socketstream& connection_;
    const int exceptions_;  // under way when the scope began
};
