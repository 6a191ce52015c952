// SPDX-License-Identifier: Apache-2.0
// The example programs, run as a user runs them.
#pragma once

#include <filesystem>
#include <string>

#include "sandbox/server.h"

/// How a run ended.
struct ExampleRun {
    int exitCode;
    std::string output;  // standard output and standard error, in the order of writing
};

/// Runs "NAME ARG..." by the shell in `folder`, NAME being that of an example; `input` must hold no
/// single quote.
ExampleRun runExample(const std::string& command, const std::filesystem::path& folder,
                      const std::string& input = {});

/// An empty folder, which is that of the settings too while the object lives. The settings let
/// mail go to the private address.
class MailSite {
  public:
    MailSite();
    ~MailSite();
    MailSite(const MailSite&) = delete;
    MailSite& operator=(const MailSite&) = delete;

    const std::filesystem::path& folder() const { return folder_; }

  private:
    std::filesystem::path folder_;
};

/// A server on port 25 of the private address.
sandbox::Server::Options atPrivateAddress();
