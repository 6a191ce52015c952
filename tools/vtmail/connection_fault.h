// SPDX-License-Identifier: Apache-2.0
// What the library's reports about a connection mean; see docs/diagnostics.md for their texts.
#pragma once

#include <string>

/// The number at the end of a report such as "recv() failed (104)"; 0 when there is none.
int numberAtEnd(const std::string& report);

/// What the last report about the socket means; an empty one is an orderly end.
std::string meaningOf(const std::string& report);

/// At most about 400 octets, UTF-8 as before: for a server's words.
std::string shortened(const std::string& text);
