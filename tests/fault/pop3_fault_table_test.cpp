// SPDX-License-Identifier: Apache-2.0
// Each fault of a server at each reply of a POP3 dialogue.
//
// The first table says what the client makes of each reply, the second what a fault looks like on
// the wire. All else follows from one rule: a line is what ends with a line feed.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "inet/pop3client.utf16.h"
#include "tests/fault/fault_cell.h"
#include "tests/support/wide_text.h"

namespace {

// ==== the dialogue

enum class State { Greeting, User, Pass, Stat, Retr, Body, Dele, Quit };

/// The calls that a host makes, in this order; it makes no further one when open fails.
enum class Call { Open, LogIn, Count, Fetch, Delete, Close };

/// A client that has had a reply in `state` goes on to `then` when the reply is positive, else to
/// `otherwise`.
struct Rule {
    State state;
    const char* name;
    Call call;
    const char* usual;
    State then;
    State otherwise;
};

const Rule rules[] = {
    {State::Greeting, "greeting", Call::Open, "+OK hello\r\n", State::User, State::Quit},
    {State::User, "user", Call::LogIn, "+OK user\r\n", State::Pass, State::Stat},
    {State::Pass, "pass", Call::LogIn, "+OK pass\r\n", State::Stat, State::Stat},
    {State::Stat, "stat", Call::Count, "+OK 2 320\r\n", State::Retr, State::Retr},
    {State::Retr, "retrStatus", Call::Fetch, "+OK message\r\n", State::Body, State::Dele},
    {State::Body, "retrBody", Call::Fetch, "Subject: x\r\n\r\n..hello\r\n.\r\n", State::Dele,
     State::Dele},
    {State::Dele, "dele", Call::Delete, "+OK gone\r\n", State::Quit, State::Quit},
    {State::Quit, "quit", Call::Close, "+OK bye\r\n", State::Quit, State::Quit},
};

const Rule& ruleOf(State state) {
    return *std::find_if(std::begin(rules), std::end(rules),
                         [&](const Rule& rule) { return rule.state == state; });
}

/// What follows when all goes well. The two replies to RETR belong to one command.
State nextCommand(State state) {
    const State next = ruleOf(state).then;
    return next == State::Body ? State::Dele : next;
}

// ==== the faults

using Ending = Answer::Ending;

const std::string leftover = "trailing";
const std::string oddOctets("\0\x01\x80\xFF?", 5);

/// `answer` is what the server says in place of a reply.
struct Fault {
    const char* name;
    Answer (*answer)(const Rule& rule);
    bool isEarly = false;  // the reply comes along with the one before it
};

/// A server that has words in place of a message says no more: it has not begun one.
Answer sayInstead(const Rule& rule, const std::string& words) {
    return say(words, rule.state == State::Body ? Ending::Silence : Ending::KeepOpen);
}

std::string cut(const Rule& rule) {
    const std::string usual = rule.usual;
    return usual.substr(0, usual.size() - 4);
}

std::string withLineEnds(const Rule& rule, const std::string& lineEnd) {
    std::string octets = rule.usual;
    for (std::size_t at = 0; (at = octets.find("\r\n", at)) != std::string::npos;)
        octets.replace(at, 2, lineEnd);
    return octets;
}

Answer sayOddOctets(const Rule& rule) {
    std::string octets = rule.usual;
    return say(octets.insert(octets.find("\r\n"), oddOctets));
}

Answer sayLongLine(const Rule& rule) {
    const bool isBody = rule.state == State::Body;
    Answer answer = sayHugeLine(isBody ? "" : "+OK ");
    if (isBody) answer.octets += ".\r\n";
    return answer;
}

Answer sayEndlessLine(const Rule& rule) {
    Answer answer = sayLongLine(rule);
    answer.octets.clear();
    answer.ending = Ending::Close;
    return answer;
}

Answer sayLines(const Rule& rule) {
    return sayManyLines(rule.state == State::Body ? "more\r\n" : "+OK more\r\n", rule.usual);
}

const Fault faults[] = {
    {"closedBefore", [](const Rule&) { return say("", Ending::Close); }},
    {"resetBefore", [](const Rule&) { return say("", Ending::Reset); }},
    {"closedWithinLine", [](const Rule& rule) { return say(cut(rule), Ending::Close); }},
    {"silentBefore", [](const Rule&) { return say("", Ending::Silence); }},
    {"silentWithinLine", [](const Rule& rule) { return say(cut(rule), Ending::Silence); }},
    {"octetByOctet",
     [](const Rule& rule) {
         return Answer{rule.usual, Ending::KeepOpen, true};
     }},
    {"later", [](const Rule& rule) { return sayInstead(rule, "450 later\r\n"); }},
    {"refused", [](const Rule& rule) { return sayInstead(rule, "-ERR no\r\n"); }},
    {"closing", [](const Rule&) { return say("421 closing\r\n", Ending::Close); }},
    {"wrongClass", [](const Rule& rule) { return sayInstead(rule, "+ go on\r\n"); }},
    {"noIndicator", [](const Rule& rule) { return sayInstead(rule, "OK then\r\n"); }},
    {"nulsAnd8BitOctets", sayOddOctets},
    {"bareLineFeed", [](const Rule& rule) { return say(withLineEnds(rule, "\n")); }},
    {"bareCarriageReturn",
     [](const Rule& rule) { return say(withLineEnds(rule, "\r"), Ending::Silence); }},
    {"hugeLine", sayLongLine},
    {"manyLines", sayLines},
    {"codeChanges", [](const Rule& rule) { return say(std::string("-ERR no\r\n") + rule.usual); }},
    {"twoReplies", [](const Rule& rule) { return say(std::string(rule.usual) + rule.usual); }},
    {"earlyReply", [](const Rule& rule) { return say(rule.usual); }, true},
    {"trailingData", [](const Rule& rule) { return say(rule.usual + leftover); }},
    {"emptyLine", [](const Rule& rule) { return sayInstead(rule, "\r\n"); }},
    {"hugeLineWithoutEnd", sayEndlessLine},
};

struct Cell {
    State state;
    const Fault* fault;
    std::string name;
};

void PrintTo(const Cell& cell, std::ostream* out) { *out << cell.name; }

std::vector<Cell> allCells() {
    std::vector<Cell> cells;
    for (const Rule& rule : rules)
        for (const Fault& fault : faults)
            cells.push_back({rule.state, &fault, std::string(rule.name) + '_' + fault.name});
    // A greeting comes unasked; there the next reply is the early one.
    for (Cell& cell : cells)
        if (cell.fault->isEarly && cell.state == State::Greeting) cell.state = State::User;
    return cells;
}

// ==== the server

std::string octetsOf(const Answer& answer) {
    std::string octets = answer.first;
    for (std::size_t i = 0; i < answer.times; ++i) octets += answer.repeated;
    return octets + answer.octets;
}

Answer statusOf(State state, const Cell& cell) {
    return state == cell.state ? cell.fault->answer(ruleOf(state)) : say(ruleOf(state).usual);
}

/// What is said to the command of a state; behind a positive status of RETR, the message too.
Answer answerIn(State state, const Cell& cell) {
    const Answer status = statusOf(state, cell);
    if (state != State::Retr || status.ending != Ending::KeepOpen ||
        !(status.first + status.repeated + status.octets).starts_with("+OK"))
        return status;
    Answer answer = status;
    if (cell.state == State::Body) {
        answer = statusOf(State::Body, cell);
        answer.first.insert(0, status.octets);
    } else {
        answer.octets += ruleOf(State::Body).usual;
    }
    return answer;
}

/// Answers as usual but for one state.
class FaultyAnswers {
  public:
    FaultyAnswers(const Cell& cell, std::vector<State>& asked) : cell_(cell), asked_(&asked) {}

    Answer operator()(std::optional<std::string_view> line) {
        const State state = line ? stateOf(*line) : State::Greeting;
        asked_->push_back(state);
        return cell_.fault->isEarly ? earlyIn(state) : answerIn(state, cell_);
    }

  private:
    /// The reply of the cell's state goes out with the one before it, and not in its own place.
    Answer earlyIn(State state) const {
        const bool isMessage = cell_.state == State::Retr || cell_.state == State::Body;
        const State faulty = isMessage ? State::Retr : cell_.state;
        if (state == faulty)
            return say(cell_.state == State::Retr ? ruleOf(State::Body).usual : "");
        const std::string octets = octetsOf(answerIn(state, cell_));
        if (nextCommand(state) != faulty) return say(octets);
        return say(octets + ruleOf(faulty).usual +
                   (cell_.state == State::Body ? ruleOf(State::Body).usual : ""));
    }

    static State stateOf(std::string_view line) {
        const std::pair<const char*, State> commands[] = {
            {"USER joe", State::User}, {"PASS secret", State::Pass}, {"STAT", State::Stat},
            {"RETR 2", State::Retr},   {"DELE 2", State::Dele},      {"QUIT", State::Quit}};
        for (const auto& [command, state] : commands)
            if (line == command) return state;
        return State::Greeting;  // which nobody asks for
    }

    Cell cell_;
    std::vector<State>* asked_;
};

// ==== what comes of a dialogue

struct Outcome {
    bool isOpen = false;
    bool isLoggedIn = false;
    int count = 0;
    bool isFetched = false;
    std::string message = {};
    bool isDeleted = false;
    std::vector<std::string> lastReplies = {};  // of each call that was made
    std::vector<State> asked = {};              // as far as the server has heard of it
    bool hasWaited = false;                     // without an end, for a server that is silent
    bool operator==(const Outcome&) const = default;
};

std::string shortened(const std::string& text) {
    return std::to_string(text.size()) + ": " + testing::PrintToString(text.substr(0, 60));
}

void PrintTo(const Outcome& outcome, std::ostream* out) {
    *out << "open " << outcome.isOpen << ", logged in " << outcome.isLoggedIn << ", count "
         << outcome.count << ", fetched " << outcome.isFetched << ' ' << shortened(outcome.message)
         << ", deleted " << outcome.isDeleted << ", waited " << outcome.hasWaited << "; replies";
    for (const std::string& reply : outcome.lastReplies) *out << " [" << shortened(reply) << ']';
    *out << "; asked";
    for (const State state : outcome.asked) *out << ' ' << static_cast<int>(state);
}

/// The lines that a client reads, in their order.
class Exchange {
  public:
    explicit Exchange(const Cell& cell) : cell_(cell) {}

    /// The client has sent the command of a state; the server does its part.
    void ask(State state) {
        if (isOver_) return;
        asked.push_back(state);
        const Answer answer = answerIn(state, cell_);
        octets_ += octetsOf(answer);
        isOver_ = answer.ending != Ending::KeepOpen;
    }

    /// None when the line does not end.
    std::optional<std::string> readLine() {
        const std::size_t end = octets_.find('\n', at_);
        if (end == std::string::npos) return {};
        std::string line = octets_.substr(at_, end - at_);
        at_ = end + 1;
        const std::size_t last = line.find_last_not_of(" \t\r");
        // Kept: a line of nothing but blanks stays as it is.
        if (last != std::string::npos) line.resize(last + 1);
        return line;
    }

    std::vector<State> asked;

  private:
    const Cell cell_;
    std::string octets_;
    std::size_t at_ = 0;
    bool isOver_ = false;
};

/// The text that a client keeps of a status line, and whether it is positive.
std::pair<std::string, bool> readStatus(Exchange& exchange) {
    const auto line = exchange.readLine();
    if (!line) return {"Unknown error", false};
    if (line->starts_with("+OK")) return {line->substr(3), true};
    return {line->substr(line->starts_with("-ERR") ? 4 : 0), false};
}

/// Up to the lone dot; false when there is none.
bool readMessage(Exchange& exchange, std::string& message) {
    bool isFirst = true;
    for (auto line = exchange.readLine(); line; line = exchange.readLine()) {
        if (*line == ".") return true;
        message.append(isFirst ? "" : "\n").append(*line, line->starts_with('.') ? 1 : 0);
        isFirst = false;
    }
    return false;
}

void note(Outcome& outcome, State state, const std::string& text, bool isPositive) {
    outcome.isOpen |= state == State::Greeting && isPositive;
    outcome.isLoggedIn |= state == State::Pass && isPositive;
    outcome.isDeleted |= state == State::Dele && isPositive;
    if (state == State::Stat && isPositive && text.starts_with(" 2 ")) outcome.count = 2;
}

/// Goes through the table of rules.
Outcome expectedOf(const Cell& cell) {
    Outcome outcome;
    Exchange exchange(cell);
    State state = State::Greeting;
    bool isAtEnd = false;
    while (!isAtEnd) {
        exchange.ask(state);
        const auto [text, isPositive] = readStatus(exchange);
        note(outcome, state, text, isPositive);
        if (state == State::Retr && isPositive)
            outcome.isFetched = readMessage(exchange, outcome.message);
        isAtEnd = state == State::Quit;
        const State next = isPositive ? nextCommand(state) : ruleOf(state).otherwise;
        const bool isRefused = state == State::Greeting && next == State::Quit;
        if (isAtEnd || (ruleOf(next).call != ruleOf(state).call && !isRefused))
            outcome.lastReplies.push_back(text);
        state = next;
    }
    outcome.asked = exchange.asked;
    outcome.hasWaited = cell.fault->answer(ruleOf(cell.state)).ending == Ending::Silence;
    return outcome;
}

/// Makes the calls of a host.
void callAll(POP3Client& client, const FaultServer& server, Outcome& outcome) {
    const auto note = [&] { outcome.lastReplies.push_back(client.getLastReply()); };
    std::ostringstream message;
    const Zeb_String port = wide(std::to_string(server.port()));
    outcome.isOpen = client.open(u"127.0.0.1", port.GetBuffer());
    note();
    if (!outcome.isOpen) return;
    outcome.isLoggedIn = client.auth_pass(u"joe", u"secret");
    note();
    outcome.count = client.countMessages();
    note();
    outcome.isFetched = client.getMessage(2, message);
    outcome.message = message.str();
    note();
    outcome.isDeleted = client.deleteMessage(2);
    note();
    client.close();
    note();
}

Outcome outcomeOf(POP3Client& client, const Cell& cell) {
    Outcome outcome;
    {
        const FaultServer server(FaultyAnswers(cell, outcome.asked));
        const EndedReceive waits(server);
        callAll(client, server, outcome);
        outcome.hasWaited = waits.hasEndedAWait();
    }
    return outcome;
}

const Fault none = {"", [](const Rule& rule) { return say(rule.usual); }};
const Cell noFault = {State::Quit, &none, ""};

using Pop3Fault = FaultTest<Cell>;

TEST_P(Pop3Fault, givesTheResultsAndTheReplies) {
    POP3Client client;
    EXPECT_EQ(outcomeOf(client, GetParam()), expectedOf(GetParam()));
    EXPECT_EQ(outcomeOf(client, noFault), expectedOf(noFault));
}

INSTANTIATE_TEST_SUITE_P(In, Pop3Fault, testing::ValuesIn(allCells()),
                         [](const auto& row) { return row.param.name; });

}  // namespace
