// SPDX-License-Identifier: Apache-2.0
// What the sandbox server shall answer at a step of a dialogue, when not the usual.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>

namespace sandbox {

enum class Service { Smtp, Pop3 };

/// A step of a dialogue that gets a reply. Greeting is the server's first word, EndOfData the
/// line "." that ends a message, Unknown a line that is no command of the service at all.
enum class Step {
    // SMTP (RFC 5321), after the greeting of both services.
    Greeting,
    Ehlo,
    Helo,
    Mail,
    Rcpt,
    Data,
    EndOfData,
    Vrfy,
    Expn,
    Help,
    // POP3 (RFC 1939 and 2449).
    User,
    Pass,
    Stat,
    List,
    Uidl,
    Retr,
    Top,
    Dele,
    Capa,
    // Both.
    Noop,
    Rset,
    Quit,
    Unknown,
};

/// A scripted reply. It starts from one of the static functions and is refined by the others:
///
///     Reply::say("451 try later\r\n")                     in place of the usual words
///     Reply::usual().after(200ms).oneByOne()              the usual words, slowly
///     Reply::usual().cutAfter(5)                          "250 O" and the end of the connection
///     Reply::say("421 closing\r\n").thenClose()
///     Reply::close(), Reply::reset(), Reply::silence()    no word at all
///
/// A reply only changes what is said: what the command asks for is done all the same (a message
/// is kept, although close() at EndOfData lets the client never know). The exception is say()
/// with a refusal, any octets that do not begin with "2", "3" or "+" (at Data: with "3"): then
/// nothing is done, and at EndOfData the message is thrown away.
struct Reply {
    enum class Ending { KeepOpen, Close, Reset, Silence };

    /// The usual words.
    static Reply usual() { return {}; }
    /// These octets, as they are: the CR LF has to be among them.
    static Reply say(std::string words) {
        Reply reply;
        reply.octets = std::move(words);
        return reply;
    }
    /// An orderly end of the connection (FIN), without a word.
    static Reply close() { return usual().cutAfter(0); }
    /// A connection that is torn down (RST), without a word.
    static Reply reset() { return usual().cutAfter(0).thenReset(); }
    /// Not a word; the connection stays open until the client or the server object ends it.
    static Reply silence() { return usual().cutAfter(0).thenFallSilent(); }

    /// Waits before the first octet.
    Reply after(std::chrono::milliseconds time) const {
        return with([&](Reply& reply) { reply.delay = time; });
    }
    /// Sends only the first `count` octets and then closes.
    Reply cutAfter(std::size_t count) const {
        return with([&](Reply& reply) {
            reply.length = count;
            reply.ending = Ending::Close;
        });
    }
    /// Sends only the first half of its octets, those of a message included, and then closes.
    Reply halved() const {
        return with([](Reply& reply) {
            reply.isHalved = true;
            reply.ending = Ending::Close;
        });
    }
    /// Each octet in a segment of its own.
    Reply oneByOne() const {
        return with([](Reply& reply) { reply.isOneByOne = true; });
    }
    /// Every octet but CR and LF with all its bits turned over, so that lines still end.
    Reply garbled() const {
        return with([](Reply& reply) { reply.isGarbled = true; });
    }
    /// The transcript tells by this name when the reply is given.
    Reply named(std::string wanted) const {
        return with([&](Reply& reply) { reply.name = std::move(wanted); });
    }
    Reply thenClose() const { return endingWith(Ending::Close); }
    Reply thenReset() const { return endingWith(Ending::Reset); }
    Reply thenFallSilent() const { return endingWith(Ending::Silence); }

    std::optional<std::string> octets;  // none: the usual words
    std::chrono::milliseconds delay{0};
    std::optional<std::size_t> length;  // none: all octets
    bool isHalved = false;
    bool isOneByOne = false;
    bool isGarbled = false;
    Ending ending = Ending::KeepOpen;  // what follows the last octet
    std::string name = {};             // empty: the transcript has only what is said

  private:
    template <typename Change>
    Reply with(Change change) const {
        Reply reply = *this;
        change(reply);
        return reply;
    }
    Reply endingWith(Ending wanted) const {
        return with([&](Reply& reply) { reply.ending = wanted; });
    }
};

/// Which commands a scripted reply is for; by default all that reach its step.
struct When {
    /// Only where the rest of the command line contains this, for example an address.
    std::string argument = {};
    /// Only the n-th one of these, counted from 1 over all connections; 0 is every one.
    std::size_t occurrence = 0;
    /// How likely each of these is to get the reply, from 0 to 1. What is drawn depends on nothing
    /// but the seed of the server, the place of this reply among all of them, and how many
    /// commands it was drawn for before.
    double probability = 1;
};

}  // namespace sandbox
