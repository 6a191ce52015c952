// SPDX-License-Identifier: Apache-2.0
// A server where vtmail looks for it, for test programs in a network of their own.
#pragma once

#include "sandbox/server.h"
#include "tests/support/private_network.h"

inline sandbox::ServerOptions onSmtpPort() {
    sandbox::ServerOptions options;
    options.address = privateAddress();
    options.smtpPort = 25;
    return options;
}
