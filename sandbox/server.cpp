// SPDX-License-Identifier: Apache-2.0
// The network side of the server. One thread runs everything: for each service a coroutine that
// accepts clients, and for each client one that carries octets between its socket and a session.
#include "sandbox/server.h"

#include <fcntl.h>

#include <algorithm>
#include <array>
#include <asio.hpp>
#include <system_error>
#include <thread>
#include <utility>

#include "sandbox/pop3_session.h"
#include "sandbox/quiet_thread.h"
#include "sandbox/script.h"
#include "sandbox/session.h"
#include "sandbox/smtp_session.h"
#include "sandbox/store.h"
#include "sandbox/transcript.h"

namespace sandbox {
namespace {

using asio::use_awaitable;
using asio::ip::tcp;
using Task = asio::awaitable<void>;

/// What all connections of a server share.
struct Shared {
    explicit Shared(ServerOptions given)
        : options(std::move(given)),
          store(options.folder, options.maildir),
          script(options.replies, options.seed),
          transcript(options.observer) {}

    const ServerOptions options;
    Store store;
    Script script;
    Transcript transcript;
    std::size_t openConnections = 0;
};

/// Whether these octets, in place of the usual, mean that the command is not carried out.
bool isRefusal(const std::string& octets, Step step) {
    const char first = octets.empty() ? '\0' : octets.front();
    if (step == Step::Data) return first != '3';
    return first != '2' && first != '3' && first != '+';
}

void garble(std::string& octets) {
    for (char& octet : octets)
        if (octet != '\r' && octet != '\n') octet = static_cast<char>(~octet);
}

/// Programs that are started while the server runs shall not hold its sockets.
template <typename Socket>
void closeOnExec(Socket& socket) {
    fcntl(socket.native_handle(), F_SETFD, FD_CLOEXEC);
}

class Connection {
  public:
    Connection(tcp::socket socket, Service service, std::size_t number, Shared& shared)
        : socket_(std::move(socket)), service_(service), number_(number), shared_(shared) {
        if (service == Service::Smtp)
            session_ = std::make_unique<SmtpSession>(shared.options, shared.store);
        else
            session_ = std::make_unique<Pop3Session>(shared.options, shared.store);
        closeOnExec(socket_);
        ++shared_.openConnections;
    }
    ~Connection() { --shared_.openConnections; }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// Until the end of the dialogue. Throws std::system_error when the client has gone.
    Task serve() {
        socket_.set_option(tcp::no_delay(true));
        if (isOneTooMany()) {
            co_await turnAway();
            co_return;
        }
        Command command{Step::Greeting};
        while (true) {
            co_await answer(command);
            if (!socket_.is_open() || session_->isOver()) break;
            if (session_->takesData())
                command = co_await readMessage();
            else
                command = co_await readCommand();
        }
        close();
    }

  private:
    bool isOneTooMany() const {
        const std::size_t limit = shared_.options.limits.connections;
        return limit != 0 && shared_.openConnections > limit;
    }

    Task turnAway() {
        const std::string code = service_ == Service::Smtp ? "421" : "-ERR";
        // g++ 12 destroys what is made inside a co_await twice.
        const Reply usual;
        Answer refusal{code + " too many connections\r\n"};
        co_await say(usual, std::move(refusal));
        close();
    }

    asio::awaitable<Command> readCommand() {
        const std::size_t limit = shared_.options.limits.commandLine;
        bool isTooLong = false;
        std::size_t searched = 0;
        std::size_t end = std::string::npos;
        while ((end = buffer_.find("\r\n", searched)) == std::string::npos) {
            // The first octets are shown, the last one may be a CR, the rest may go.
            isTooLong |= limit != 0 && buffer_.size() > limit;
            if (isTooLong) buffer_.erase(limit - 1, buffer_.size() - limit);
            searched = buffer_.empty() ? 0 : buffer_.size() - 1;
            co_await receive();
        }
        isTooLong |= limit != 0 && end + 2 > limit;
        std::string line = buffer_.substr(0, end);
        buffer_.erase(0, end + 2);
        shared_.transcript.add({Line::Side::Client, line, service_, number_});
        co_return isTooLong ? Command{Step::Unknown, std::move(line), /*isTooLong=*/true}
                            : parseCommand(service_, line);
    }

    asio::awaitable<Command> readMessage() {
        buffer_.erase(0, session_->takeData(buffer_));
        while (session_->takesData()) {
            co_await receive();
            buffer_.erase(0, session_->takeData(buffer_));
        }
        co_return Command{Step::EndOfData};
    }

    Task answer(const Command& command) {
        const Reply scripted = shared_.script.replyTo(service_, command);
        if (!scripted.name.empty())
            shared_.transcript.add({Line::Side::Script, scripted.name, service_, number_});
        Answer answer;
        if (scripted.octets && isRefusal(*scripted.octets, command.step))
            session_->refuse(command);
        else
            answer = session_->perform(command);
        if (scripted.octets) answer = {*scripted.octets};
        co_await say(scripted, std::move(answer));
        co_await end(scripted.ending);
    }

    Task say(const Reply& scripted, Answer answer) {
        co_await wait(scripted.delay);
        const std::size_t shown = answer.words.size();
        std::string octets = std::move(answer.words) + answer.content;
        if (scripted.isHalved) octets.resize(octets.size() / 2);
        octets.resize(std::min(scripted.length.value_or(octets.size()), octets.size()));
        if (scripted.isGarbled) garble(octets);
        shared_.transcript.addReply(std::string_view(octets).substr(0, shown), service_, number_);
        const std::size_t segment = scripted.isOneByOne ? 1 : octets.size();
        for (std::size_t at = 0; at < octets.size(); at += segment)
            co_await asio::async_write(socket_, asio::buffer(octets.data() + at, segment),
                                       use_awaitable);
    }

    Task wait(std::chrono::milliseconds time) {
        asio::steady_timer timer(socket_.get_executor(), time);
        if (time.count() > 0) co_await timer.async_wait(use_awaitable);
    }

    Task end(Reply::Ending ending) {
        switch (ending) {
            case Reply::Ending::KeepOpen:
                break;
            case Reply::Ending::Close:
                close();
                break;
            case Reply::Ending::Reset:
                reset();
                break;
            case Reply::Ending::Silence:
                co_await listen();
        }
    }

    /// Until the client has gone, which throws.
    Task listen() {
        while (true) {
            buffer_.clear();
            co_await receive();
        }
    }

    Task receive() {
        std::array<char, 16384> octets;
        const std::size_t count =
            co_await socket_.async_read_some(asio::buffer(octets), use_awaitable);
        buffer_.append(octets.data(), count);
    }

    void close() {
        if (!socket_.is_open()) return;
        // With octets unread the system would reset the connection instead.
        asio::error_code ignored;
        std::string unread(socket_.available(ignored), '\0');
        socket_.read_some(asio::buffer(unread), ignored);
        socket_.close(ignored);
    }

    void reset() {
        asio::error_code ignored;
        socket_.set_option(tcp::socket::linger(true, 0), ignored);
        socket_.close(ignored);
    }

    tcp::socket socket_;
    const Service service_;
    const std::size_t number_;
    Shared& shared_;
    std::unique_ptr<Session> session_;
    std::string buffer_;  // received and not yet used
};

Task serveClient(tcp::socket socket, Service service, std::size_t number, Shared& shared) {
    try {
        Connection connection(std::move(socket), service, number, shared);
        co_await connection.serve();
    } catch (const std::system_error&) {
        // The client has gone without a word; that is its right.
    }
}

/// Throws std::system_error.
tcp::acceptor listenOn(asio::io_context& context, const ServerOptions& options, std::uint16_t port,
                       const std::string& serviceName) {
    try {
        const tcp::endpoint endpoint(asio::ip::make_address(options.address), port);
        tcp::acceptor acceptor(context, endpoint, /*reuse_addr=*/true);
        closeOnExec(acceptor);
        return acceptor;
    } catch (const std::system_error& error) {
        // Asio's category does not compare with std::errc.
        throw std::system_error(error.code().value(), std::system_category(),
                                "cannot listen for " + serviceName + " on " + options.address +
                                    ':' + std::to_string(port));
    }
}

}  // namespace

class Server::Implementation {
  public:
    explicit Implementation(ServerOptions options)
        : shared_(std::move(options)),
          smtp_(listenOn(context_, shared_.options, shared_.options.smtpPort, "SMTP")),
          pop3_(listenOn(context_, shared_.options, shared_.options.pop3Port, "POP3")) {
        asio::co_spawn(context_, accept(smtp_, Service::Smtp), asio::detached);
        asio::co_spawn(context_, accept(pop3_, Service::Pop3), asio::detached);
        thread_ = startQuietThread([this] { context_.run(); });
    }

    ~Implementation() {
        context_.stop();
        thread_.join();
    }

    Implementation(const Implementation&) = delete;
    Implementation& operator=(const Implementation&) = delete;

    Shared& shared() { return shared_; }
    std::uint16_t smtpPort() const { return smtpPort_; }
    std::uint16_t pop3Port() const { return pop3Port_; }

  private:
    Task accept(tcp::acceptor& acceptor, Service service) {
        while (true) {
            asio::error_code error;
            tcp::socket socket =
                co_await acceptor.async_accept(asio::redirect_error(use_awaitable, error));
            if (error)
                co_await waitForDescriptors();
            else
                asio::co_spawn(context_,
                               serveClient(std::move(socket), service, ++connections_, shared_),
                               asio::detached);
        }
    }

    /// When a client cannot be accepted, it is for want of descriptors or memory.
    Task waitForDescriptors() {
        asio::steady_timer timer(context_, std::chrono::milliseconds(100));
        co_await timer.async_wait(use_awaitable);
    }

    Shared shared_;
    std::size_t connections_ = 0;  // so far
    // Behind what the connections use: its end is the end of their coroutines.
    asio::io_context context_{1};
    tcp::acceptor smtp_;
    tcp::acceptor pop3_;
    const std::uint16_t smtpPort_ = smtp_.local_endpoint().port();
    const std::uint16_t pop3Port_ = pop3_.local_endpoint().port();
    std::thread thread_;
};

Server::Server(Options options)
    : implementation_(std::make_unique<Implementation>(std::move(options))) {}
Server::~Server() = default;

std::uint16_t Server::smtpPort() const { return implementation_->smtpPort(); }
std::uint16_t Server::pop3Port() const { return implementation_->pop3Port(); }

void Server::on(Service service, Step step, Reply reply, When when) {
    implementation_->shared().script.add({service, step, std::move(reply), std::move(when)});
}

std::vector<Message> Server::messages() const { return implementation_->shared().store.messages(); }

std::vector<Arrival> Server::arrivals() const { return implementation_->shared().store.arrivals(); }

bool Server::waitForMessages(std::size_t count, std::chrono::milliseconds timeout) const {
    return implementation_->shared().store.waitForMessages(count, timeout);
}

void Server::addMessage(std::string data) {
    implementation_->shared().store.addMail(std::move(data));
}

std::vector<std::string> Server::mailbox() const {
    std::vector<std::string> messages;
    for (const Mail& mail : implementation_->shared().store.mailbox())
        messages.push_back(mail.message->data);
    return messages;
}

std::vector<Line> Server::transcript() const {
    return implementation_->shared().transcript.lines();
}

}  // namespace sandbox
