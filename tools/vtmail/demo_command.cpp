// SPDX-License-Identifier: Apache-2.0
// vtmail demo: one mail, from the settings to a server, and back by POP3.
#include <arpa/inet.h>
#include <netdb.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <system_error>

#include "sandbox/escapes.h"
#include "sandbox/private_network.h"
#include "sandbox/server.h"
#include "tools/vtmail/commands.h"
#include "tools/vtmail/delivery.h"
#include "tools/vtmail/demo_check.h"
#include "tools/vtmail/demo_fetch.h"
#include "tools/vtmail/end_signals.h"
#include "tools/vtmail/failure.h"
#include "tools/vtmail/mail_settings.h"
#include "tools/vtmail/text.h"

namespace {

const DemoMail demoMail = {
    .sender = "tracker@example.org",
    .senderName = "Zoë Müller",
    .to = "ines@example.org",
    .cc = "juergen@example.org",
    .bcc = "audit@example.org",
    .subject = "Los 7 ist freigegeben – alle Prüfungen bestanden ✓ 承認済み",
    .body =
        "Guten Tag,\n"
        "\n"
        "Los 7 ist geprüft und freigegeben.\n"
        ".gitignore und andere Zeilen mit einem Punkt am Anfang kommen heil an.\n"
        "\n"
        "Viele Grüße\n",
};

/// A settings folder for the time of the demo.
class TemporarySettings {
  public:
    TemporarySettings() {
        std::error_code error;
        const std::filesystem::path parent = std::filesystem::temp_directory_path(error);
        std::string name = (parent / "vtmail.XXXXXX").string();
        if (error || mkdtemp(name.data()) == nullptr)
            throw Failure(EX_CANTCREAT,
                          "cannot make a folder for the settings; "
                          "let TMPDIR name one that you may write to");
        folder_ = name;
        setenv("VTINETLIB_SETTINGS_DIR", name.c_str(), 1);
    }
    ~TemporarySettings() {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }
    TemporarySettings(const TemporarySettings&) = delete;
    TemporarySettings& operator=(const TemporarySettings&) = delete;

  private:
    std::filesystem::path folder_;
};

void showStep(const std::string& title) { std::cout << "\n== " << title << "\n\n"; }

void storeSettings(const std::string& server) {
    showStep("The settings, in " + shown(mail_settings::path()));
    const std::pair<const char16_t*, std::string> settings[] = {{u"SMTPHost", server},
                                                                {u"ReplyTo", demoMail.sender},
                                                                {u"RealName", demoMail.senderName},
                                                                {u"SendActive", "1"}};
    for (const auto& [key, value] : settings) {
        mail_settings::set(key, fromUtf8(value, "the demo"));
        std::cout << "   " << toUtf8(key) << " = " << value << "\n";
    }
}

bool send(DeliveryLog& log) {
    const auto wide = [](const std::string& text) { return fromUtf8(text, "the demo"); };
    AdMailMsg message;
    message.AddTo(wide(demoMail.to));
    message.AddCc(wide(demoMail.cc));
    message.AddBcc(wide(demoMail.bcc));
    message.SetSubject(wide(demoMail.subject));
    message.SetBody(wide(demoMail.body));
    return deliver(message, log, /*traces=*/false) == 1;
}

void showDialogue(const sandbox::Server& server) {
    showStep("The conversation (C is the library, S the server)");
    for (const sandbox::Line& line : server.transcript())
        std::cout << (line.side == sandbox::Line::Side::Client ? "   C: " : "   S: ")
                  << sandbox::escaped(line.text) << "\n";
}

void showOctets(const std::string& data) {
    showStep("The octets that the server has got (the same in both transactions)");
    for (std::size_t start = 0; start < data.size();) {
        const std::size_t end = std::min(data.find('\n', start), data.size() - 1) + 1;
        std::cout << "   " << sandbox::escaped(data.substr(start, end - start)) << "\n";
        start = end;
    }
}

void requireNone(const std::vector<std::string>& differences) {
    for (const std::string& difference : differences) std::cout << "   " << difference << "\n";
    if (!differences.empty())
        throw Failure(EX_SOFTWARE, "what was received differs from what was sent; see above");
}

void judge(const std::vector<sandbox::Message>& received) {
    showStep("Compared with what was sent");
    std::vector<std::string> found = differences(demoMail, received);
    if (received.size() == 2 && received[0].data != received[1].data)
        found.emplace_back("the two transactions carried different messages");
    requireNone(found);
    std::cout << "   Envelope, sender, recipients, subject and text are what was sent,\n"
                 "   and the blind recipient stands in no header.\n";
}

void showDecoded(const DemoMail& received) {
    std::cout << "   From:    " << shown(received.senderName) << " <" << shown(received.sender)
              << ">\n   To:      " << shown(received.to) << "\n   Cc:      " << shown(received.cc)
              << "\n   Subject: " << shown(received.subject) << "\n";
    std::istringstream lines(received.body);
    for (std::string line; std::getline(lines, line);)
        std::cout << "   |" << (line.empty() ? "" : " ") << shown(line) << "\n";
}

/// The mail comes back by POP3, once for each transaction.
void fetchBack(const std::string& server) {
    showStep("Fetched back by POP3 and taken apart");
    const std::vector<std::string> messages = fetchedMessages(server);
    if (messages.empty()) throw Failure(EX_SOFTWARE, "the mailbox is empty");
    showDecoded(decoded(messages.front()));
    showStep("Compared with what was sent, once more");
    for (const std::string& message : messages)
        requireNone(differences(demoMail, decoded(message)));
    std::cout << "   " << messages.size()
              << " messages came back; sender, recipients, subject and text are what was sent.\n";
}

/// Where the library looks for the server.
std::uint16_t portOf(const char* service) {
    const servent* entry = getservbyname(service, "tcp");
    if (entry == nullptr)
        throw Failure(EX_OSFILE, std::string("the port of the service ") + service +
                                     " is unknown here; install the package netbase");
    return ntohs(static_cast<std::uint16_t>(entry->s_port));
}

std::string privateNetwork() {
    try {
        return sandbox::enterPrivateNetwork();
    } catch (const std::runtime_error& error) {
        throw Failure(EX_UNAVAILABLE, shown(error.what()));
    }
}

sandbox::Server serverAt(const std::string& address) {
    sandbox::ServerOptions options;
    options.address = address;
    options.smtpPort = portOf("smtp");
    options.pop3Port = portOf("pop3");
    try {
        return sandbox::Server(options);
    } catch (const std::system_error& error) {
        throw Failure(EX_UNAVAILABLE, shown(error.what()) + "; stop what listens there");
    }
}

bool sendWithOwnSettings(const std::string& server, DeliveryLog& log) {
    const HeldEndSignals untilTheFolderIsGone;
    const TemporarySettings settings;
    storeSettings(server);
    return send(log);
}

void demonstrate() {
    const std::string address = privateNetwork();  // before the server starts its thread
    const sandbox::Server server = serverAt(address);
    std::cout << "A mail server of this demo's own listens on " << address << ", port "
              << server.smtpPort() << " (SMTP) and " << server.pop3Port() << " (POP3).\n";
    DeliveryLog log;
    const bool isDelivered = sendWithOwnSettings(address, log);
    showDialogue(server);
    if (!isDelivered) throw log.explain(address);
    const std::vector<sandbox::Message> received = server.messages();
    if (!received.empty()) showOctets(received.front().data);
    judge(received);
    fetchBack(address);
}

}  // namespace

void addDemoCommand(CLI::App& program) {
    program.add_subcommand("demo", "watch a mail travel to a server of the demo's own, and back")
        ->callback(demonstrate);
}
