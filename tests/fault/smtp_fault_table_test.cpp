// SPDX-License-Identifier: Apache-2.0
// Each fault of a server at each reply of two SMTP transactions on one connection.
//
// The first table says what the client makes of each reply, the second what a fault looks like on
// the wire and what replies a client may see in it. What must come of a cell follows from the two.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <deque>
#include <functional>
#include <optional>
#include <sstream>
#include <utility>

#include "inet/smtpclient.utf16.h"
#include "tests/fault/fault_cell.h"
#include "tests/support/wide_text.h"
#include "tests/unit/admailmsg/site.h"

namespace {

// ==== the dialogue

enum class State {
    Greeting,
    Ehlo,
    Helo,
    Mail,
    Rcpt,
    OtherRcpt,
    Data,
    EndOfData,
    BlindMail,
    BlindRcpt,
    BlindOtherRcpt,
    BlindData,
    BlindEndOfData,
    Quit,
};

struct Reply {
    std::string code;
    std::string text;
    bool operator==(const Reply&) const = default;
    std::string line() const { return code + ' ' + text + "\r\n"; }
};

/// What a lost connection, a time-out and a malformed line are to a client.
const Reply noReply = {"999", ""};

/// The calls that a host makes, in this order; it makes no further one when open fails.
enum class Call { Open, Deliver, DeliverBlind, Close };

/// A client that has had a reply in `state` goes on to `then` when the code begins with `needed`,
/// else to `otherwise`.
struct Rule {
    State state;
    const char* name;
    Call call;
    Reply usual;
    const char* needed;
    State then;
    State otherwise;
};

using enum State;
using enum Call;

const Rule rules[] = {
    {Greeting, "greeting", Open, {"220", "hello"}, "2", Ehlo, Quit},
    {Ehlo, "ehlo", Open, {"250", "at your service"}, "250", Mail, Helo},
    {Helo, "helo", Open, {"250", "yes"}, "2", Mail, Quit},

    {Mail, "mail", Deliver, {"250", "sender"}, "2", Rcpt, BlindMail},
    {Rcpt, "rcpt", Deliver, {"250", "one"}, "2", OtherRcpt, OtherRcpt},
    {OtherRcpt, "", Deliver, {"250", "two"}, "2", Data, Data},
    {Data, "data", Deliver, {"354", "go"}, "3", EndOfData, BlindMail},
    {EndOfData, "endOfData", Deliver, {"250", "kept"}, "2", BlindMail, BlindMail},

    {BlindMail, "blindMail", DeliverBlind, {"250", "again"}, "2", BlindRcpt, Quit},
    {BlindRcpt, "blindRcpt", DeliverBlind, {"250", "three"}, "2", BlindOtherRcpt, BlindOtherRcpt},
    {BlindOtherRcpt, "", DeliverBlind, {"250", "four"}, "2", BlindData, BlindData},
    {BlindData, "blindData", DeliverBlind, {"354", "on"}, "3", BlindEndOfData, Quit},
    {BlindEndOfData, "blindEndOfData", DeliverBlind, {"250", "kept too"}, "2", Quit, Quit},

    {Quit, "quit", Close, {"221", "bye"}, "", Quit, Quit},
};

const Rule& ruleOf(State state) {
    return *std::find_if(std::begin(rules), std::end(rules),
                         [&](const Rule& rule) { return rule.state == state; });
}

/// A server whose HELO is faulty does not know EHLO: nobody would come to its HELO.
Reply usualReply(State state, State faulty) {
    if (state == Ehlo && faulty == Helo) return {"502", "what"};
    return ruleOf(state).usual;
}

// ==== the faults

using Ending = Answer::Ending;
using Replies = std::vector<Reply>;

const std::string leftover = "trailing";

/// `answer` is what the server says in place of a reply, `meaning` what a client reads in that.
struct Fault {
    const char* name;
    std::function<Answer(const Reply& usual)> answer;
    std::function<Replies(const Reply& usual)> meaning;
    After after;
    bool isEarly = false;  // the reply comes along with the one before it
};

// What the server says.

auto saying(const std::string& octets, Ending ending = Ending::KeepOpen) {
    return [=](const Reply&) { return say(octets, ending); };
}
auto sayingPart(Ending ending) {
    return [=](const Reply& usual) { return say(usual.line().substr(0, 5), ending); };
}
/// The usual reply between these two.
auto sayingUsual(const std::string& before = "", const std::string& behind = "") {
    return [=](const Reply& usual) { return say(before + usual.line() + behind); };
}
auto sayingLineEndingWith(const std::string& lineEnd, Ending ending = Ending::KeepOpen) {
    return [=](const Reply& usual) { return say(usual.code + ' ' + usual.text + lineEnd, ending); };
}

Answer sayOctetByOctet(const Reply& usual) { return {usual.line(), Ending::KeepOpen, true}; }
Answer sayTwice(const Reply& usual) { return say(usual.line() + usual.line()); }
Answer sayLongLine(const Reply& usual) { return sayHugeLine(usual.code + ' '); }
Answer sayLines(const Reply& usual) { return sayManyLines(usual.code + "-more\r\n", usual.line()); }

Answer sayEndlessLine(const Reply& usual) {
    Answer answer = sayLongLine(usual);
    answer.octets.clear();
    answer.ending = Ending::Close;
    return answer;
}

// What a client reads in it.

auto reading(const Replies& replies) {
    return [=](const Reply&) { return replies; };
}
const auto nothing = reading({});
Replies asUsual(const Reply& usual) { return {usual}; }
Replies twice(const Reply& usual) { return {usual, usual}; }
Replies longText(const Reply& usual) { return {{usual.code, std::string(hugeLine, 'x')}}; }
Replies manyTexts(const Reply& usual) { return {{usual.code, joinedLines("more", usual.text)}}; }
Replies twoTexts(const Reply& usual) { return {{usual.code, "no\n" + usual.text}}; }

// Both.

Replies wrongClass(const Reply& usual) { return {{usual.code[0] == '3' ? "250" : "354", "wrong"}}; }
Replies oddReply(const Reply& usual) {
    return {{usual.code[0] + std::string("\0\xFF", 2), std::string("\0\x01\x80\xFF?", 5)}};
}
auto sayingOnly(Replies (*reply)(const Reply& usual)) {
    return [=](const Reply& usual) { return say(reply(usual).front().line()); };
}

const Fault faults[] = {
    {"closedBefore", saying("", Ending::Close), nothing, After::Over},
    {"resetBefore", saying("", Ending::Reset), nothing, After::Over},
    {"closedWithinLine", sayingPart(Ending::Close), nothing, After::Over},
    {"silentBefore", saying("", Ending::Silence), nothing, After::Over},
    {"silentWithinLine", sayingPart(Ending::Silence), nothing, After::Over},
    {"octetByOctet", sayOctetByOctet, asUsual, After::Usual},
    {"later", saying("450 later\r\n"), reading({{"450", "later"}}), After::Usual},
    {"refused", saying("550 no\r\n"), reading({{"550", "no"}}), After::Usual},
    {"closing", saying("421 closing\r\n", Ending::Close), reading({{"421", "closing"}}),
     After::Over},
    {"wrongClass", sayingOnly(wrongClass), wrongClass, After::Usual},
    // Kept: a code is three octets, whatever they are.
    {"noDigits", saying("abc def\r\n"), reading({{"abc", "def"}}), After::Usual},
    {"nulsAnd8BitOctets", sayingOnly(oddReply), oddReply, After::Usual},
    {"bareLineFeed", sayingLineEndingWith("\n"), asUsual, After::Usual},
    {"bareCarriageReturn", sayingLineEndingWith("\r", Ending::Silence), nothing, After::Over},
    {"hugeLine", sayLongLine, longText, After::Usual},
    {"manyLines", sayLines, manyTexts, After::Usual},
    // The code of the last line counts.
    {"codeChanges", sayingUsual("550-no\r\n"), twoTexts, After::Usual},
    {"twoReplies", sayTwice, twice, After::Usual},
    {"earlyReply", sayingUsual(), asUsual, After::Usual, true},
    {"trailingData", sayingUsual("", leftover), asUsual, After::Glued},
    {"emptyLine", saying("\r\n"), reading({noReply}), After::Usual},
    {"hugeLineWithoutEnd", sayEndlessLine, nothing, After::Over},
};

struct Cell {
    State state;
    const Fault* fault;
    std::string name;
};

void PrintTo(const Cell& cell, std::ostream* out) { *out << cell.name; }

std::vector<Cell> allCells() {
    std::vector<Cell> cells;
    for (const Rule& rule : rules) {
        if (*rule.name == '\0') continue;
        for (const Fault& fault : faults)
            cells.push_back({rule.state, &fault, std::string(rule.name) + '_' + fault.name});
    }
    // A greeting comes unasked; there the next reply is the early one.
    for (Cell& cell : cells)
        if (cell.fault->isEarly && cell.state == Greeting) cell.state = Ehlo;
    return cells;
}

// ==== the server

/// Answers as usual but for one state. A line that is no command has no answer.
class FaultyAnswers {
  public:
    FaultyAnswers(const Cell& cell, std::vector<State>& asked) : cell_(cell), asked_(&asked) {}

    Answer operator()(std::optional<std::string_view> line) {
        const std::optional<State> state = line ? stateOf(*line) : Greeting;
        if (!state) return {};
        asked_->push_back(*state);
        const Reply usual = usualReply(*state, cell_.state);
        if (*state == cell_.state)
            return cell_.fault->isEarly ? Answer{} : cell_.fault->answer(usual);
        const bool isNextEarly = cell_.fault->isEarly && isBefore(*state);
        return say(usual.line() + (isNextEarly ? ruleOf(cell_.state).usual.line() : ""));
    }

  private:
    bool isBefore(State state) const {
        return ruleOf(state).then == cell_.state || (state == Ehlo && cell_.state == Helo);
    }

    std::optional<State> stateOf(std::string_view line) {
        if (line == "EHLO localhost") return Ehlo;
        if (line == "HELO localhost") return Helo;
        if (line == "QUIT") return Quit;
        if (line == "MAIL FROM:<joe@here>") ++transactions_;
        const bool isBlind = transactions_ > 1;
        if (line == "MAIL FROM:<joe@here>") return isBlind ? BlindMail : Mail;
        if (line == "RCPT TO:<a@x>") return Rcpt;
        if (line == "RCPT TO:<b@x>") return OtherRcpt;
        if (line == "RCPT TO:<c@x>") return BlindRcpt;
        if (line == "RCPT TO:<d@x>") return BlindOtherRcpt;
        if (line == "DATA") return isBlind ? BlindData : Data;
        if (line == ".") return isBlind ? BlindEndOfData : EndOfData;
        return {};
    }

    Cell cell_;
    std::vector<State>* asked_;
    int transactions_ = 0;
};

// ==== what comes of a dialogue

struct Outcome {
    bool isOpen = false;
    std::array<unsigned, 2> accepted = {};
    std::vector<Reply> lastReplies;  // of each call that was made
    std::vector<State> asked;        // as far as the server has heard of it
    long secondsWaited = 0;          // for a server that has fallen silent
    bool operator==(const Outcome&) const = default;
};

void PrintTo(const Outcome& outcome, std::ostream* out) {
    *out << (outcome.isOpen ? "open, " : "not open, ") << outcome.accepted[0] << " and "
         << outcome.accepted[1] << " accepted, waited " << outcome.secondsWaited << " s; replies";
    for (const Reply& reply : outcome.lastReplies)
        *out << " [" << testing::PrintToString(reply.code) << ' ' << reply.text.size() << ": "
             << testing::PrintToString(reply.text.substr(0, 40)) << ']';
    *out << "; asked";
    for (const State state : outcome.asked) *out << ' ' << static_cast<int>(state);
}

/// A reply behind what is left of the last one. Kept: its text is there, though it is none.
Reply malformed(const Reply& reply) {
    const std::string line = leftover + reply.line();
    return {noReply.code, line.substr(4, line.size() - 6)};
}

/// The replies that a client reads, in their order.
class Exchange {
  public:
    explicit Exchange(const Cell& cell) : cell_(cell) {}

    Reply replyIn(State state) {
        if (!isOver_) {
            asked.push_back(state);
            add(state);
        }
        if (coming_.empty()) return noReply;
        const Reply reply = coming_.front();
        coming_.pop_front();
        return reply;
    }

    std::vector<State> asked;

  private:
    void add(State state) {
        Replies replies = {usualReply(state, cell_.state)};
        if (state == cell_.state) replies = cell_.fault->meaning(replies.front());
        if (std::exchange(isGlued_, false)) replies.front() = malformed(replies.front());
        coming_.insert(coming_.end(), replies.begin(), replies.end());
        if (state != cell_.state) return;
        isOver_ = cell_.fault->after == After::Over;
        isGlued_ = cell_.fault->after == After::Glued;
    }

    const Cell cell_;
    std::deque<Reply> coming_;
    bool isOver_ = false;
    bool isGlued_ = false;
};

/// Kept: the message itself may take the server longer.
long secondsToWaitIn(State state) {
    return state == EndOfData || state == BlindEndOfData ? 600 : 300;
}

bool isRecipient(State state) {
    return state == Rcpt || state == OtherRcpt || state == BlindRcpt || state == BlindOtherRcpt;
}

/// A refused recipient costs itself, any other refusal the transaction.
void count(State state, bool isPassed, unsigned& accepted) {
    if (isRecipient(state))
        accepted += isPassed;
    else if (!isPassed)
        accepted = 0;
}

/// Whether a call ends with the reply in `state`. A refusal in open is followed by QUIT.
bool isLastOfCall(State state, State next) {
    if (state == Quit) return true;
    const Call call = ruleOf(state).call;
    return ruleOf(next).call != call && !(call == Open && next == Quit);
}

long secondsToWait(const Cell& cell) {
    const Answer answer = cell.fault->answer(ruleOf(cell.state).usual);
    return answer.ending == Ending::Silence ? secondsToWaitIn(cell.state) : 0;
}

/// Goes through the table of rules.
Outcome expectedOf(const Cell& cell) {
    Outcome outcome;
    Exchange exchange(cell);
    State state = Greeting;
    bool isAtEnd = false;
    while (!isAtEnd) {
        const Rule& rule = ruleOf(state);
        const Reply reply = exchange.replyIn(state);
        const bool isPassed = reply.code.starts_with(rule.needed);
        const State next = isPassed ? rule.then : rule.otherwise;
        count(state, isPassed, outcome.accepted[rule.call == DeliverBlind]);
        outcome.isOpen |= next == Mail;
        if (isLastOfCall(state, next)) outcome.lastReplies.push_back(reply);
        isAtEnd = state == Quit;
        state = next;
    }
    outcome.asked = exchange.asked;
    outcome.secondsWaited = secondsToWait(cell);
    return outcome;
}

unsigned deliver(SMTPClient& client, const char16_t* one, const char16_t* other) {
    CStringArray recipients;
    recipients.Add(one);
    recipients.Add(other);
    std::istringstream message("Subject: x\r\n\r\nhello\r\n");
    return client.deliver(u"joe@here", recipients, message);
}

Zeb_String portOf(const FaultServer& server) { return wide(std::to_string(server.port())); }

/// Makes the calls of a host.
void callAll(SMTPClient& client, const FaultServer& server, Outcome& outcome) {
    const auto note = [&] {
        outcome.lastReplies.push_back({client.getReplyCode(), client.getReplyText()});
    };
    outcome.isOpen = client.open(u"127.0.0.1", portOf(server).GetBuffer());
    note();
    if (!outcome.isOpen) return;
    outcome.accepted[0] = deliver(client, u"a@x", u"b@x");
    note();
    outcome.accepted[1] = deliver(client, u"c@x", u"d@x");
    note();
    client.close();
    note();
}

Outcome outcomeOf(SMTPClient& client, const Cell& cell) {
    Outcome outcome;
    {
        const FaultServer server(FaultyAnswers(cell, outcome.asked));
        const ShortSelect waits(server);
        callAll(client, server, outcome);
        outcome.secondsWaited = waits.secondsGivenUp();
    }
    return outcome;
}

/// The result of AdMailMsg::Deliver with the same recipients.
int resultOf(AdMailMsg& mail, const Cell& cell) {
    std::vector<State> asked;
    const FaultServer server(FaultyAnswers(cell, asked));
    ShortSelect waits(server);
    waits.connectEveryServiceToTheServer();
    return mail.Deliver();
}

const Fault none = {"", sayingUsual(), asUsual, After::Usual};
const Cell noFault = {Quit, &none, ""};

using SmtpFault = FaultTest<Cell>;

TEST_P(SmtpFault, givesTheResultsAndTheReplies) {
    SMTPClient client;
    EXPECT_EQ(outcomeOf(client, GetParam()), expectedOf(GetParam()));
    EXPECT_EQ(outcomeOf(client, noFault), expectedOf(noFault));
}

TEST_P(SmtpFault, failsTheDeliveryUnlessAllIsAccepted) {
    const Site site;
    AdMailMsg mail;
    mail.AddTo(u"a@x");
    mail.AddTo(u"b@x");
    mail.AddBcc(u"c@x");
    mail.AddBcc(u"d@x");
    const Outcome expected = expectedOf(GetParam());
    const bool isAllAccepted = expected.accepted == std::array{2U, 2U};
    EXPECT_EQ(resultOf(mail, GetParam()), isAllAccepted ? 1 : 0);
    EXPECT_EQ(resultOf(mail, noFault), 1);
}

INSTANTIATE_TEST_SUITE_P(In, SmtpFault, testing::ValuesIn(allCells()),
                         [](const auto& row) { return row.param.name; });

}  // namespace
