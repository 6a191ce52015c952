// SPDX-License-Identifier: Apache-2.0
// POP3 retrieval (RFC 1939): USER, PASS, STAT, RETR, DELE, QUIT.
//
// Plain TCP: no TLS. One thread at a time per object. Failure: what the server refuses, and a
// connection that is lost, is a result (false, 0), with the server's words kept. Every line sent
// and received is reported to the host's diagnostics (id 11, tag "pop3client (vtinetlib.dll)"),
// the password in clear; a message is not.
#pragma once

#include <cstddef>
#include <ostream>
#include <string>

#include "host/host.h"
#include "inet/api.h"
#include "inet/socketstream.utf16.h"

/// One connection to a mailbox: open, auth_pass, the commands, close.
class VTINETLIB_API POP3Client {
  public:
    POP3Client();
    /// Closes the connection without QUIT: the server deletes nothing then.
    ~POP3Client();

    /// Connects and reads the greeting. A null `port` is the service "pop3". False when connecting
    /// fails, when the server refuses, and when the client is already open.
    bool open(const Zeb_String& host, const unsigned short* port = nullptr);
    /// The same for a u"..." literal.
    bool open(const Zeb_String& host, const char16_t* port);
    /// The same for a literal null.
    bool open(const Zeb_String& host, std::nullptr_t) { return open(host); }

    /// Logs in. A name or password that has no form on one ASCII line is refused here.
    bool auth_pass(const Zeb_String& user, const Zeb_String& password);
    /// The number of messages; 0 on any failure, and for a reply that ends with the number.
    int countMessages();
    /// Writes message `n`, counted from 1, to `out`: lines joined by LF, trailing blanks gone, a
    /// blank line as a lone CR, no line end behind the last one. False when the message did not
    /// come to its end; what came is in `out`.
    bool getMessage(int n, std::ostream& out);
    /// Marks message `n`; the server deletes it at close.
    bool deleteMessage(int n);
    /// Sends QUIT, reads the reply and closes; nothing when the client is closed.
    void close();

    /// Sends one command line (given without its line end) and reads the status line.
    bool sendCommand(const std::string& command);
    /// Reads one status line; true for "+OK".
    bool readReply();
    /// Reads the lines of a message, or list, up to the lone dot; see getMessage.
    bool readLines(std::ostream& out);

    /// Whether the last message, or list, and all before it on this connection ended as RFC 1939
    /// has it, with CR LF, a dot and CR LF, or came from a server that ends its status lines in a
    /// bare line feed, too. A lone dot between bare line feeds ends a message for the client; but
    /// from any other server that dot may stand in the mail, and the mail's sender have written the
    /// replies to come. Ask before you delete; once it is false for a message that was whole, trust
    /// no reply and do not close with QUIT.
    bool isEndCertain() const { return isEndCertain_; }
    /// Whether octets have arrived that belong to no reply so far; what is still on its way does
    /// not count.
    bool hasUnread();

    /// What stood behind "+OK" or "-ERR" in the last status line, its blank included; the whole of
    /// a line that begins with neither; "Unknown error" when there was no line.
    const std::string& getLastReply() const { return lastReply_; }

  private:
    socketstream connection_;
    std::string lastReply_;
    bool statusHasReturn_ = false;  // the last status line ended in CR LF
    bool isInStep_ = true;          // every message has had a certain end
    bool isEndCertain_ = false;     // it came, and so
};
