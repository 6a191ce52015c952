// SPDX-License-Identifier: Apache-2.0
// vtmail sandbox: a mail server to try things on.
#include <csignal>
#include <cstdint>
#include <iostream>
#include <memory>
#include <string>
#include <syncstream>
#include <system_error>
#include <vector>

#include "sandbox/server.h"
#include "tools/vtmail/commands.h"
#include "tools/vtmail/failure.h"
#include "tools/vtmail/text.h"

namespace {

struct Arguments {
    std::string address = "127.0.0.1";
    std::uint16_t smtpPort = 2525;
    std::uint16_t pop3Port = 2110;
    std::string folder;
    std::vector<std::string> refused;
    std::vector<std::string> ehloLines;
};

void showLine(const sandbox::Line& line) {
    const char* service = line.service == sandbox::Service::Smtp ? "SMTP" : "POP3";
    const char* side = line.side == sandbox::Line::Side::Client ? "C: " : "S: ";
    std::osyncstream(std::cout) << service << " " << line.connection << " " << side
                                << shown(line.text) << std::endl;
}

sandbox::ServerOptions serverOptions(const Arguments& arguments) {
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
    options.observer = showLine;
    return options;
}

/// SIGINT and SIGTERM, held back in this thread and in those it starts later.
sigset_t holdBackEndSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

void serve(const Arguments& arguments) {
    const sigset_t endSignals = holdBackEndSignals();
    try {
        const sandbox::Server server(serverOptions(arguments));
        // The server's thread shows lines from now on.
        std::osyncstream(std::cout)
            << "SMTP on " << arguments.address << " port " << server.smtpPort() << ", POP3 on "
            << arguments.address << " port " << server.pop3Port() << "; ends with Ctrl-C"
            << std::endl;
        int signal = 0;
        sigwait(&endSignals, &signal);
    } catch (const std::system_error& error) {
        throw Failure(EX_UNAVAILABLE, shown(error.what()) +
                                          "; choose other ports with --smtp-port and --pop3-port");
    }
}

}  // namespace

void addSandboxCommand(CLI::App& program) {
    const auto arguments = std::make_shared<Arguments>();
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
    command->callback([arguments] { serve(*arguments); });
}
