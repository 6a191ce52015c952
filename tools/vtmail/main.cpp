// SPDX-License-Identifier: Apache-2.0
// vtmail: mail from a shell.
#include <sysexits.h>

#include <csignal>
#include <exception>
#include <iostream>

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

/// Also does the work of the command that was given.
int parse(CLI::App& program, int argc, char** argv) {
    try {
        program.parse(argc, argv);
        return EX_OK;
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success))
            return program.exit(error);  // --help and --version
        if (program.get_subcommands().empty() && argc > 1 && argv[1][0] != '-')
            return complain(EX_USAGE, "there is no command " + shown(argv[1]) +
                                          "; vtmail --help lists the commands");
        return complain(EX_USAGE, shown(error.what()) + "; vtmail --help shows how it is used");
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
