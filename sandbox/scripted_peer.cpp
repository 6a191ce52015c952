// SPDX-License-Identifier: Apache-2.0
// The thread plays one connection after the other. Every wait is a poll() with the time limit of
// its move; it also ends at once when the peer is given up. What goes wrong first is thrown as
// Difference and ends the thread.
#include "sandbox/scripted_peer.h"

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <mutex>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

#include "sandbox/escapes.h"

namespace sandbox {
namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::milliseconds;

struct Difference : std::runtime_error {
    using std::runtime_error::runtime_error;
};
/// The peer was destroyed before its script ended.
struct GivenUp {};

// A silence ends by a signal or by the client.
constexpr auto forEver = std::chrono::hours(24);

class Descriptor {
  public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() { close(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int number() const { return number_; }
    void close() {
        if (number_ >= 0) ::close(std::exchange(number_, -1));
    }

  private:
    int number_;
};

/// Wakes the waits of the thread. Once raised it stays so.
class Signal {
  public:
    Signal() : event_(eventfd(0, EFD_CLOEXEC)) {
        if (event_.number() < 0)
            throw std::system_error(errno, std::generic_category(), "cannot make an event");
    }
    void raise() { eventfd_write(event_.number(), 1); }
    int descriptor() const { return event_.number(); }

  private:
    Descriptor event_;
};

/// What the clients sent and what was said, for any thread.
class Record {
  public:
    void startConnection() {
        const std::lock_guard lock(mutex_);
        received_.emplace_back();
    }
    void addReceived(std::string_view octets) {
        const std::lock_guard lock(mutex_);
        received_.back() += octets;
    }
    std::vector<std::string> received() const {
        const std::lock_guard lock(mutex_);
        return received_;
    }

  private:
    mutable std::mutex mutex_;
    std::vector<std::string> received_;  // for each connection
};

/// The signals of a peer, and how long a wait may take.
struct Waits {
    Signal finishing;  // ends silences and waits for the client's close
    Signal givenUp;    // ends all waits
    Milliseconds timeLimit;

    enum class Result { Ready, TimeOver, Finishing };

    /// Waits for `events` of poll() on a descriptor. Throws GivenUp.
    Result wait(int descriptor, short events, Clock::time_point deadline,
                bool endsWhenFinishing = false) const {
        std::array<pollfd, 3> polled{
            {{descriptor, events, 0},
             {givenUp.descriptor(), POLLIN, 0},
             {endsWhenFinishing ? finishing.descriptor() : -1, POLLIN, 0}}};
        int count = -1;
        do {
            const auto left = std::chrono::ceil<Milliseconds>(deadline - Clock::now()).count();
            count = poll(polled.data(), polled.size(), static_cast<int>(std::max(left, {})));
        } while (count < 0 && errno == EINTR);
        if (polled[1].revents) throw GivenUp();
        if (polled[0].revents) return Result::Ready;
        return polled[2].revents ? Result::Finishing : Result::TimeOver;
    }
    Clock::time_point deadline() const { return Clock::now() + timeLimit; }
    std::string limitText() const { return std::to_string(timeLimit.count()) + " ms"; }
};

/// One connection with a client.
class Conversation {
  public:
    Conversation(int descriptor, const Waits& waits, Record& record, std::string& transcript)
        : socket_(descriptor), waits_(waits), record_(record), transcript_(transcript) {
        const int on = 1;
        setsockopt(socket_.number(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        record_.startConnection();
    }

    void make(const Move& move) {
        deadline_ = waits_.deadline();
        switch (move.kind) {
            case Move::Kind::Say:
                return say(move.octets, move.octets.size());
            case Move::Kind::SayOneByOne:
                return say(move.octets, 1);
            case Move::Kind::ExpectLine:
                return expectLine(move.octets);
            case Move::Kind::ExpectData:
                return expectData(move.octets);
            case Move::Kind::ReadUntil:
                return readUntil(move.octets);
            case Move::Kind::Close:
                return close();
            case Move::Kind::Reset:
                return reset();
            case Move::Kind::Silence:
                return silence();
        }
    }

    /// After the last move: nothing more may come.
    void end() {
        if (socket_.number() < 0) return;
        deadline_ = waits_.deadline();
        shutdown(socket_.number(), SHUT_WR);
        listen();
        if (!pending_.empty())
            throw Difference("expected nothing more\nreceived: " + escaped(pending_));
    }

  private:
    void say(std::string_view octets, std::size_t segment) {
        note("S", octets);
        while (!octets.empty()) octets.remove_prefix(send(octets.substr(0, segment)));
    }

    std::size_t send(std::string_view octets) {
        if (waits_.wait(socket_.number(), POLLOUT, deadline_) != Waits::Result::Ready)
            throw Difference("the client does not read, for " + waits_.limitText());
        const ssize_t count =
            ::send(socket_.number(), octets.data(), octets.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count >= 0) return static_cast<std::size_t>(count);
        if (errno == EAGAIN || errno == EINTR) return 0;
        throw Difference("the client was gone before it was told: " + escaped(octets));
    }

    void expectLine(const std::string& text) {
        const std::size_t end = receiveUntil("\r\n", "line ", text);
        if (pending_.compare(0, end, text) != 0)
            throw Difference("expected: " + escaped(text) + "\nreceived: " +
                             escaped(pending_.substr(0, end)) + atDifference(text, pending_));
        take(end + 2);
    }

    void expectData(const std::string& octets) {
        std::size_t compared = 0;
        while (true) {
            const std::size_t count = std::min(octets.size(), pending_.size()) - compared;
            if (pending_.compare(compared, count, octets, compared, count) != 0)
                throw Difference("expected: " + escaped(octets) + "\nreceived: " +
                                 escaped(pending_) + atDifference(octets, pending_));
            compared += count;
            if (compared == octets.size()) return take(compared);
            receive("data ", octets);
        }
    }

    void readUntil(const std::string& octets) {
        take(receiveUntil(octets, "anything up to ", octets) + octets.size());
    }

    /// Returns where `octets` are in what has come, once they have. The rest is for receive().
    std::size_t receiveUntil(std::string_view octets, const std::string& what,
                             const std::string& wanted) {
        std::size_t from = 0;
        std::size_t found = std::string::npos;
        while ((found = pending_.find(octets, from)) == std::string::npos) {
            // The next search starts where the octets can begin at the earliest.
            from = pending_.size() - std::min(pending_.size(), octets.size() - 1);
            receive(what, wanted);
        }
        return found;
    }

    static std::string atDifference(const std::string& expected, const std::string& received) {
        const auto both =
            std::mismatch(expected.begin(), expected.end(), received.begin(), received.end());
        return "\nthe first difference is at octet " +
               std::to_string(both.first - expected.begin());
    }

    /// Waits for more octets. When none come, the explanation says `what` of `wanted` was expected.
    void receive(const std::string& what, const std::string& wanted) {
        const bool isReady =
            waits_.wait(socket_.number(), POLLIN, deadline_) == Waits::Result::Ready;
        if (isReady && receiveAvailable()) return;
        throw Difference(
            "expected: " + what + escaped(wanted) + "\nreceived: " + escaped(pending_) + "\nthen " +
            (isReady ? "the end of the connection" : "nothing for " + waits_.limitText()));
    }

    /// False at the end of the connection.
    bool receiveAvailable() {
        std::array<char, 65536> octets;
        const ssize_t count = recv(socket_.number(), octets.data(), octets.size(), MSG_DONTWAIT);
        if (count < 0) return errno == EAGAIN || errno == EINTR;
        const std::string_view part(octets.data(), static_cast<std::size_t>(count));
        record_.addReceived(part);
        pending_ += part;
        return count > 0;
    }

    /// Reads until the client closes, the peer finishes or the time is over.
    void listen() {
        while (waits_.wait(socket_.number(), POLLIN, deadline_, /*endsWhenFinishing=*/true) ==
               Waits::Result::Ready)
            if (!receiveAvailable()) return;
    }

    void silence() {
        deadline_ = Clock::now() + forEver;
        note("silence");
        listen();
        socket_.close();
    }

    void close() {
        // With octets unread the system would reset the connection instead.
        for (std::size_t before = 0; receiveAvailable() && pending_.size() > before;)
            before = pending_.size();
        note("close");
        socket_.close();
    }

    void reset() {
        const linger now{1, 0};
        setsockopt(socket_.number(), SOL_SOCKET, SO_LINGER, &now, sizeof now);
        note("reset");
        socket_.close();
    }

    void take(std::size_t count) {
        note("C", pending_.substr(0, count));
        pending_.erase(0, count);
    }

    void note(const std::string& side, std::string_view octets) {
        note(side + ": " + escaped(octets));
    }
    void note(const std::string& line) { transcript_ += line + '\n'; }

    Descriptor socket_;
    const Waits& waits_;
    Record& record_;
    std::string& transcript_;
    Clock::time_point deadline_;
    std::string pending_;  // received and not yet judged
};

bool isLastMove(const Move& move) {
    return move.kind == Move::Kind::Close || move.kind == Move::Kind::Reset ||
           move.kind == Move::Kind::Silence;
}

void checkMoves(const std::vector<Dialogue>& dialogues) {
    for (const Dialogue& dialogue : dialogues) {
        const auto last = std::find_if(dialogue.begin(), dialogue.end(), isLastMove);
        if (last != dialogue.end() && std::next(last) != dialogue.end())
            throw std::invalid_argument("a move follows the end of its connection");
    }
}

/// Throws std::system_error.
int listenOn(const PeerOptions& options) {
    const auto fail = [&](int error) -> int {
        throw std::system_error(
            error, std::generic_category(),
            "cannot listen on " + options.address + ':' + std::to_string(options.port));
    };
    addrinfo hints{};
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV | AI_PASSIVE;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* name = nullptr;
    const std::string port = std::to_string(options.port);
    if (getaddrinfo(options.address.c_str(), port.c_str(), &hints, &name) != 0)
        return fail(EADDRNOTAVAIL);
    const int listener = socket(name->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    const bool isListening = bind(listener, name->ai_addr, name->ai_addrlen) == 0 &&
                             listen(listener, options.backlog) == 0;
    const int error = errno;
    freeaddrinfo(name);
    if (isListening) return listener;
    if (listener >= 0) ::close(listener);
    return fail(error);
}

std::uint16_t portOf(int listener) {
    sockaddr_storage name{};
    socklen_t size = sizeof name;
    getsockname(listener, reinterpret_cast<sockaddr*>(&name), &size);
    // The port stands at the same place in both families.
    return ntohs(reinterpret_cast<const sockaddr_in&>(name).sin_port);
}

}  // namespace

class ScriptedPeer::Implementation {
  public:
    Implementation(std::vector<Dialogue> dialogues, const PeerOptions& options)
        : dialogues_((checkMoves(dialogues), std::move(dialogues))),
          waits_{{}, {}, options.timeLimit},
          listener_(listenOn(options)),
          port_(portOf(listener_.number())),
          thread_([this] { run(); }) {}

    ~Implementation() {
        waits_.givenUp.raise();
        finish();
    }

    std::string finish() {
        waits_.finishing.raise();
        if (thread_.joinable()) thread_.join();
        return explanation_;
    }

    std::uint16_t port() const { return port_; }
    std::vector<std::string> received() const { return record_.received(); }

  private:
    void run() {
        try {
            if (dialogues_.empty())
                waits_.wait(-1, 0, Clock::now() + forEver, /*endsWhenFinishing=*/true);
            for (std::size_t connection = 1; connection <= dialogues_.size(); ++connection)
                play(connection);
        } catch (const Difference& difference) {
            explanation_ = difference.what() + ("\ntranscript:\n" + transcript_);
        } catch (const GivenUp&) {
        }
        listener_.close();
    }

    void play(std::size_t connection) {
        const std::string number = std::to_string(connection);
        const auto ready = waits_.wait(listener_.number(), POLLIN, waits_.deadline());
        if (ready != Waits::Result::Ready)
            throw Difference("no client came for connection " + number + " within " +
                             waits_.limitText());
        transcript_ += "connection " + number + '\n';
        Conversation conversation(accept4(listener_.number(), nullptr, nullptr, SOCK_CLOEXEC),
                                  waits_, record_, transcript_);
        try {
            for (const Move& move : dialogues_[connection - 1]) conversation.make(move);
            conversation.end();
        } catch (const Difference& difference) {
            throw Difference("connection " + number + '\n' + difference.what());
        }
    }

    const std::vector<Dialogue> dialogues_;
    Waits waits_;
    Descriptor listener_;
    const std::uint16_t port_;
    Record record_;
    // The thread's until it is joined.
    std::string transcript_;
    std::string explanation_;
    std::thread thread_;
};

ScriptedPeer::ScriptedPeer(Dialogue dialogue, const PeerOptions& options)
    : ScriptedPeer(std::vector<Dialogue>{std::move(dialogue)}, options) {}

ScriptedPeer::ScriptedPeer(std::vector<Dialogue> dialogues, const PeerOptions& options)
    : implementation_(std::make_unique<Implementation>(std::move(dialogues), options)) {}

ScriptedPeer::~ScriptedPeer() = default;

std::uint16_t ScriptedPeer::port() const { return implementation_->port(); }
std::string ScriptedPeer::finish() { return implementation_->finish(); }

std::string ScriptedPeer::received() const {
    std::string all;
    for (const std::string& octets : implementation_->received()) all += octets;
    return all;
}

std::string ScriptedPeer::received(std::size_t connection) const {
    const auto all = implementation_->received();
    return connection >= 1 && connection <= all.size() ? all[connection - 1] : std::string();
}

}  // namespace sandbox
