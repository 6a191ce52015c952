// SPDX-License-Identifier: Apache-2.0
// The way back of the demo's mail: by POP3, and taken apart.
#pragma once

#include <string>
#include <vector>

#include "tools/vtmail/demo_check.h"

/// The messages in the mailbox of `server`, as they came. Throws Failure.
std::vector<std::string> fetchedMessages(const std::string& server);

/// What the library's decoders read in a message that was fetched; `body` ends its lines with LF.
DemoMail decoded(const std::string& message);

/// A sentence for each difference between what was sent and what came back. The blind recipient
/// must not come back.
std::vector<std::string> differences(const DemoMail& sent, const DemoMail& received);
