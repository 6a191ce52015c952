// SPDX-License-Identifier: Apache-2.0
#include "sandbox/session.h"

#include <algorithm>
#include <array>

#include "sandbox/ascii.h"

namespace sandbox {
namespace {

enum class Users { Smtp, Pop3, Both };

struct Verb {
    std::string_view name;
    Step step;
    Users users;
};

constexpr std::array verbs = {
    Verb{"EHLO", Step::Ehlo, Users::Smtp}, Verb{"HELO", Step::Helo, Users::Smtp},
    Verb{"MAIL", Step::Mail, Users::Smtp}, Verb{"RCPT", Step::Rcpt, Users::Smtp},
    Verb{"DATA", Step::Data, Users::Smtp}, Verb{"VRFY", Step::Vrfy, Users::Smtp},
    Verb{"EXPN", Step::Expn, Users::Smtp}, Verb{"HELP", Step::Help, Users::Smtp},
    Verb{"USER", Step::User, Users::Pop3}, Verb{"PASS", Step::Pass, Users::Pop3},
    Verb{"STAT", Step::Stat, Users::Pop3}, Verb{"LIST", Step::List, Users::Pop3},
    Verb{"UIDL", Step::Uidl, Users::Pop3}, Verb{"RETR", Step::Retr, Users::Pop3},
    Verb{"TOP", Step::Top, Users::Pop3},   Verb{"DELE", Step::Dele, Users::Pop3},
    Verb{"CAPA", Step::Capa, Users::Pop3}, Verb{"NOOP", Step::Noop, Users::Both},
    Verb{"RSET", Step::Rset, Users::Both}, Verb{"QUIT", Step::Quit, Users::Both},
};

}  // namespace

Command parseCommand(Service service, std::string_view line) {
    constexpr std::string_view neverInACommand("\r\n\0", 3);
    const Users users = service == Service::Smtp ? Users::Smtp : Users::Pop3;
    const std::size_t end = std::min(line.find(' '), line.size());
    const auto verb = std::find_if(verbs.begin(), verbs.end(), [&](const Verb& known) {
        return isSameName(known.name, line.substr(0, end)) &&
               (known.users == users || known.users == Users::Both);
    });
    if (verb == verbs.end() || line.find_first_of(neverInACommand) != std::string_view::npos)
        return {Step::Unknown, std::string(line)};
    return {verb->step, std::string(line.substr(std::min(end + 1, line.size())))};
}

}  // namespace sandbox
