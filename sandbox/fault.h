// SPDX-License-Identifier: Apache-2.0
// Faults of the server, as a person writes them: "RCPT:550:0.1".
#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "sandbox/server.h"

namespace sandbox {

/// The states, and what can happen in them, in words for a person.
std::string faultStates();
std::string faultActions();

/// Reads STATE:FAULT or STATE:FAULT:PROBABILITY, letters of either case.
///
/// STATE is one of faultStates(). GREETING, RSET and QUIT are states of both services; with SMTP.
/// or POP3. in front, of one only. FAULT is a reply code from 200 to 599 (SMTP), ERR (POP3), or
/// one of faultActions(); `slowness` is how late a slow reply is. PROBABILITY goes from 0 to 1
/// and is 1 when missing.
///
/// Gives one reply for each service that has the state and the fault; its name is the text.
/// Throws std::invalid_argument when the text is anything else, and says where and what to do.
std::vector<ScriptedReply> parseFault(std::string_view text, std::chrono::milliseconds slowness);

}  // namespace sandbox
