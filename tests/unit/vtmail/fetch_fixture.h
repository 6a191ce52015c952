// SPDX-License-Identifier: Apache-2.0
// A mailbox and a folder, for the tests of vtmail fetch.
#pragma once

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "sandbox/server.h"
#include "tests/support/private_network.h"
#include "tests/unit/vtmail/program.h"

inline const std::string first = "Subject: one\r\n\r\nhello\r\n";
inline const std::string second = "Subject: two\r\n\r\nworld\r\n";
inline const std::string firstFile = "Subject: one\n\nhello\n";
inline const std::string secondFile = "Subject: two\n\nworld\n";

inline sandbox::ServerOptions guarded() {
    sandbox::ServerOptions options;
    options.address = privateAddress();
    options.pop3User = "ines";
    options.pop3Password = "secret";
    return options;
}

/// A mailbox with two messages, and a folder for them.
class Fetch : public ::testing::Test {
  protected:
    explicit Fetch(sandbox::ServerOptions options = guarded()) : server_(std::move(options)) {
        server_.addMessage(first);
        server_.addMessage(second);
    }

    std::filesystem::path folder() const { return scratch_.path() / "mail"; }

    std::vector<std::string> withHost(const std::vector<std::string>& more) const {
        std::vector<std::string> all = {
            "fetch",  "--host", privateAddress(), "--port", std::to_string(server_.pop3Port()),
            "--user", "ines"};
        all.insert(all.end(), more.begin(), more.end());
        return all;
    }
    std::vector<std::string> intoFolder(const std::vector<std::string>& more = {}) const {
        std::vector<std::string> all = withHost({"--folder", folder().string()});
        all.insert(all.end(), more.begin(), more.end());
        return all;
    }

    /// The files in a folder, by their names.
    static std::map<std::string, std::string> filesIn(const std::filesystem::path& folder) {
        std::map<std::string, std::string> files;
        for (const std::filesystem::directory_entry& entry :
             std::filesystem::directory_iterator(folder)) {
            std::ifstream file(entry.path(), std::ios::binary);
            files[entry.path().filename().string()] = {std::istreambuf_iterator<char>(file), {}};
        }
        return files;
    }
    std::map<std::string, std::string> stored() const { return filesIn(folder()); }

    static void expectFailure(const Outcome& run, int exitCode, const std::string& words) {
        EXPECT_EQ(run.exitCode, exitCode) << run.err;
        EXPECT_THAT(run.err, ::testing::AllOf(::testing::StartsWith("vtmail: "),
                                              ::testing::HasSubstr(words)));
        EXPECT_EQ(run.err.find('\n'), run.err.size() - 1) << run.err;
    }

    std::string passwordFile(const std::string& octets, mode_t mode = 0600) const {
        const std::filesystem::path file = scratch_.path() / "password";
        std::ofstream(file, std::ios::binary) << octets;
        std::filesystem::permissions(file, static_cast<std::filesystem::perms>(mode));
        return file.string();
    }

    bool hasSent(const std::string& command) const {
        for (const sandbox::Line& line : server_.transcript())
            if (line.side == sandbox::Line::Side::Client && line.text == command) return true;
        return false;
    }

    void on(sandbox::Step step, const sandbox::Reply& reply, const sandbox::When& when = {}) {
        server_.on(sandbox::Service::Pop3, step, reply, when);
    }

    ScopedEnvironment password_{"VTMAIL_PASSWORD", "secret"};
    SettingsFolder scratch_;
    sandbox::Server server_;
};
