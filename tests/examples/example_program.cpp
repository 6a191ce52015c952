// SPDX-License-Identifier: Apache-2.0
#include "tests/examples/example_program.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "inet/admailmsg.utf16.h"
#include "tests/support/private_network.h"
#include "tests/support/wide_text.h"

ExampleRun runExample(const std::string& command, const std::filesystem::path& folder,
                      const std::string& input) {
    const std::string line = "cd '" + folder.string() + "' && printf %s '" + input +
                             "' | timeout 60 '" + EXAMPLES + "'/" + command + " 2>&1";
    ExampleRun run = {-1, {}};
    std::FILE* output = popen(line.c_str(), "r");
    if (output == nullptr) return run;
    char block[4096];
    while (const std::size_t count = std::fread(block, 1, sizeof block, output))
        run.output.append(block, count);
    const int status = pclose(output);
    EXPECT_TRUE(WIFEXITED(status));
    run.exitCode = WEXITSTATUS(status);
    return run;
}

MailSite::MailSite() {
    std::string name = (std::filesystem::temp_directory_path() / "examples.XXXXXX").string();
    folder_ = mkdtemp(name.data());
    setenv("VTINETLIB_SETTINGS_DIR", folder_.c_str(), 1);
    AdMailMsg settings;
    settings.setSetting(u"SMTPHost", wide(privateAddress()));
    settings.setSetting(u"ReplyTo", u"tracker@example.org");
    settings.SetSendActive(1);
}

MailSite::~MailSite() {
    unsetenv("VTINETLIB_SETTINGS_DIR");
    std::filesystem::remove_all(folder_);
}

sandbox::Server::Options atPrivateAddress() {
    sandbox::Server::Options options;
    options.address = privateAddress();
    options.smtpPort = 25;
    return options;
}
