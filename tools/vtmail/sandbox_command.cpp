// SPDX-License-Identifier: Apache-2.0
// vtmail sandbox: a mail server to try things on.
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <syncstream>
#include <system_error>
#include <vector>

#include "sandbox/server.h"
#include "tools/vtmail/colour.h"
#include "tools/vtmail/commands.h"
#include "tools/vtmail/end_signals.h"
#include "tools/vtmail/failure.h"
#include "tools/vtmail/json_line.h"
#include "tools/vtmail/text.h"

namespace {

struct SandboxArguments {
    std::string address = "127.0.0.1";
    std::uint16_t smtpPort = 2525;
    std::uint16_t pop3Port = 2110;
    std::string folder;
    std::vector<std::string> refused;
    std::vector<std::string> ehloLines;
    bool wantsJson = false;
};

/// One whole line; any thread may print. False when it could not be written.
bool print(const std::string& line) {
    std::osyncstream out(std::cout);
    out << line << std::endl;
    out.emit();
    return out.good();
}

bool isOfClient(const sandbox::Line& line) { return line.side == sandbox::Line::Side::Client; }

void showLine(const sandbox::Line& line) {
    const char* service = line.service == sandbox::Service::Smtp ? "SMTP " : "POP3 ";
    const char* side = isOfClient(line) ? " C: " : " S: ";
    const Colour colour = isOfClient(line) ? Colour::Cyan : Colour::Green;
    print(service + std::to_string(line.connection) +
          coloured(STDOUT_FILENO, colour, side + shown(line.text)));
}

void printLineAsJson(const sandbox::Line& line) {
    print(jsonLine({{"event", "line"},
                    {"service", line.service == sandbox::Service::Smtp ? "smtp" : "pop3"},
                    {"connection", line.connection},
                    {"side", isOfClient(line) ? "client" : "server"},
                    {"text", shown(line.text)}}));
}

std::string readyLine(const SandboxArguments& arguments, const sandbox::Server& server) {
    if (arguments.wantsJson)
        return jsonLine({{"event", "ready"},
                         {"address", arguments.address},
                         {"smtpPort", server.smtpPort()},
                         {"pop3Port", server.pop3Port()}});
    return "SMTP on " + shown(arguments.address) + " port " + std::to_string(server.smtpPort()) +
           ", POP3 on " + shown(arguments.address) + " port " + std::to_string(server.pop3Port()) +
           "; ends with Ctrl-C";
}

sandbox::ServerOptions serverOptions(const SandboxArguments& arguments) {
    sandbox::ServerOptions options;
    options.address = arguments.address;
    options.smtpPort = arguments.smtpPort;
    options.pop3Port = arguments.pop3Port;
    if (!arguments.folder.empty()) options.folder = arguments.folder;
    if (!arguments.ehloLines.empty()) options.ehloLines = arguments.ehloLines;
    for (const std::string& recipient : arguments.refused)
        options.replies.push_back({sandbox::Service::Smtp,
                                   sandbox::Step::Rcpt,
                                   sandbox::Reply::say("550 5.1.1 no such mailbox\r\n"),
                                   {.argument = "<" + recipient + ">"}});
    options.observer = arguments.wantsJson ? printLineAsJson : showLine;
    return options;
}

Failure folderFailure(const std::filesystem::filesystem_error& error) {
    return {EX_CANTCREAT, "cannot make the folder " + shown(error.path1().string()) + ": " +
                              error.code().message() + "; choose another --folder"};
}

Failure listenFailure(const std::system_error& error) {
    const bool isPort =
        error.code() == std::errc::address_in_use || error.code() == std::errc::permission_denied;
    return {EX_UNAVAILABLE,
            shown(error.what()) + (isPort ? "; choose another port with --smtp-port or --pop3-port"
                                          : "; let --address be an IP address of this machine")};
}

void serve(const SandboxArguments& arguments) {
    const HeldEndSignals endSignals;
    try {
        const sandbox::Server server(serverOptions(arguments));
        // The server's thread shows lines from now on.
        if (!print(readyLine(arguments, server)))
            throw Failure(EX_IOERR, "cannot write to standard output where the server listens");
        endSignals.wait();
    } catch (const std::filesystem::filesystem_error& error) {
        throw folderFailure(error);
    } catch (const std::system_error& error) {
        throw listenFailure(error);
    }
}

}  // namespace

void addSandboxCommand(CLI::App& program) {
    const auto arguments = std::make_shared<SandboxArguments>();
    CLI::App* command = program.add_subcommand(
        "sandbox", "run a loopback SMTP and POP3 server that keeps what it gets");
    command->add_option("--address", arguments->address, "address to listen on")
        ->capture_default_str();
    command->add_option("--smtp-port", arguments->smtpPort, "0 picks a free one")
        ->capture_default_str();
    command->add_option("--pop3-port", arguments->pop3Port, "0 picks a free one")
        ->capture_default_str();
    command->add_option("--folder", arguments->folder, "keep the mails as .eml files here");
    command->add_option("--refuse", arguments->refused, "refuse this recipient (may be repeated)")
        ->allow_extra_args(false);
    command
        ->add_option("--ehlo", arguments->ehloLines,
                     "a line of the EHLO reply, instead of the usual ones (may be repeated)")
        ->allow_extra_args(false);
    command->add_flag("--json", arguments->wantsJson, "print ports and dialogue as lines of JSON");
    command->callback([arguments] { serve(*arguments); });
}
