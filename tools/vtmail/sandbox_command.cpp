// SPDX-License-Identifier: Apache-2.0
// vtmail sandbox: a mail server to try things on.
#include <unistd.h>

#include <charconv>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <syncstream>
#include <system_error>
#include <vector>

#include "sandbox/fault.h"
#include "sandbox/loopback.h"
#include "sandbox/server.h"
#include "tools/vtmail/colour.h"
#include "tools/vtmail/commands.h"
#include "tools/vtmail/end_signals.h"
#include "tools/vtmail/failure.h"
#include "tools/vtmail/json_line.h"
#include "tools/vtmail/page.h"
#include "tools/vtmail/page_server.h"
#include "tools/vtmail/shell_command.h"
#include "tools/vtmail/text.h"

namespace {

struct SandboxArguments {
    std::string address = "127.0.0.1";
    std::uint16_t smtpPort = 2525;
    std::uint16_t pop3Port = 2110;
    bool mayBeRemote = false;
    std::optional<std::uint16_t> pagePort;
    std::string folder;
    std::string maildir;
    std::vector<std::string> refused;
    std::vector<std::string> ehloLines;
    sandbox::Limits limits = {};
    std::optional<std::size_t> maxLine;
    std::vector<std::string> faults;
    std::uint32_t slowness = 2000;  // milliseconds
    std::optional<std::uint64_t> seed;
    std::optional<std::string> command;
    bool isQuiet = false;
    bool wantsJson = false;

    /// Standard output is that of the command when there is one.
    int output() const { return command ? STDERR_FILENO : STDOUT_FILENO; }
};

/// One whole line; any thread may print. False when it could not be written.
bool print(const SandboxArguments& arguments, const std::string& line) {
    std::osyncstream out(arguments.output() == STDOUT_FILENO ? std::cout : std::cerr);
    out << line << std::endl;
    out.emit();
    return out.good();
}

using Side = sandbox::Line::Side;

std::string lineForPeople(int output, const sandbox::Line& line) {
    const std::string service = line.service == sandbox::Service::Smtp ? "SMTP " : "POP3 ";
    const std::string connection = service + std::to_string(line.connection);
    const std::string text = shown(line.text);
    if (line.side == Side::Script)
        return connection + coloured(output, Colour::Red, " fault " + text);
    const bool isOfClient = line.side == Side::Client;
    return connection + coloured(output, isOfClient ? Colour::Cyan : Colour::Green,
                                 (isOfClient ? " C: " : " S: ") + text);
}

std::string lineAsJson(const sandbox::Line& line) {
    nlohmann::json event = {
        {"service", line.service == sandbox::Service::Smtp ? "smtp" : "pop3"},
        {"connection", line.connection},
    };
    if (line.side == Side::Script) {
        event["event"] = "fault";
        event["fault"] = shown(line.text);
    } else {
        event["event"] = "line";
        event["side"] = line.side == Side::Client ? "client" : "server";
        event["text"] = shown(line.text);
    }
    return jsonLine(event);
}

void showLine(const SandboxArguments& arguments, const sandbox::Line& line) {
    if (arguments.isQuiet && line.side != Side::Script) return;
    print(arguments,
          arguments.wantsJson ? lineAsJson(line) : lineForPeople(arguments.output(), line));
}

/// None without --page-port.
std::unique_ptr<page::Server> openPage(const SandboxArguments& arguments,
                                       const sandbox::Server& server) {
    if (!arguments.pagePort) return nullptr;
    const page::Site site{arguments.address, server.smtpPort(),
                          [&server] { return server.arrivals(); }};
    return std::make_unique<page::Server>(
        arguments.address, *arguments.pagePort,
        [site](const std::string& path) { return page::replyTo(site, path); });
}

/// `page` may be null, here and below.
std::string readyLineAsJson(const SandboxArguments& arguments, const sandbox::Server& server,
                            const page::Server* page) {
    nlohmann::json event = {{"event", "ready"},
                            {"address", arguments.address},
                            {"smtpPort", server.smtpPort()},
                            {"pop3Port", server.pop3Port()}};
    if (!arguments.faults.empty()) event["seed"] = *arguments.seed;
    if (page != nullptr) event["pagePort"] = page->port();
    return jsonLine(event);
}

std::string readyLine(const SandboxArguments& arguments, const sandbox::Server& server,
                      const page::Server* page) {
    if (arguments.wantsJson) return readyLineAsJson(arguments, server, page);
    const std::string address = " on " + shown(arguments.address) + " port ";
    const std::string pageWords =
        page == nullptr ? "" : ", page on " + page::urlOf(arguments.address, page->port());
    const std::string seed =
        arguments.faults.empty() ? "" : "faults of seed " + std::to_string(*arguments.seed) + "; ";
    return "SMTP" + address + std::to_string(server.smtpPort()) + ", POP3" + address +
           std::to_string(server.pop3Port()) + pageWords + "; " + seed +
           (arguments.command ? "ends with the command" : "ends with Ctrl-C");
}

/// Throws Failure.
std::vector<sandbox::ScriptedReply> faults(const SandboxArguments& arguments) {
    std::vector<sandbox::ScriptedReply> replies;
    for (const std::string& text : arguments.faults) {
        try {
            const auto more =
                sandbox::parseFault(text, std::chrono::milliseconds(arguments.slowness));
            replies.insert(replies.end(), more.begin(), more.end());
        } catch (const std::invalid_argument& error) {
            throw Failure(EX_USAGE, "--fault " + shown(text) + ": " + shown(error.what()));
        }
    }
    return replies;
}

sandbox::ServerOptions serverOptions(const SandboxArguments& arguments) {
    sandbox::ServerOptions options;
    options.address = arguments.address;
    options.smtpPort = arguments.smtpPort;
    options.pop3Port = arguments.pop3Port;
    if (!arguments.folder.empty()) options.folder = arguments.folder;
    if (!arguments.maildir.empty()) options.maildir = arguments.maildir;
    options.limits = arguments.limits;
    if (arguments.maxLine)
        options.limits.commandLine = options.limits.dataLine = *arguments.maxLine;
    options.ehloLines =
        arguments.ehloLines.empty() ? sandbox::usualEhloLines(options.limits) : arguments.ehloLines;
    options.replies = faults(arguments);
    options.seed = *arguments.seed;
    for (const std::string& recipient : arguments.refused)
        options.replies.push_back({sandbox::Service::Smtp,
                                   sandbox::Step::Rcpt,
                                   sandbox::Reply::say("550 5.1.1 no such mailbox\r\n"),
                                   {.argument = "<" + recipient + ">"}});
    options.observer = [arguments](const sandbox::Line& line) { showLine(arguments, line); };
    return options;
}

Failure folderFailure(const std::filesystem::filesystem_error& error) {
    return {EX_CANTCREAT, "cannot use " + shown(error.path1().string()) + ": " +
                              error.code().message() + "; choose another --folder or --maildir"};
}

Failure listenFailure(const std::system_error& error) {
    const bool isPort =
        error.code() == std::errc::address_in_use || error.code() == std::errc::permission_denied;
    return {EX_UNAVAILABLE,
            shown(error.what()) +
                (isPort ? "; choose another port with --smtp-port, --pop3-port or --page-port"
                        : "; let --address be an IP address of this machine")};
}

/// What the command finds in its environment.
std::map<std::string, std::string> variables(const SandboxArguments& arguments,
                                             const sandbox::Server& server,
                                             const page::Server* page) {
    const std::string& folder = arguments.folder.empty() ? arguments.maildir : arguments.folder;
    return {{"VTMAIL_SANDBOX_ADDRESS", arguments.address},
            {"VTMAIL_SANDBOX_SMTP_PORT", std::to_string(server.smtpPort())},
            {"VTMAIL_SANDBOX_POP3_PORT", std::to_string(server.pop3Port())},
            {"VTMAIL_SANDBOX_PAGE",
             page == nullptr ? "" : page::urlOf(arguments.address, page->port())},
            {"VTMAIL_SANDBOX_FOLDER",
             folder.empty() ? "" : std::filesystem::absolute(folder).string()}};
}

/// Until the command ends, or without one until this program is told to. Returns the exit code.
int serveUntilTheEnd(const SandboxArguments& arguments) {
    const HeldEndSignals endSignals =
        arguments.command ? ShellCommand::holdSignals() : HeldEndSignals();
    const sandbox::Server server(serverOptions(arguments));
    const std::unique_ptr<page::Server> page = openPage(arguments, server);
    // The server's thread shows lines from now on.
    if (!print(arguments, readyLine(arguments, server, page.get())))
        throw Failure(EX_IOERR, "cannot write where the server listens");
    if (arguments.command)
        return ShellCommand(*arguments.command, variables(arguments, server, page.get()),
                            endSignals)
            .wait();
    endSignals.wait();
    return EX_OK;
}

void serve(const SandboxArguments& arguments) {
    if (!arguments.mayBeRemote && sandbox::isReachableFromOutside(arguments.address))
        throw Failure(EX_USAGE, "--address " + arguments.address +
                                    ": other machines could send and read mail there; add "
                                    "--allow-remote if they shall");
    try {
        const int exitCode = serveUntilTheEnd(arguments);
        if (exitCode != EX_OK) throw CLI::RuntimeError(exitCode);
    } catch (const std::filesystem::filesystem_error& error) {
        throw folderFailure(error);
    } catch (const std::system_error& error) {
        throw listenFailure(error);
    }
}

void addPlaceOptions(CLI::App& command, SandboxArguments& arguments) {
    command.add_option("--address", arguments.address, "address to listen on")
        ->type_name("IP")
        ->capture_default_str();
    command.add_flag("--allow-remote", arguments.mayBeRemote,
                     "let --address be one that other machines can reach");
    command.add_option("--smtp-port", arguments.smtpPort, "port of SMTP; 0 picks a free one")
        ->type_name("PORT")
        ->capture_default_str();
    command.add_option("--pop3-port", arguments.pop3Port, "port of POP3; 0 picks a free one")
        ->type_name("PORT")
        ->capture_default_str();
    command
        .add_option("--page-port", arguments.pagePort,
                    "serve a page to look at the mails on this port; 0 picks a free one")
        ->type_name("PORT");
    CLI::Option* folder =
        command.add_option("--folder", arguments.folder, "keep the mails as .eml files here")
            ->type_name("DIR");
    command
        .add_option("--maildir", arguments.maildir,
                    "keep the mails in this Maildir; those that are there are offered by POP3")
        ->type_name("DIR")
        ->excludes(folder);
}

/// CLI11 would take -1 for the largest number, and 010 for 8.
std::string countError(const std::string& text) {
    std::uint64_t count = 0;
    const char* last = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), last, count);
    const bool isOctal = text.size() > 1 && text.front() == '0';
    const bool isCount = error == std::errc() && end == last && !isOctal;
    return isCount ? "" : shown(text) + " is no whole number from 0 to 18446744073709551615";
}

template <typename Number>
CLI::Option* addCount(CLI::App& command, const std::string& name, Number& number,
                      const std::string& description) {
    return command.add_option(name, number, description)
        ->check(CLI::Validator(countError, ""))
        ->type_name("N")
        ->capture_default_str();
}

void addLimitOptions(CLI::App& command, SandboxArguments& arguments) {
    sandbox::Limits& limits = arguments.limits;
    addCount(command, "--max-size", limits.message,
             "octets of the largest mail, announced as SIZE; 0 is no limit");
    addCount(
        command, "--max-line", arguments.maxLine,
        "octets of the longest line of a command or mail; 0 is no limit; when left out, 1000 for "
        "a command and no limit for mail");
    addCount(command, "--max-recipients", limits.recipients,
             "most recipients of a mail; 0 is no limit");
    addCount(command, "--max-connections", limits.connections,
             "most connections at once; 0 is no limit");
}

void addFaultOptions(CLI::App& command, SandboxArguments& arguments) {
    command.add_option("--refuse", arguments.refused, "refuse this recipient (may be repeated)")
        ->type_name("ADDRESS")
        ->allow_extra_args(false);
    command
        .add_option("--ehlo", arguments.ehloLines,
                    "a line of the EHLO reply, instead of the usual ones (may be repeated)")
        ->type_name("LINE")
        ->allow_extra_args(false);
    command
        .add_option("--fault", arguments.faults,
                    "STATE:FAULT:PROBABILITY, such as RCPT:550:0.1 (may be repeated). Faults: a "
                    "reply code, ERR in POP3, " +
                        sandbox::faultActions() + ". States " + sandbox::faultStates() +
                        ". Probability: from 0 to 1, 1 when left out")
        ->type_name("FAULT")
        ->allow_extra_args(false);
    addCount(command, "--slow-by", arguments.slowness,
             "how late the fault slow is, in milliseconds");
    addCount(command, "--seed", arguments.seed,
             "number that faults by chance depend on; one by chance when left out");
}

}  // namespace

void addSandboxCommand(CLI::App& program) {
    const auto arguments = std::make_shared<SandboxArguments>();
    CLI::App* command = program.add_subcommand(
        "sandbox", "run a loopback SMTP and POP3 server that keeps what it gets");
    addPlaceOptions(*command, *arguments);
    addLimitOptions(*command, *arguments);
    addFaultOptions(*command, *arguments);
    command
        ->add_option("--exec", arguments->command,
                     "run this by /bin/sh, end when it ends, and exit as it does; finds the server "
                     "in the environment as VTMAIL_SANDBOX_ADDRESS, VTMAIL_SANDBOX_SMTP_PORT, "
                     "VTMAIL_SANDBOX_POP3_PORT, VTMAIL_SANDBOX_PAGE and VTMAIL_SANDBOX_FOLDER")
        ->type_name("COMMAND");
    command->add_flag("--quiet", arguments->isQuiet, "show no dialogues, only faults");
    command->add_flag("--json", arguments->wantsJson, "print ports and dialogue as lines of JSON");
    command->callback([arguments] {
        if (!arguments->seed) arguments->seed = std::random_device{}();
        serve(*arguments);
    });
}
