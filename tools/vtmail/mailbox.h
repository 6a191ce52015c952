// SPDX-License-Identifier: Apache-2.0
// A mailbox at a POP3 server, with reasons that a user can act on.
#pragma once

#include <optional>
#include <ostream>
#include <string>

#include "inet/pop3client.utf16.h"
#include "tools/vtmail/failure.h"
#include "tools/vtmail/watchdog.h"

struct MailboxOptions {
    std::string host;
    std::string port = "pop3";
    unsigned int timeout = 300;   // seconds without anything from the server
    bool traces = false;          // the protocol log goes to stderr
    bool tracesPassword = false;  // in clear
};

/// One connection to a mailbox. Every step throws Failure where the dialogue cannot go on. One
/// object at a time: the library has one reporter. Without end() the server deletes nothing.
class Mailbox {
  public:
    /// Connects.
    explicit Mailbox(const MailboxOptions& options);
    Mailbox(const Mailbox&) = delete;
    Mailbox& operator=(const Mailbox&) = delete;

    /// Both are ASCII on one line, and not empty.
    void logIn(const std::string& user, const std::string& password);
    /// The number of messages.
    int count();
    /// Writes message `n`, counted from 1, to `out`. False when the server refuses it.
    bool retrieve(int n, std::ostream& out);
    /// Throws when more has come than message `n`, the one retrieved last.
    void expectNoMoreOf(int n);
    /// Marks message `n`, the one retrieved last; end() makes the server delete it. False when the
    /// server refuses.
    bool remove(int n);
    /// Says goodbye; throws when the server does not confirm it.
    void end();

    /// The server's words in its last reply, fit to be shown.
    std::string words() const;
    /// To be called while the text of a message comes in.
    void feedWatchdog() const { watchdog_.feed(); }

  private:
    /// The library's reports, taken for as long as this lives.
    class Reports {
      public:
        explicit Reports(AdDiagnostic::Reporter reporter);
        ~Reports();
        Reports(const Reports&) = delete;
        Reports& operator=(const Reports&) = delete;
    };

    void take(const std::string& report);
    std::string masked(std::string report) const;
    bool isRefused() const;
    Failure failure() const;
    Failure connectFailure() const;
    Failure outOfStep(int n) const;
    std::string fault() const;

    MailboxOptions options_;
    Watchdog watchdog_;
    std::string password_;
    std::string step_ = "the greeting";
    std::optional<std::string> reply_;  // to that step; none before it has come
    std::string lastFault_;             // of the socket
    bool isConnected_ = false;
    bool isEnding_ = false;
    bool isGivenUp_ = false;  // by the client, which says goodbye where the greeting is a refusal
    Reports reports_;
    POP3Client client_;
};
