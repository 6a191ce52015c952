// SPDX-License-Identifier: Apache-2.0
// vtmail send: composes one mail and delivers it.
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "tools/vtmail/commands.h"
#include "tools/vtmail/delivery.h"
#include "tools/vtmail/failure.h"
#include "tools/vtmail/mail_settings.h"
#include "tools/vtmail/text.h"

namespace {

struct SendArguments {
    std::vector<std::string> to;
    std::vector<std::string> cc;
    std::vector<std::string> bcc;
    std::string from;
    std::string subject;
    std::string body;
    std::string file;
    bool hasFrom = false;
    bool hasBody = false;
    bool hasFile = false;
    bool traces = false;
    bool isDryRun = false;
};

/// What the settings say, checked.
struct Settings {
    std::string server;
    Zeb_String sender;
    Zeb_String senderName;
    Zeb_String charset;
};

// ---- input

std::string readAll(std::istream& in, const std::string& what) {
    std::string octets;
    char block[65536];
    errno = 0;
    while (in.read(block, sizeof block), in.gcount() > 0)
        octets.append(block, static_cast<std::size_t>(in.gcount()));
    if (in.bad()) throw Failure(EX_NOINPUT, "cannot read " + what + ": " + std::strerror(errno));
    return octets;
}

std::string readFile(const std::string& name) {
    errno = 0;
    std::ifstream file(name, std::ios::binary);
    if (!file)
        throw Failure(EX_NOINPUT, "cannot open " + shown(name) + ": " + std::strerror(errno));
    return readAll(file, shown(name));
}

Zeb_String readBody(const SendArguments& arguments) {
    if (arguments.hasBody) return fromUtf8(arguments.body, "--body");
    if (arguments.hasFile) return fromUtf8(readFile(arguments.file), shown(arguments.file));
    if (isatty(STDIN_FILENO) != 0)
        std::cerr << "vtmail: type the text; Ctrl-D ends it" << std::endl;
    return fromUtf8(readAll(std::cin, "standard input"), "standard input");
}

/// Refuses what could not stand in one line of the protocol, which the library leaves out.
Zeb_String address(const std::string& octets, const std::string& what, int exitCode = EX_DATAERR) {
    for (const char c : octets)
        if (c == '\r' || c == '\n' || c == '\0' || static_cast<unsigned char>(c) >= 0x80)
            throw Failure(exitCode, what + " " + shown(octets) +
                                        " is no mail address: only ASCII on one line can be sent");
    if (octets.empty()) throw Failure(exitCode, what + " is empty; give a mail address");
    return fromUtf8(octets, what);
}

void requireSending() {
    if (mail_settings::get(u"SendActive") != u"1")
        throw Failure(EX_CONFIG,
                      "sending is switched off, nothing was sent: "
                      "vtmail settings set SendActive 1 switches it on");
    if (mail_settings::get(u"SMTPHost").IsEmpty())
        throw Failure(EX_CONFIG, "there is no mail server: vtmail settings set SMTPHost NAME");
}

Settings checkedSettings(const SendArguments& arguments) {
    Settings settings;
    settings.server = toUtf8(mail_settings::get(u"SMTPHost"));
    settings.charset = mail_settings::get(u"Charset");
    const std::string sender =
        arguments.hasFrom ? arguments.from : toUtf8(mail_settings::get(u"ReplyTo"));
    if (!arguments.hasFrom) settings.senderName = mail_settings::get(u"RealName");
    if (!arguments.hasFrom && sender.empty())
        throw Failure(EX_CONFIG,
                      "there is no sender: vtmail settings set ReplyTo ADDRESS, or give --from");
    settings.sender = arguments.hasFrom ? address(sender, "--from")
                                        : address(sender, "the setting ReplyTo", EX_CONFIG);
    if (!settings.charset.IsEmpty() && !AdCharset(settings.charset).isKnown())
        throw Failure(EX_CONFIG,
                      "the setting Charset names no charset: " + Printable(settings.charset) +
                          "; vtmail settings set Charset UTF-8");
    return settings;
}

// ---- sending

template <typename Add>
void addAll(const std::vector<std::string>& addresses, const char* option, Add add) {
    for (const std::string& each : addresses) add(address(each, option));
}

/// An empty subject is none: its field would have no line end, and take the next one with it.
template <typename Set>
void setSubject(const SendArguments& arguments, Set set) {
    if (!arguments.subject.empty()) set(fromUtf8(arguments.subject, "--subject"));
}

/// The message as AdMailMsg composes it, for a server that takes 8-bit text.
void show(const SendArguments& arguments, const Settings& settings, const Zeb_String& body) {
    RFC2822Encoder message;
    if (!settings.charset.IsEmpty()) message.setCharset(AdCharset(settings.charset));
    message.setSender(settings.sender, settings.senderName);
    addAll(arguments.to, "--to", [&](const Zeb_String& to) { message.addTo(to, {}); });
    addAll(arguments.cc, "--cc", [&](const Zeb_String& cc) { message.addCc(cc, {}); });
    setSubject(arguments, [&](const Zeb_String& subject) { message.setSubject(subject); });
    message.setBody(body);
    std::ostringstream octets;
    message.getData(true, octets);
    if (isatty(STDOUT_FILENO) == 0) {
        std::cout << octets.str();
        return;
    }
    std::istringstream lines(octets.str());
    for (std::string line; std::getline(lines, line);) {
        if (line.ends_with('\r')) line.pop_back();
        std::cout << shown(line) << "\n";
    }
}

void deliver(const SendArguments& arguments, const Settings& settings, const Zeb_String& body) {
    AdMailMsg mail;
    if (arguments.hasFrom) mail.SetOverrideFrom(settings.sender);
    addAll(arguments.to, "--to", [&](const Zeb_String& to) { mail.AddTo(to); });
    addAll(arguments.cc, "--cc", [&](const Zeb_String& cc) { mail.AddCc(cc); });
    addAll(arguments.bcc, "--bcc", [&](const Zeb_String& bcc) { mail.AddBcc(bcc); });
    setSubject(arguments, [&](const Zeb_String& subject) { mail.SetSubject(subject); });
    mail.SetBody(body);
    DeliveryLog log;
    const int result = deliver(mail, log, arguments.traces);
    if (result == 0) throw log.explain(settings.server);
    if (!log.isConnected())
        throw Failure(EX_TEMPFAIL, "nothing was sent, sending has just been switched off");
}

void send(const SendArguments& arguments) {
    if (arguments.to.empty() && arguments.cc.empty() && arguments.bcc.empty())
        throw Failure(EX_USAGE, "there is no recipient: give --to, --cc or --bcc");
    if (!arguments.isDryRun) requireSending();
    const Settings settings = checkedSettings(arguments);
    const Zeb_String body = readBody(arguments);
    if (arguments.isDryRun)
        show(arguments, settings, body);
    else
        deliver(arguments, settings, body);
}

}  // namespace

void addSendCommand(CLI::App& program) {
    const auto arguments = std::make_shared<SendArguments>();
    CLI::App* command = program.add_subcommand("send", "send one mail");
    command->add_option("--to", arguments->to, "recipient (may be repeated)")
        ->allow_extra_args(false);
    command->add_option("--cc", arguments->cc, "recipient of a copy (may be repeated)")
        ->allow_extra_args(false);
    command->add_option("--bcc", arguments->bcc, "blind recipient (may be repeated)")
        ->allow_extra_args(false);
    command->add_option("--subject", arguments->subject, "subject, UTF-8");
    CLI::Option* from =
        command->add_option("--from", arguments->from, "sender, instead of the setting ReplyTo");
    CLI::Option* body = command->add_option("--body", arguments->body, "text, UTF-8");
    CLI::Option* file =
        command->add_option("--file", arguments->file, "file with the text, else standard input");
    file->excludes(body);
    command->add_flag("--trace", arguments->traces, "show the protocol log as it happens");
    command->add_flag("--dry-run", arguments->isDryRun, "print the message, send nothing");
    command->footer("Server and sender come from the settings: vtmail settings --help");
    command->callback([arguments, from, body, file] {
        arguments->hasFrom = from->count() > 0;
        arguments->hasFile = file->count() > 0;
        arguments->hasBody = body->count() > 0;
        send(*arguments);
    });
}
