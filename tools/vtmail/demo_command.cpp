// SPDX-License-Identifier: Apache-2.0
// vtmail demo: one mail, from the settings to the octets that a server gets.
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <string>
#include <system_error>

#include "inet/admailmsg.utf16.h"
#include "sandbox/escapes.h"
#include "sandbox/private_network.h"
#include "sandbox/server.h"
#include "tools/vtmail/commands.h"
#include "tools/vtmail/demo_check.h"
#include "tools/vtmail/failure.h"
#include "tools/vtmail/mail_settings.h"
#include "tools/vtmail/text.h"

namespace {

const DemoMail mail = {
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
        std::string name = (std::filesystem::temp_directory_path() / "vtmail.XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr)
            throw Failure(EX_CANTCREAT, "cannot make the folder " + shown(name) +
                                            "; let TMPDIR name a folder that you may write to");
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
                                                                {u"ReplyTo", mail.sender},
                                                                {u"RealName", mail.senderName},
                                                                {u"SendActive", "1"}};
    for (const auto& [key, value] : settings) {
        mail_settings::set(key, fromUtf8(value, "the demo"));
        std::cout << "   " << toUtf8(key) << " = " << value << "\n";
    }
}

bool send() {
    const auto wide = [](const std::string& text) { return fromUtf8(text, "the demo"); };
    AdMailMsg message;
    message.AddTo(wide(mail.to));
    message.AddCc(wide(mail.cc));
    message.AddBcc(wide(mail.bcc));
    message.SetSubject(wide(mail.subject));
    message.SetBody(wide(mail.body));
    return message.Deliver() == 1;
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

void judge(bool isDelivered, const std::vector<sandbox::Message>& received) {
    showStep("Compared with what was sent");
    std::vector<std::string> found = differences(mail, received);
    if (!isDelivered) found.emplace_back("the library says that the mail was not delivered");
    if (received.size() == 2 && received[0].data != received[1].data)
        found.emplace_back("the two transactions carried different messages");
    for (const std::string& difference : found) std::cout << "   " << difference << "\n";
    if (!found.empty())
        throw Failure(EX_SOFTWARE, "what was received differs from what was sent; see above");
    std::cout << "   Envelope, sender, recipients, subject and text are what was sent,\n"
                 "   and the blind recipient stands in no header.\n";
}

sandbox::ServerOptions onWellKnownPorts(const std::string& address) {
    sandbox::ServerOptions options;
    options.address = address;
    options.smtpPort = 25;
    options.pop3Port = 110;
    return options;
}

std::string privateNetwork() {
    try {
        return sandbox::enterPrivateNetwork();
    } catch (const std::runtime_error& error) {
        throw Failure(EX_UNAVAILABLE, shown(error.what()));
    }
}

void demonstrate() {
    const std::string address = privateNetwork();  // before the server starts its thread
    std::cout << "A mail server of this demo's own listens on " << address
              << ", port 25 (SMTP) and 110 (POP3).\n";
    const TemporarySettings settings;
    const sandbox::Server server(onWellKnownPorts(address));
    storeSettings(address);
    const bool isDelivered = send();
    const std::vector<sandbox::Message> received = server.messages();
    showDialogue(server);
    if (!received.empty()) showOctets(received.front().data);
    judge(isDelivered, received);
}

}  // namespace

void addDemoCommand(CLI::App& program) {
    program.add_subcommand("demo", "watch a mail travel to a server of the demo's own")
        ->callback(demonstrate);
}
