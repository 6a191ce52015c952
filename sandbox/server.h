// SPDX-License-Identifier: Apache-2.0
// A loopback SMTP and POP3 server, for trying things out and for tests.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sandbox/reply.h"

namespace sandbox {

/// A message as SMTP brought it.
struct Message {
    std::string sender;                   // the reverse path without < and >, may be empty
    std::vector<std::string> recipients;  // in the order of their RCPT commands
    std::string data;  // the octets between DATA and the end line, dot-unstuffed, CR LF kept
    bool operator==(const Message&) const = default;
};

/// A message that came by SMTP.
struct Arrival {
    std::size_t number;  // from 1, in the order of their end
    std::chrono::system_clock::time_point time;
    std::shared_ptr<const Message> message;
};

/// A line of a dialogue. The lines of a message are no part of it, in either direction.
struct Line {
    enum class Side {
        Client,
        Server,
        Script,  // no line that was sent: the name of the reply that is given now
    };

    Side side;
    std::string text;  // without its CR LF; of a reply that was cut or garbled, what was sent
    Service service;
    std::size_t connection;  // counted from 1 over both services
    bool operator==(const Line&) const = default;
};

/// Sizes in octets, line ends included; 0 is no limit.
struct Limits {
    std::size_t message = 10240000;  // a larger one is answered 552
    std::size_t commandLine = 1000;  // a longer one is answered 500, or -ERR
    std::size_t dataLine = 0;        // a message with a longer one is answered 500
    std::size_t recipients = 1000;   // of a message; one more is answered 452
    std::size_t connections = 100;   // at once, of both services; one more gets 421, or -ERR
};

/// What a server with these limits announces after EHLO when it is told nothing else.
std::vector<std::string> usualEhloLines(const Limits& limits);

/// A step that is answered in another way than usual; see Reply and When.
struct ScriptedReply {
    Service service;
    Step step;
    Reply reply;
    When when = {};
};

struct ServerOptions {
    std::string address = "127.0.0.1";
    std::uint16_t smtpPort = 0;  // 0 picks a free one
    std::uint16_t pop3Port = 0;
    /// Each message that SMTP brings becomes a `.eml` file here; it is made when missing.
    std::optional<std::filesystem::path> folder = {};
    /// Each message that SMTP brings becomes a file in this Maildir, and what was in its new and
    /// cur before is in the mailbox that POP3 serves; it is made when missing.
    std::optional<std::filesystem::path> maildir = {};
    /// What POP3 asks for; without a user any name and password will do.
    std::optional<std::string> pop3User = {};
    std::string pop3Password = {};
    Limits limits = {};
    /// The lines that follow the first one in the reply to EHLO, without their "250-".
    /// The parameters SIZE= and BODY= are taken only when SIZE and 8BITMIME are among them.
    std::vector<std::string> ehloLines = usualEhloLines(limits);
    std::vector<ScriptedReply> replies = {};
    std::uint64_t seed = 0;  // of the replies with a probability
    /// Told each line of the dialogues as it happens, on the server's thread; must not throw.
    std::function<void(const Line&)> observer = {};
};

/// Serves from construction to destruction, on a thread of its own, any number of clients at
/// once. What SMTP accepts is in messages(), in the mailbox that POP3 serves to everyone, and on
/// disk when there is a folder, all before the client reads its 250.
/// All members may be called from any thread. Text is octets.
class Server {
  public:
    using Options = ServerOptions;

    /// Throws std::system_error when it cannot listen, naming address and port, or when it
    /// cannot make the folders or read the Maildir.
    explicit Server(Options options = {});
    /// Ends all connections; does not wait for clients.
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    std::uint16_t smtpPort() const;
    std::uint16_t pop3Port() const;

    /// Answers a step in another way from now on. Of the replies that fit a command the one
    /// that was added first is given, those of the options before all others.
    void on(Service service, Step step, Reply reply, When when = {});

    /// All messages that came by SMTP so far, in the order of their end. POP3 deletes none of
    /// these.
    std::vector<Message> messages() const;
    /// The same without copies of them, and when they came.
    std::vector<Arrival> arrivals() const;
    /// Waits until at least `count` messages have come by SMTP. False when the time is over.
    bool waitForMessages(std::size_t count, std::chrono::milliseconds timeout) const;

    /// Puts a message into the mailbox that POP3 serves, as if it had come by SMTP.
    void addMessage(std::string data);
    /// The messages in the mailbox, oldest first.
    std::vector<std::string> mailbox() const;

    /// The newest lines of all dialogues, at most 100 000, oldest first.
    std::vector<Line> transcript() const;

  private:
    class Implementation;
    std::unique_ptr<Implementation> implementation_;
};

}  // namespace sandbox
