// SPDX-License-Identifier: Apache-2.0
// The pages of one mail.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <string_view>

#include "inet/guardedmessage.utf16.h"
#include "sandbox/server.h"
#include "tools/vtmail/message_view.h"
#include "tools/vtmail/page_reply.h"

namespace page {

/// What stands in the place of an empty subject.
inline constexpr const char* noSubject = "(no subject)";

std::unique_ptr<GuardedMessage> decoded(std::string_view octets);
/// The values of a field of a message in one line, UTF-8; empty when there is none.
std::string fieldOf(const GuardedMessage& message, const char16_t* name);
/// A `time` element, in local time.
Html timeElement(std::chrono::system_clock::time_point time);

/// Where a mail stands among the others.
struct Place {
    bool hasOlder;
    bool hasNewer;
};

/// The mail and what is in it.
Reply mailReply(const sandbox::Arrival& mail, const Place& place);
/// Its octets, to be looked at.
Reply rawReply(const sandbox::Arrival& mail);
/// One entity.
Reply partReply(const sandbox::Arrival& mail, const Entity& part);
/// The content of an entity, to be stored. Requires: it is a leaf.
Reply partFileReply(const Entity& part);

}  // namespace page
