// SPDX-License-Identifier: Apache-2.0
#include "sandbox/fault.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <system_error>

#include "sandbox/ascii.h"

namespace sandbox {
namespace {

struct State {
    std::string_view name;
    Service service;
    Step step;
};

constexpr std::array states = {
    State{"GREETING", Service::Smtp, Step::Greeting},
    State{"EHLO", Service::Smtp, Step::Ehlo},
    State{"HELO", Service::Smtp, Step::Helo},
    State{"MAIL", Service::Smtp, Step::Mail},
    State{"RCPT", Service::Smtp, Step::Rcpt},
    State{"DATA", Service::Smtp, Step::Data},
    State{"END-OF-DATA", Service::Smtp, Step::EndOfData},
    State{"RSET", Service::Smtp, Step::Rset},
    State{"QUIT", Service::Smtp, Step::Quit},
    State{"GREETING", Service::Pop3, Step::Greeting},
    State{"USER", Service::Pop3, Step::User},
    State{"PASS", Service::Pop3, Step::Pass},
    State{"STAT", Service::Pop3, Step::Stat},
    State{"LIST", Service::Pop3, Step::List},
    State{"UIDL", Service::Pop3, Step::Uidl},
    State{"RETR", Service::Pop3, Step::Retr},
    State{"TOP", Service::Pop3, Step::Top},
    State{"DELE", Service::Pop3, Step::Dele},
    State{"RSET", Service::Pop3, Step::Rset},
    State{"QUIT", Service::Pop3, Step::Quit},
};

/// What can happen at any state of either service.
struct Action {
    std::string_view name;
    Reply (*reply)(std::chrono::milliseconds slowness);
};

using Milliseconds = std::chrono::milliseconds;

constexpr std::array actions = {
    Action{"close", [](Milliseconds) { return Reply::close(); }},
    Action{"reset", [](Milliseconds) { return Reply::reset(); }},
    Action{"silence", [](Milliseconds) { return Reply::silence(); }},
    Action{"slow", [](Milliseconds slowness) { return Reply::usual().after(slowness); }},
    Action{"half", [](Milliseconds) { return Reply::usual().halved(); }},
    Action{"garble", [](Milliseconds) { return Reply::usual().garbled(); }},
};

[[noreturn]] void reject(const std::string& what) { throw std::invalid_argument(what); }

std::string quoted(std::string_view text) { return '"' + std::string(text) + '"'; }

/// What stands before the next colon; that goes too.
std::string_view takeField(std::string_view& text) {
    const std::size_t end = std::min(text.find(':'), text.size());
    const std::string_view field = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return field;
}

std::vector<State> statesNamed(std::string_view name) {
    std::string_view bare = name;
    std::optional<Service> only;
    const bool hasService = name.size() > 5 && name[4] == '.';
    if (hasService && isSameName(name.substr(0, 4), "SMTP")) only = Service::Smtp;
    if (hasService && isSameName(name.substr(0, 4), "POP3")) only = Service::Pop3;
    if (only) bare.remove_prefix(5);
    std::vector<State> named;
    std::copy_if(states.begin(), states.end(), std::back_inserter(named), [&](const State& state) {
        return isSameName(state.name, bare) && state.service == only.value_or(state.service);
    });
    if (named.empty())
        reject("there is no state " + quoted(name) + "; write one of " + faultStates());
    return named;
}

bool isReplyCode(std::string_view text) {
    return text.size() == 3 && text.front() >= '2' && text.front() <= '5' &&
           std::all_of(text.begin(), text.end(), isDigit);
}

/// None where the service has no such fault.
std::optional<Reply> replyOf(std::string_view fault, Service service, Milliseconds slowness) {
    const auto isNamed = [&](const Action& action) { return isSameName(action.name, fault); };
    const auto action = std::find_if(actions.begin(), actions.end(), isNamed);
    if (action != actions.end()) return action->reply(slowness);
    const bool isSmtp = service == Service::Smtp;
    const bool isError = isSameName(fault, "ERR") || isSameName(fault, "-ERR");
    if (isSmtp ? !isReplyCode(fault) : !isError) return std::nullopt;
    const Reply reply =
        Reply::say((isSmtp ? std::string(fault) : "-ERR") + " a fault on purpose\r\n");
    // RFC 5321 3.8: the server closes behind a 421.
    return fault == "421" ? reply.thenClose() : reply;
}

double probabilityIn(std::string_view text) {
    double probability = -1;
    const char* last = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), last, probability);
    const bool isNumber = error == std::errc() && end == last;
    if (!isNumber || !(probability >= 0 && probability <= 1))
        reject("the probability " + quoted(text) + " is no number from 0 to 1, such as 0.1");
    return probability;
}

}  // namespace

std::string faultStates() {
    std::string names;
    for (const State& state : states) {
        if (&state != &states.front()) names += state.step == Step::Greeting ? "; " : ", ";
        if (state.step == Step::Greeting)
            names += state.service == Service::Smtp ? "of SMTP " : "of POP3 ";
        names += state.name;
    }
    return names;
}

std::string faultActions() {
    std::string names;
    for (const Action& action : actions)
        names += (names.empty() ? "" : ", ") + std::string(action.name);
    return names;
}

std::vector<ScriptedReply> parseFault(std::string_view text, Milliseconds slowness) {
    std::string_view rest = text;
    const std::string_view name = takeField(rest);
    const std::string_view fault = takeField(rest);
    std::vector<ScriptedReply> replies;
    for (const State& state : statesNamed(name))
        if (const auto reply = replyOf(fault, state.service, slowness))
            replies.push_back({state.service, state.step, reply->named(std::string(text))});
    if (replies.empty())
        reject("there is no fault " + quoted(fault) + " at " + quoted(name) +
               "; write a code from 200 to 599 for SMTP, ERR for POP3, or one of " +
               faultActions());
    const bool hasProbability = std::count(text.begin(), text.end(), ':') > 1;
    const double probability = hasProbability ? probabilityIn(rest) : 1;
    for (ScriptedReply& reply : replies) reply.when.probability = probability;
    return replies;
}

}  // namespace sandbox
