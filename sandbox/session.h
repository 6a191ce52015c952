// SPDX-License-Identifier: Apache-2.0
// The server's side of one dialogue, without any network: lines go in, replies come out.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "sandbox/reply.h"

namespace sandbox {

/// What a client asks for. The argument is what follows the verb and one space; of an unknown
/// command it is the whole line.
struct Command {
    Step step;
    std::string argument = {};
    bool isTooLong = false;  // for a line, and so unknown
};

/// The command in a line without its CR LF. A line with a CR, LF or NUL in it is none.
Command parseCommand(Service service, std::string_view line);

struct Answer {
    std::string words;         // lines, with CR LF
    std::string content = {};  // the lines of a message that follow, and their end line
};

class Session {
  public:
    Session() = default;
    virtual ~Session() = default;
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// Does what is asked for, or tells what is wrong with it.
    virtual Answer perform(const Command& command) = 0;
    /// Another answer is given, which refuses the command.
    virtual void refuse(const Command& command) = 0;
    /// Whether the octets that come next are those of a message, not commands.
    virtual bool takesData() const { return false; }
    /// Takes octets of a message, up to its end. Returns how many; takesData() tells whether the
    /// end was among them.
    virtual std::size_t takeData(std::string_view) { return 0; }
    /// Whether the dialogue has come to its end.
    virtual bool isOver() const = 0;
};

}  // namespace sandbox
