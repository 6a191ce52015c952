// SPDX-License-Identifier: Apache-2.0
// A network of the process's own, where the well-known mail ports are free.
#pragma once

#include <string>

namespace sandbox {

/// Moves the calling process, and all that it starts later, into a network that holds nothing
/// but a loopback interface and in which it may use ports below 1024, such as 25 and 110. An
/// ordinary user needs user namespaces for that. Root who may not make namespaces gets a
/// loopback address that no other process is given, in the network of the machine.
/// Returns the IPv4 loopback address to use. Throws std::runtime_error with a sentence about
/// what to do when neither way is open.
/// Requires: the process has a single thread.
std::string enterPrivateNetwork();

}  // namespace sandbox
