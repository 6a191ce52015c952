// SPDX-License-Identifier: Apache-2.0
// SMTP submission of one message to a list of recipients (RFC 5321).
//
// Plain TCP: no TLS, no authentication, no pipelining. One thread at a time per object.
// Failure: replies that refuse, and connections that are lost, are results (false, 0), with the
// server's words kept; open may throw socket_error. Every command and reply line is reported to
// the host's diagnostics (id 11, tag "smtpclient (vtinetlib.dll)").
#pragma once

#include <cstddef>
#include <istream>
#include <string>
#include <vector>

#include "host/host.h"
#include "inet/api.h"
#include "inet/socketstream.utf16.h"

/// One connection to a server: open, isExtensionSupported, deliver (any number of times), close.
class VTINETLIB_API SMTPClient {
  public:
    SMTPClient();
    /// Closes the connection without QUIT.
    ~SMTPClient();

    /// Connects, reads the greeting and sends EHLO, or HELO to a server that does not know EHLO.
    /// A null `port` is the service "smtp". True when the server is ready for a transaction; false
    /// when it refused or the client is already open. Throws socket_error when connecting fails.
    /// Each wait for the server is at most 300 seconds.
    bool open(const Zeb_String& host, const unsigned short* port = nullptr);
    /// The same for a u"..." literal.
    bool open(const Zeb_String& host, const char16_t* port);
    /// The same for a literal null.
    bool open(const Zeb_String& host, std::nullptr_t) { return open(host); }

    /// One mail transaction. Addresses are bare or in angle brackets behind a name; a recipient
    /// that has no form on one ASCII line is skipped, with such a sender nothing is sent. `message`
    /// is in wire form (CR LF line ends); it is read from its buffer, from the current position to
    /// its end, and gets a line end if its last line has none. Returns how many recipients the
    /// server accepted, 0 when the transaction failed. The reply to the message is awaited for 600
    /// seconds. May throw socket_error; the connection is closed then.
    unsigned deliver(const Zeb_String& from, const CStringArray& recipients, std::istream& message);

    /// Whether the server announced `name` on a line without parameters, case and all. The last
    /// line of an EHLO reply is not looked at.
    bool isExtensionSupported(const Zeb_String& name) const;

    /// Sends QUIT, reads the reply and closes.
    void close();

    /// Sends one command line (given without its line end) and reads the reply.
    void sendCommand(const std::string& command);
    /// Reads one reply of one or more lines into the reply code and text.
    void readReply();

    /// The address of a mailbox text: what stands between the first "<" and a ">" at the very
    /// end, else the whole text.
    static std::string extractEmailAddress(const AdMbcsString& mailbox);

    /// Three characters, or "999" when the last reply was none (connection lost, time-out,
    /// malformed). Empty before the first.
    const std::string& getReplyCode() const { return replyCode_; }
    /// Text of the last reply, its lines joined by LF.
    const std::string& getReplyText() const { return replyText_; }
    /// Lines of the last EHLO reply but for the first and the last that have text, parameters
    /// included.
    const std::vector<std::string>& getExtensions() const { return extensions_; }

  private:
    VTINETLIB_HIDDEN void connect(const Zeb_String& host, const Zeb_String& port);
    VTINETLIB_HIDDEN bool greet();
    VTINETLIB_HIDDEN bool giveUp();
    VTINETLIB_HIDDEN void storeExtensions();
    VTINETLIB_HIDDEN bool readReplyLine(std::string& line);
    VTINETLIB_HIDDEN bool isReplyClass(char first) const;
    VTINETLIB_HIDDEN unsigned sendRecipients(const CStringArray& recipients);
    VTINETLIB_HIDDEN bool sendMessage(std::istream& message);

    socketstream connection_;
    std::vector<std::string> extensions_;
    std::string replyCode_;
    std::string replyText_;
};
