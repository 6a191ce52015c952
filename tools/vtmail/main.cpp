// SPDX-License-Identifier: Apache-2.0
// vtmail: mail from a shell.
#include <sysexits.h>

#include <csignal>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "tools/vtmail/commands.h"
#include "tools/vtmail/failure.h"
#include "tools/vtmail/text.h"

namespace {

int complain(int exitCode, const std::string& message) {
    std::cout.flush();  // what was done comes before what went wrong
    std::cerr << "vtmail: " << message << std::endl;
    return exitCode;
}

void setUp(CLI::App& program) {
    program.name("vtmail");
    program.set_version_flag("--version", "vtmail " VTMAIL_VERSION);
    program.require_subcommand(1);
    addSendCommand(program);
    addSettingsCommand(program);
    addSandboxCommand(program);
    addDemoCommand(program);
}

std::string complaintAbout(const CLI::App& program, const CLI::ParseError& error) {
    const std::vector<std::string> unknown = program.remaining(/*recurse=*/true);
    // What is missing is most likely what was given but not understood.
    const bool isMissing = error.get_exit_code() == static_cast<int>(CLI::ExitCodes::RequiredError);
    if (!isMissing || unknown.empty())
        return shown(error.what()) + "; vtmail --help shows how it is used";
    const char* kind = unknown.front().starts_with('-') ? "option " : "command ";
    return std::string("there is no ") + kind + shown(unknown.front()) +
           "; vtmail --help shows how it is used";
}

/// Also does the work of the command that was given.
int parse(CLI::App& program, int argc, char** argv) {
    try {
        program.parse(argc, argv);
        return EX_OK;
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success))
            return program.exit(error);  // --help and --version
        return complain(EX_USAGE, complaintAbout(program, error));
    }
}

}  // namespace

int main(int argc, char** argv) {
    signal(SIGPIPE, SIG_IGN);  // a reader that has gone is a write error
    std::ios::sync_with_stdio(false);
    try {
        CLI::App program("Sends mail through the mail server of the site.");
        setUp(program);
        const int exitCode = parse(program, argc, argv);
        finishOutput();
        return exitCode;
    } catch (const Failure& failure) {
        return complain(failure.exitCode(), failure.what());
    } catch (const std::exception& error) {
        return complain(EX_SOFTWARE, shown(error.what()));
    }
}
