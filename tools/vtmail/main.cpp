// SPDX-License-Identifier: Apache-2.0
// vtmail: mail from a shell.
#include <fcntl.h>
#include <sysexits.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <exception>
#include <fstream>
#include <iostream>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "host/host.h"
#include "tools/vtmail/colour.h"
#include "tools/vtmail/command_tree.h"
#include "tools/vtmail/commands.h"
#include "tools/vtmail/completion.h"
#include "tools/vtmail/failure.h"
#include "tools/vtmail/manual.h"
#include "tools/vtmail/text.h"

namespace {

/// A reader that has gone and a file that may not grow are write errors, not the end.
void ignoreWriteSignals() {
    static_cast<void>(signal(SIGPIPE, SIG_IGN));
    static_cast<void>(signal(SIGXFSZ, SIG_IGN));
}

/// Takes the places of standard streams that are closed, lest a socket or a settings file takes
/// them and gets what is meant for the user. Reading and writing there fail as before.
void reserveStandardStreams() {
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream)
        if (fcntl(stream, F_GETFD) == -1)
            open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
}

int complain(int exitCode, const std::string& message) {
    std::cout.flush();  // what was done comes before what went wrong
    std::cerr << coloured(STDERR_FILENO, Colour::Red, "vtmail:") << " " << message << std::endl;
    return exitCode;
}

void printManual(const CLI::App& program, const std::string& page) {
    std::ifstream in(page);
    if (!in) throw Failure(EX_NOINPUT, "cannot open " + shown(page));
    writeManual(std::cout, in, commandTree(program));
}

void printCompletion(const CLI::App& program, const std::string& shell) {
    const auto write = shell == "bash"  ? writeBashCompletion
                       : shell == "zsh" ? writeZshCompletion
                                        : writeFishCompletion;
    write(std::cout, commandTree(program));
}

/// Hidden: the build makes the manual and the completion of shells with them.
void addSelfDescription(CLI::App& program) {
    const auto add = [&program](const char* name, auto print) {
        const auto printAndEnd = [&program, print](const std::string& value) {
            print(program, value);
            throw CLI::Success();
        };
        return program.add_option_function<std::string>(name, printAndEnd)->group("");
    };
    add("--print-manual", printManual);
    add("--print-completion", printCompletion)->check(CLI::IsMember({"bash", "zsh", "fish"}));
}

void setUp(CLI::App& program) {
    program.name("vtmail");
    program.set_version_flag("--version", "vtmail " VTMAIL_VERSION);
    program.require_subcommand(1);
    addSendCommand(program);
    addFetchCommand(program);
    addSettingsCommand(program);
    addShowCommand(program);
    addSandboxCommand(program);
    addDemoCommand(program);
    addSelfDescription(program);
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

/// The arguments, with "--body=" as two: CLI11 would take the next argument for the value.
std::vector<std::string> argumentsOf(int argc, char** argv) {
    std::vector<std::string> arguments;
    bool mayBeOption = true;
    for (int i = 1; i < argc; ++i) {
        std::string argument = argv[i];
        mayBeOption = mayBeOption && argument != "--";
        const bool isEmptyValue =
            mayBeOption && argument.starts_with("--") && argument.find('=') == argument.size() - 1;
        if (isEmptyValue) argument.pop_back();
        arguments.push_back(std::move(argument));
        if (isEmptyValue) arguments.emplace_back();
    }
    return arguments;
}

/// Also does the work of the command that was given.
int parse(CLI::App& program, int argc, char** argv) {
    try {
        std::vector<std::string> arguments = argumentsOf(argc, argv);
        std::reverse(arguments.begin(), arguments.end());  // as CLI11 wants them
        program.parse(std::move(arguments));
        return EX_OK;
    } catch (const CLI::RuntimeError& end) {
        return end.get_exit_code();  // of a command that was run
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success))
            return program.exit(error);  // --help and --version
        return complain(EX_USAGE, complaintAbout(program, error));
    }
}

}  // namespace

int main(int argc, char** argv) {
    ignoreWriteSignals();
    reserveStandardStreams();
    std::ios::sync_with_stdio(false);
    try {
        CLI::App program("Sends, fetches and takes apart mail.");
        setUp(program);
        const int exitCode = parse(program, argc, argv);
        finishOutput();
        return exitCode;
    } catch (const Failure& failure) {
        return complain(failure.exitCode(), failure.what());
    } catch (const std::bad_alloc&) {
        return complain(EX_OSERR, "there is not enough memory for this mail");
    } catch (const Zeb_Range_Error& error) {
        return complain(EX_DATAERR, error.GetReason());
    } catch (const std::exception& error) {
        return complain(EX_SOFTWARE, shown(error.what()));
    }
}
