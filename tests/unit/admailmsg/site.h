// SPDX-License-Identifier: Apache-2.0
// A site with mail settings and a mail server, for tests of delivery. For programs that run in a
// private network.
#pragma once

#include <string>
#include <vector>

#include "inet/admailmsg.utf16.h"
#include "sandbox/server.h"
#include "tests/unit/host/scoped_environment.h"
#include "tests/unit/host/settings_folder.h"

/// Mail settings of the test's own: sending is on, to this machine, from "joe@here", "Joe".
class Site {
  public:
    Site();

    static void set(const char16_t* key, const std::string& value);

  private:
    SettingsFolder folder_;
    ScopedEnvironment directory_;
};

/// The options of a server on the port of the service "smtp".
sandbox::ServerOptions onSmtpPort();

/// What the client has said on all connections, without the message.
std::vector<std::string> commands(const sandbox::Server& server);

/// The fields of a message before its body, folded as they are.
std::string header(const sandbox::Message& message);
std::string body(const sandbox::Message& message);
